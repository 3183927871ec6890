#if defined(__x86_64__)
#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/avx2.hpp"

namespace nq::avx2 {
namespace {

// Keeps those of eight 32-bit lanes whose bit in the mask is set, by the numbers of the lanes.
constexpr auto kCompressUnits =
    make_compress_table<8>([](unsigned mask, unsigned lane) { return mask >> lane & 1; });

// The mask of the 16-bit units that are high surrogates, kind 0xD800, or low ones, kind 0xDC00: the
// top six bits of a unit are its kind.
//   1101'10xx xxxx'xxxx is a high surrogate, 1101'11xx xxxx'xxxx a low one
NQ_AVX2_INLINE std::uint32_t units_of_kind(Bytes units, std::uint32_t kind) noexcept {
    const Bytes top = _mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xFC00)));
    const Bytes is_kind = _mm256_cmpeq_epi16(top, _mm256_set1_epi16(static_cast<short>(kind)));
    return _pext_u32(top_bits(is_kind), kEvenBits);
}

// The characters that start at eight 16-bit units; `next` has the unit behind each of them. A high
// surrogate makes a pair with it:
//   1101'10aa aaaa'aaaa, 1101'11bb bbbb'bbbb -> 0x10000 + aaaa aaaa'aabb bbbb'bbbb
// The sum of the first, 10 bits further up, and the second has the two marks 0xD800 << 10 and
// 0xDC00 in it, which are subtracted together with adding the 0x10000.
NQ_AVX2_INLINE Bytes join_pairs(__m128i units, __m128i next) noexcept {
    const Bytes first = _mm256_cvtepu16_epi32(units);
    const Bytes second = _mm256_cvtepu16_epi32(next);
    constexpr std::uint32_t kMarks = (0xD800u << 10) + 0xDC00u;
    const Bytes pair = _mm256_add_epi32(_mm256_add_epi32(_mm256_slli_epi32(first, 10), second),
                                        all_units(wrapping_sub(0x10000u, kMarks)));
    const Bytes is_high =
        _mm256_cmpeq_epi32(_mm256_and_si256(first, all_units(0xFC00)), all_units(0xD800));
    return _mm256_blendv_epi8(first, pair, is_high);
}

// Stores those of eight units that are in the mask and returns how many bytes they are. Writes 32
// bytes.
//   mask 0000'0101, units a b c d e f g h -> a c and anything behind them
NQ_AVX2_INLINE std::uint64_t store_compressed(std::uint8_t* target, Bytes units, std::uint32_t mask,
                                              Bytes out) noexcept {
    const Bytes lanes = _mm256_cvtepu8_epi32(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kCompressUnits.shuffle[mask])));
    store(target, _mm256_shuffle_epi8(_mm256_permutevar8x32_epi32(units, lanes), out));
    return 4 * count_bits(mask);
}

// A block of 16 units reads one unit more; its last store may write up to eight units too many.
constexpr std::uint64_t kUtf16BlockReach = 34;
constexpr std::uint64_t kUtf16BlockRoom = 4 * (16 + 8);

// Converts blocks until one of them has a surrogate without its other half, or the end is near.
NQ_AVX2_INLINE void utf16_blocks(Cursor& cursor, Bytes in, Bytes out) noexcept {
    Cursor at = cursor;
    std::uint32_t pending = 0;  // 1: the next block's first unit is the second one of a pair
    while (at.left >= kUtf16BlockReach && at.room >= kUtf16BlockRoom) {
        const Bytes units = _mm256_shuffle_epi8(load(at.source), in);
        const std::uint32_t surrogates =
            units_of_kind(units, 0xD800) | units_of_kind(units, 0xDC00);
        if (!surrogates) {
            store(at.target,
                  _mm256_shuffle_epi8(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(units)), out));
            store(at.target + 32,
                  _mm256_shuffle_epi8(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(units, 1)),
                                      out));
            loops::advance(at, 32, 64);
            continue;
        }
        const Bytes next = _mm256_shuffle_epi8(load(at.source + 2), in);
        const std::uint32_t highs = units_of_kind(units, 0xD800);
        const std::uint32_t before_lows = units_of_kind(next, 0xDC00);
        // Each high surrogate has to be before a low one, and each low one behind a high one, so
        // the two masks are equal. That leaves a low surrogate at the very start to check: it is
        // there just if the block before ended with a high one.
        const bool is_broken = highs != before_lows || (surrogates & ~highs & 1) != pending;
        if (is_broken) break;
        const std::uint32_t starts = ~(before_lows << 1 | pending) & 0xFFFF;
        const std::uint64_t written = 4 * count_bits(starts);
        const Bytes behind = load(at.target + written);
        const Bytes low = join_pairs(_mm256_castsi256_si128(units), _mm256_castsi256_si128(next));
        const Bytes high =
            join_pairs(_mm256_extracti128_si256(units, 1), _mm256_extracti128_si256(next, 1));
        const std::uint64_t half = store_compressed(at.target, low, starts & 0xFF, out);
        store_compressed(at.target + half, high, starts >> 8, out);
        store(at.target + written, behind);
        loops::advance(at, 32, written);
        pending = highs >> 15;
    }
    loops::advance(at, 2 * pending, 0);
    cursor = at;
}

// Stores eight 32-bit units as UTF-16 and returns how many bytes they are. Writes 32 bytes. In each
// lane a pair has its first unit in the lower half, which comes first in the text:
//   c = 0x10000 + aaaa aaaa'aabb bbbb'bbbb -> 1101'11bb bbbb'bbbb 1101'10aa aaaa'aaaa
//   c < 0x10000 stays, and the upper half is dropped
NQ_AVX2_INLINE std::uint64_t encode_pairs(Bytes units, std::uint8_t* target, Bytes out) noexcept {
    const Bytes is_pair = at_least(units, 0x10000);
    const Bytes offset = _mm256_sub_epi32(units, all_units(0x10000));
    const Bytes first = _mm256_and_si256(
        _mm256_add_epi32(_mm256_srli_epi32(offset, 10), all_units(0xD800)), all_units(0xFFFF));
    const Bytes second = _mm256_or_si256(
        _mm256_slli_epi32(_mm256_and_si256(offset, all_units(0x3FF)), 16), all_units(0xDC000000));
    const Bytes words = _mm256_blendv_epi8(units, _mm256_or_si256(first, second), is_pair);
    const std::uint32_t pairs = top_bits_of_units(is_pair);
    // Of the 16 halves all lower ones are kept, and the upper ones of pairs.
    //   pairs 0000'0101 -> kept 0101'0101'0111'0111
    const std::uint32_t kept = 0x5555 | _pdep_u32(pairs, 0xAAAA);
    const std::uint32_t lower = kept & 0xFF, upper = kept >> 8;
    const Bytes packed = _mm256_shuffle_epi8(
        _mm256_shuffle_epi8(words, out),
        join(load_half(kCompressWords.shuffle[lower]), load_half(kCompressWords.shuffle[upper])));
    const std::uint64_t half = 2 * count_bits(lower);
    store_half(target, _mm256_castsi256_si128(packed));
    store_half(target + half, _mm256_extracti128_si256(packed, 1));
    return half + 2 * count_bits(upper);
}

}  // namespace

NQ_AVX2 NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept {
    const Bytes in_shuffle = order_shuffle(in, 2);
    const Bytes out_shuffle = order_shuffle(out, 4);
    for (;;) {
        utf16_blocks(cursor, in_shuffle, out_shuffle);
        const bool is_last = cursor.left < kUtf16BlockReach || cursor.room < kUtf16BlockRoom;
        const NQStatus status =
            loops::utf16_to_utf32(cursor, in, out, is_last ? loops::kToTheEnd : kScalarStretch);
        if (status || is_last) return status;
    }
}

NQ_AVX2 NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept {
    // The last store of a block with pairs may write up to 8 bytes too many. So many units are left
    // to the scalar loop, which overwrites those bytes, and there is room for them.
    constexpr std::uint64_t kLeftUnits = 4;
    const Bytes in_shuffle = order_shuffle(in, 4);
    const Bytes out_shuffle = order_shuffle(out, 2);
    const Bytes low_half = all_units(0xFFFF);
    Cursor at = cursor;
    while (at.left >= 4 * (16 + kLeftUnits) && at.room >= 4 * (16 + kLeftUnits)) {
        const Bytes low = _mm256_shuffle_epi8(load(at.source), in_shuffle);
        const Bytes high = _mm256_shuffle_epi8(load(at.source + 32), in_shuffle);
        if (!pairs || none_has(_mm256_or_si256(low, high), 0xFFFF0000)) {
            const Bytes words =
                narrow(_mm256_and_si256(low, low_half), _mm256_and_si256(high, low_half));
            store(at.target, _mm256_shuffle_epi8(words, out_shuffle));
            loops::advance(at, 64, 32);
        } else {
            loops::advance(at, 32, encode_pairs(low, at.target, out_shuffle));
            loops::advance(at, 32, encode_pairs(high, at.target, out_shuffle));
        }
    }
    cursor = at;
    return loops::utf32_to_utf16(cursor, in, out, pairs, loops::kToTheEnd);
}

}  // namespace nq::avx2
#endif
