#pragma once
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "nqinstance/host/base.h"

namespace nq {

inline constexpr NQChar kReplacementCharacter = 0xFFFD;

inline constexpr bool is_scalar_value(NQChar code_point) noexcept {
    return code_point <= 0x10FFFF && !U_IS_SURROGATE(code_point);
}

// How many bytes encode_utf8 stores.
inline constexpr unsigned utf8_bytes(NQChar code_point) noexcept {
    return is_scalar_value(code_point) ? U8_LENGTH(code_point) : U8_LENGTH(kReplacementCharacter);
}

// Stores the UTF-8 bytes of a code point, with U+FFFD for what is no scalar value; their number.
inline unsigned encode_utf8(NQChar code_point, uint8_t* out) noexcept {
    if (!is_scalar_value(code_point)) code_point = kReplacementCharacter;
    unsigned bytes = 0;
    U8_APPEND_UNSAFE(out, bytes, code_point);
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
    const auto most = static_cast<unsigned>(std::min<uint64_t>(length, U8_MAX_LENGTH));
    unsigned bytes = 0;
    int32_t code_point;
    U8_NEXT(text, bytes, most, code_point);
    if (code_point < 0) return {kReplacementCharacter, 1, false};
    return {static_cast<NQChar>(code_point), bytes, true};
}

}  // namespace standalone

// The text without the characters at its ends that have the Unicode property White_Space.
std::string_view trimmed(std::string_view text) noexcept;

// The text behind its byte-order mark, if it begins with one.
inline std::string_view without_byte_order_mark(std::string_view text) noexcept {
    constexpr std::string_view kMark = "\xef\xbb\xbf";
    if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
    return text;
}

}  // namespace nq
