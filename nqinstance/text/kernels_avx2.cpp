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

// --- Moving elements together --------------------------------------------------------------------

// For each set of eight 16-bit elements, bit 0 the first: what moves them to the front.
struct WordPacking {
    alignas(16) std::uint8_t shuffle[256][16];
};

consteval WordPacking make_word_packing() {
    WordPacking packing{};
    for (unsigned set = 0; set < 256; ++set) {
        unsigned to = 0;
        for (unsigned word = 0; word < 8; ++word) {
            if (!(set >> word & 1)) continue;
            packing.shuffle[set][to++] = static_cast<std::uint8_t>(2 * word);
            packing.shuffle[set][to++] = static_cast<std::uint8_t>(2 * word + 1);
        }
        while (to < 16) packing.shuffle[set][to++] = 0x80;
    }
    return packing;
}

constexpr WordPacking kWordPacking = make_word_packing();

NQ_AVX2_INLINE __m128i load_half(const void* from) noexcept {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

NQ_AVX2_INLINE void store_half(void* to, __m128i bytes) noexcept {
    _mm_storeu_si128(static_cast<__m128i*>(to), bytes);
}

NQ_AVX2_INLINE Bytes join(__m128i low, __m128i high) noexcept {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

// The bits of all lanes at which `units` has its top bit set.
NQ_AVX2_INLINE std::uint32_t top_bits_of_units(Bytes units) noexcept {
    return static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(units)));
}

NQ_AVX2_INLINE std::uint32_t count_bits(std::uint32_t bits) noexcept {
    return static_cast<std::uint32_t>(_mm_popcnt_u32(bits));
}

// --- UTF-8 to UTF-32 -----------------------------------------------------------------------------

// Characters of 64 bytes by where they start, one bit per byte. Blocks follow each other at fixed
// steps; `pending` has a bit for each byte at the next block's start that belongs to the last
// character of this one.
struct Utf8Block {
    std::uint64_t non_ascii;
    std::uint64_t starts;
    std::uint64_t pending;
    std::uint64_t leads_4;
    bool is_broken;  // a tail where none belongs or none where one does, or an invalid lead
};

NQ_AVX2_INLINE Bytes invalid_leads(Bytes text) noexcept {
    const Bytes above = _mm256_cmpeq_epi8(_mm256_max_epu8(text, all_bytes(0xF5)), text);
    const Bytes overlong =
        _mm256_cmpeq_epi8(_mm256_and_si256(text, all_bytes(0xFE)), all_bytes(0xC0));
    return _mm256_or_si256(above, overlong);
}

NQ_AVX2_INLINE Utf8Block examine_utf8(Bytes low, Bytes high, std::uint64_t non_ascii,
                                      std::uint64_t pending) noexcept {
    // Adding a byte to itself brings its next bit to the top.
    const Bytes low2 = _mm256_add_epi8(low, low), high2 = _mm256_add_epi8(high, high);
    const Bytes low4 = _mm256_add_epi8(low2, low2), high4 = _mm256_add_epi8(high2, high2);
    const Bytes low8 = _mm256_add_epi8(low4, low4), high8 = _mm256_add_epi8(high4, high4);
    const std::uint64_t leads = non_ascii & top_bits(low2, high2);
    const std::uint64_t leads_3 = leads & top_bits(low4, high4);
    const std::uint64_t leads_4 = leads_3 & top_bits(low8, high8);
    const std::uint64_t tails = non_ascii & ~leads;
    const std::uint64_t expected = leads << 1 | leads_3 << 2 | leads_4 << 3 | pending;
    const Bytes invalid = _mm256_or_si256(invalid_leads(low), invalid_leads(high));
    return {.non_ascii = non_ascii,
            .starts = ~tails,
            .pending = leads >> 63 | leads_3 >> 62 | leads_4 >> 61,
            .leads_4 = leads_4,
            .is_broken = tails != expected || !_mm256_testz_si256(invalid, invalid)};
}

template <ByteOrder kOut>
NQ_AVX2_INLINE void store_units(std::uint8_t* target, Bytes units, Bytes swap) noexcept {
    store(target, kOut == ByteOrder::little ? units : _mm256_shuffle_epi8(units, swap));
}

template <ByteOrder kOut>
NQ_AVX2_INLINE void widen_ascii(const std::uint8_t* source, std::uint8_t* target,
                                Bytes swap) noexcept {
    for (int i = 0; i < 64; i += 8) {
        const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source + i));
        store_units<kOut>(target + 4 * i, _mm256_cvtepu8_epi32(eight), swap);
    }
}

// A block without four-byte characters: works out at each byte the character that would start
// there, in 16 bits, and keeps those that do. No step depends on the one before it but for where
// it stores.
template <ByteOrder kOut>
NQ_AVX2_INLINE void decode_short(const std::uint8_t* source, std::uint64_t starts,
                                 std::uint8_t* target, Bytes swap) noexcept {
    const Bytes tail_bits = _mm256_set1_epi16(0x3F);
    for (int i = 0; i < 64; i += 16) {
        const Bytes lead = _mm256_cvtepu8_epi16(load_half(source + i));
        const Bytes second =
            _mm256_and_si256(_mm256_cvtepu8_epi16(load_half(source + i + 1)), tail_bits);
        const Bytes third =
            _mm256_and_si256(_mm256_cvtepu8_epi16(load_half(source + i + 2)), tail_bits);
        const Bytes two = _mm256_or_si256(
            _mm256_slli_epi16(_mm256_and_si256(lead, _mm256_set1_epi16(0x1F)), 6), second);
        const Bytes three = _mm256_or_si256(
            _mm256_or_si256(_mm256_slli_epi16(lead, 12), _mm256_slli_epi16(second, 6)), third);
        const Bytes is_three = _mm256_cmpgt_epi16(lead, _mm256_set1_epi16(0xDF));
        const Bytes is_more = _mm256_cmpgt_epi16(lead, _mm256_set1_epi16(0x7F));
        const Bytes characters =
            _mm256_blendv_epi8(_mm256_blendv_epi8(lead, two, is_more), three, is_three);
        const auto lower = static_cast<std::uint32_t>(starts >> i & 0xFF);
        const auto upper = static_cast<std::uint32_t>(starts >> (i + 8) & 0xFF);
        const Bytes packed = _mm256_shuffle_epi8(
            characters,
            join(load_half(kWordPacking.shuffle[lower]), load_half(kWordPacking.shuffle[upper])));
        store_units<kOut>(target, _mm256_cvtepu16_epi32(_mm256_castsi256_si128(packed)), swap);
        target += 4 * count_bits(lower);
        store_units<kOut>(target, _mm256_cvtepu16_epi32(_mm256_extracti128_si256(packed, 1)), swap);
        target += 4 * count_bits(upper);
    }
}

// The positions of the first four bits set in the low 16 bits, a nibble each.
NQ_AVX2_INLINE std::uint64_t first_four(std::uint64_t bits) noexcept {
    const std::uint64_t spread = _pdep_u64(bits, 0x1111111111111111);
    return _pext_u64(0xFEDCBA9876543210, (spread << 4) - spread) & 0xFFFF;
}

// A block of any characters, eight at a time, four of them in each half of a register. Where fewer
// are left the last lanes hold anything.
template <ByteOrder kOut>
NQ_AVX2_INLINE void decode_any(const std::uint8_t* source, std::uint64_t starts,
                               std::uint8_t* target, Bytes swap) noexcept {
    const Bytes lane_of = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,  //
                                           4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    // By the upper half of the lead: the surplus bits at the bottom, and how many of 21 are not
    // the code point's.
    const Bytes surplus =
        _mm256_setr_epi8(18, 18, 18, 18, 18, 18, 18, 18, 0, 0, 0, 0, 12, 12, 6, 0, 18, 18, 18, 18,
                         18, 18, 18, 18, 0, 0, 0, 0, 12, 12, 6, 0);
    const Bytes excess = _mm256_setr_epi8(14, 14, 14, 14, 14, 14, 14, 14, 0, 0, 0, 0, 10, 10, 5, 0,
                                          14, 14, 14, 14, 14, 14, 14, 14, 0, 0, 0, 0, 10, 10, 5, 0);
    while (starts) {
        const std::uint64_t first = _tzcnt_u64(starts);
        const std::uint64_t fifth = _tzcnt_u64(_pdep_u64(1 << 4, starts));
        const std::uint64_t ninth = _pdep_u64(1 << 8, starts);
        const std::uint64_t upper_starts = fifth < 64 ? starts >> fifth : 0;
        const std::uint64_t nibbles = first_four(starts >> first) | first_four(upper_starts) << 16;
        const std::uint64_t positions = _pdep_u64(nibbles, 0x0F0F0F0F0F0F0F0F);
        const Bytes gather = _mm256_add_epi8(
            _mm256_shuffle_epi8(_mm256_set1_epi64x(static_cast<long long>(positions)), lane_of),
            all_units(0x00010203));
        // Four bytes from each start, the lead on top; behind shorter characters, what follows.
        const Bytes four =
            _mm256_shuffle_epi8(join(load_half(source + first), load_half(source + fifth)), gather);
        // The upper bytes are such that only the lowest is looked up.
        const Bytes by_lead = _mm256_or_si256(_mm256_srli_epi32(four, 28), all_units(0x80808000));
        const Bytes bits = _mm256_and_si256(four, all_units(0x7F3F3F3F));
        const Bytes halves = _mm256_maddubs_epi16(bits, _mm256_set1_epi16(0x4001));
        const Bytes joined = _mm256_madd_epi16(halves, all_units(0x10000001));
        const Bytes units = _mm256_and_si256(
            _mm256_srlv_epi32(joined, _mm256_shuffle_epi8(surplus, by_lead)),
            _mm256_srlv_epi32(all_units(0x1FFFFF), _mm256_shuffle_epi8(excess, by_lead)));
        store_units<kOut>(target, units, swap);
        target += 32;
        starts &= 0 - ninth;
    }
}

// What a block needs: itself and the bytes that its last load may reach; room for 64 units and
// the seven that its last store may run over by.
constexpr std::uint64_t kUtf8BlockReach = 64 + 16;
constexpr std::uint64_t kUtf8BlockRoom = 4 * (64 + 8);

// Converts blocks until one is broken or the end is near.
template <ByteOrder kOut>
NQ_AVX2_INLINE void utf8_blocks(Cursor& cursor, Bytes swap) noexcept {
    Cursor at = cursor;
    std::uint64_t pending = 0;
    while (at.left >= kUtf8BlockReach && at.room >= kUtf8BlockRoom) {
        const Bytes low = load(at.source), high = load(at.source + 32);
        const std::uint64_t non_ascii = top_bits(low, high);
        if (!non_ascii && !pending) {
            widen_ascii<kOut>(at.source, at.target, swap);
            loops::advance(at, 64, 4 * 64);
            continue;
        }
        const Utf8Block block = examine_utf8(low, high, non_ascii, pending);
        if (block.is_broken) break;
        const auto written = 4 * static_cast<std::uint64_t>(_mm_popcnt_u64(block.starts));
        // What the last stores run over stays as it was.
        const Bytes behind = load(at.target + written);
        if (block.leads_4) {
            decode_any<kOut>(at.source, block.starts, at.target, swap);
        } else {
            decode_short<kOut>(at.source, block.starts, at.target, swap);
        }
        store(at.target + written, behind);
        loops::advance(at, 64, written);
        pending = block.pending;
    }
    loops::advance(at, static_cast<std::uint64_t>(_mm_popcnt_u64(pending)), 0);
    cursor = at;
}

// After a block that cannot be converted at once, this many bytes go through the plain loop.
constexpr std::uint64_t kPlainStretch = 64;

template <ByteOrder kOut>
NQ_AVX2_INLINE NQStatus utf8_to_utf32_in(Cursor& cursor) noexcept {
    const Bytes swap = order_shuffle(ByteOrder::big, 4);
    for (;;) {
        utf8_blocks<kOut>(cursor, swap);
        const bool is_last = cursor.left < kUtf8BlockReach || cursor.room < kUtf8BlockRoom;
        const NQStatus status =
            loops::utf8_to_utf32(cursor, kOut, is_last ? loops::kToTheEnd : kPlainStretch);
        if (status || is_last) return status;
    }
}

NQ_AVX2 NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept {
    return out == ByteOrder::little ? utf8_to_utf32_in<ByteOrder::little>(cursor)
                                    : utf8_to_utf32_in<ByteOrder::big>(cursor);
}

// --- UTF-16 to UTF-32 ----------------------------------------------------------------------------

// For each set of eight 32-bit elements, bit 0 the first: those elements' numbers.
struct UnitPacking {
    alignas(8) std::uint8_t lane[256][8];
};

consteval UnitPacking make_unit_packing() {
    UnitPacking packing{};
    for (unsigned set = 0; set < 256; ++set) {
        unsigned to = 0;
        for (unsigned unit = 0; unit < 8; ++unit) {
            if (set >> unit & 1) packing.lane[set][to++] = static_cast<std::uint8_t>(unit);
        }
    }
    return packing;
}

constexpr UnitPacking kUnitPacking = make_unit_packing();

// One bit for each 16-bit unit whose top six bits are those of `kind`.
NQ_AVX2_INLINE std::uint32_t units_of_kind(Bytes units, std::uint32_t kind) noexcept {
    const Bytes top = _mm256_and_si256(units, _mm256_set1_epi16(static_cast<short>(0xFC00)));
    const Bytes is_kind = _mm256_cmpeq_epi16(top, _mm256_set1_epi16(static_cast<short>(kind)));
    return _pext_u32(top_bits(is_kind), 0x55555555);
}

// The characters at eight units, of which those that start a pair take in the next one.
NQ_AVX2_INLINE Bytes join_pairs(__m128i units, __m128i next) noexcept {
    const Bytes first = _mm256_cvtepu16_epi32(units);
    const Bytes second = _mm256_cvtepu16_epi32(next);
    const Bytes pair = _mm256_add_epi32(_mm256_add_epi32(_mm256_slli_epi32(first, 10), second),
                                        all_units(0x10000u - (0xD800u << 10) - 0xDC00u));
    const Bytes is_high =
        _mm256_cmpeq_epi32(_mm256_and_si256(first, all_units(0xFC00)), all_units(0xD800));
    return _mm256_blendv_epi8(first, pair, is_high);
}

// Stores those of the units that are in the set and returns their bytes; 32 may be overwritten.
NQ_AVX2_INLINE std::uint64_t store_set(std::uint8_t* target, Bytes units, std::uint32_t set,
                                       Bytes out) noexcept {
    const Bytes lanes = _mm256_cvtepu8_epi32(
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kUnitPacking.lane[set])));
    store(target, _mm256_shuffle_epi8(_mm256_permutevar8x32_epi32(units, lanes), out));
    return 4 * count_bits(set);
}

// A block of 16 units needs one more to look at; its last store runs over by up to eight units.
constexpr std::uint64_t kUtf16BlockReach = 34;
constexpr std::uint64_t kUtf16BlockRoom = 4 * (16 + 8);

// Converts blocks until one holds half a pair or the end is near.
NQ_AVX2_INLINE void utf16_blocks(Cursor& cursor, Bytes in, Bytes out) noexcept {
    Cursor at = cursor;
    std::uint32_t pending = 0;  // 1: the first unit is the second of a pair
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
        // Between blocks the last unit of the one before has been looked at.
        const bool is_broken = highs != before_lows || (surrogates & ~highs & 1) != pending;
        if (is_broken) break;
        const std::uint32_t starts = ~(before_lows << 1 | pending) & 0xFFFF;
        const std::uint64_t written = 4 * count_bits(starts);
        const Bytes behind = load(at.target + written);
        const Bytes low = join_pairs(_mm256_castsi256_si128(units), _mm256_castsi256_si128(next));
        const Bytes high =
            join_pairs(_mm256_extracti128_si256(units, 1), _mm256_extracti128_si256(next, 1));
        const std::uint64_t half = store_set(at.target, low, starts & 0xFF, out);
        store_set(at.target + half, high, starts >> 8, out);
        store(at.target + written, behind);
        loops::advance(at, 32, written);
        pending = highs >> 15;
    }
    loops::advance(at, 2 * pending, 0);
    cursor = at;
}

NQ_AVX2 NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept {
    const Bytes in_shuffle = order_shuffle(in, 2);
    const Bytes out_shuffle = order_shuffle(out, 4);
    for (;;) {
        utf16_blocks(cursor, in_shuffle, out_shuffle);
        const bool is_last = cursor.left < kUtf16BlockReach || cursor.room < kUtf16BlockRoom;
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

// For eight characters of one or two bytes, each in the two of a 16-bit element, the lead first: a
// set bit is a character of two bytes, the others have their byte where the lead would be.
struct ShortPacking {
    alignas(16) std::uint8_t shuffle[256][16];
};

consteval ShortPacking make_short_packing() {
    ShortPacking packing{};
    for (unsigned set = 0; set < 256; ++set) {
        unsigned to = 0;
        for (unsigned word = 0; word < 8; ++word) {
            packing.shuffle[set][to++] = static_cast<std::uint8_t>(2 * word);
            if (set >> word & 1) {
                packing.shuffle[set][to++] = static_cast<std::uint8_t>(2 * word + 1);
            }
        }
        while (to < 16) packing.shuffle[set][to++] = 0x80;
    }
    return packing;
}

constexpr ShortPacking kShortPacking = make_short_packing();

// Stores 16 units below U+0800, given in 16 bits, and returns the bytes; 32 may be overwritten.
NQ_AVX2_INLINE std::uint64_t encode_short(Bytes words, std::uint8_t* target) noexcept {
    const Bytes is_two = _mm256_cmpgt_epi16(words, _mm256_set1_epi16(0x7F));
    const Bytes lead = _mm256_srli_epi16(words, 6);
    const Bytes tail = _mm256_and_si256(_mm256_slli_epi16(words, 8), _mm256_set1_epi16(0x3F00));
    const Bytes two =
        _mm256_or_si256(_mm256_or_si256(lead, tail), _mm256_set1_epi16(static_cast<short>(0x80C0)));
    const Bytes encoded = _mm256_blendv_epi8(words, two, is_two);
    const std::uint32_t set = _pext_u32(top_bits(is_two), 0x55555555);
    const std::uint32_t lower = set & 0xFF, upper = set >> 8;
    const Bytes packed = _mm256_shuffle_epi8(
        encoded,
        join(load_half(kShortPacking.shuffle[lower]), load_half(kShortPacking.shuffle[upper])));
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
    const Bytes packed = _mm256_shuffle_epi8(encoded, join(load_half(kUtf8Packing.shuffle[lower]),
                                                           load_half(kUtf8Packing.shuffle[upper])));
    const std::uint64_t half = 4 + count_bits(lower) + count_bits(lower & 0xF0);
    store_half(target, _mm256_castsi256_si128(packed));
    store_half(target + half, _mm256_extracti128_si256(packed, 1));
    return half + 4 + count_bits(upper) + count_bits(upper & 0xF0);
}

NQ_AVX2_INLINE bool none_has(Bytes units, std::uint32_t bits) noexcept {
    return _mm256_testz_si256(units, all_units(bits));
}

// The low 16 bits, which are all that is set, of 16 units.
NQ_AVX2_INLINE Bytes narrow(Bytes low, Bytes high) noexcept {
    return _mm256_permute4x64_epi64(_mm256_packus_epi32(low, high), 0xD8);
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

// --- UTF-32 to UTF-16 ----------------------------------------------------------------------------

// Stores eight units as UTF-16 and returns the bytes; 32 may be overwritten.
NQ_AVX2_INLINE std::uint64_t encode_pairs(Bytes units, std::uint8_t* target, Bytes out) noexcept {
    const Bytes is_pair = at_least(units, 0x10000);
    const Bytes offset = _mm256_sub_epi32(units, all_units(0x10000));
    const Bytes first = _mm256_and_si256(
        _mm256_add_epi32(_mm256_srli_epi32(offset, 10), all_units(0xD800)), all_units(0xFFFF));
    const Bytes second = _mm256_or_si256(
        _mm256_slli_epi32(_mm256_and_si256(offset, all_units(0x3FF)), 16), all_units(0xDC000000));
    const Bytes words = _mm256_blendv_epi8(units, _mm256_or_si256(first, second), is_pair);
    const std::uint32_t pairs = top_bits_of_units(is_pair);
    const std::uint32_t set = 0x5555 | _pdep_u32(pairs, 0xAAAA);
    const std::uint32_t lower = set & 0xFF, upper = set >> 8;
    const Bytes packed = _mm256_shuffle_epi8(
        _mm256_shuffle_epi8(words, out),
        join(load_half(kWordPacking.shuffle[lower]), load_half(kWordPacking.shuffle[upper])));
    const std::uint64_t half = 2 * count_bits(lower);
    store_half(target, _mm256_castsi256_si128(packed));
    store_half(target + half, _mm256_extracti128_si256(packed, 1));
    return half + 2 * count_bits(upper);
}

NQ_AVX2 NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept {
    // The last store of a block with pairs runs over by up to 8 bytes, which the plain loop
    // overwrites with four units, for which there is room.
    constexpr std::uint64_t kBehind = 4;
    const Bytes in_shuffle = order_shuffle(in, 4);
    const Bytes out_shuffle = order_shuffle(out, 2);
    const Bytes below = all_units(0xFFFF);
    Cursor at = cursor;
    while (at.left >= 4 * (16 + kBehind) && at.room >= 4 * (16 + kBehind)) {
        const Bytes low = _mm256_shuffle_epi8(load(at.source), in_shuffle);
        const Bytes high = _mm256_shuffle_epi8(load(at.source + 32), in_shuffle);
        if (!pairs || none_has(_mm256_or_si256(low, high), 0xFFFF0000)) {
            const Bytes words = narrow(_mm256_and_si256(low, below), _mm256_and_si256(high, below));
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
