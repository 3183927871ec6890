#include "tool/input.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "standalone/utf8_decoder.hpp"
#include "tool/descriptor.hpp"

namespace nq::tool {
namespace {

// What is asked for at a time when the size is not known beforehand.
constexpr std::size_t kStep = std::size_t{1} << 16;

// The terminators of the configuration reader: U+000A and U+0015.
bool ends_line(NQChar character) noexcept { return character == 0x0a || character == 0x15; }

// Room for a regular file and one byte more, so that its end shows without a growth.
std::size_t first_room(int descriptor) noexcept {
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return kStep;
    return static_cast<std::size_t>(status.st_size) + 1;
}

}  // namespace

int read_whole(const std::string& name, std::string& bytes) {
    Descriptor file;
    if (name != "-") {
        file = Descriptor(open(name.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file) return errno;
    }
    const int descriptor = file ? file.get() : STDIN_FILENO;
    bytes.resize(first_room(descriptor));
    std::size_t length = 0;
    for (;;) {
        if (length == bytes.size()) bytes.resize(length + std::max(kStep, length / 2));
        const ssize_t count = read(descriptor, bytes.data() + length, bytes.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return errno;
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
    }
    bytes.resize(length);
    return 0;
}

std::optional<TextPosition> find_malformed(std::string_view bytes) noexcept {
    Utf8Decoder decoder;
    TextPosition position;  // of the character that begins or goes on
    for (const char byte : bytes) {
        NQChar character;
        switch (decoder.push(static_cast<uint8_t>(byte), character)) {
            case Utf8Decoder::Step::kMore:
                break;
            case Utf8Decoder::Step::kCharacter:
                ++position.column;
                if (ends_line(character)) position = {position.line + 1, 1};
                break;
            case Utf8Decoder::Step::kMalformed:
            case Utf8Decoder::Step::kMalformedBefore:
                return position;
        }
    }
    if (decoder.is_inside()) return position;
    return std::nullopt;
}

}  // namespace nq::tool
