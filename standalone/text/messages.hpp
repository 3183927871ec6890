#pragma once
#include <cstdarg>
#include <string>
#include <string_view>

#include "nqinstance/host/status.h"

namespace nq {

// The English text of a status or message code, with a directive of format.hpp for each of its
// arguments; empty when the code is not known. Only the messages of the numeric checks have
// arguments: the value, then the bound that it misses, as 64-bit integers or doubles.
std::string_view message_text(NQStatus code) noexcept;

// The message with its arguments in place of the text of `out`; a double has up to 17 digits, as
// many as tell it from all others. An unknown code gives a text that
// names it. Statuses as of format_utf8.
NQStatus format_message(NQStatus code, va_list arguments, std::string& out) noexcept;

}  // namespace nq
