#include "standalone/json/escape.hpp"

namespace nq {
namespace {

void append_control(std::string& out, char byte) {
    constexpr char kDigits[] = "0123456789abcdef";
    switch (byte) {
        case '\b':
            out += "\\b";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out += "\\u00";
            out += kDigits[byte >> 4];
            out += kDigits[byte & 15];
    }
}

}  // namespace

void append_json_escaped(std::string& out, std::string_view text) {
    for (const char byte : text) {
        if (is_control(byte)) {
            append_control(out, byte);
        } else {
            if (byte == '"' || byte == '\\') out += '\\';
            out += byte;
        }
    }
}

void append_without_controls(std::string& out, std::string_view json) {
    for (const char byte : json) {
        if (is_control(byte)) {
            append_control(out, byte);
        } else {
            out += byte;
        }
    }
}

}  // namespace nq
