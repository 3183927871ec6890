#if defined(__x86_64__)
#include "nqinstance/text/kernels/avx2.hpp"
#include "nqinstance/text/kernels/compare_loops.hpp"

namespace nq::avx2 {
namespace {

// The mask of the bytes that are at least `bound`, which is 0x80 or more. A subtraction that stops
// at 0 leaves the top bit set in just these:
//   bound 0xE0: 0xE0 - 0x60 = 0x80; 0xDF - 0x60 = 0x7F
NQ_AVX2_INLINE std::uint32_t bits_at_least(Bytes bytes, std::uint32_t bound) noexcept {
    return top_bits(_mm256_subs_epu8(bytes, all_bytes(bound - 0x80)));
}

// The sequences in a block of 32 bytes, as masks.
struct Sequences {
    // Bytes that a lead byte before them announces, also of the three behind the block.
    std::uint64_t announced;
    // Announced bytes that are no continuation bytes, and leads of more than four bytes.
    std::uint32_t broken;
};

// `announced` has the bytes at the block's start that a lead in the block before announces. A lead
// announces the byte behind it, one of three bytes two of them, one of four bytes three:
//   lead of three bytes at place 5: leads 0010'0000 -> announced 1100'0000
NQ_AVX2_INLINE Sequences sequences_of(Bytes text, std::uint64_t announced) noexcept {
    const std::uint32_t leads = bits_at_least(text, 0xC0);
    const std::uint64_t leads_of_3 = bits_at_least(text, 0xE0);
    const std::uint64_t leads_of_4 = bits_at_least(text, 0xF0);
    const std::uint32_t continues = top_bits(text) & ~leads;
    announced |= std::uint64_t{leads} << 1 | leads_of_3 << 2 | leads_of_4 << 3;
    return {announced,
            (static_cast<std::uint32_t>(announced) & ~continues) | bits_at_least(text, 0xF8)};
}

// Sets an `order` that is 0 by the first of the bytes in the mask.
NQ_AVX2_INLINE void note_order(const std::uint8_t* a, const std::uint8_t* b, std::uint32_t unequal,
                               std::int32_t& order) noexcept {
    if (order || !unequal) return;
    const auto first = _tzcnt_u32(unequal);
    order = a[first] > b[first] ? 1 : -1;
}

// Lowers the ASCII letters. There is no comparison of unsigned units; a unit is a letter if its
// distance from 'A' is the smaller of itself and 25.
NQ_AVX2_INLINE Bytes lower_units(Bytes units) noexcept {
    const Bytes from_first = _mm256_sub_epi32(units, all_units('A'));
    const Bytes is_letter =
        _mm256_cmpeq_epi32(_mm256_min_epu32(from_first, all_units(25)), from_first);
    return _mm256_or_si256(units, _mm256_and_si256(is_letter, all_units(0x20)));
}

}  // namespace

// A character may lie across two blocks: `announced` carries over which bytes of the next one
// belong to it, so the blocks follow each other at fixed steps. Continuation bytes that no lead
// announces are characters of their own.
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_utf8(const std::uint8_t* a,
                                                          const std::uint8_t* b, std::size_t length,
                                                          std::int32_t& order) noexcept {
    std::size_t i = 0;
    std::uint64_t announced = 0;
    // Goes back to the start of the character in which the last block or the last mismatch ends.
    const auto back_to_character = [&]() noexcept {
        if (announced & 1) {
            do --i;
            while (continues_utf8(a[i]));
        }
        announced = 0;
    };
    while (i + 32 <= length) {
        const Bytes x = load(a + i);
        const Bytes y = load(b + i);
        const std::uint32_t unequal = ~top_bits(_mm256_cmpeq_epi8(x, y));
        Sequences sequences{announced, 0};
        if (top_bits(x) || announced) sequences = sequences_of(x, announced);
        std::uint32_t ends = sequences.broken;
        if (unequal) {
            ends |= ~top_bits(_mm256_cmpeq_epi8(flip_case(x, 'A'), flip_case(y, 'A')));
        }
        if (ends == 0) {
            note_order(a + i, b + i, unequal, order);
            announced = sequences.announced >> 32;
            i += 32;
            continue;
        }
        const std::uint32_t end = _tzcnt_u32(ends);
        note_order(a + i, b + i, _bzhi_u32(unequal, end), order);
        i += end;
        announced = sequences.announced >> end;
        back_to_character();
        const std::size_t size =
            loops::equal_character_ignoring_ascii_case(a + i, b + i, length - i, order);
        if (size == 0) return i;
        i += size;
    }
    back_to_character();
    return i + loops::equal_prefix_ignoring_ascii_case_utf8(a + i, b + i, length - i, order);
}

NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_bytes(const std::uint8_t* a,
                                                           const std::uint8_t* b,
                                                           std::size_t length) noexcept {
    std::size_t i = 0;
    for (; i + 32 <= length; i += 32) {
        const Bytes x = flip_case(load(a + i), 'A');
        const Bytes y = flip_case(load(b + i), 'A');
        const std::uint32_t is_alike = top_bits(_mm256_cmpeq_epi8(x, y));
        if (is_alike != 0xFFFFFFFF) return i + _tzcnt_u32(~is_alike);
    }
    return i + loops::equal_prefix_ignoring_ascii_case_bytes(a + i, b + i, length - i);
}

NQ_AVX2_AT_LINE std::size_t equal_prefix_ignoring_ascii_case_units(const NQChar* a, const NQChar* b,
                                                                   std::size_t count,
                                                                   std::int32_t& order) noexcept {
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const Bytes x = load(a + i);
        const Bytes y = load(b + i);
        const std::uint32_t is_equal = top_bits_of_units(_mm256_cmpeq_epi32(x, y));
        if (is_equal == 0xFF) continue;
        const std::uint32_t is_alike =
            top_bits_of_units(_mm256_cmpeq_epi32(lower_units(x), lower_units(y)));
        if (is_alike != 0xFF) break;
        if (order == 0) {
            const std::size_t first = i + _tzcnt_u32(~is_equal);
            order = a[first] > b[first] ? 1 : -1;
        }
    }
    return i + loops::equal_prefix_ignoring_ascii_case_units(a + i, b + i, count - i, order);
}

}  // namespace nq::avx2
#endif
