#pragma once
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace nq::test {

// Zeroed memory between two protected pages: a byte read or written just outside is a crash.
class GuardPages {
  public:
    // At least `bytes`, in whole pages.
    explicit GuardPages(std::size_t bytes) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        size_ = (bytes + page - 1) / page * page;
        mapped_ = size_ + 2 * page;
        void* map = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) fail("mmap");
        map_ = static_cast<std::uint8_t*>(map);
        start_ = map_ + page;
        if (size_ && mprotect(start_, size_, PROT_READ | PROT_WRITE) != 0) fail("mprotect");
    }
    ~GuardPages() { munmap(map_, mapped_); }
    GuardPages(const GuardPages&) = delete;
    GuardPages& operator=(const GuardPages&) = delete;

    std::span<std::uint8_t> all() const { return {start_, size_}; }

    // The first or the last of the bytes, flush on their protected page.
    std::span<std::uint8_t> first(std::size_t bytes) const { return all().first(bytes); }
    std::span<std::uint8_t> last(std::size_t bytes) const { return all().last(bytes); }

    // Makes the bytes read-only, so that a write is a crash, or writable again.
    void protect(bool read_only) const {
        const int access = read_only ? PROT_READ : PROT_READ | PROT_WRITE;
        if (mprotect(start_, size_, access) != 0) fail("mprotect");
    }

  private:
    [[noreturn]] static void fail(const char* call) {
        std::perror(call);
        std::abort();
    }

    std::uint8_t* map_;
    std::uint8_t* start_;
    std::size_t size_;
    std::size_t mapped_;
};

}  // namespace nq::test
