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

// The sequence length that a byte announces. Continuation bytes count as characters of their own,
// and the lead bytes of the abandoned five- and six-byte forms keep their lengths.
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

// Whether a byte is 0x80..0xBF, the bytes that follow a lead byte.
constexpr bool continues_utf8(std::uint8_t byte) noexcept { return (byte & 0xC0) == 0x80; }

// The lead bytes after which not every continuation byte makes a well-formed character.
constexpr bool limits_second_utf8(std::uint8_t lead) noexcept {
    return lead == 0xE0 || lead == 0xED || lead == 0xF0;
}

// Whether a byte may follow a lead byte: the others continue nothing, or make an overlong form or
// a surrogate. There is no such limit after 0xF4.
constexpr bool fits_second_utf8(std::uint8_t lead, std::uint8_t byte) noexcept {
    const std::uint8_t first = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const std::uint8_t last = lead == 0xED ? 0x9F : 0xBF;
    return byte >= first && byte <= last;
}

}  // namespace nq
