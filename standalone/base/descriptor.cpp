#include "standalone/base/descriptor.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace nq {
namespace {

constexpr uint64_t kLeastRoom = uint64_t{1} << 16;

// A guess, since some files say 0 and others grow; one byte more than a regular file has, so that
// its end shows without the text being moved.
uint64_t first_room(int descriptor) noexcept {
    struct stat facts;
    if (::fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) return kLeastRoom;
    return std::max(static_cast<uint64_t>(facts.st_size) + 1, uint64_t{4096});
}

}  // namespace

Descriptor open_for_reading(const char* path) noexcept {
    for (;;) {
        const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
        if (descriptor >= 0 || errno != EINTR) return Descriptor(descriptor);
    }
}

ssize_t read_some(int descriptor, void* target, uint64_t room) noexcept {
    for (;;) {
        const ssize_t count = ::read(descriptor, target, std::min<uint64_t>(room, SSIZE_MAX));
        if (count >= 0) return count;
        if (errno == EAGAIN) {
            pollfd wait{.fd = descriptor, .events = POLLIN, .revents = 0};
            if (::poll(&wait, 1, -1) >= 0) continue;
        }
        if (errno != EINTR) return -1;
    }
}

int read_whole(int descriptor, std::string& bytes) {
    bytes.resize(first_room(descriptor));
    uint64_t length = 0;
    for (;;) {
        if (length == bytes.size()) bytes.resize(length * 2);
        const ssize_t count = read_some(descriptor, bytes.data() + length, bytes.size() - length);
        if (count < 0) return errno;
        if (count == 0) break;
        length += static_cast<uint64_t>(count);
    }
    bytes.resize(length);
    return 0;
}

}  // namespace nq
