#pragma once
#include <cstdarg>
#include <string>

#include "nqinstance/host/base.h"

namespace nq::test {

// The text of an ASCII format with the directives %d %lld %u %llu %f %c and %%, each with a width
// that a zero may precede. Integers and characters are fetched as 64 bits, as the library passes
// them. Anything else is a fault.
std::string format_text(const NQChar* format, std::uint64_t length, va_list arguments);

}  // namespace nq::test
