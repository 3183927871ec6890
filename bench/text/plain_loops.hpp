#pragma once
#include <cstddef>
#include <cstdint>

// What a user would write without the library. Built in a file of its own at the ordinary level of
// optimisation, so that nothing is known of the arguments.
namespace nq::bench::plain {

std::size_t find_other(const std::uint8_t* bytes, std::size_t length, std::uint8_t value);
std::size_t find_other(const std::uint32_t* units, std::size_t count, std::uint32_t value);
bool are_all(const std::uint8_t* bytes, std::size_t length, std::uint8_t value);
bool are_all(const std::uint32_t* units, std::size_t count, std::uint32_t value);
bool has_nan(const double* values, std::size_t count);

// Character by character, to and from UTF-32 of the machine's order; stop at a malformed
// character or at the end of the room. Return the bytes produced.
std::size_t utf8_to_utf32(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                          std::size_t capacity);
std::size_t utf32_to_utf8(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                          std::size_t capacity);
std::size_t utf16_to_utf32(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                           std::size_t capacity);
std::size_t utf32_to_utf16(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                           std::size_t capacity);

// Steps from lead byte to lead byte.
std::size_t count_characters(const std::uint8_t* text, std::size_t bytes);

void lower_units(std::uint32_t* units, std::size_t count);  // with towlower

}  // namespace nq::bench::plain
