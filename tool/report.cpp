#include "tool/report.hpp"

#include <cstdio>
#include <string>
#include <system_error>

namespace nq::tool {

void report_line(std::string_view line) {
    // In one piece, so that the lines of several programs do not mix.
    const std::string text = std::string(line) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

void report(std::string_view where, std::string_view what) {
    report_line(std::string(where) + ": " + std::string(what));
}

void report_error_number(std::string_view where, int error_number) {
    report(where, std::generic_category().message(error_number));
}

}  // namespace nq::tool
