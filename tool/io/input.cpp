#include "tool/io/input.hpp"

#include <cerrno>

#include "standalone/base/utf8.hpp"
#include "tool/io/exit_status.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

// The terminators of the configuration reader: U+000A and U+0015.
bool ends_line(NQChar character) noexcept { return character == 0x0a || character == 0x15; }

}  // namespace

std::string shown_input_name(const std::string& name) { return name == "-" ? "<stdin>" : name; }

InputFile::InputFile(const std::string& name) : shown_name_(shown_input_name(name)) {
    if (name == "-") return;
    file_ = open_for_reading(name.c_str());
    if (!file_) fail(errno);
}

std::size_t InputFile::read(char* target, std::size_t room) {
    const ssize_t count = read_some(descriptor(), target, room);
    if (count < 0) fail(errno);
    return static_cast<std::size_t>(count);
}

std::string InputFile::read_whole() {
    std::string bytes;
    if (const int error_number = nq::read_whole(descriptor(), bytes)) fail(error_number);
    return bytes;
}

void InputFile::fail(int error_number) const {
    report_error_number(shown_name_, error_number);
    throw InputEnded{{ExitStatus::kTrouble}};
}

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
