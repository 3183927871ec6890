#include "tool/io/report.hpp"

#include <cstdio>
#include <string>
#include <system_error>

namespace nq::tool {

void report_line(std::string_view line) {
    // In one piece, so that the lines of several programs do not mix.
    const std::string text = std::string(line) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

std::string place_in(std::string_view name, uint64_t line, uint64_t column) {
    std::string place(name);
    if (line) place.append(1, ':').append(std::to_string(line));
    if (line && column) place.append(1, ':').append(std::to_string(column));
    return place;
}

std::string on_one_line(std::string_view text) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string line;
    for (const char byte : text) {
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x20 && code != 0x7f) {
            line += byte;
        } else {
            line.append("\\u00").append(1, kHex[code >> 4]).append(1, kHex[code & 15]);
        }
    }
    return line;
}

void report(std::string_view where, std::string_view what) {
    report_line(std::string(where) + ": " + std::string(what));
}

void report_error_number(std::string_view where, int error_number) {
    report(where, std::generic_category().message(error_number));
}

}  // namespace nq::tool
