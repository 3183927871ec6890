#pragma once
#include <algorithm>
#include <bit>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/table.hpp"

// The scalar loops that define the answers. The generic body consists of them; every other body
// calls them for what is left behind its last block. Each conversion stops once it has consumed
// `most` bytes of the source, so that a body can have a stretch converted that its blocks cannot.
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
inline std::size_t find_first_not(const Element* elements, std::size_t count,
                                  Element value) noexcept {
    std::size_t i = 0;
    while (i < count && elements[i] == value) ++i;
    return i;
}

inline std::size_t first_mismatch(const NQChar* a, const NQChar* b, std::size_t count) noexcept {
    std::size_t i = 0;
    while (i < count && a[i] == b[i]) ++i;
    return i;
}

inline std::int32_t has_nan(const double* values, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count; ++i) {
        if (__builtin_isnan(values[i])) return 1;
    }
    return 0;
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

inline void advance(Cursor& cursor, std::uint64_t consumed, std::uint64_t written) noexcept {
    cursor.source += consumed;
    cursor.left -= consumed;
    cursor.target += written;
    cursor.room -= written;
}

// Where a loop is in the source and in the target. Pointers with fixed ends: an advance changes two
// of them, while that of a Cursor changes four numbers.
struct Position {
    Position(const Cursor& cursor, std::uint64_t most) noexcept
        : from(cursor.source),
          from_end(from + cursor.left),
          stop(from + std::min(cursor.left, most)),
          to(cursor.target),
          to_end(to + cursor.room) {}

    std::uint64_t left() const noexcept { return static_cast<std::uint64_t>(from_end - from); }
    std::uint64_t room() const noexcept { return static_cast<std::uint64_t>(to_end - to); }
    void advance(std::uint64_t consumed, std::uint64_t written) noexcept {
        from += consumed;
        to += written;
    }
    void report(Cursor& cursor) const noexcept { cursor = {from, left(), to, room()}; }

    const std::uint8_t* from;
    const std::uint8_t* from_end;
    const std::uint8_t* stop;
    std::uint8_t* to;
    std::uint8_t* to_end;
};

// Converts while four bytes are left to read and there is room for one unit, so that no character
// needs a check of either. Stops before a byte that begins no character.
template <ByteOrder kOut>
inline void utf8_to_utf32_far_from_end(Position& at) noexcept {
    const std::uint8_t* const stop = at.left() < 4 ? at.from : std::min(at.stop, at.from_end - 3);
    while (at.from < stop && at.to != at.to_end) {
        const std::uint32_t lead = *at.from;
        if (lead < 0x80) {
            // ASCII characters mostly come in runs.
            std::uint64_t run = 1;
            if (at.left() >= 8 && at.room() >= 32) {
                const std::uint64_t others = load64(at.from) & kTopBits;
                if (others == 0) {
                    for (int i = 0; i < 8; ++i) store32(at.to + 4 * i, at.from[i], kOut);
                    at.advance(8, 32);
                    continue;
                }
                run = static_cast<std::uint64_t>(std::countr_zero(others)) / 8;
            }
            for (; run > 0; --run, at.advance(1, 4)) store32(at.to, *at.from, kOut);
        } else if (lead >= 0xE0) {
            if (lead < 0xF0) {
                store32(at.to, decode_three(at.from), kOut);
                at.advance(3, 4);
            } else if (lead <= 0xF4) {
                store32(at.to, decode_four(at.from), kOut);
                at.advance(4, 4);
            } else {
                break;
            }
        } else if (lead >= 0xC2) {
            store32(at.to, decode_two(at.from), kOut);
            at.advance(2, 4);
        } else {
            break;
        }
    }
}

template <ByteOrder kOut>
inline NQStatus utf8_to_utf32_in(Cursor& cursor, std::uint64_t most) noexcept {
    Position at(cursor, most);
    NQStatus status = NQ_STATUS_OK;
    utf8_to_utf32_far_from_end<kOut>(at);
    while (at.from < at.stop && at.to != at.to_end) {
        const Decoded character = decode_utf8(at.from, at.left());
        status = character.status;
        if (status) break;
        store32(at.to, character.code_point, kOut);
        at.advance(character.consumed, 4);
    }
    at.report(cursor);
    return status;
}

inline NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out, std::uint64_t most) noexcept {
    return out == ByteOrder::little ? utf8_to_utf32_in<ByteOrder::little>(cursor, most)
                                    : utf8_to_utf32_in<ByteOrder::big>(cursor, most);
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

// Converts the character at the source's start and those behind it that take the same number of
// bytes. Stops at `full`, behind which a character of four bytes might not fit.
template <ByteOrder kIn, std::uint32_t kSize>
[[gnu::always_inline]] inline void encode_run(Position& at, const std::uint8_t* full,
                                              NQChar code_point) noexcept {
    constexpr NQChar kFirst = kSize == 3 ? 0x800 : 0x10000;
    constexpr NQChar kPastLast = kSize == 3 ? 0x10000 : 0;  // 0: 2^32 wrapped around
    do {
        if constexpr (kSize == 3) encode_three(code_point, at.to);
        if constexpr (kSize == 4) encode_four(code_point, at.to);
        at.advance(4, kSize);
        if (at.from >= at.stop || at.to >= full) break;
        code_point = load32(at.from, kIn);
    } while (wrapping_sub(code_point, kFirst) < wrapping_sub(kPastLast, kFirst));
}

// Converts while there is room for a character of any size, so that none needs a check of the room.
template <ByteOrder kIn>
inline void utf32_to_utf8_far_from_end(Position& at) noexcept {
    const std::uint8_t* const full = at.room() < 4 ? at.to : at.to_end - 3;
    while (at.from < at.stop && at.to < full) {
        const NQChar code_point = load32(at.from, kIn);
        if (code_point < 0x80) {
            // ASCII characters mostly come in runs: four units become four bytes in one store.
            if (at.left() >= 16) {
                const NQChar second = load32(at.from + 4, kIn);
                const NQChar third = load32(at.from + 8, kIn);
                const NQChar last = load32(at.from + 12, kIn);
                if ((second | third | last) < 0x80) {
                    store32(at.to, code_point | second << 8 | third << 16 | last << 24,
                            ByteOrder::little);
                    at.advance(16, 4);
                    continue;
                }
            }
            *at.to = static_cast<std::uint8_t>(code_point);
            at.advance(4, 1);
        } else if (code_point < 0x800) {
            // So do characters of two bytes: two units become four bytes in one store.
            const NQChar second = at.left() >= 8 ? load32(at.from + 4, kIn) : 0;
            if (wrapping_sub(second, NQChar{0x80}) < 0x780) {
                store32(at.to, two_bytes_of(code_point) | two_bytes_of(second) << 16,
                        ByteOrder::little);
                at.advance(8, 4);
                continue;
            }
            encode_two(code_point, at.to);
            at.advance(4, 2);
        } else if (code_point < 0x10000) {
            encode_run<kIn, 3>(at, full, code_point);
        } else {
            encode_run<kIn, 4>(at, full, code_point);
        }
    }
}

template <ByteOrder kIn>
inline NQStatus utf32_to_utf8_from(Cursor& cursor, std::uint64_t most) noexcept {
    Position at(cursor, most);
    NQStatus status = NQ_STATUS_OK;
    utf32_to_utf8_far_from_end<kIn>(at);
    while (at.from < at.stop && at.to != at.to_end) {
        const std::uint32_t size = encode_utf8(load32(at.from, kIn), at.to, at.room());
        if (size == 0) {
            status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        at.advance(4, size);
    }
    at.report(cursor);
    return status;
}

inline NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in, std::uint64_t most) noexcept {
    return in == ByteOrder::little ? utf32_to_utf8_from<ByteOrder::little>(cursor, most)
                                   : utf32_to_utf8_from<ByteOrder::big>(cursor, most);
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
