#pragma once
#include <string>

namespace nq {

// Adds a character up to U+00FF as an escape of the form \u001f.
inline void append_unicode_escape(std::string& out, char character) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(character);
    out += "\\u00";
    out += kDigits[code >> 4];
    out += kDigits[code & 15];
}

}  // namespace nq
