#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nqinstance/text/kernels/utf8_tables.hpp"

// The two ways to step through UTF-8 text, which differ where it is malformed. A character is a
// byte and the continuation bytes behind it, at most as many as the byte announces. A step is as
// long as its first byte announces, whatever it leaps over.
namespace nq {

// How many steps begin inside a text, and where the last of them leads, maybe past the end.
struct Steps {
    std::uint64_t count;
    std::uint64_t end;
};

// The bytes of the character at the start of the text, of which `available` are there.
inline std::uint64_t character_size(const std::uint8_t* text, std::uint64_t available) noexcept {
    if (text[0] < 0xC0) return 1;
    const std::uint64_t most = std::min<std::uint64_t>(kUtf8Length[text[0]], available);
    std::uint64_t size = 1;
    while (size < most && continues_utf8(text[size])) ++size;
    return size;
}

namespace loops {

inline bool are_ascii(const std::uint8_t* eight) noexcept {
    std::uint64_t bytes;
    std::memcpy(&bytes, eight, sizeof bytes);
    return (bytes & 0x8080808080808080) == 0;
}

// Whether a byte belongs to a character that starts up to five bytes before it; they must be
// there. Made of sums instead of choices, for a compiler to work on many bytes at once.
inline std::uint8_t is_trailing(const std::uint8_t* byte) noexcept {
    const auto tail = [byte](int at) -> unsigned { return (byte[at] & 0xC0) == 0x80; };
    const auto from = [byte](int at, int lead) -> unsigned { return byte[at] >= lead; };
    const unsigned long_leads = from(-4, 0xF8) | (tail(-4) & from(-5, 0xFC));
    const unsigned leads = from(-2, 0xE0) | (tail(-2) & (from(-3, 0xF0) | (tail(-3) & long_leads)));
    return static_cast<std::uint8_t>(tail(0) & (from(-1, 0xC0) | (tail(-1) & leads)));
}

inline std::uint64_t count_characters(const std::uint8_t* text, std::size_t length) noexcept {
    std::uint64_t count = 0;
    std::size_t at = 0;
    for (; at < std::min<std::size_t>(length, 5); ++count) {
        at += character_size(text + at, length - at);
    }
    count += length - at;
    while (at < length) {
        // As many as a byte can count.
        const std::size_t end = at + std::min<std::size_t>(length - at, 255);
        std::uint8_t trailing = 0;
        for (; at < end; ++at)
            trailing = static_cast<std::uint8_t>(trailing + is_trailing(text + at));
        count -= trailing;
    }
    return count;
}

inline std::uint64_t size_of_characters(const std::uint8_t* text, std::uint64_t count) noexcept {
    std::uint64_t size = 0;
    bool try_ascii = true;  // not while one character after the other is outside ASCII
    while (count) {
        // A character has a byte at least, so that many can be read.
        if (try_ascii && count >= 8 && are_ascii(text + size)) {
            size += 8;
            count -= 8;
            continue;
        }
        try_ascii = text[size] < 0x80;
        size += character_size(text + size, UINT64_MAX);
        --count;
    }
    return size;
}

// Until a step leads to `stop` or past it.
inline Steps count_steps(const std::uint8_t* text, std::uint64_t stop) noexcept {
    Steps steps{0, 0};
    for (; steps.end < stop; ++steps.count) steps.end += kUtf8Length[text[steps.end]];
    return steps;
}

}  // namespace loops
}  // namespace nq
