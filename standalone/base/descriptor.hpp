#pragma once
#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>

namespace nq {

// An open file descriptor, closed at the end of the scope.
class Descriptor {
  public:
    Descriptor() noexcept = default;
    explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Descriptor() { close(); }

    explicit operator bool() const noexcept { return descriptor_ >= 0; }
    int get() const noexcept { return descriptor_; }

    // 0, or -1 with errno: what was written before may be lost.
    int close() noexcept {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 ? 0 : ::close(descriptor);
    }

  private:
    int descriptor_ = -1;
};

// The named file, or nothing with errno.
Descriptor open_for_reading(const char* path) noexcept;

// Reads some bytes, waiting for them if need be. 0: the end; negative: errno says why.
ssize_t read_some(int descriptor, void* target, uint64_t room) noexcept;

// Reads to the end into `bytes`. 0, or the errno value of what failed.
int read_whole(int descriptor, std::string& bytes);

}  // namespace nq
