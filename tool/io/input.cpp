#include "tool/io/input.hpp"

#include <cerrno>

#include "standalone/base/descriptor.hpp"
#include "standalone/base/utf8.hpp"

namespace nq::tool {
namespace {

// The terminators of the configuration reader: U+000A and U+0015.
bool ends_line(NQChar character) noexcept { return character == 0x0a || character == 0x15; }

}  // namespace

int read_input(const std::string& name, std::string& bytes) {
    if (name == "-") return read_whole(STDIN_FILENO, bytes);
    const Descriptor file = open_for_reading(name.c_str());
    return file ? read_whole(file.get(), bytes) : errno;
}

std::vector<std::string> inputs_of(const std::vector<std::string>& files) {
    return files.empty() ? std::vector<std::string>{"-"} : files;
}

std::string shown_input_name(const std::string& name) { return name == "-" ? "<stdin>" : name; }

std::optional<TextPosition> find_malformed(std::string_view bytes) noexcept {
    TextPosition position;  // of the character that follows
    while (!bytes.empty()) {
        const auto character =
            decode_utf8(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        if (!character.valid) return position;
        ++position.column;
        if (ends_line(character.code_point)) position = {position.line + 1, 1};
        bytes.remove_prefix(character.bytes);
    }
    return std::nullopt;
}

}  // namespace nq::tool
