#include "standalone/json/escape.hpp"

#include "standalone/base/unicode_escape.hpp"

namespace nq {
namespace {

void append_control(std::string& out, char byte) {
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
            append_unicode_escape(out, byte);
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
