#if defined(__x86_64__)
#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/avx2.hpp"

namespace nq::avx2 {
namespace {

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
    const std::uint64_t continuations = non_ascii & ~leads;
    const std::uint64_t expected = leads << 1 | leads_3 << 2 | leads_4 << 3 | pending;
    const Bytes invalid = _mm256_or_si256(invalid_leads(low), invalid_leads(high));
    return {.non_ascii = non_ascii,
            .starts = ~continuations,
            .pending = leads >> 63 | leads_3 >> 62 | leads_4 >> 61,
            .leads_4 = leads_4,
            .is_broken = continuations != expected || !_mm256_testz_si256(invalid, invalid)};
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
    const Bytes low_six = _mm256_set1_epi16(0x3F);
    for (int i = 0; i < 64; i += 16) {
        const Bytes lead = _mm256_cvtepu8_epi16(load_half(source + i));
        const Bytes second =
            _mm256_and_si256(_mm256_cvtepu8_epi16(load_half(source + i + 1)), low_six);
        const Bytes third =
            _mm256_and_si256(_mm256_cvtepu8_epi16(load_half(source + i + 2)), low_six);
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
        const Bytes packed =
            _mm256_shuffle_epi8(characters, join(load_half(kCompressWords.shuffle[lower]),
                                                 load_half(kCompressWords.shuffle[upper])));
        store_units<kOut>(target, _mm256_cvtepu16_epi32(_mm256_castsi256_si128(packed)), swap);
        target += 4 * count_bits(lower);
        store_units<kOut>(target, _mm256_cvtepu16_epi32(_mm256_extracti128_si256(packed, 1)), swap);
        target += 4 * count_bits(upper);
    }
}

// The positions of the first four bits set in the low 16 bits, a nibble each.
NQ_AVX2_INLINE std::uint64_t first_four(std::uint64_t bits) noexcept {
    const std::uint64_t spread = _pdep_u64(bits, 0x1111111111111111);
    return _pext_u64(0xFEDCBA9876543210, wrapping_sub(spread << 4, spread)) & 0xFFFF;
}

// A character is first put together as if it had four bytes: 25 bits, seven of the lead and six of
// each byte behind it. By the upper half of the lead, which is 0xxx for one byte, 10xx for no lead,
// 110x for two bytes, 1110 for three and 1111 for four: how many of the 25 bits come from bytes
// behind the character, and how many of 21 bits do not belong to the code point then, because they
// mark the lead.
constexpr std::uint8_t kShiftByLead[] = {18, 18, 18, 18, 18, 18, 18, 18,  //
                                         0,  0,  0,  0,  12, 12, 6,  0};
constexpr std::uint8_t kMaskShiftByLead[] = {14, 14, 14, 14, 14, 14, 14, 14,  //
                                             0,  0,  0,  0,  10, 10, 5,  0};

// A block of any characters, eight at a time, four of them in each half of a register. Where fewer
// are left the last lanes hold anything.
template <ByteOrder kOut>
NQ_AVX2_INLINE void decode_any(const std::uint8_t* source, std::uint64_t starts,
                               std::uint8_t* target, Bytes swap) noexcept {
    const Bytes lane_of = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,  //
                                           4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    const Bytes shift_by_lead = both_halves(kShiftByLead);
    const Bytes mask_shift_by_lead = both_halves(kMaskShiftByLead);
    while (starts) {
        const std::uint64_t first = _tzcnt_u64(starts);
        const std::uint64_t fifth = _tzcnt_u64(_pdep_u64(1 << 4, starts));
        const std::uint64_t ninth = _pdep_u64(1 << 8, starts);
        // Without a fifth the upper lanes hold anything.
        const std::uint64_t nibbles =
            first_four(starts >> first) | first_four(starts >> (fifth & 63)) << 16;
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
        const Bytes units =
            _mm256_and_si256(_mm256_srlv_epi32(joined, _mm256_shuffle_epi8(shift_by_lead, by_lead)),
                             _mm256_srlv_epi32(all_units(0x1FFFFF),
                                               _mm256_shuffle_epi8(mask_shift_by_lead, by_lead)));
        store_units<kOut>(target, units, swap);
        target += 32;
        starts &= wrapping_sub(std::uint64_t{0}, ninth);
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

template <ByteOrder kOut>
NQ_AVX2_INLINE NQStatus utf8_to_utf32_in(Cursor& cursor) noexcept {
    const Bytes swap = order_shuffle(ByteOrder::big, 4);
    for (;;) {
        utf8_blocks<kOut>(cursor, swap);
        const bool is_last = cursor.left < kUtf8BlockReach || cursor.room < kUtf8BlockRoom;
        const NQStatus status =
            loops::utf8_to_utf32(cursor, kOut, is_last ? loops::kToTheEnd : kScalarStretch);
        if (status || is_last) return status;
    }
}

}  // namespace

NQ_AVX2 NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept {
    return out == ByteOrder::little ? utf8_to_utf32_in<ByteOrder::little>(cursor)
                                    : utf8_to_utf32_in<ByteOrder::big>(cursor);
}

}  // namespace nq::avx2
#endif
