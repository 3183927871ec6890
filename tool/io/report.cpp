#include "tool/io/report.hpp"

#include <cstdio>
#include <string>
#include <system_error>

#include "standalone/base/unicode_escape.hpp"
#include "standalone/host.hpp"

namespace nq::tool {

std::string place_in(std::string_view name, uint64_t line, uint64_t column) {
    std::string place(name);
    if (line) place.append(1, ':').append(std::to_string(line));
    if (line && column) place.append(1, ':').append(std::to_string(column));
    return place;
}

std::string on_one_line(std::string_view text) {
    std::string line;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x20 && code != 0x7f) {
            line += byte;
        } else {
            append_unicode_escape(line, byte);
        }
    }
    return line;
}

std::string quoted(std::string_view text) { return std::string("'").append(text).append("'"); }

void report(std::string_view place, std::string_view what) {
    report_line(std::string(place) + ": " + std::string(what));
}

void report(std::string_view what) { report("nqtool", what); }

void report_error_number(std::string_view place, int error_number) {
    report(place, std::generic_category().message(error_number));
}

void report_status(const Host& host, std::string_view place, NQStatus status) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", status);
    report(place, host.message(status) + " (" + code + ")");
}

}  // namespace nq::tool
