#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "nqinstance/host/status.h"

namespace nq {
class Host;
}

namespace nq::tool {

// All messages of the program, each a line on the standard error in one of two forms:
// "PLACE: what" where an input or output is meant, and "nqtool: what" else.

// "name:line:column", each as far as it is not 0.
std::string place_in(std::string_view name, uint64_t line, uint64_t column = 0);

// The text with control characters as \u00XX, so that it stays on its line and moves nothing on a
// terminal.
std::string on_one_line(std::string_view text);

// The text between apostrophes.
std::string quoted(std::string_view text);

void report(std::string_view place, std::string_view what);
void report(std::string_view what);
// A line that has its form already.
void report_line(std::string_view line);

// The same with the system's words for an errno value.
void report_error_number(std::string_view place, int error_number);
// The same with the words of the host for a status with which the library refused to go on.
void report_status(const Host& host, std::string_view place, NQStatus status);

}  // namespace nq::tool
