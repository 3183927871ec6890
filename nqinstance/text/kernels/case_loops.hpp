#pragma once
#include <cstring>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/loops.hpp"

// The loops of the case mappings that define the answers, for all bodies. `first` is the first of
// the 26 letters that change, 'a' or 'A'.
namespace nq::loops {

inline std::uint32_t flip_letter(std::uint32_t character, std::uint8_t first) noexcept {
    return character ^ (wrapping_sub(character, std::uint32_t{first}) < 26 ? 0x20u : 0u);
}

// Eight ASCII bytes at once: adding brings to a byte's top bit whether it is a letter.
inline std::uint64_t flip_letters(std::uint64_t word, std::uint8_t first) noexcept {
    constexpr std::uint64_t kEach = 0x0101010101010101;
    const std::uint64_t from_first = word + kEach * (0x80u - first);
    const std::uint64_t past_last = word + kEach * (0x80u - 26 - first);
    return word ^ ((from_first & ~past_last & kEach * 0x80) >> 2);
}

// Each block is stored once it is loaded, which is why the target may run into the source from
// before.
inline std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                             std::uint8_t first) noexcept {
    std::size_t i = 0;
    for (; length - i >= 8; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, source + i, sizeof word);
        if (word & 0x8080808080808080) break;
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
