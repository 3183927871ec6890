#if defined(__x86_64__)
#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/avx2.hpp"

namespace nq::avx2 {
namespace {

struct Block {
    Bytes low, high;
};

NQ_AVX2_INLINE Block load_block(const std::uint8_t* text) noexcept {
    return {load(text), load(text + 32)};
}

// Loads fewer than 64 bytes, with zeros behind them.
NQ_AVX2_INLINE Block load_part(const std::uint8_t* text, std::size_t length) noexcept {
    alignas(32) std::uint8_t block[64] = {};
    std::memcpy(block, text, length);
    return load_block(block);
}

// Sets the continuation bytes to all ones. As signed numbers these are the ones below 0xC0, which
// is -64.
NQ_AVX2_INLINE Bytes continuations(Bytes text) noexcept {
    return _mm256_cmpgt_epi8(all_bytes(0xC0), text);
}

// Sets the top bit of each byte that is `lead` or above; the other bits are anything. The average
// is (byte + 0xFF - lead + 1) / 2, and only with a byte from `lead` on the sum reaches 0x100.
// Unlike a subtraction the average can take the text from memory, without a load of its own.
//   lead 0xE0: (0xE0 + 0x1F + 1) / 2 = 1000'0000; (0xDF + 0x1F + 1) / 2 = 0111'1111
NQ_AVX2_INLINE Bytes from_lead(Bytes text, std::uint32_t lead) noexcept {
    return _mm256_avg_epu8(text, all_bytes(0xFF - lead));
}

// The bytes kDistance before those of `text`, which stands behind `before`. An alignment works in
// each half of its own, so each half of `text` gets the half before it:
//   before = A B, text = C D: the permutation makes B C, and the alignment for distance 1
//   the last byte of B with all but the last of C, and the last of C with all but the last of D
template <int kDistance>
NQ_AVX2_INLINE Bytes bytes_before(Bytes before, Bytes text) noexcept {
    constexpr int kUpperOfFirstLowerOfSecond = 0x21;
    return _mm256_alignr_epi8(
        text, _mm256_permute2x128_si256(before, text, kUpperOfFirstLowerOfSecond), 16 - kDistance);
}

// For each byte of a block the bytes one, two and three places before it, in which the lead byte of
// its character can be. With kHasLong also those four and five places before it, for leads of five
// and six bytes, which only malformed text has.
template <bool kHasLong>
struct Preceding {
    Bytes one, two, three;
    Bytes four, five;  // set only when there are long ones

    NQ_AVX2_INLINE Preceding(Bytes before, Bytes text) noexcept
        : one(bytes_before<1>(before, text)),
          two(bytes_before<2>(before, text)),
          three(bytes_before<3>(before, text)) {
        if constexpr (kHasLong) {
            four = bytes_before<4>(before, text);
            five = bytes_before<5>(before, text);
        }
    }

    // Sets the top bit of the trailing bytes; the other bits are anything. A byte is trailing if it
    // is a continuation byte, and the byte before it is a lead or, in the same way, is a
    // continuation byte behind a lead that announces more.
    NQ_AVX2_INLINE Bytes trailing(Bytes text) const noexcept {
        Bytes trailing = from_lead(three, 0xF0);
        if constexpr (kHasLong) {
            const Bytes longest = _mm256_and_si256(continuations(four), from_lead(five, 0xFC));
            const Bytes longer = _mm256_or_si256(from_lead(four, 0xF8), longest);
            trailing = _mm256_or_si256(trailing, _mm256_and_si256(continuations(three), longer));
        }
        trailing =
            _mm256_or_si256(from_lead(two, 0xE0), _mm256_and_si256(continuations(two), trailing));
        trailing =
            _mm256_or_si256(from_lead(one, 0xC0), _mm256_and_si256(continuations(one), trailing));
        return _mm256_and_si256(continuations(text), trailing);
    }

    // Sets the top bit of the bytes that a step skips, if every step skips continuation bytes only;
    // the other bits are anything.
    NQ_AVX2_INLINE Bytes skipped() const noexcept {
        Bytes skipped = _mm256_or_si256(from_lead(one, 0xC0), from_lead(two, 0xE0));
        skipped = _mm256_or_si256(skipped, from_lead(three, 0xF0));
        if constexpr (kHasLong) {
            skipped = _mm256_or_si256(skipped, from_lead(four, 0xF8));
            skipped = _mm256_or_si256(skipped, from_lead(five, 0xFC));
        }
        return skipped;
    }
};

NQ_AVX2_INLINE bool has_long_leads(Bytes before, const Block& block) noexcept {
    const Bytes most = _mm256_max_epu8(before, _mm256_max_epu8(block.low, block.high));
    return top_bits(from_lead(most, 0xF8)) != 0;
}

// The mask of the trailing bytes of a block.
NQ_AVX2_INLINE std::uint64_t trailing_bits(Bytes before, const Block& block) noexcept {
    if (__builtin_expect(has_long_leads(before, block), 0)) {
        return top_bits(Preceding<true>(before, block.low).trailing(block.low),
                        Preceding<true>(block.low, block.high).trailing(block.high));
    }
    return top_bits(Preceding<false>(before, block.low).trailing(block.low),
                    Preceding<false>(block.low, block.high).trailing(block.high));
}

// The mask of the bytes of a block that steps skip, if they skip continuation bytes only.
NQ_AVX2_INLINE std::uint64_t skipped_bits(Bytes before, const Block& block) noexcept {
    if (__builtin_expect(has_long_leads(before, block), 0)) {
        return top_bits(Preceding<true>(before, block.low).skipped(),
                        Preceding<true>(block.low, block.high).skipped());
    }
    return top_bits(Preceding<false>(before, block.low).skipped(),
                    Preceding<false>(block.low, block.high).skipped());
}

NQ_AVX2_INLINE std::uint64_t bits_set(std::uint64_t bits) noexcept {
    return static_cast<std::uint64_t>(_mm_popcnt_u64(bits));
}

// How many bytes from `end` on the last character before it announces. The text begins `known`
// bytes before `end`.
NQ_AVX2_INLINE std::uint64_t announced_past(const std::uint8_t* end, std::size_t known) noexcept {
    for (std::size_t back = 1; back <= std::min<std::size_t>(known, 5); ++back) {
        const std::uint8_t byte = *(end - back);
        if (continues_utf8(byte)) continue;
        return kUtf8Length[byte] > back ? kUtf8Length[byte] - back : 0;
    }
    return 0;
}

// A stretch is 128 bytes with at least 32 before them. It is whole if its continuation bytes are
// just those that leads of up to four bytes announce; a lead of five or six bytes counts as one of
// four there. If the stretch before it is whole too, all its continuation bytes are trailing bytes.
constexpr std::uint64_t kStretch = 128;

struct Stretch {
    Bytes continuations;  // how many there are, counted in each byte of the register
    Bytes most;           // the greatest byte of those at the same place in the register
    bool is_whole;
};

NQ_AVX2_INLINE Stretch examine(const std::uint8_t* text) noexcept {
    Stretch stretch{_mm256_setzero_si256(), _mm256_setzero_si256(), true};
    Bytes broken = _mm256_setzero_si256();
    // Unrolled further the loop would need more registers than there are.
#pragma GCC unroll 2
    for (std::uint64_t i = 0; i < kStretch; i += 32) {
        const Bytes block = load(text + i);
        const Bytes is_continuation = continuations(block);
        const Bytes skipped = _mm256_or_si256(_mm256_or_si256(from_lead(load(text + i - 1), 0xC0),
                                                              from_lead(load(text + i - 2), 0xE0)),
                                              from_lead(load(text + i - 3), 0xF0));
        broken = _mm256_or_si256(broken, _mm256_xor_si256(is_continuation, skipped));
        stretch.continuations = _mm256_sub_epi8(stretch.continuations, is_continuation);
        stretch.most = _mm256_max_epu8(stretch.most, block);
    }
    stretch.is_whole = top_bits(broken) == 0;
    return stretch;
}

NQ_AVX2_INLINE bool is_ascii_stretch(const std::uint8_t* text) noexcept {
    Bytes all = load(text);
    for (std::uint64_t i = 32; i < kStretch; i += 32) all = _mm256_or_si256(all, load(text + i));
    return top_bits(all) == 0;
}

// The sum of the four 64-bit lanes.
NQ_AVX2_INLINE std::uint64_t sum_of_words(Bytes words) noexcept {
    const __m128i two =
        _mm_add_epi64(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(two) + _mm_extract_epi64(two, 1));
}

NQ_AVX2_INLINE std::uint64_t sum_of_bytes(Bytes bytes) noexcept {
    return sum_of_words(_mm256_sad_epu8(bytes, _mm256_setzero_si256()));
}

// Whether steps and characters are the same in a stretch; then also how many continuation bytes it
// has.
NQ_AVX2_INLINE bool is_complete_stretch(const std::uint8_t* text, Bytes before,
                                        std::uint64_t& continuation_count) noexcept {
    if (is_ascii_stretch(text) && !top_bits(before)) return true;
    const Stretch stretch = examine(text);
    if (!stretch.is_whole) return false;
    if (top_bits(from_lead(_mm256_max_epu8(stretch.most, before), 0xF8))) return false;
    continuation_count = sum_of_bytes(stretch.continuations);
    return true;
}

// The number of trailing bytes among 64 bytes with at least 32 before them.
NQ_AVX2_INLINE std::uint64_t trailing_in_block(const std::uint8_t* text) noexcept {
    return bits_set(trailing_bits(load(text - 32), load_block(text)));
}

// The number of trailing bytes in a stretch.
NQ_AVX2_INLINE std::uint64_t trailing_in_blocks(const std::uint8_t* text) noexcept {
    std::uint64_t trailing = 0;
    for (std::uint64_t i = 0; i < kStretch; i += 64) trailing += trailing_in_block(text + i);
    return trailing;
}

// The same. `is_whole` says whether the stretch before is known to be whole, and on return whether
// this one is.
NQ_AVX2_INLINE std::uint64_t trailing_in_stretch(const std::uint8_t* text,
                                                 bool& is_whole) noexcept {
    const bool was_whole = is_whole;
    is_whole = true;
    if (is_ascii_stretch(text)) return 0;
    const Stretch stretch = examine(text);
    is_whole = stretch.is_whole;
    if (__builtin_expect(is_whole && was_whole, 1)) return sum_of_bytes(stretch.continuations);
    return trailing_in_blocks(text);
}

// The number of trailing bytes in all stretches of a text with at least 32 bytes before it. Looks
// for ASCII only behind ASCII, and keeps the counts of whole stretches in a register.
NQ_AVX2_INLINE std::uint64_t trailing_in_stretches(const std::uint8_t* text,
                                                   std::size_t stretches) noexcept {
    std::uint64_t trailing = 0;
    Bytes in_whole = _mm256_setzero_si256();
    bool was_whole = false;
    bool was_ascii = true;
    for (; stretches > 0; --stretches, text += kStretch) {
        if (was_ascii && is_ascii_stretch(text)) {
            was_whole = true;
            continue;
        }
        const Stretch stretch = examine(text);
        if (__builtin_expect(stretch.is_whole && was_whole, 1)) {
            const Bytes sums = _mm256_sad_epu8(stretch.continuations, _mm256_setzero_si256());
            in_whole = _mm256_add_epi64(in_whole, sums);
            was_ascii = _mm256_testz_si256(sums, sums);
        } else {
            trailing += trailing_in_blocks(text);
            was_whole = stretch.is_whole;
            was_ascii = false;
        }
    }
    return trailing + sum_of_words(in_whole);
}

}  // namespace

// From this length on unaligned loads cost more than the two blocks that lead to an aligned
// address.
constexpr std::size_t kLong = 1024;

NQ_AVX2 std::uint64_t count_characters(const std::uint8_t* text, std::size_t length) noexcept {
    const Bytes nothing = _mm256_setzero_si256();
    if (length < 64) return length - bits_set(trailing_bits(nothing, load_part(text, length)));
    std::uint64_t trailing = bits_set(trailing_bits(nothing, load_block(text)));
    std::size_t i = 64;
    if (length >= kLong) {
        // Goes on to an address at which fewer loads lie across two cache lines.
        const std::size_t more =
            wrapping_sub(std::uintptr_t{0}, reinterpret_cast<std::uintptr_t>(text + i)) % 32;
        trailing += trailing_in_block(text + i);
        i += 64;
        trailing +=
            bits_set(trailing_bits(load(text + i + more - 96), load_block(text + i + more - 64)) >>
                     1 >> (63 - more));
        i += more;
    }
    const std::size_t stretches = (length - i) / kStretch;
    trailing += trailing_in_stretches(text + i, stretches);
    i += stretches * kStretch;
    for (; length - i >= 64; i += 64) trailing += trailing_in_block(text + i);
    if (i < length) {
        // The last block overlaps what is counted already; its mask is shifted down to the bytes
        // that are not. Without 32 bytes before the block these are so few that the block itself
        // has all that can be the start of their characters.
        const std::uint8_t* last = text + length - 64;
        const Bytes before = length >= 96 ? load(last - 32) : nothing;
        trailing += bits_set(trailing_bits(before, load_block(last)) >> (64 - (length - i)));
    }
    return length - trailing;
}

NQ_AVX2 std::uint64_t size_of_characters(const std::uint8_t* text, std::uint64_t count) noexcept {
    std::uint64_t size = 0;
    // Every character has at least one byte, so as many bytes as characters can be read.
    if (count >= 64) {
        count -= 64 - bits_set(trailing_bits(_mm256_setzero_si256(), load_block(text)));
        size = 64;
        for (bool is_whole = false; count >= kStretch; size += kStretch) {
            count -= kStretch - trailing_in_stretch(text + size, is_whole);
        }
        for (; count >= 64; size += 64) count -= 64 - trailing_in_block(text + size);
    }
    for (std::uint64_t left = announced_past(text + size, size); left; --left, ++size) {
        if (!continues_utf8(text[size])) break;
    }
    return size + loops::size_of_characters(text + size, count);
}

NQ_AVX2 Steps count_steps(const std::uint8_t* text, std::size_t length) noexcept {
    Steps steps{0, 0};
    std::uint64_t scalar_bytes = kScalarStretch;
    while (steps.end < length) {
        // Counts blocks in which all characters are complete, so that steps are characters.
        const std::uint64_t start = steps.end;
        Bytes before = _mm256_setzero_si256();
        while (steps.end < length) {
            const std::uint8_t* at = text + steps.end;
            const std::uint64_t left = length - steps.end;
            if (steps.end > start) {
                before = load(at - 32);
                std::uint64_t continuation_count = 0;
                if (left >= kStretch && is_complete_stretch(at, before, continuation_count)) {
                    steps.count += kStretch - continuation_count;
                    steps.end += kStretch;
                    continue;
                }
            }
            const bool is_part = left < 64;
            const Block block = is_part ? load_part(at, left) : load_block(at);
            const std::uint64_t in_text =
                is_part ? (std::uint64_t{1} << left) - 1 : ~std::uint64_t{0};
            const std::uint64_t skipped = skipped_bits(before, block) & in_text;
            if (skipped & ~top_bits(continuations(block.low), continuations(block.high))) break;
            steps.count += bits_set(skipped ^ in_text);
            steps.end += is_part ? left : 64;
        }
        // Each time that this fails at once, the stretch before the next try doubles.
        scalar_bytes =
            steps.end > start ? kScalarStretch : std::min(2 * scalar_bytes, 64 * kScalarStretch);
        steps.end += announced_past(text + steps.end, steps.end - start);
        if (steps.end >= length) break;
        const Steps more =
            loops::count_steps(text + steps.end, std::min(length - steps.end, scalar_bytes));
        steps.count += more.count;
        steps.end += more.end;
    }
    return steps;
}

}  // namespace nq::avx2
#endif
