#pragma once
#include <cstring>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/loops.hpp"

// The scalar loops of the case mappings, which define the answers. `first` is the first of the 26
// letters that change: 'a' maps to upper case, 'A' to lower case.
namespace nq::loops {

inline std::uint32_t flip_letter(std::uint32_t character, std::uint8_t first) noexcept {
    return character ^ (wrapping_sub(character, std::uint32_t{first}) < 26 ? 0x20u : 0u);
}

// Changes the case of the letters among eight ASCII bytes. Two sums show in each byte's top bit
// whether the byte is at or above the first letter, and whether it is above the last one; ASCII
// bytes are below 0x80, so no sum carries into the next byte. What is at or above the first letter,
// and not above the last, is a letter, and its bit moves down to 0x20, in which the cases differ:
//   byte 'm', first 'a':  'm' + (0x80 - 'a')      = 1000'1100   at or above 'a'
//                         'm' + (0x80 - 26 - 'a') = 0111'0010   not above 'z'
//                         1000'0000 -> 0010'0000,  'm' ^ 0x20 = 'M'
inline std::uint64_t flip_letters(std::uint64_t word, std::uint8_t first) noexcept {
    constexpr std::uint64_t kEach = 0x0101010101010101;
    const std::uint64_t from_first = word + kEach * (0x80u - first);
    const std::uint64_t past_last = word + kEach * (0x80u - 26 - first);
    return word ^ ((from_first & ~past_last & kTopBits) >> 2);
}

// Loads each block before it stores one, and never loads again what it has stored over: so the
// target may start before the source and overlap it.
inline std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                             std::uint8_t first) noexcept {
    std::size_t i = 0;
    for (; length - i >= 8; i += 8) {
        std::uint64_t word = load64(source + i);
        if (!is_ascii(word)) break;
        word = flip_letters(word, first);
        std::memcpy(target + i, &word, sizeof word);
    }
    for (; i < length && source[i] < 0x80; ++i) {
        target[i] = static_cast<std::uint8_t>(flip_letter(source[i], first));
    }
    return i;
}

inline std::size_t map_ascii_units(NQChar* units, std::size_t count, std::uint8_t first) noexcept {
    std::size_t i = 0;
    for (; i < count && units[i] < 0x80; ++i) units[i] = flip_letter(units[i], first);
    return i;
}

}  // namespace nq::loops
