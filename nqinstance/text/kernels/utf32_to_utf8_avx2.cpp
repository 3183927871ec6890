#if defined(__x86_64__)
#include "nqinstance/text/kernels/avx2.hpp"

namespace nq::avx2 {
namespace {

// For four characters, each in the last of four bytes. The set holds the low bits of the four
// sizes less one, above them the high bits.
constexpr auto kCompressUtf8 = make_compress_table<16>([](unsigned set, unsigned byte) {
    const unsigned lane = byte / 4;
    const unsigned size = 1 + (set >> lane & 1) + 2 * (set >> (lane + 4) & 1);
    return byte % 4 >= 4 - size;
});

// For eight characters of one or two bytes, each in the two of a 16-bit element, the lead first: a
// set bit is a character of two bytes, the others have their byte where the lead would be.
constexpr auto kCompressShortUtf8 = make_compress_table<16>(
    [](unsigned set, unsigned byte) { return byte % 2 == 0 || (set >> byte / 2 & 1); });

// Stores 16 units below U+0800, given in 16 bits, and returns the bytes; 32 may be overwritten.
NQ_AVX2_INLINE std::uint64_t encode_short(Bytes words, std::uint8_t* target) noexcept {
    const Bytes is_two = _mm256_cmpgt_epi16(words, _mm256_set1_epi16(0x7F));
    const Bytes lead = _mm256_srli_epi16(words, 6);
    const Bytes second = _mm256_and_si256(_mm256_slli_epi16(words, 8), _mm256_set1_epi16(0x3F00));
    const Bytes two = _mm256_or_si256(_mm256_or_si256(lead, second),
                                      _mm256_set1_epi16(static_cast<short>(0x80C0)));
    const Bytes encoded = _mm256_blendv_epi8(words, two, is_two);
    const std::uint32_t set = _pext_u32(top_bits(is_two), 0x55555555);
    const std::uint32_t lower = set & 0xFF, upper = set >> 8;
    const Bytes packed =
        _mm256_shuffle_epi8(encoded, join(load_half(kCompressShortUtf8.shuffle[lower]),
                                          load_half(kCompressShortUtf8.shuffle[upper])));
    const std::uint64_t half = 8 + count_bits(lower);
    store_half(target, _mm256_castsi256_si128(packed));
    store_half(target + half, _mm256_extracti128_si256(packed, 1));
    return half + 8 + count_bits(upper);
}

// Stores eight units as UTF-8 and returns the bytes; 32 may be overwritten.
NQ_AVX2_INLINE std::uint64_t encode_eight(Bytes units, std::uint8_t* target) noexcept {
    const Bytes two = at_least(units, 0x80);
    const Bytes three = at_least(units, 0x800);
    const Bytes four = at_least(units, 0x10000);

    // Six bits a byte, the lowest last; a single byte keeps its seven.
    const Bytes last_bits =
        _mm256_xor_si256(all_units(0x7F000000), _mm256_and_si256(two, all_units(0x40000000)));
    const Bytes last = _mm256_and_si256(_mm256_slli_epi32(units, 24), last_bits);
    const Bytes third = _mm256_and_si256(_mm256_slli_epi32(units, 10), all_units(0x3F0000));
    const Bytes second = _mm256_and_si256(_mm256_srli_epi32(units, 4), all_units(0x3F00));
    const Bytes first = _mm256_and_si256(_mm256_srli_epi32(units, 18), all_units(0xFF));
    const Bytes bits =
        _mm256_or_si256(_mm256_or_si256(last, third), _mm256_or_si256(second, first));
    // Each size turns the marks of the one below it into its own.
    const Bytes marks = _mm256_xor_si256(
        _mm256_and_si256(two, all_units(0x80C00000)),
        _mm256_xor_si256(_mm256_and_si256(three, all_units(0x80C00000 ^ 0x8080E000)),
                         _mm256_and_si256(four, all_units(0x8080E000 ^ 0x808080F0))));
    // Added, because the bits above U+1FFFFF overflow into the lead's mark.
    const Bytes encoded = _mm256_add_epi8(bits, marks);

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
    // The last store of a block runs over by up to 12 bytes. That many units stay behind, with
    // room for each, so that the plain loop overwrites them.
    constexpr std::uint64_t kBehind = 12;
    const Bytes shuffle = order_shuffle(in, 4);
    Cursor at = cursor;
    while (at.left >= 4 * (16 + kBehind) && at.room >= 4 * (16 + kBehind)) {
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
