#if defined(__x86_64__)
#include "nqinstance/text/kernels/avx2.hpp"
#include "nqinstance/text/kernels/case_loops.hpp"

namespace nq::avx2 {
namespace {

// The first `count` bytes of `mapped`, then the bytes of `behind`.
//   count 2: m m m m ... and b b b b ... -> m m b b ...
NQ_AVX2_INLINE Bytes first_bytes(Bytes mapped, Bytes behind, std::uint32_t count) noexcept {
    const Bytes index =
        _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20,
                         21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
    return _mm256_blendv_epi8(behind, mapped, _mm256_cmpgt_epi8(all_bytes(count), index));
}

}  // namespace

NQ_AVX2 std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                              std::uint8_t first) noexcept {
    std::size_t i = 0;
    for (; length - i >= 32; i += 32) {
        const Bytes text = load(source + i);
        const Bytes mapped = flip_case(text, first);
        const std::uint32_t non_ascii = top_bits(text);
        if (non_ascii) {
            const std::uint32_t prefix = _tzcnt_u32(non_ascii);
            store(target + i, first_bytes(mapped, load(target + i), prefix));
            return i + prefix;
        }
        store(target + i, mapped);
    }
    return i + loops::map_ascii(source + i, target + i, length - i, first);
}

NQ_AVX2 std::size_t map_ascii_units(NQChar* units, std::size_t count, std::uint8_t first) noexcept {
    std::size_t i = 0;
    // Units are mapped as bytes: of an ASCII unit the three upper bytes are zero, which is no
    // letter.
    for (; count - i >= 16; i += 16) {
        const Bytes low = load(units + i);
        const Bytes high = load(units + i + 8);
        if (!none_has(_mm256_or_si256(low, high), ~0x7Fu)) break;
        store(units + i, flip_case(low, first));
        store(units + i + 8, flip_case(high, first));
    }
    return i + loops::map_ascii_units(units + i, count - i, first);
}

}  // namespace nq::avx2
#endif
