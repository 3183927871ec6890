#if defined(__x86_64__)
#include "nqinstance/text/kernels/avx2.hpp"

namespace nq::avx2 {
namespace {

// Keeps the bytes of four characters, each of which is at the end of a lane of four bytes. The mask
// has for each lane its size less one: the low bits in bits 0 to 3, the high bits in bits 4 to 7.
//   sizes 1 3 2 4, less one 0 2 1 3 -> low bits 1100, high bits 1010 -> mask 1010'1100
//   lanes xxxa xbbb xxcc dddd -> abbb ccdd dd
constexpr auto kCompressUtf8 = make_compress_table<16>([](unsigned mask, unsigned byte) {
    const unsigned lane = byte / 4;
    const unsigned size = 1 + (mask >> lane & 1) + 2 * (mask >> (lane + 4) & 1);
    return byte % 4 >= 4 - size;
});

// Keeps the bytes of eight characters of one or two bytes, each in a 16-bit lane: of all the first
// byte, and of those whose bit in the mask is set the second one.
//   mask 0000'0010, lanes ax bb cx dx ex fx gx hx -> abbc defg h
constexpr auto kCompressShortUtf8 = make_compress_table<16>(
    [](unsigned mask, unsigned byte) { return byte % 2 == 0 || (mask >> byte / 2 & 1); });

// Stores 16 units below U+0800, given in 16-bit lanes, and returns how many bytes they are. Writes
// up to 32 bytes. The lead byte is the lower one of its lane, which comes first in the text:
//   0000'0aaa aabb'bbbb -> 10bb'bbbb 110a'aaaa
NQ_AVX2_INLINE std::uint64_t encode_short(Bytes words, std::uint8_t* target) noexcept {
    const Bytes is_two = _mm256_cmpgt_epi16(words, _mm256_set1_epi16(0x7F));
    const Bytes lead = _mm256_srli_epi16(words, 6);
    const Bytes second = _mm256_and_si256(_mm256_slli_epi16(words, 8), _mm256_set1_epi16(0x3F00));
    const Bytes two = _mm256_or_si256(_mm256_or_si256(lead, second),
                                      _mm256_set1_epi16(static_cast<short>(0x80C0)));
    const Bytes encoded = _mm256_blendv_epi8(words, two, is_two);
    const std::uint32_t twos = _pext_u32(top_bits(is_two), kEvenBits);
    const std::uint32_t lower = twos & 0xFF, upper = twos >> 8;
    const Bytes packed =
        _mm256_shuffle_epi8(encoded, join(load_half(kCompressShortUtf8.shuffle[lower]),
                                          load_half(kCompressShortUtf8.shuffle[upper])));
    const std::uint64_t half = 8 + count_bits(lower);
    store_half(target, _mm256_castsi256_si128(packed));
    store_half(target + half, _mm256_extracti128_si256(packed, 1));
    return half + 8 + count_bits(upper);
}

// Stores eight 32-bit units as UTF-8 and returns how many bytes they are. Writes up to 32 bytes. In
// each lane the highest byte is the character's last one:
//   0aaa'aaaa                      -> 0aaa'aaaa 0000'0000 0000'0000 0000'0000
//   0000'0aaa aabb'bbbb            -> 10bb'bbbb 110a'aaaa 0000'0000 0000'0000
//   aaaa'bbbb bbcc'cccc            -> 10cc'cccc 10bb'bbbb 1110'aaaa 0000'0000
//   000a'aabb bbbb'cccc ccdd'dddd  -> 10dd'dddd 10cc'cccc 10bb'bbbb 1111'0aaa
NQ_AVX2_INLINE std::uint64_t encode_eight(Bytes units, std::uint8_t* target) noexcept {
    const Bytes two = at_least(units, 0x80);
    const Bytes three = at_least(units, 0x800);
    const Bytes four = at_least(units, 0x10000);

    // Six bits go into each byte, the lowest into the last one; a single byte keeps its seven. A
    // smaller character has no bits for the bytes before its lead, so these stay zero.
    const Bytes last_bits =
        _mm256_xor_si256(all_units(0x7F000000), _mm256_and_si256(two, all_units(0x40000000)));
    const Bytes last = _mm256_and_si256(_mm256_slli_epi32(units, 24), last_bits);
    const Bytes third = _mm256_and_si256(_mm256_slli_epi32(units, 10), all_units(0x3F0000));
    const Bytes second = _mm256_and_si256(_mm256_srli_epi32(units, 4), all_units(0x3F00));
    const Bytes first = _mm256_and_si256(_mm256_srli_epi32(units, 18), all_units(0xFF));
    const Bytes bits =
        _mm256_or_si256(_mm256_or_si256(last, third), _mm256_or_si256(second, first));
    // The marks of the bytes, by size. `two` is set in the larger sizes too, and `three` in the
    // largest, so each size turns the marks of the one below it into its own.
    constexpr std::uint32_t kMarksOf2 = 0x80C00000;
    constexpr std::uint32_t kMarksOf3 = 0x8080E000;
    constexpr std::uint32_t kMarksOf4 = 0x808080F0;
    const Bytes marks = _mm256_xor_si256(
        _mm256_and_si256(two, all_units(kMarksOf2)),
        _mm256_xor_si256(_mm256_and_si256(three, all_units(kMarksOf2 ^ kMarksOf3)),
                         _mm256_and_si256(four, all_units(kMarksOf3 ^ kMarksOf4))));
    // Added byte by byte, because from U+200000 up the lead's bits are to overflow its mark, as
    // they do in encode_four.
    const Bytes encoded = _mm256_add_epi8(bits, marks);

    // A size less one is 1 or 3, and has its low bit set, where an odd number of bounds is reached.
    const Bytes is_even = _mm256_xor_si256(two, _mm256_xor_si256(three, four));
    const std::uint32_t low_bits = top_bits_of_units(is_even);
    const std::uint32_t high_bits = top_bits_of_units(three);
    const std::uint32_t lower = (low_bits & 0xF) | (high_bits & 0xF) << 4;
    const std::uint32_t upper = low_bits >> 4 | (high_bits & 0xF0);
    const Bytes packed = _mm256_shuffle_epi8(
        encoded,
        join(load_half(kCompressUtf8.shuffle[lower]), load_half(kCompressUtf8.shuffle[upper])));
    const std::uint64_t half = 4 + count_bits(lower) + count_bits(lower & 0xF0);
    store_half(target, _mm256_castsi256_si128(packed));
    store_half(target + half, _mm256_extracti128_si256(packed, 1));
    return half + 4 + count_bits(upper) + count_bits(upper & 0xF0);
}

}  // namespace

NQ_AVX2 NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in) noexcept {
    // The last store of a block may write up to 12 bytes too many. So many units are left to the
    // scalar loop, which overwrites those bytes, and there is room for them.
    constexpr std::uint64_t kLeftUnits = 12;
    const Bytes shuffle = order_shuffle(in, 4);
    Cursor at = cursor;
    while (at.left >= 4 * (16 + kLeftUnits) && at.room >= 4 * (16 + kLeftUnits)) {
        const Bytes low = _mm256_shuffle_epi8(load(at.source), shuffle);
        const Bytes high = _mm256_shuffle_epi8(load(at.source + 32), shuffle);
        const Bytes both = _mm256_or_si256(low, high);
        if (none_has(both, ~0x7Fu)) {
            const Bytes words = narrow(low, high);
            store_half(at.target, _mm_packus_epi16(_mm256_castsi256_si128(words),
                                                   _mm256_extracti128_si256(words, 1)));
            loops::advance(at, 64, 16);
        } else if (none_has(both, ~0x7FFu)) {
            loops::advance(at, 64, encode_short(narrow(low, high), at.target));
        } else {
            loops::advance(at, 32, encode_eight(low, at.target));
            loops::advance(at, 32, encode_eight(high, at.target));
        }
    }
    cursor = at;
    return loops::utf32_to_utf8(cursor, in, loops::kToTheEnd);
}

}  // namespace nq::avx2
#endif
