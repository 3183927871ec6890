#pragma once
#include <cstdarg>
#include <string>
#include <string_view>

#include "nqinstance/host/base.h"
#include "nqinstance/host/status.h"

namespace nq {

// printf-like formatting, always in the C locale. A directive is
//
//     % flags width .precision size conversion
//
// flags       - + space 0 #
// width and   a decimal number or *, which takes a 64-bit argument (negative: the flag - and its
// precision   absolute value; no precision); at most 2147483647. They count characters.
// size        hh, h: the integer is narrowed as in C; l with s: NQChar text; otherwise l, ll, j, z,
//             t, L change nothing
// d i u o x X an integer, fetched as 64 bits whatever the size says: the caller extends it
// c           a character, fetched as 64 bits
// s           zero-terminated UTF-8 text (U+FFFD for what is malformed); with l, or as S,
//             zero-terminated NQChar text. With a precision no more than that many characters
//             are read. A null pointer gives "(null)".
// f F e E g G a A   a double, rounded exactly. Not-a-number is "nan", whatever its sign.
// p           a pointer: 0x and hexadecimal digits, "(nil)" for null
// %           a percent sign; its directive is "%%" with nothing between
//
// Every other directive, %n included, and a format that ends inside a directive give
// NQ_STATUS_INVALID_ARGUMENT; what stood before it was formatted.

// Formats `format_length` units into a buffer of `capacity` units, without a terminator, and
// stores the units written in `*out_length`.
// NQ_STATUS_BUFFER_TOO_SMALL: the output does not fit. The buffer is full with its beginning.
NQStatus format_units(const NQChar* format, uint64_t format_length, NQChar* buffer,
                      uint64_t capacity, uint64_t* out_length, va_list arguments) noexcept;

// The same from and to UTF-8 text; `out` is replaced. NQ_STATUS_NO_MEMORY: `out` holds the
// beginning.
NQStatus format_utf8(std::string_view format, va_list arguments, std::string& out) noexcept;

}  // namespace nq
