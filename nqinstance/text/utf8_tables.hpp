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

}  // namespace nq
