#pragma once
#include <array>
#include <cstddef>
#include <cstdint>

namespace nq {

namespace detail {

template <class Entry, class Rule>
consteval std::array<Entry, 256> byte_table(Rule rule) {
    std::array<Entry, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        table[byte] = static_cast<Entry>(rule(byte));
    }
    return table;
}

}  // namespace detail

// The length of the sequence that a byte announces. A continuation byte counts as a character of
// its own; the lead bytes of the abandoned forms of five and six bytes keep their lengths.
inline constexpr auto kUtf8Length = detail::byte_table<std::uint8_t>([](std::size_t byte) {
    return byte < 0xC0   ? 1
           : byte < 0xE0 ? 2
           : byte < 0xF0 ? 3
           : byte < 0xF8 ? 4
           : byte < 0xFC ? 5
                         : 6;
});

// Whether a byte may begin a well-formed character.
constexpr bool begins_utf8(std::uint8_t byte) noexcept {
    return byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4);
}

// Whether a byte is a continuation byte, 0x80..0xBF.
constexpr bool continues_utf8(std::uint8_t byte) noexcept { return (byte & 0xC0) == 0x80; }

// The lead bytes after which not every continuation byte makes a well-formed character.
constexpr bool limits_second_utf8(std::uint8_t lead) noexcept {
    return lead == 0xE0 || lead == 0xED || lead == 0xF0;
}

// Whether a byte may be the second one after this lead byte. Bytes that are refused are no
// continuation bytes, or they would make an overlong form or a surrogate. After 0xF4 every
// continuation byte passes, also those that lead above U+10FFFF.
constexpr bool fits_second_utf8(std::uint8_t lead, std::uint8_t byte) noexcept {
    const std::uint8_t first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const std::uint8_t last = lead == 0xED ? 0x9F : 0xBF;
    return byte >= first && byte <= last;
}

}  // namespace nq
