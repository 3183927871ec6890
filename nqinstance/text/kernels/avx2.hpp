#pragma once
#include <immintrin.h>

#include "nqinstance/text/kernels/loops.hpp"

// What the 256-bit bodies share.
namespace nq::avx2 {

// The bodies of the conversions, see TextKernels.
NQ_AVX2 NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept;
NQ_AVX2 NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept;
NQ_AVX2 NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in) noexcept;
NQ_AVX2 NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept;

// The bodies of the comparisons.
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_utf8(const std::uint8_t* a,
                                                          const std::uint8_t* b, std::size_t length,
                                                          std::int32_t& order) noexcept;
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_bytes(const std::uint8_t* a,
                                                           const std::uint8_t* b,
                                                           std::size_t length) noexcept;
NQ_AVX2 std::size_t equal_prefix_ignoring_ascii_case_units(const NQChar* a, const NQChar* b,
                                                           std::size_t count,
                                                           std::int32_t& order) noexcept;

// The bodies of the case mappings.
NQ_AVX2 std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                              std::uint8_t first) noexcept;
NQ_AVX2 std::size_t map_ascii_units(NQChar* units, std::size_t count, std::uint8_t first) noexcept;

// The bodies of the counts.
NQ_AVX2 std::uint64_t count_characters(const std::uint8_t* text, std::size_t length) noexcept;
NQ_AVX2 std::uint64_t size_of_characters(const std::uint8_t* text, std::uint64_t count) noexcept;
NQ_AVX2 Steps count_steps(const std::uint8_t* text, std::size_t length) noexcept;

// After a block that cannot be converted at once, this many bytes go through the plain loop.
inline constexpr std::uint64_t kScalarStretch = 64;

using Bytes = __m256i;

NQ_AVX2_INLINE Bytes load(const void* from) noexcept {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

NQ_AVX2_INLINE void store(void* to, Bytes bytes) noexcept {
    _mm256_storeu_si256(static_cast<__m256i*>(to), bytes);
}

// One bit for each byte whose top bit is set.
NQ_AVX2_INLINE std::uint32_t top_bits(Bytes bytes) noexcept {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
}

NQ_AVX2_INLINE std::uint64_t top_bits(Bytes low, Bytes high) noexcept {
    return top_bits(low) | static_cast<std::uint64_t>(top_bits(high)) << 32;
}

NQ_AVX2_INLINE Bytes all_bytes(std::uint32_t byte) noexcept {
    return _mm256_set1_epi8(static_cast<char>(byte));
}

NQ_AVX2_INLINE Bytes all_units(std::uint32_t unit) noexcept {
    return _mm256_set1_epi32(static_cast<int>(unit));
}

// The letters from `first` on flip the bit that tells the cases apart.
NQ_AVX2_INLINE Bytes flip_case(Bytes text, std::uint32_t first) noexcept {
    const Bytes from_first = _mm256_sub_epi8(text, all_bytes(first + 0x80));
    const Bytes is_letter = _mm256_cmpgt_epi8(all_bytes(0x80 + 26), from_first);
    return _mm256_xor_si256(text, _mm256_and_si256(is_letter, all_bytes(0x20)));
}

// All ones in the units that are at least `bound`.
NQ_AVX2_INLINE Bytes at_least(Bytes units, std::uint32_t bound) noexcept {
    return _mm256_cmpeq_epi32(_mm256_max_epu32(units, all_units(bound)), units);
}

// What brings units of `width` bytes from or into the given order.
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

// The same 16 bytes in both halves, for shuffles, which look up in each half of its own.
NQ_AVX2_INLINE Bytes both_halves(const std::uint8_t (&table)[16]) noexcept {
    return _mm256_broadcastsi128_si256(load_half(table));
}

// The bits of all lanes at which `units` has its top bit set.
NQ_AVX2_INLINE std::uint32_t top_bits_of_units(Bytes units) noexcept {
    return static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(units)));
}

NQ_AVX2_INLINE std::uint32_t count_bits(std::uint32_t bits) noexcept {
    return static_cast<std::uint32_t>(_mm_popcnt_u32(bits));
}

NQ_AVX2_INLINE bool none_has(Bytes units, std::uint32_t bits) noexcept {
    return _mm256_testz_si256(units, all_units(bits));
}

// The low 16 bits, which are all that is set, of 16 units.
NQ_AVX2_INLINE Bytes narrow(Bytes low, Bytes high) noexcept {
    return _mm256_permute4x64_epi64(_mm256_packus_epi32(low, high), 0xD8);
}

// For each set of bits, what moves the kept ones of N bytes to the front; bytes after them are
// marked as zero for a shuffle.
template <std::size_t N>
struct CompressTable {
    alignas(N) std::uint8_t shuffle[256][N];
};

// `is_kept(set, byte)` tells which they are.
template <std::size_t N, class IsKept>
consteval CompressTable<N> make_compress_table(IsKept is_kept) {
    CompressTable<N> table{};
    for (unsigned set = 0; set < 256; ++set) {
        std::size_t to = 0;
        for (unsigned byte = 0; byte < N; ++byte) {
            if (is_kept(set, byte)) table.shuffle[set][to++] = static_cast<std::uint8_t>(byte);
        }
        while (to < N) table.shuffle[set][to++] = 0x80;
    }
    return table;
}

// Keeps those of eight 16-bit elements whose bit is set.
inline constexpr auto kCompressWords =
    make_compress_table<16>([](unsigned set, unsigned byte) { return set >> byte / 2 & 1; });

}  // namespace nq::avx2
