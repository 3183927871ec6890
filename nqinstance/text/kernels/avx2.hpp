#pragma once
#include <immintrin.h>

#include "nqinstance/text/kernels/loops.hpp"

// What the 256-bit bodies share: loads and stores, masks, shuffles. A mask has one bit for each
// lane, the first lane's in the lowest bit. In the pictures of lanes a unit has its highest bit
// first.
namespace nq::avx2 {

// The kernels that have files of their own, see TextKernels. First the conversions.
NQ_AVX2 NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept;
NQ_AVX2 NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept;
NQ_AVX2 NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in) noexcept;
NQ_AVX2 NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept;

// The comparisons.
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_utf8(const std::uint8_t* a,
                                                          const std::uint8_t* b, std::size_t length,
                                                          std::int32_t& order) noexcept;
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_bytes(const std::uint8_t* a,
                                                           const std::uint8_t* b,
                                                           std::size_t length) noexcept;
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_units(const NQChar* a, const NQChar* b,
                                                           std::size_t count,
                                                           std::int32_t& order) noexcept;

// The case mappings.
NQ_AVX2 std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                              std::uint8_t first) noexcept;
NQ_AVX2 std::size_t map_ascii_units(NQChar* units, std::size_t count, std::uint8_t first) noexcept;

// The counts.
NQ_AVX2 std::uint64_t count_characters(const std::uint8_t* text, std::size_t length) noexcept;
NQ_AVX2 std::uint64_t size_of_characters(const std::uint8_t* text, std::uint64_t count) noexcept;
NQ_AVX2 Steps count_steps(const std::uint8_t* text, std::size_t length) noexcept;

// Behind a block that the wide loop of a conversion cannot convert, so many bytes go through the
// scalar loop.
inline constexpr std::uint64_t kScalarStretch = 64;

// A register of 32 bytes, also as lanes of 16 or 32 bits.
using Bytes = __m256i;

NQ_AVX2_INLINE Bytes load(const void* from) noexcept {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

NQ_AVX2_INLINE void store(void* to, Bytes bytes) noexcept {
    _mm256_storeu_si256(static_cast<__m256i*>(to), bytes);
}

// The mask of the bytes whose top bit is set.
NQ_AVX2_INLINE std::uint32_t top_bits(Bytes bytes) noexcept {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
}

NQ_AVX2_INLINE std::uint64_t top_bits(Bytes low, Bytes high) noexcept {
    return top_bits(low) | static_cast<std::uint64_t>(top_bits(high)) << 32;
}

// Of a mask of 32 bytes every second bit, one for each 16-bit lane.
inline constexpr std::uint32_t kEvenBits = 0x55555555;

NQ_AVX2_INLINE Bytes all_bytes(std::uint32_t byte) noexcept {
    return _mm256_set1_epi8(static_cast<char>(byte));
}

NQ_AVX2_INLINE Bytes all_units(std::uint32_t unit) noexcept {
    return _mm256_set1_epi32(static_cast<int>(unit));
}

// Flips the case of the 26 letters from `first` on. Bytes are compared as signed numbers, so the
// letters are moved to the 26 smallest ones:
//   'a'..'z' -> 0x80..0x99, which are -128..-103, and all other bytes are greater
NQ_AVX2_INLINE Bytes flip_case(Bytes text, std::uint32_t first) noexcept {
    constexpr std::uint32_t kSmallest = 0x80;  // as a signed byte
    constexpr std::uint32_t kCaseBit = 0x20;   // 'a' ^ 'A'
    const Bytes from_first = _mm256_sub_epi8(text, all_bytes(first + kSmallest));
    const Bytes is_letter = _mm256_cmpgt_epi8(all_bytes(kSmallest + 26), from_first);
    return _mm256_xor_si256(text, _mm256_and_si256(is_letter, all_bytes(kCaseBit)));
}

// Sets the units that are at least `bound` to all ones, the others to 0. There is no comparison of
// unsigned units; a unit is at least the bound if it is the greater of the two.
NQ_AVX2_INLINE Bytes at_least(Bytes units, std::uint32_t bound) noexcept {
    return _mm256_cmpeq_epi32(_mm256_max_epu32(units, all_units(bound)), units);
}

// The shuffle that brings units of `width` bytes from the given order into the processor's, or
// back.
//   big-endian, width 4: bytes 0 1 2 3 -> 3 2 1 0 in each unit; width 2: 0 1 -> 1 0
NQ_AVX2_INLINE Bytes order_shuffle(ByteOrder order, int width) noexcept {
    const Bytes same = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0, 1,
                                        2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    if (order == ByteOrder::little) return same;
    return _mm256_xor_si256(same, all_bytes(static_cast<std::uint32_t>(width - 1)));
}

NQ_AVX2_INLINE __m128i load_half(const void* from) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

NQ_AVX2_INLINE void store_half(void* to, __m128i bytes) noexcept {
    _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
}

NQ_AVX2_INLINE Bytes join(__m128i low, __m128i high) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

// Loads the same 16 bytes into both halves, as a look-up table: a shuffle looks up each byte in its
// own half.
NQ_AVX2_INLINE Bytes both_halves(const std::uint8_t (&table)[16]) noexcept {
    return _mm256_broadcastsi128_si256(load_half(table));
}

// The mask of the 32-bit units whose top bit is set.
NQ_AVX2_INLINE std::uint32_t top_bits_of_units(Bytes units) noexcept {
    return static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(units)));
}

NQ_AVX2_INLINE std::uint32_t count_bits(std::uint32_t bits) noexcept {
    return static_cast<std::uint32_t>(_mm_popcnt_u32(bits));
}

// Whether none of the 32-bit units has one of these bits.
NQ_AVX2_INLINE bool none_has(Bytes units, std::uint32_t bits) noexcept {
    return _mm256_testz_si256(units, all_units(bits));
}

// Narrows 16 units, of which only the low 16 bits may be set, to 16-bit lanes. The pack works in
// each half of its own and leaves groups of four lanes as low 0, high 0, low 1, high 1; the
// permutation puts the groups into the order 0, 2, 1, 3.
NQ_AVX2_INLINE Bytes narrow(Bytes low, Bytes high) noexcept {
    constexpr int kGroups0213 = 0 | 2 << 2 | 1 << 4 | 3 << 6;
    return _mm256_permute4x64_epi64(_mm256_packus_epi32(low, high), kGroups0213);
}

// For each mask of eight bits the shuffle that moves those of N bytes to the front that are kept.
// The bytes behind them become zero, which index 0x80 means to a shuffle.
//   mask 0000'0101, 16-bit lanes a b c d e f g h -> a c 0 0 0 0 0 0
template <std::size_t N>
struct CompressTable {
    alignas(N) std::uint8_t shuffle[256][N];
};

// `is_kept(mask, byte)` says whether a byte is kept.
template <std::size_t N, class IsKept>
consteval CompressTable<N> make_compress_table(IsKept is_kept) {
    CompressTable<N> table{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        std::size_t to = 0;
        for (unsigned byte = 0; byte < N; ++byte) {
            if (is_kept(mask, byte)) table.shuffle[mask][to++] = static_cast<std::uint8_t>(byte);
        }
        while (to < N) table.shuffle[mask][to++] = 0x80;
    }
    return table;
}

// Keeps those of eight 16-bit lanes whose bit in the mask is set.
inline constexpr auto kCompressWords =
    make_compress_table<16>([](unsigned mask, unsigned byte) { return mask >> byte / 2 & 1; });

}  // namespace nq::avx2
