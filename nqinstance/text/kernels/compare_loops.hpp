#pragma once
#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/case_loops.hpp"

// The scalar loops of the comparisons, which define the answers.
namespace nq::loops {

// The size of the character that both texts begin with: an ASCII character in either case, or the
// same bytes, as many as the lead byte announces. 0 where they begin with different characters or
// the character is longer than `length`. Sets `order` as TextKernels says.
inline std::size_t equal_character_ignoring_ascii_case(const std::uint8_t* a, const std::uint8_t* b,
                                                       std::size_t length,
                                                       std::int32_t& order) noexcept {
    const std::uint8_t x = a[0];
    const std::uint8_t y = b[0];
    if (x == y) {
        if (x < 0xC0) return 1;
        const std::size_t size = kUtf8Length[x];
        if (size > length) return 0;
        std::size_t same = 1;
        while (same < size && a[same] == b[same]) ++same;
        return same == size ? size : 0;
    }
    // Two bytes that differ in this bit alone, and not when lowered, are one letter in two cases.
    if ((x ^ y) != 0x20 || lower(x) != lower(y)) return 0;
    if (order == 0) order = x > y ? 1 : -1;
    return 1;
}

inline std::size_t equal_prefix_ignoring_ascii_case_utf8(const std::uint8_t* a,
                                                         const std::uint8_t* b, std::size_t length,
                                                         std::int32_t& order) noexcept {
    std::size_t i = 0;
    while (i < length) {
        if (i + 8 <= length) {
            const std::uint64_t x = load64(a + i);
            const std::uint64_t y = load64(b + i);
            if (is_ascii(x | y) && flip_letters(x, 'A') == flip_letters(y, 'A')) {
                if (x != y && order == 0) {
                    const auto first = i + static_cast<unsigned>(__builtin_ctzll(x ^ y)) / 8;
                    order = a[first] > b[first] ? 1 : -1;
                }
                i += 8;
                continue;
            }
        }
        const std::size_t size =
            equal_character_ignoring_ascii_case(a + i, b + i, length - i, order);
        if (size == 0) break;
        i += size;
    }
    return i;
}

inline std::size_t equal_prefix_ignoring_ascii_case_bytes(const std::uint8_t* a,
                                                          const std::uint8_t* b,
                                                          std::size_t length) noexcept {
    std::size_t i = 0;
    while (i < length && lower(a[i]) == lower(b[i])) ++i;
    return i;
}

inline std::size_t equal_prefix_ignoring_ascii_case_units(const NQChar* a, const NQChar* b,
                                                          std::size_t count,
                                                          std::int32_t& order) noexcept {
    std::size_t i = 0;
    for (; i < count; ++i) {
        if (a[i] == b[i]) continue;
        if ((a[i] ^ b[i]) != 0x20 || wrapping_sub(a[i] | 0x20, NQChar{'a'}) >= 26) break;
        if (order == 0) order = a[i] > b[i] ? 1 : -1;
    }
    return i;
}

}  // namespace nq::loops
