#if defined(__x86_64__)
#include "nqinstance/text/avx2.hpp"

namespace nq {
namespace avx2 {
namespace {

// The letters from `first` on flip the bit that tells the cases apart.
NQ_AVX2_INLINE Bytes flip_case(Bytes text, std::uint32_t first) noexcept {
    const Bytes from_first = _mm256_sub_epi8(text, all_bytes(first - 0x80));
    const Bytes is_letter = _mm256_cmpgt_epi8(all_bytes(0x80 + 26), from_first);
    return _mm256_xor_si256(text, _mm256_and_si256(is_letter, all_bytes(0x20)));
}

// A last block that overlaps the one before is right because mapped text stays as it is.
NQ_AVX2_INLINE void map_case(std::uint8_t* text, std::size_t length, std::uint32_t first) noexcept {
    std::size_t i = 0;
    for (; i + 32 <= length; i += 32) store(text + i, flip_case(load(text + i), first));
    if (i < length) store(text + length - 32, flip_case(load(text + length - 32), first));
}

NQ_AVX2 void to_upper(std::uint8_t* text, std::size_t length) noexcept {
    if (length < 32) return loops::to_upper(text, length);
    map_case(text, length, 'a');
}

NQ_AVX2 void to_lower(std::uint8_t* text, std::size_t length) noexcept {
    if (length < 32) return loops::to_lower(text, length);
    map_case(text, length, 'A');
}

// The index of the first byte of `a` that differs from `b`, or without a `b` from the block's
// value; the length when there is none. At least 32 bytes.
NQ_AVX2_INLINE std::size_t find_different_byte(const std::uint8_t* a, Bytes value,
                                               const std::uint8_t* b, std::size_t length) noexcept {
    std::size_t i = 0;
    for (;; i += 32) {
        if (i + 32 > length) {
            if (i == length) return length;
            i = length - 32;
        }
        const std::uint32_t equal =
            top_bits(_mm256_cmpeq_epi8(load(a + i), b ? load(b + i) : value));
        if (equal != 0xFFFFFFFF) return i + _tzcnt_u32(~equal);
    }
}

NQ_AVX2 std::size_t find_other_byte(const std::uint8_t* text, std::size_t length,
                                    std::uint8_t value) noexcept {
    if (length < 32) return loops::find_other(text, length, value);
    return find_different_byte(text, all_bytes(value), nullptr, length);
}

NQ_AVX2 std::size_t find_other_unit(const NQChar* units, std::size_t count, NQChar value) noexcept {
    if (count < 8) return loops::find_other(units, count, value);
    return find_different_byte(reinterpret_cast<const std::uint8_t*>(units), all_units(value),
                               nullptr, 4 * count) /
           4;
}

NQ_AVX2 std::size_t find_unequal(const NQChar* a, const NQChar* b, std::size_t count) noexcept {
    if (count < 8) return loops::find_unequal(a, b, count);
    return find_different_byte(reinterpret_cast<const std::uint8_t*>(a), _mm256_setzero_si256(),
                               reinterpret_cast<const std::uint8_t*>(b), 4 * count) /
           4;
}

NQ_AVX2 std::size_t find_nan(const double* values, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256d a = _mm256_loadu_pd(values + i);
        const __m256d b = _mm256_loadu_pd(values + i + 4);
        // Unordered is true when either of the two is a NaN.
        if (_mm256_movemask_pd(_mm256_cmp_pd(a, b, _CMP_UNORD_Q))) break;
    }
    return i + loops::find_nan(values + i, count - i);
}

NQ_AVX2 std::size_t find_pair(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                              std::uint8_t first, std::uint8_t second) noexcept {
    const Bytes firsts = all_bytes(first);
    const Bytes seconds = all_bytes(second);
    if (positions < 32)
        return kGenericTextKernels.find_pair(text, positions, distance, first, second);
    for (std::size_t i = 0;; i += 32) {
        if (i + 32 > positions) {
            if (i == positions) return positions;
            i = positions - 32;
        }
        const Bytes is_first = _mm256_cmpeq_epi8(load(text + i), firsts);
        const Bytes is_second = _mm256_cmpeq_epi8(load(text + i + distance), seconds);
        const std::uint32_t both = top_bits(_mm256_and_si256(is_first, is_second));
        if (both) return i + _tzcnt_u32(both);
    }
}

NQ_AVX2 std::uint64_t utf8_bytes(const NQChar* units, std::size_t count) noexcept {
    const std::size_t blocks = count / 8;
    std::uint64_t bytes = 8 * blocks;
    for (std::size_t block = 0; block < blocks;) {
        // A lane grows by at most 3 per block.
        const std::size_t end = std::min(blocks, block + (std::size_t{1} << 28));
        Bytes further = _mm256_setzero_si256();
        for (; block < end; ++block) {
            const Bytes eight = load(units + 8 * block);
            further = _mm256_sub_epi32(further, at_least(eight, 0x80));
            further = _mm256_sub_epi32(further, at_least(eight, 0x800));
            further = _mm256_sub_epi32(further, at_least(eight, 0x10000));
        }
        std::uint32_t lanes[8];
        store(lanes, further);
        for (const std::uint32_t lane : lanes) bytes += lane;
    }
    return bytes + loops::utf8_bytes(units + 8 * blocks, count % 8);
}

NQ_AVX2 void swap_units(const std::uint8_t* source, std::uint8_t* target,
                        std::size_t count) noexcept {
    const Bytes swap = order_shuffle(ByteOrder::big, 4);
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        store(target + 4 * i, _mm256_shuffle_epi8(load(source + 4 * i), swap));
    }
    loops::swap_units(source + 4 * i, target + 4 * i, count - i);
}

}  // namespace
}  // namespace avx2

constinit const TextKernels kAvx2TextKernels = {
    .name = "avx2",
    .to_upper = avx2::to_upper,
    .to_lower = avx2::to_lower,
    .find_other_byte = avx2::find_other_byte,
    .find_other_unit = avx2::find_other_unit,
    .find_unequal = avx2::find_unequal,
    .find_nan = avx2::find_nan,
    .find_pair = avx2::find_pair,
    .utf8_bytes = avx2::utf8_bytes,
    .swap_units = avx2::swap_units,
    .utf8_to_utf32 = avx2::utf8_to_utf32,
    .utf16_to_utf32 = avx2::utf16_to_utf32,
    .utf32_to_utf8 = avx2::utf32_to_utf8,
    .utf32_to_utf16 = avx2::utf32_to_utf16,
};

}  // namespace nq
#endif
