#pragma once
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "nqinstance/host/base.h"
#include "nqinstance/host/status.h"
#include "nqinstance/text/utf8_tables.hpp"

// One character at a time, inline: the exported readers and writers, the conversion loops and
// whatever else of the library walks over text all use these.
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

inline void store16(std::uint8_t* bytes, std::uint32_t unit, ByteOrder order) noexcept {
    const auto low = static_cast<std::uint16_t>(unit);
    const std::uint16_t stored = order == ByteOrder::little ? low : __builtin_bswap16(low);
    std::memcpy(bytes, &stored, sizeof stored);
}

inline void store32(std::uint8_t* bytes, std::uint32_t unit, ByteOrder order) noexcept {
    const std::uint32_t stored = order == ByteOrder::little ? unit : __builtin_bswap32(unit);
    std::memcpy(bytes, &stored, sizeof stored);
}

// The unit at `bytes`, of which only `available` are there; the missing ones count as zero.
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

// What stands at the start of the text when that is no whole character.
inline Decoded reject_utf8(const std::uint8_t* text, std::uint64_t available) noexcept {
    if (available == 0 || begins_utf8(text[0])) {
        return {kReplacement, NQ_STATUS_TRUNCATED, available};
    }
    const std::uint64_t most = std::min<std::uint64_t>(kUtf8Length[text[0]], available);
    std::uint64_t count = 1;
    while (count < most && continues_utf8(text[count])) ++count;
    return {kReplacement, NQ_STATUS_MALFORMED, count};
}

// The character at the start of the text. Only the lead byte is judged: what follows it is taken
// for continuation bytes, and overlong forms, surrogates and values above U+10FFFF pass.
inline Decoded decode_utf8(const std::uint8_t* text, std::uint64_t available) noexcept {
    // Branches, which are guessed, where the length's table would be waited for.
    if (available == 0) return reject_utf8(text, available);
    const std::uint32_t lead = text[0];
    const auto tail = [text](int index) { return text[index] & 0x3Fu; };
    if (lead < 0x80) return {lead, NQ_STATUS_OK, 1};
    if (lead < 0xE0) {
        if (lead < 0xC2 || available < 2) return reject_utf8(text, available);
        return {(lead & 0x1F) << 6 | tail(1), NQ_STATUS_OK, 2};
    }
    if (lead < 0xF0) {
        if (available < 3) return reject_utf8(text, available);
        return {(lead & 0x0F) << 12 | tail(1) << 6 | tail(2), NQ_STATUS_OK, 3};
    }
    if (lead > 0xF4 || available < 4) return reject_utf8(text, available);
    return {(lead & 0x07) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3), NQ_STATUS_OK, 4};
}

// The UTF-8 bytes that a code point takes, whatever its value.
constexpr std::uint32_t utf8_size(NQChar code_point) noexcept {
    return 1u + (code_point >= 0x80) + (code_point >= 0x800) + (code_point >= 0x10000);
}

// Stores a code point of any value and returns the bytes; stores nothing and returns 0 where they
// do not fit. From U+200000 up the high bits overflow into the lead's mark.
inline std::uint32_t encode_utf8(NQChar code_point, std::uint8_t* target,
                                 std::uint64_t room) noexcept {
    const auto tail = [code_point](int shift) {
        return static_cast<std::uint8_t>(0x80 | (code_point >> shift & 0x3F));
    };
    if (code_point < 0x80) {
        if (room < 1) return 0;
        target[0] = static_cast<std::uint8_t>(code_point);
        return 1;
    }
    if (code_point < 0x800) {
        if (room < 2) return 0;
        target[0] = static_cast<std::uint8_t>(0xC0 + (code_point >> 6));
        target[1] = tail(0);
        return 2;
    }
    if (code_point < 0x10000) {
        if (room < 3) return 0;
        target[0] = static_cast<std::uint8_t>(0xE0 + (code_point >> 12));
        target[1] = tail(6);
        target[2] = tail(0);
        return 3;
    }
    if (room < 4) return 0;
    target[0] = static_cast<std::uint8_t>(0xF0 + (code_point >> 18));
    target[1] = tail(12);
    target[2] = tail(6);
    target[3] = tail(0);
    return 4;
}

constexpr bool is_high_surrogate(std::uint32_t unit) noexcept { return (unit & 0xFC00) == 0xD800; }
constexpr bool is_low_surrogate(std::uint32_t unit) noexcept { return (unit & 0xFC00) == 0xDC00; }
constexpr bool is_surrogate(std::uint32_t unit) noexcept { return (unit & 0xF800) == 0xD800; }

// The character at the start of the text. A pair is consumed whole even where its second unit is
// not a low surrogate or is missing.
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

// The two units of a code point from U+10000 up; above U+10FFFF they are cut to 16 bits.
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
