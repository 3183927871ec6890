#pragma once
#include <algorithm>

#include "nqinstance/text/kernels.hpp"

// The loops that define the answers, for all bodies: the generic one is made of them, the others
// finish with them what they leave over. Each conversion stops once `most` bytes of the source are
// taken, so that a body may have a stretch converted that it cannot do itself.
namespace nq::loops {

inline constexpr std::uint64_t kToTheEnd = UINT64_MAX;

inline std::uint8_t upper(std::uint8_t byte) noexcept {
    return static_cast<std::uint8_t>(byte - (static_cast<std::uint8_t>(byte - 'a') < 26 ? 32 : 0));
}

inline std::uint8_t lower(std::uint8_t byte) noexcept {
    return static_cast<std::uint8_t>(byte + (static_cast<std::uint8_t>(byte - 'A') < 26 ? 32 : 0));
}

inline void to_upper(std::uint8_t* text, std::size_t length) noexcept {
    for (std::size_t i = 0; i < length; ++i) text[i] = upper(text[i]);
}

inline void to_lower(std::uint8_t* text, std::size_t length) noexcept {
    for (std::size_t i = 0; i < length; ++i) text[i] = lower(text[i]);
}

template <class Element>
inline std::size_t find_other(const Element* elements, std::size_t count, Element value) noexcept {
    std::size_t i = 0;
    while (i < count && elements[i] == value) ++i;
    return i;
}

inline std::size_t find_unequal(const NQChar* a, const NQChar* b, std::size_t count) noexcept {
    std::size_t i = 0;
    while (i < count && a[i] == b[i]) ++i;
    return i;
}

inline std::size_t find_nan(const double* values, std::size_t count) noexcept {
    std::size_t i = 0;
    while (i < count && !__builtin_isnan(values[i])) ++i;
    return i;
}

inline std::uint64_t utf8_bytes(const NQChar* units, std::size_t count) noexcept {
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < count; ++i) bytes += utf8_size(units[i]);
    return bytes;
}

inline void swap_units(const std::uint8_t* source, std::uint8_t* target,
                       std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        store32(target + 4 * i, load32(source + 4 * i, ByteOrder::big), ByteOrder::little);
    }
}

inline std::uint64_t stop_after(const Cursor& cursor, std::uint64_t most) noexcept {
    return cursor.left - std::min(cursor.left, most);
}

inline void advance(Cursor& cursor, std::uint64_t taken, std::uint64_t written) noexcept {
    cursor.source += taken;
    cursor.left -= taken;
    cursor.target += written;
    cursor.room -= written;
}

inline NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out, std::uint64_t most) noexcept {
    const std::uint64_t stop = stop_after(cursor, most);
    Cursor at = cursor;
    NQStatus status = NQ_STATUS_OK;
    bool try_ascii = true;  // not while one character after the other is outside ASCII
    while (at.left > stop && at.room >= 4) {
        if (try_ascii && at.left >= 8 && at.room >= 32) {
            std::uint64_t eight;
            std::memcpy(&eight, at.source, sizeof eight);
            if ((eight & 0x8080808080808080) == 0) {
                for (int i = 0; i < 8; ++i) store32(at.target + 4 * i, at.source[i], out);
                advance(at, 8, 32);
                continue;
            }
        }
        const Decoded character = decode_utf8(at.source, at.left);
        status = character.status;
        if (status) break;
        store32(at.target, character.code_point, out);
        advance(at, character.consumed, 4);
        try_ascii = character.consumed == 1;
    }
    cursor = at;
    return status;
}

inline NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out,
                               std::uint64_t most) noexcept {
    const std::uint64_t stop = stop_after(cursor, most);
    Cursor at = cursor;
    NQStatus status = NQ_STATUS_OK;
    while (at.left > stop && at.room >= 4) {
        const Decoded character = decode_utf16(at.source, at.left, in);
        status = character.status;
        if (status) break;
        store32(at.target, character.code_point, out);
        advance(at, character.consumed, 4);
    }
    cursor = at;
    return status;
}

inline NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in, std::uint64_t most) noexcept {
    const std::uint64_t stop = stop_after(cursor, most);
    Cursor at = cursor;
    NQStatus status = NQ_STATUS_OK;
    bool try_ascii = true;
    while (at.left > stop && at.room > 0) {
        if (try_ascii && at.left >= 32 && at.room >= 8) {
            std::uint32_t units[8];
            std::memcpy(units, at.source, sizeof units);
            std::uint32_t all = 0;
            for (const std::uint32_t unit : units) all |= unit;
            if ((in == ByteOrder::little ? all : __builtin_bswap32(all)) < 0x80) {
                const int byte = in == ByteOrder::little ? 0 : 3;
                for (int i = 0; i < 8; ++i) at.target[i] = at.source[4 * i + byte];
                advance(at, 32, 8);
                continue;
            }
        }
        const NQChar code_point = load32(at.source, in);
        const std::uint32_t size = encode_utf8(code_point, at.target, at.room);
        if (size == 0) {
            status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        advance(at, 4, size);
        try_ascii = size == 1;
    }
    cursor = at;
    return status;
}

inline NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs,
                               std::uint64_t most) noexcept {
    const std::uint64_t stop = stop_after(cursor, most);
    Cursor at = cursor;
    NQStatus status = NQ_STATUS_OK;
    while (at.left > stop && at.room >= 2) {
        const NQChar code_point = load32(at.source, in);
        if (!pairs || code_point < 0x10000) {
            store16(at.target, code_point, out);
            advance(at, 4, 2);
            continue;
        }
        if (at.room < 4) {
            status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        store_surrogate_pair(at.target, code_point, out);
        advance(at, 4, 4);
    }
    cursor = at;
    return status;
}

}  // namespace nq::loops
