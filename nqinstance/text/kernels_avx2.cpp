#if defined(__x86_64__)
#include <immintrin.h>

#include "nqinstance/text/kernel_loops.hpp"

#define NQ_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
#define NQ_AVX2_INLINE __attribute__((target("avx2,bmi,bmi2,popcnt"), always_inline)) inline

namespace nq {
namespace {

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

// --- Case, scans, counts -------------------------------------------------------------------------

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

// All ones in the units that are at least `bound`.
NQ_AVX2_INLINE Bytes at_least(Bytes units, std::uint32_t bound) noexcept {
    return _mm256_cmpeq_epi32(_mm256_max_epu32(units, all_units(bound)), units);
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

// --- Byte order ----------------------------------------------------------------------------------

// What brings units of `width` bytes from or into the given order.
NQ_AVX2_INLINE Bytes order_shuffle(ByteOrder order, int width) noexcept {
    const Bytes same = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0, 1,
                                        2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    if (order == ByteOrder::little) return same;
    return _mm256_xor_si256(same, all_bytes(static_cast<std::uint32_t>(width - 1)));
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

// --- UTF-8 to UTF-32 -----------------------------------------------------------------------------

// Where the characters of a 64-byte block start, one bit per byte, up to the end of its whole and
// well-built characters; where a lead byte is not followed by just its continuation bytes, the
// rules are the plain loop's business.
struct Utf8Block {
    std::uint64_t starts;
    std::uint64_t non_ascii;
    std::uint64_t length;  // bytes
    bool is_broken;
};

NQ_AVX2_INLINE Utf8Block examine_utf8(Bytes low, Bytes high) noexcept {
    const std::uint64_t non_ascii = top_bits(low, high);
    if (!non_ascii) return {~std::uint64_t{0}, 0, 64, false};
    // Adding a byte to itself brings its next bit to the top.
    const Bytes low2 = _mm256_add_epi8(low, low), high2 = _mm256_add_epi8(high, high);
    const Bytes low4 = _mm256_add_epi8(low2, low2), high4 = _mm256_add_epi8(high2, high2);
    const Bytes low8 = _mm256_add_epi8(low4, low4), high8 = _mm256_add_epi8(high4, high4);
    const std::uint64_t leads = non_ascii & top_bits(low2, high2);
    const std::uint64_t leads_3 = leads & top_bits(low4, high4);
    const std::uint64_t leads_4 = leads_3 & top_bits(low8, high8);
    const std::uint64_t tails = non_ascii & ~leads;

    const Bytes last_lead = all_bytes(0xF5), even = all_bytes(0xFE), overlong = all_bytes(0xC0);
    const Bytes bad_low = _mm256_or_si256(_mm256_cmpeq_epi8(_mm256_max_epu8(low, last_lead), low),
                                          _mm256_cmpeq_epi8(_mm256_and_si256(low, even), overlong));
    const Bytes bad_high =
        _mm256_or_si256(_mm256_cmpeq_epi8(_mm256_max_epu8(high, last_lead), high),
                        _mm256_cmpeq_epi8(_mm256_and_si256(high, even), overlong));
    const std::uint64_t errors =
        top_bits(bad_low, bad_high) | (tails ^ (leads << 1 | leads_3 << 2 | leads_4 << 3));
    const std::uint64_t sound = _tzcnt_u64(errors);  // bytes before the first error
    if (sound == 0) return {0, non_ascii, 0, true};

    // The one character that may run past those bytes is left out.
    const std::uint64_t beyond = 64 - sound;
    const std::uint64_t unfinished = (leads << beyond & std::uint64_t{1} << 63) |
                                     (leads_3 << beyond & std::uint64_t{3} << 62) |
                                     (leads_4 << beyond & std::uint64_t{7} << 61);
    const std::uint64_t length = unfinished ? _tzcnt_u64(unfinished) - beyond : sound;
    return {_bzhi_u64(~tails, static_cast<std::uint32_t>(length)), non_ascii, length, sound < 64};
}

// The positions of the first four bits set in the low 16 bits, a nibble each.
NQ_AVX2_INLINE std::uint64_t first_four(std::uint64_t bits) noexcept {
    const std::uint64_t spread = _pdep_u64(bits, 0x1111111111111111);
    return _pext_u64(0xFEDCBA9876543210, (spread << 4) - spread) & 0xFFFF;
}

// Decodes the eight characters that start at the first eight bits of `starts`, four in each half.
// Fewer leave the last lanes undefined. Up to 16 bytes past `fifth` are read.
NQ_AVX2_INLINE Bytes decode_eight(const std::uint8_t* text, std::uint64_t starts,
                                  std::uint64_t first, std::uint64_t fifth) noexcept {
    const std::uint64_t upper_starts = fifth < 64 ? starts >> fifth : 0;
    const std::uint64_t nibbles = first_four(starts >> first) | first_four(upper_starts) << 16;
    const std::uint64_t positions = _pdep_u64(nibbles, 0x0F0F0F0F0F0F0F0F);
    const Bytes lane_of = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,  //
                                           4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    const Bytes gather = _mm256_add_epi8(
        _mm256_shuffle_epi8(_mm256_set1_epi64x(static_cast<long long>(positions)), lane_of),
        all_units(0x00010203));
    const Bytes source = _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(text + fifth),
                                             reinterpret_cast<const __m128i*>(text + first));
    // Four bytes from each start, the lead on top; behind shorter characters, what follows them.
    const Bytes four = _mm256_shuffle_epi8(source, gather);
    const Bytes by_lead = _mm256_or_si256(_mm256_srli_epi32(four, 28),
                                          all_units(0x80808000));  // only one byte looked up
    // The surplus bits at the bottom, and the bits of the code point.
    const Bytes surplus =
        _mm256_setr_epi8(18, 18, 18, 18, 18, 18, 18, 18, 0, 0, 0, 0, 12, 12, 6, 0, 18, 18, 18, 18,
                         18, 18, 18, 18, 0, 0, 0, 0, 12, 12, 6, 0);
    const Bytes excess = _mm256_setr_epi8(14, 14, 14, 14, 14, 14, 14, 14, 0, 0, 0, 0, 10, 10, 5, 0,
                                          14, 14, 14, 14, 14, 14, 14, 14, 0, 0, 0, 0, 10, 10, 5, 0);
    const Bytes bits = _mm256_and_si256(four, all_units(0x7F3F3F3F));
    const Bytes halves = _mm256_maddubs_epi16(bits, _mm256_set1_epi16(0x4001));
    const Bytes joined = _mm256_madd_epi16(halves, all_units(0x10000001));
    return _mm256_and_si256(
        _mm256_srlv_epi32(joined, _mm256_shuffle_epi8(surplus, by_lead)),
        _mm256_srlv_epi32(all_units(0x1FFFFF), _mm256_shuffle_epi8(excess, by_lead)));
}

NQ_AVX2_INLINE void widen_eight(const std::uint8_t* source, std::uint8_t* target,
                                Bytes out) noexcept {
    const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source));
    store(target, _mm256_shuffle_epi8(_mm256_cvtepu8_epi32(eight), out));
}

// What a block needs: itself, the bytes that its last load may reach, room for 64 units.
constexpr std::uint64_t kUtf8BlockReach = 64 + 16;
constexpr std::uint64_t kUtf8BlockRoom = 64 * 4;

// Converts blocks until one is broken or the end is near.
NQ_AVX2_INLINE void utf8_blocks(Cursor& cursor, Bytes out) noexcept {
    Cursor at = cursor;
    while (at.left >= kUtf8BlockReach && at.room >= kUtf8BlockRoom) {
        Utf8Block block = examine_utf8(load(at.source), load(at.source + 32));
        std::uint8_t* target = at.target;
        if (!block.non_ascii) {
            for (int i = 0; i < 64; i += 8) widen_eight(at.source + i, target + 4 * i, out);
            loops::advance(at, 64, kUtf8BlockRoom);
            continue;
        }
        while (block.starts) {
            const std::uint64_t first = _tzcnt_u64(block.starts);
            if (first + 16 <= block.length && (block.non_ascii >> first & 0xFFFF) == 0) {
                widen_eight(at.source + first, target, out);
                widen_eight(at.source + first + 8, target + 32, out);
                target += 64;
                block.starts &= ~(std::uint64_t{0xFFFF} << first);
                continue;
            }
            const std::uint64_t fifth = _tzcnt_u64(_pdep_u64(1 << 4, block.starts));
            const std::uint64_t rest = _pdep_u64(1 << 8, block.starts);
            const Bytes units =
                _mm256_shuffle_epi8(decode_eight(at.source, block.starts, first, fifth), out);
            if (!rest) {
                // Eight or fewer: exactly these are written.
                const int count = static_cast<int>(_mm_popcnt_u64(block.starts));
                const Bytes lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
                _mm256_maskstore_epi32(reinterpret_cast<int*>(target),
                                       _mm256_cmpgt_epi32(_mm256_set1_epi32(count), lanes), units);
                target += 4 * count;
                break;
            }
            store(target, units);
            target += 32;
            block.starts &= ~(rest - 1);
        }
        loops::advance(at, block.length, static_cast<std::uint64_t>(target - at.target));
        if (block.is_broken) break;
    }
    cursor = at;
}

// After a broken block this many bytes go through the plain loop before blocks are tried again.
constexpr std::uint64_t kPlainStretch = 32;

NQ_AVX2 NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept {
    const Bytes shuffle = order_shuffle(out, 4);
    for (;;) {
        utf8_blocks(cursor, shuffle);
        const bool is_last = cursor.left < kUtf8BlockReach || cursor.room < kUtf8BlockRoom;
        const NQStatus status =
            loops::utf8_to_utf32(cursor, out, is_last ? loops::kToTheEnd : kPlainStretch);
        if (status || is_last) return status;
    }
}

// --- UTF-16 to UTF-32 ----------------------------------------------------------------------------

// Converts blocks of 16 units until one holds a surrogate.
NQ_AVX2_INLINE void utf16_blocks(Cursor& cursor, Bytes in, Bytes out) noexcept {
    Cursor at = cursor;
    while (at.left >= 32 && at.room >= 64) {
        const Bytes units = _mm256_shuffle_epi8(load(at.source), in);
        const Bytes is_surrogate = _mm256_cmpeq_epi16(
            _mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xF800))),
            _mm256_set1_epi16(static_cast<short>(0xD800)));
        if (top_bits(is_surrogate)) break;
        const Bytes low = _mm256_cvtepu16_epi32(_mm256_castsi256_si128(units));
        const Bytes high = _mm256_cvtepu16_epi32(_mm256_extracti128_si256(units, 1));
        store(at.target, _mm256_shuffle_epi8(low, out));
        store(at.target + 32, _mm256_shuffle_epi8(high, out));
        loops::advance(at, 32, 64);
    }
    cursor = at;
}

NQ_AVX2 NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept {
    const Bytes in_shuffle = order_shuffle(in, 2);
    const Bytes out_shuffle = order_shuffle(out, 4);
    for (;;) {
        utf16_blocks(cursor, in_shuffle, out_shuffle);
        const bool is_last = cursor.left < 32 || cursor.room < 64;
        const NQStatus status =
            loops::utf16_to_utf32(cursor, in, out, is_last ? loops::kToTheEnd : kPlainStretch);
        if (status || is_last) return status;
    }
}

// --- UTF-32 to UTF-8 -----------------------------------------------------------------------------

// For four characters, each in the last of four bytes: what moves their bytes together. The index
// holds the low bits of the four sizes less one, above them the high bits.
struct Utf8Packing {
    alignas(16) std::uint8_t shuffle[256][16];
};

consteval Utf8Packing make_utf8_packing() {
    Utf8Packing packing{};
    for (unsigned index = 0; index < 256; ++index) {
        unsigned to = 0;
        for (unsigned lane = 0; lane < 4; ++lane) {
            const unsigned size = 1 + (index >> lane & 1) + 2 * (index >> (lane + 4) & 1);
            for (unsigned byte = 4 - size; byte < 4; ++byte) {
                packing.shuffle[index][to++] = static_cast<std::uint8_t>(4 * lane + byte);
            }
        }
        while (to < 16) packing.shuffle[index][to++] = 0x80;
    }
    return packing;
}

constexpr Utf8Packing kUtf8Packing = make_utf8_packing();

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
    const auto low_bits =
        static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(is_even)));
    const auto high_bits =
        static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(three)));
    const std::uint32_t lower = (low_bits & 0xF) | (high_bits & 0xF) << 4;
    const std::uint32_t upper = low_bits >> 4 | (high_bits & 0xF0);
    const Bytes packing =
        _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(kUtf8Packing.shuffle[upper]),
                            reinterpret_cast<const __m128i*>(kUtf8Packing.shuffle[lower]));
    const Bytes packed = _mm256_shuffle_epi8(encoded, packing);
    const auto lower_bytes =
        static_cast<std::uint64_t>(_mm_popcnt_u32(lower) + _mm_popcnt_u32(lower & 0xF0) + 4);
    const auto upper_bytes =
        static_cast<std::uint64_t>(_mm_popcnt_u32(upper) + _mm_popcnt_u32(upper & 0xF0) + 4);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm256_castsi256_si128(packed));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target + lower_bytes),
                     _mm256_extracti128_si256(packed, 1));
    return lower_bytes + upper_bytes;
}

NQ_AVX2 NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in) noexcept {
    // The last store of a block runs over by up to 12 bytes. That many units stay behind, with
    // room for each, so that the plain loop overwrites them.
    constexpr std::uint64_t kBehind = 12;
    const Bytes shuffle = order_shuffle(in, 4);
    Cursor at = cursor;
    while (at.left >= 4 * (16 + kBehind) && at.room >= 4 * (16 + kBehind)) {
        const Bytes low = _mm256_shuffle_epi8(load(at.source), shuffle);
        const Bytes high = _mm256_shuffle_epi8(load(at.source + 32), shuffle);
        if (_mm256_testz_si256(_mm256_or_si256(low, high), all_units(~0x7Fu))) {
            const Bytes words = _mm256_permute4x64_epi64(_mm256_packus_epi32(low, high), 0xD8);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(at.target),
                             _mm_packus_epi16(_mm256_castsi256_si128(words),
                                              _mm256_extracti128_si256(words, 1)));
            loops::advance(at, 64, 16);
            continue;
        }
        loops::advance(at, 32, encode_eight(low, at.target));
        loops::advance(at, 32, encode_eight(high, at.target));
    }
    cursor = at;
    return loops::utf32_to_utf8(cursor, in, loops::kToTheEnd);
}

// --- UTF-32 to UTF-16 ----------------------------------------------------------------------------

// Converts blocks of 16 units, with `pairs` until one holds a code point that needs two.
NQ_AVX2_INLINE void utf32_to_utf16_blocks(Cursor& cursor, Bytes in, Bytes out,
                                          bool pairs) noexcept {
    const Bytes above = all_units(pairs ? 0xFFFF0000 : 0);
    const Bytes below = all_units(0xFFFF);
    Cursor at = cursor;
    while (at.left >= 64 && at.room >= 32) {
        const Bytes low = _mm256_shuffle_epi8(load(at.source), in);
        const Bytes high = _mm256_shuffle_epi8(load(at.source + 32), in);
        if (!_mm256_testz_si256(_mm256_or_si256(low, high), above)) break;
        const Bytes words =
            _mm256_packus_epi32(_mm256_and_si256(low, below), _mm256_and_si256(high, below));
        store(at.target, _mm256_shuffle_epi8(_mm256_permute4x64_epi64(words, 0xD8), out));
        loops::advance(at, 64, 32);
    }
    cursor = at;
}

NQ_AVX2 NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept {
    const Bytes in_shuffle = order_shuffle(in, 4);
    const Bytes out_shuffle = order_shuffle(out, 2);
    for (;;) {
        utf32_to_utf16_blocks(cursor, in_shuffle, out_shuffle, pairs);
        const bool is_last = cursor.left < 64 || cursor.room < 32;
        const NQStatus status = loops::utf32_to_utf16(cursor, in, out, pairs,
                                                      is_last ? loops::kToTheEnd : kPlainStretch);
        if (status || is_last) return status;
    }
}

}  // namespace

constinit const TextKernels kAvx2TextKernels = {
    .name = "avx2",
    .to_upper = to_upper,
    .to_lower = to_lower,
    .find_other_byte = find_other_byte,
    .find_other_unit = find_other_unit,
    .find_unequal = find_unequal,
    .find_nan = find_nan,
    .find_pair = find_pair,
    .utf8_bytes = utf8_bytes,
    .swap_units = swap_units,
    .utf8_to_utf32 = utf8_to_utf32,
    .utf16_to_utf32 = utf16_to_utf32,
    .utf32_to_utf8 = utf32_to_utf8,
    .utf32_to_utf16 = utf32_to_utf16,
};

}  // namespace nq
#endif
