#pragma once
#include <unistd.h>

#include <utility>

namespace nq::tool {

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

}  // namespace nq::tool
