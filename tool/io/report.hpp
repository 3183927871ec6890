#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace nq::tool {

// A line on the standard error.
void report_line(std::string_view line);

// "name:line:column", each as far as it is not 0.
std::string place_in(std::string_view name, uint64_t line, uint64_t column = 0);

// The text with control characters as \u00XX, so that it stays on its line and moves nothing on a
// terminal.
std::string on_one_line(std::string_view text);

// "where: what".
void report(std::string_view where, std::string_view what);

// The same with the system's words for an errno value.
void report_error_number(std::string_view where, int error_number);

}  // namespace nq::tool
