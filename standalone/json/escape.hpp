#pragma once
#include <string>
#include <string_view>

namespace nq {

// Adds the text as JSON has it between quotes: the double quote, the backslash and all control
// characters escaped.
void append_json_escaped(std::string& out, std::string_view text);

inline std::string json_escaped(std::string_view text) {
    std::string escaped;
    append_json_escaped(escaped, text);
    return escaped;
}

// Adds JSON text whose strings may hold control characters as they are, which get their escapes.
// There must be none between the strings.
void append_without_controls(std::string& out, std::string_view json);

inline bool is_control(char byte) noexcept { return static_cast<unsigned char>(byte) < 0x20; }

}  // namespace nq
