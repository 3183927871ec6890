#pragma once
#include <cstdint>

#include "nqinstance/host/base.h"

namespace nq {

inline constexpr NQChar kReplacementCharacter = 0xFFFD;

inline constexpr bool is_scalar_value(NQChar code_point) noexcept {
    return code_point < 0xD800 || (code_point > 0xDFFF && code_point <= 0x10FFFF);
}

// How many bytes encode_utf8 stores.
inline constexpr unsigned utf8_bytes(NQChar code_point) noexcept {
    if (code_point < 0x80) return 1;
    if (code_point < 0x800) return 2;
    return code_point <= 0xFFFF || code_point > 0x10FFFF ? 3 : 4;
}

// Stores the UTF-8 bytes of a code point, with U+FFFD for what is no scalar value; their number.
inline unsigned encode_utf8(NQChar code_point, uint8_t* out) noexcept {
    if (!is_scalar_value(code_point)) code_point = kReplacementCharacter;
    const unsigned bytes = utf8_bytes(code_point);
    if (bytes == 1) {
        out[0] = static_cast<uint8_t>(code_point);
        return 1;
    }
    for (unsigned i = bytes; i-- > 1; code_point >>= 6) {
        out[i] = static_cast<uint8_t>(0x80 | (code_point & 0x3F));
    }
    constexpr uint8_t lead[] = {0, 0, 0xC0, 0xE0, 0xF0};
    out[0] = static_cast<uint8_t>(lead[bytes] | code_point);
    return bytes;
}

// A program may also hold the library's objects, whose decode_utf8 takes the same arguments.
inline namespace standalone {

struct DecodedCharacter {
    NQChar code_point;
    unsigned bytes;  // consumed, at least 1
    bool valid;      // false: one byte that begins no character, read as U+FFFD
};

// Reads the character at the start of `length` bytes, at least one.
inline DecodedCharacter decode_utf8(const uint8_t* text, uint64_t length) noexcept {
    constexpr DecodedCharacter bad{kReplacementCharacter, 1, false};
    const uint8_t first = text[0];
    if (first < 0x80) return {first, 1, true};
    const unsigned bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || bytes > length) return bad;
    NQChar code_point = first & (0x7Fu >> bytes);
    for (unsigned i = 1; i < bytes; ++i) {
        if ((text[i] & 0xC0) != 0x80) return bad;
        code_point = code_point << 6 | (text[i] & 0x3Fu);
    }
    if (utf8_bytes(code_point) != bytes || !is_scalar_value(code_point)) return bad;
    return {code_point, bytes, true};
}

}  // namespace standalone

// The Unicode property White_Space.
inline constexpr bool is_white_space(NQChar code_point) noexcept {
    if (code_point < 0x80) return (code_point >= 9 && code_point <= 13) || code_point == ' ';
    switch (code_point) {
        case 0x0085:
        case 0x00A0:
        case 0x1680:
        case 0x2028:
        case 0x2029:
        case 0x202F:
        case 0x205F:
        case 0x3000:
            return true;
        default:
            return code_point >= 0x2000 && code_point <= 0x200A;
    }
}

}  // namespace nq
