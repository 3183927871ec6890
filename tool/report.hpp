#pragma once
#include <string_view>

namespace nq::tool {

// A line on the standard error.
void report_line(std::string_view line);

// "where: what".
void report(std::string_view where, std::string_view what);

// The same with the system's words for an errno value.
void report_error_number(std::string_view where, int error_number);

}  // namespace nq::tool
