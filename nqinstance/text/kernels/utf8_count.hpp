#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "nqinstance/text/kernels/utf_codec.hpp"

// The two ways to walk through UTF-8 text, which differ where it is malformed. A character is a
// byte and the continuation bytes behind it, at most as many as that byte announces. A step is as
// long as its first byte announces, whatever bytes it skips.
//
// The bytes of a character behind its first one are trailing bytes. A continuation byte that no
// lead byte accounts for is not one of these: it is a character of its own.
namespace nq {

// The number of steps that begin inside a text, and the place to which the last of them leads,
// which may be past the end.
struct Steps {
    std::uint64_t count;
    std::uint64_t end;
};

// The size of the character at the start of the text, of which `available` bytes are there.
inline std::uint64_t character_size(const std::uint8_t* text, std::uint64_t available) noexcept {
    if (text[0] < 0xC0) return 1;
    const std::uint64_t most = std::min<std::uint64_t>(kUtf8Length[text[0]], available);
    std::uint64_t size = 1;
    while (size < most && continues_utf8(text[size])) ++size;
    return size;
}

namespace loops {

// Whether this is a trailing byte: 1 or 0. Looks at the five bytes before it, which must be there.
// A lead byte reaches it if all bytes in between are continuation bytes, and it announces enough of
// them: 0xC0 and above one byte behind it, 0xE0 two, 0xF0 three, 0xF8 four and 0xFC five. Without
// branches, so that a compiler makes vector code of the loop around it.
inline std::uint8_t is_trailing(const std::uint8_t* byte) noexcept {
    const auto continues = [byte](int at) -> unsigned { return (byte[at] & 0xC0) == 0x80; };
    const auto is_lead = [byte](int at, int lead) -> unsigned { return byte[at] >= lead; };
    const unsigned long_leads = is_lead(-4, 0xF8) | (continues(-4) & is_lead(-5, 0xFC));
    const unsigned leads =
        is_lead(-2, 0xE0) | (continues(-2) & (is_lead(-3, 0xF0) | (continues(-3) & long_leads)));
    return static_cast<std::uint8_t>(continues(0) & (is_lead(-1, 0xC0) | (continues(-1) & leads)));
}

inline std::uint64_t count_characters(const std::uint8_t* text, std::size_t length) noexcept {
    std::uint64_t count = 0;
    std::size_t at = 0;
    for (; at < std::min<std::size_t>(length, 5); ++count) {
        at += character_size(text + at, length - at);
    }
    count += length - at;
    while (at < length) {
        // So many that a byte can count them.
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
    bool try_ascii = true;  // false behind a character outside ASCII
    while (count) {
        // Every character has at least one byte, so eight bytes can be read.
        if (try_ascii && count >= 8 && is_ascii(load64(text + size))) {
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

// Counts steps until one leads to `stop` or past it.
inline Steps count_steps(const std::uint8_t* text, std::uint64_t stop) noexcept {
    Steps steps{0, 0};
    for (; steps.end < stop; ++steps.count) steps.end += kUtf8Length[text[steps.end]];
    return steps;
}

}  // namespace loops
}  // namespace nq
