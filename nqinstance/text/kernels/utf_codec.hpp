#pragma once
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "nqinstance/host/base.h"
#include "nqinstance/host/status.h"
#include "nqinstance/text/kernels/utf8_tables.hpp"

// Decodes and encodes one character at a time, inline, for the exported readers and writers, the
// conversion loops and all else in the library that walks over text.
namespace nq {

static_assert(std::endian::native == std::endian::little);

enum class ByteOrder : std::uint8_t { little, big };

inline constexpr NQChar kReplacement = 0xFFFD;

inline std::uint16_t load16(const std::uint8_t* bytes, ByteOrder order) noexcept {
    std::uint16_t unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return order == ByteOrder::little ? unit : __builtin_bswap16(unit);
}

inline std::uint32_t load32(const std::uint8_t* bytes, ByteOrder order) noexcept {
    std::uint32_t unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return order == ByteOrder::little ? unit : __builtin_bswap32(unit);
}

inline std::uint64_t load64(const std::uint8_t* bytes) noexcept {
    std::uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

// The top bit of each of eight bytes, which is clear in ASCII and set in every other byte.
inline constexpr std::uint64_t kTopBits = 0x8080808080808080;

constexpr bool is_ascii(std::uint64_t eight) noexcept { return (eight & kTopBits) == 0; }

inline void store16(std::uint8_t* bytes, std::uint32_t unit, ByteOrder order) noexcept {
    const auto low = static_cast<std::uint16_t>(unit);
    const std::uint16_t stored = order == ByteOrder::little ? low : __builtin_bswap16(low);
    std::memcpy(bytes, &stored, sizeof stored);
}

inline void store32(std::uint8_t* bytes, std::uint32_t unit, ByteOrder order) noexcept {
    const std::uint32_t stored = order == ByteOrder::little ? unit : __builtin_bswap32(unit);
    std::memcpy(bytes, &stored, sizeof stored);
}

// Loads a unit of which only `available` bytes are there; the missing ones count as zero.
inline std::uint32_t load32_padded(const std::uint8_t* bytes, std::uint64_t available,
                                   ByteOrder order) noexcept {
    if (available >= 4) return load32(bytes, order);
    std::uint8_t padded[4] = {};
    for (std::uint64_t i = 0; i < available; ++i) padded[i] = bytes[i];
    return load32(padded, order);
}

struct Decoded {
    NQChar code_point;  // U+FFFD with any status but success
    NQStatus status;
    std::uint64_t consumed;  // bytes
};

// The status and the size of what stands at the start of the text when that is no whole character.
inline Decoded reject_utf8(const std::uint8_t* text, std::uint64_t available) noexcept {
    if (available == 0 || begins_utf8(text[0])) {
        return {kReplacement, NQ_STATUS_TRUNCATED, available};
    }
    const std::uint64_t most = std::min<std::uint64_t>(kUtf8Length[text[0]], available);
    std::uint64_t count = 1;
    while (count < most && continues_utf8(text[count])) ++count;
    return {kReplacement, NQ_STATUS_MALFORMED, count};
}

// Decode the character at the start of the text, whose two, three or four bytes are there.
//   110a'aaaa 10bb'bbbb -> 0000'0aaa aabb'bbbb
inline NQChar decode_two(const std::uint8_t* text) noexcept {
    return (text[0] & 0x1Fu) << 6 | (text[1] & 0x3Fu);
}
//   1110'aaaa 10bb'bbbb 10cc'cccc -> aaaa'bbbb bbcc'cccc
inline NQChar decode_three(const std::uint8_t* text) noexcept {
    return (text[0] & 0x0Fu) << 12 | (text[1] & 0x3Fu) << 6 | (text[2] & 0x3Fu);
}
//   1111'0aaa 10bb'bbbb 10cc'cccc 10dd'dddd -> 000a'aabb bbbb'cccc ccdd'dddd
inline NQChar decode_four(const std::uint8_t* text) noexcept {
    return (text[0] & 0x07u) << 18 | (text[1] & 0x3Fu) << 12 | (text[2] & 0x3Fu) << 6 |
           (text[3] & 0x3Fu);
}

// Decodes the character at the start of the text. Only the lead byte is judged: the bytes behind it
// count as its continuation bytes whatever they are, so overlong forms, surrogates and values above
// U+10FFFF pass.
inline Decoded decode_utf8(const std::uint8_t* text, std::uint64_t available) noexcept {
    // Branches, because the processor predicts them; a look-up of the length it has to wait for.
    if (available == 0) return reject_utf8(text, available);
    const std::uint32_t lead = text[0];
    if (lead < 0x80) return {lead, NQ_STATUS_OK, 1};
    if (lead < 0xE0) {
        if (lead < 0xC2 || available < 2) return reject_utf8(text, available);
        return {decode_two(text), NQ_STATUS_OK, 2};
    }
    if (lead < 0xF0) {
        if (available < 3) return reject_utf8(text, available);
        return {decode_three(text), NQ_STATUS_OK, 3};
    }
    if (lead > 0xF4 || available < 4) return reject_utf8(text, available);
    return {decode_four(text), NQ_STATUS_OK, 4};
}

// The number of bytes that a code point of any value takes in UTF-8.
constexpr std::uint32_t utf8_size(NQChar code_point) noexcept {
    return 1u + (code_point >= 0x80) + (code_point >= 0x800) + (code_point >= 0x10000);
}

// Store a code point that takes two, three or four bytes, for which there is room. Words are
// little-endian, so that the lead is in the lowest byte; the pictures have the highest bit first.
//   0000'0aaa aabb'bbbb -> 10bb'bbbb 110a'aaaa
constexpr std::uint32_t two_bytes_of(NQChar code_point) noexcept {
    return (0x80C0 | code_point >> 6) | (code_point & 0x3F) << 8;
}
inline void encode_two(NQChar code_point, std::uint8_t* target) noexcept {
    store16(target, two_bytes_of(code_point), ByteOrder::little);
}
//   aaaa'bbbb bbcc'cccc -> 10bb'bbbb 1110'aaaa, then 10cc'cccc
inline void encode_three(NQChar code_point, std::uint8_t* target) noexcept {
    store16(target, (0x80E0 | code_point >> 12) | (code_point & 0xFC0) << 2, ByteOrder::little);
    target[2] = static_cast<std::uint8_t>(0x80 | (code_point & 0x3F));
}
//   000a'aabb bbbb'cccc ccdd'dddd -> 10dd'dddd 10cc'cccc 10bb'bbbb 1111'0aaa
// From U+200000 up the high bits are added to the mark 1111'0000 of the lead and overflow it.
inline void encode_four(NQChar code_point, std::uint8_t* target) noexcept {
    const std::uint32_t lead = (0xF0 + (code_point >> 18)) & 0xFF;
    store32(target,
            (0x80808000 | lead) | (code_point >> 4 & 0x3F00) | (code_point & 0xFC0) << 10 |
                (code_point & 0x3F) << 24,
            ByteOrder::little);
}

// Stores a code point of any value and returns its size in bytes. Stores nothing and returns 0
// where it does not fit.
inline std::uint32_t encode_utf8(NQChar code_point, std::uint8_t* target,
                                 std::uint64_t room) noexcept {
    if (code_point < 0x80) {
        if (room < 1) return 0;
        target[0] = static_cast<std::uint8_t>(code_point);
        return 1;
    }
    if (code_point < 0x800) {
        if (room < 2) return 0;
        encode_two(code_point, target);
        return 2;
    }
    if (code_point < 0x10000) {
        if (room < 3) return 0;
        encode_three(code_point, target);
        return 3;
    }
    if (room < 4) return 0;
    encode_four(code_point, target);
    return 4;
}

constexpr bool is_high_surrogate(std::uint32_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }
constexpr bool is_low_surrogate(std::uint32_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }
constexpr bool is_surrogate(std::uint32_t unit) noexcept { return (unit & 0xF800) == 0xD800; }

// Decodes the character at the start of the text. A high surrogate consumes 4 bytes even where no
// low surrogate or nothing at all follows.
//   1101'10aa aaaa'aaaa 1101'11bb bbbb'bbbb -> 0x10000 + aaaa aaaa'aabb bbbb'bbbb
inline Decoded decode_utf16(const std::uint8_t* text, std::uint64_t available,
                            ByteOrder order) noexcept {
    if (available < 2) return {kReplacement, NQ_STATUS_TRUNCATED, available};
    const std::uint32_t unit = load16(text, order);
    if (!is_surrogate(unit)) return {unit, NQ_STATUS_OK, 2};
    if (is_low_surrogate(unit)) return {kReplacement, NQ_STATUS_MALFORMED, 2};
    const std::uint32_t second = available < 4 ? 0 : load16(text + 2, order);
    if (!is_low_surrogate(second)) return {kReplacement, NQ_STATUS_MALFORMED, 4};
    return {0x10000 + ((unit & 0x3FF) << 10 | (second & 0x3FF)), NQ_STATUS_OK, 4};
}

// The two units of a code point from U+10000 up. Above U+10FFFF the high one does not fit into 16
// bits; a store cuts it.
constexpr std::uint32_t high_surrogate(NQChar code_point) noexcept {
    return 0xD800 + ((code_point - 0x10000) >> 10);
}
constexpr std::uint32_t low_surrogate(NQChar code_point) noexcept {
    return 0xDC00 + ((code_point - 0x10000) & 0x3FF);
}

inline void store_surrogate_pair(std::uint8_t* target, NQChar code_point,
                                 ByteOrder order) noexcept {
    store16(target, high_surrogate(code_point), order);
    store16(target + 2, low_surrogate(code_point), order);
}

}  // namespace nq
