#if defined(__x86_64__)
#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/avx2.hpp"

namespace nq::avx2 {
namespace {

// The characters in a block of 64 bytes, as masks. Blocks follow each other at fixed steps;
// `pending` has the bytes at the start of the next block that belong to the last character of this
// one.
struct Utf8Block {
    std::uint64_t non_ascii;
    std::uint64_t starts;
    std::uint64_t pending;
    std::uint64_t leads_4;
    bool is_broken;  // the continuation bytes are not the announced ones, or a lead is invalid
};

// Sets the bytes that begin no character: 0xF5 and above, and 0xC0 and 0xC1, which differ in the
// lowest bit only and would begin overlong forms.
NQ_AVX2_INLINE Bytes invalid_leads(Bytes text) noexcept {
    const Bytes above = _mm256_cmpeq_epi8(_mm256_max_epu8(text, all_bytes(0xF5)), text);
    const Bytes overlong =
        _mm256_cmpeq_epi8(_mm256_and_si256(text, all_bytes(0xFE)), all_bytes(0xC0));
    return _mm256_or_si256(above, overlong);
}

NQ_AVX2_INLINE Utf8Block examine_utf8(Bytes low, Bytes high, std::uint64_t non_ascii,
                                      std::uint64_t pending) noexcept {
    // A byte added to itself moves up by one bit. Of a byte outside ASCII, which starts with 1, the
    // second bit says that it is a lead, the third that it announces three bytes or more, the
    // fourth that it announces four.
    //   1110'aaaa -> 110a'aaa0 -> 10aa'aa00 -> 0aaa'a000
    const Bytes low2 = _mm256_add_epi8(low, low), high2 = _mm256_add_epi8(high, high);
    const Bytes low4 = _mm256_add_epi8(low2, low2), high4 = _mm256_add_epi8(high2, high2);
    const Bytes low8 = _mm256_add_epi8(low4, low4), high8 = _mm256_add_epi8(high4, high4);
    const std::uint64_t leads = non_ascii & top_bits(low2, high2);
    const std::uint64_t leads_3 = leads & top_bits(low4, high4);
    const std::uint64_t leads_4 = leads_3 & top_bits(low8, high8);
    const std::uint64_t continuations = non_ascii & ~leads;
    // A lead announces the byte behind it, one of three bytes two of them, one of four bytes three.
    //   leads_3 0000'0001 -> expected 0000'0110
    const std::uint64_t expected = leads << 1 | leads_3 << 2 | leads_4 << 3 | pending;
    const Bytes invalid = _mm256_or_si256(invalid_leads(low), invalid_leads(high));
    return {.non_ascii = non_ascii,
            .starts = ~continuations,
            // What the shifts above moved out of the 64 bits.
            .pending = leads >> 63 | leads_3 >> 62 | leads_4 >> 61,
            .leads_4 = leads_4,
            .is_broken = continuations != expected || !_mm256_testz_si256(invalid, invalid)};
}

template <ByteOrder kOut>
NQ_AVX2_INLINE void store_units(std::uint8_t* target, Bytes units, Bytes swap) noexcept {
    store(target, kOut == ByteOrder::little ? units : _mm256_shuffle_epi8(units, swap));
}

// Converts 64 ASCII bytes.
//   0aaa'aaaa -> 0000'0000 0000'0000 0000'0000 0aaa'aaaa
template <ByteOrder kOut>
NQ_AVX2_INLINE void widen_ascii(const std::uint8_t* source, std::uint8_t* target,
                                Bytes swap) noexcept {
    for (int i = 0; i < 64; i += 8) {
        const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source + i));
        store_units<kOut>(target + 4 * i, _mm256_cvtepu8_epi32(eight), swap);
    }
}

// Decodes a block without characters of four bytes. Computes for each byte the character that would
// start there, in a 16-bit lane, and keeps those that do start there. Only the place of the next
// store depends on the step before.
//   0aaa'aaaa                     -> 0000'0000 0aaa'aaaa
//   110a'aaaa 10bb'bbbb           -> 0000'0aaa aabb'bbbb
//   1110'aaaa 10bb'bbbb 10cc'cccc -> aaaa'bbbb bbcc'cccc
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
        // The mark 1110 of the lead leaves the lane at its top.
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

// The positions of the first four bits that are set in the low 16 bits, a nibble each. Spreads the
// bits to one nibble each, fills the nibbles of those that are set, and extracts these from the
// list of all positions.
//   bits 0000'0000'0000'1010 -> spread 0x1010 -> filled 0xF0F0 -> positions 0x31
NQ_AVX2_INLINE std::uint64_t first_four(std::uint64_t bits) noexcept {
    constexpr std::uint64_t kLowBitOfEach = 0x1111111111111111;
    constexpr std::uint64_t kPositions = 0xFEDCBA9876543210;
    const std::uint64_t spread = _pdep_u64(bits, kLowBitOfEach);
    const std::uint64_t filled = wrapping_sub(spread << 4, spread);
    return _pext_u64(kPositions, filled) & 0xFFFF;
}

// decode_any first puts a character together as if it had four bytes: 25 bits, seven of the lead
// and six of each byte behind it. These tables have two numbers for the upper half of each lead
// byte, which is 0xxx for one byte, 10xx for no lead at all, 110x for two bytes, 1110 for three,
// 1111 for four. kShiftByLead: how many of the 25 bits come from bytes behind the character and are
// shifted out. kMaskShiftByLead: how many of 21 bits are then not the code point's, because they
// mark the lead.
//   one byte:    aaa'aaaa, 18 other bits            -> 7 bits aaa'aaaa
//   two bytes:   10a'aaaa bb'bbbb, 12 others        -> 11 bits aaa'aabb'bbbb
//   three bytes: 110'aaaa bb'bbbb cc'cccc, 6 others -> 16 bits aaaa'bbbb'bbcc'cccc
//   four bytes:  111'0aaa bb'bbbb cc'cccc dd'dddd   -> 21 bits a'aabb'bbbb'cccc'ccdd'dddd
constexpr std::uint8_t kShiftByLead[] = {18, 18, 18, 18, 18, 18, 18, 18,  //
                                         0,  0,  0,  0,  12, 12, 6,  0};
constexpr std::uint8_t kMaskShiftByLead[] = {14, 14, 14, 14, 14, 14, 14, 14,  //
                                             0,  0,  0,  0,  10, 10, 5,  0};

// Decodes a block of any characters, eight at a time: four of them in each half of a register.
// Where fewer are left, the last lanes hold anything; the caller restores what they overwrite.
template <ByteOrder kOut>
NQ_AVX2_INLINE void decode_any(const std::uint8_t* source, std::uint64_t starts,
                               std::uint8_t* target, Bytes swap) noexcept {
    // For each byte of a lane the number of its character among the eight.
    const Bytes character_of = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,  //
                                                4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    const Bytes shift_by_lead = both_halves(kShiftByLead);
    const Bytes mask_shift_by_lead = both_halves(kMaskShiftByLead);
    constexpr std::uint32_t kFourFromLead = 0x00010203;  // the lead's place + 3, + 2, + 1, + 0
    constexpr std::uint64_t kLowHalfOfEach = 0x0F0F0F0F0F0F0F0F;
    constexpr short kTimes64And1 = 0x40 << 8 | 1;  // for the upper and the lower byte of a pair
    constexpr std::uint32_t kTimes4096And1 = 0x1000 << 16 | 1;  // for the pairs of a lane
    constexpr std::uint32_t k21Bits = 0x1FFFFF;
    while (starts) {
        const std::uint64_t first = _tzcnt_u64(starts);
        const std::uint64_t fifth = _tzcnt_u64(_pdep_u64(1 << 4, starts));
        const std::uint64_t ninth = _pdep_u64(1 << 8, starts);
        // The characters' starts, counted from the first one of their half. Without a fifth
        // character the upper half decodes anything.
        const std::uint64_t nibbles =
            first_four(starts >> first) | first_four(starts >> (fifth & 63)) << 16;
        const std::uint64_t positions = _pdep_u64(nibbles, kLowHalfOfEach);
        const Bytes gather = _mm256_add_epi8(
            _mm256_shuffle_epi8(_mm256_set1_epi64x(static_cast<long long>(positions)),
                                character_of),
            all_units(kFourFromLead));
        // Loads four bytes from each start on, the lead as the highest one of its lane. Shorter
        // characters have the bytes behind them in the lane too.
        const Bytes four =
            _mm256_shuffle_epi8(join(load_half(source + first), load_half(source + fifth)), gather);
        // The upper half of the lead in the lowest byte. The shuffles below make zero of the other
        // three bytes, whose index is 0x80.
        const Bytes by_lead = _mm256_or_si256(_mm256_srli_epi32(four, 28), all_units(0x80808000));
        // Keeps seven bits of the lead and six of each other byte, then moves the bits together:
        // multiplies the upper byte of each pair by 2^6 and adds the lower one, then multiplies the
        // upper pair by 2^12 and adds the lower one.
        //   0aaa'aaaa 00bb'bbbb 00cc'cccc 00dd'dddd
        //   -> 000a'aaaa aabb'bbbb 0000'cccc ccdd'dddd
        //   -> 0000'000a aaaa'aabb bbbb'cccc ccdd'dddd
        const Bytes bits = _mm256_and_si256(four, all_units(0x7F3F3F3F));
        const Bytes halves = _mm256_maddubs_epi16(bits, _mm256_set1_epi16(kTimes64And1));
        const Bytes joined = _mm256_madd_epi16(halves, all_units(kTimes4096And1));
        const Bytes units =
            _mm256_and_si256(_mm256_srlv_epi32(joined, _mm256_shuffle_epi8(shift_by_lead, by_lead)),
                             _mm256_srlv_epi32(all_units(k21Bits),
                                               _mm256_shuffle_epi8(mask_shift_by_lead, by_lead)));
        store_units<kOut>(target, units, swap);
        target += 32;
        starts &= wrapping_sub(std::uint64_t{0}, ninth);
    }
}

// What a block needs: its 64 bytes and those behind that its last load reads; room for 64 units and
// for the seven that its last store may write too many.
constexpr std::uint64_t kUtf8BlockReach = 64 + 16;
constexpr std::uint64_t kUtf8BlockRoom = 4 * (64 + 8);

// Converts blocks until one is malformed or the end is near.
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
        // The bytes that the last store writes too many are restored.
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
