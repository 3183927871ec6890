#if defined(__x86_64__)
#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/avx2.hpp"
#include "nqinstance/text/kernels/short_blocks.hpp"

namespace nq {
namespace avx2 {
namespace {

// Maps the last block even where it overlaps the one before: mapped text is mapped to itself.
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

// What a search looks for. `at` compares 32 bytes and sets those that match to 0xFF and the others
// to 0, or the other way round where kMatchIsZero: a search for bytes that differ then needs no
// operation to invert the comparison for equality.
template <class Mark, bool kMatchIsZero>
struct Matcher {
    Mark at;

    // Matches in either.
    NQ_AVX2_INLINE Bytes join(Bytes a, Bytes b) const noexcept {
        return kMatchIsZero ? _mm256_and_si256(a, b) : _mm256_or_si256(a, b);
    }
    NQ_AVX2_INLINE Bytes at_two(const std::uint8_t* text) const noexcept {
        return join(at(text), at(text + 32));
    }
    NQ_AVX2_INLINE Bytes at_four(const std::uint8_t* text) const noexcept {
        return join(at_two(text), at_two(text + 64));
    }
    NQ_AVX2_INLINE Bytes at_eight(const std::uint8_t* text) const noexcept {
        return join(at_four(text), at_four(text + 128));
    }
    // The mask of the bytes that match.
    NQ_AVX2_INLINE static std::uint32_t bits(Bytes matches) noexcept {
        return kMatchIsZero ? ~top_bits(matches) : top_bits(matches);
    }
};

template <class Mark>
NQ_AVX2_INLINE Matcher<Mark, false> matches_as_ones(Mark mark) noexcept {
    return {mark};
}

template <class Mark>
NQ_AVX2_INLINE Matcher<Mark, true> matches_as_zeros(Mark mark) noexcept {
    return {mark};
}

// The first address from here on that is a multiple of 32, at which a block lies in one cache line.
template <class Byte>
NQ_AVX2_INLINE Byte* aligned_from(Byte* at) noexcept {
    return at + wrapping_sub(std::uintptr_t{0}, reinterpret_cast<std::uintptr_t>(at)) % 32;
}

// The index of the first match, or the length, which is at least 32. Looks at eight blocks of 32
// bytes at a time, then at four, then one by one; the last blocks may overlap those before.
template <class Mark, bool kMatchIsZero>
NQ_AVX2_INLINE std::size_t find_first_match(const std::uint8_t* text, std::size_t length,
                                            Matcher<Mark, kMatchIsZero> matcher) noexcept {
    const std::uint8_t* const end = text + length;
    const std::uint8_t* at = text;
    if (length > 256 + 32) {
        // The first block, and from there on blocks that each lie in one cache line.
        if (const std::uint32_t found = matcher.bits(matcher.at(at))) return _tzcnt_u32(found);
        at = aligned_from(at);
        for (; end - at >= 256; at += 256) {
            if (matcher.bits(matcher.at_eight(at))) break;
        }
    }
    if (end - at >= 128 && !matcher.bits(matcher.at_four(at))) at += 128;
    if (end - at < 128 && length >= 64) {
        if (at == end) return length;
        Bytes any = matcher.at_two(end - 64);
        if (end - at > 64) any = matcher.join(any, matcher.at_two(at));
        if (!matcher.bits(any)) return length;
    }
    for (;; at += 32) {
        if (end - at < 32) {
            if (at == end) return length;
            at = end - 32;
        }
        const std::uint32_t found = matcher.bits(matcher.at(at));
        if (found) return static_cast<std::size_t>(at - text) + _tzcnt_u32(found);
    }
}

// Whether there is a match in a text of more than kShortBytes and at most kMiddleBytes. Looks at
// four or at eight blocks, which overlap in the middle, so that the length decides a single branch.
template <class Mark, bool kMatchIsZero>
NQ_AVX2_INLINE bool has_match(const std::uint8_t* text, std::size_t length,
                              Matcher<Mark, kMatchIsZero> matcher) noexcept {
    const std::uint8_t* const end = text + length;
    if (length > 128) [[likely]]
        return matcher.bits(matcher.join(matcher.at_four(text), matcher.at_four(end - 128)));
    return matcher.bits(matcher.join(matcher.at_two(text), matcher.at_two(end - 64)));
}

NQ_AVX2_INLINE auto unequal_to(Bytes value) noexcept {
    return matches_as_zeros([=](const std::uint8_t* at)
                                NQ_AVX2 { return _mm256_cmpeq_epi8(load(at), value); });
}

NQ_AVX2_INLINE auto equal_to(Bytes value) noexcept {
    return matches_as_ones([=](const std::uint8_t* at)
                               NQ_AVX2 { return _mm256_cmpeq_epi8(load(at), value); });
}

// Matches where the text `a` differs from `b`, which is read at the same distance from each place.
NQ_AVX2_INLINE auto unequal_to(const std::uint8_t* a, const std::uint8_t* b) noexcept {
    const auto distance =
        wrapping_sub(reinterpret_cast<std::uintptr_t>(b), reinterpret_cast<std::uintptr_t>(a));
    return matches_as_zeros([=](const std::uint8_t* at) NQ_AVX2 {
        const auto of_b = wrapping_add(reinterpret_cast<std::uintptr_t>(at), distance);
        return _mm256_cmpeq_epi8(load(at), load(reinterpret_cast<const void*>(of_b)));
    });
}

NQ_AVX2 std::size_t find_first_not_byte(const std::uint8_t* text, std::size_t length,
                                        std::uint8_t value) noexcept {
    if (length < 32) return loops::find_first_not(text, length, value);
    return find_first_match(text, length, unequal_to(all_bytes(value)));
}

NQ_AVX2_INLINE std::size_t find_first_not_unit(const NQChar* units, std::size_t count,
                                               NQChar value) noexcept {
    if (count < 8) return loops::find_first_not(units, count, value);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(units);
    return find_first_match(bytes, 4 * count, unequal_to(all_units(value))) / 4;
}

NQ_AVX2 std::size_t first_mismatch(const NQChar* a, const NQChar* b, std::size_t count) noexcept {
    if (count < 8) return loops::first_mismatch(a, b, count);
    const auto* of_a = reinterpret_cast<const std::uint8_t*>(a);
    return find_first_match(of_a, 4 * count,
                            unequal_to(of_a, reinterpret_cast<const std::uint8_t*>(b))) /
           4;
}

NQ_AVX2 std::size_t find_pair(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                              std::uint8_t first, std::uint8_t second) noexcept {
    if (positions < 32) {
        return kGenericTextKernels.find_pair(text, positions, distance, first, second);
    }
    const Bytes firsts = all_bytes(first);
    const Bytes seconds = all_bytes(second);
    return find_first_match(text, positions, matches_as_ones([=](const std::uint8_t* at) NQ_AVX2 {
                                return _mm256_and_si256(
                                    _mm256_cmpeq_epi8(load(at), firsts),
                                    _mm256_cmpeq_epi8(load(at + distance), seconds));
                            }));
}

NQ_AVX2 std::uint64_t utf8_bytes(const NQChar* units, std::size_t count) noexcept {
    const std::size_t blocks = count / 8;
    std::uint64_t bytes = 8 * blocks;
    for (std::size_t block = 0; block < blocks;) {
        // So many blocks that no lane overflows: each adds at most 3 to it.
        const std::size_t end = std::min(blocks, block + (std::size_t{1} << 28));
        Bytes further = _mm256_setzero_si256();
        for (; block < end; ++block) {
            const Bytes eight = load(units + 8 * block);
            // All ones are -1: subtracting them counts one byte more for each bound reached.
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

NQ_AVX2 void swap_units(const std::uint8_t* source, std::uint8_t* target,
                        std::size_t count) noexcept {
    const Bytes swap = order_shuffle(ByteOrder::big, 4);
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        store(target + 4 * i, _mm256_shuffle_epi8(load(source + 4 * i), swap));
    }
    loops::swap_units(source + 4 * i, target + 4 * i, count - i);
}

// Compares four values with the four behind them: a lane becomes all ones where either is a NaN,
// since that alone is unordered.
NQ_AVX2_INLINE __m256d unordered(const double* values) noexcept {
    return _mm256_cmp_pd(_mm256_loadu_pd(values), _mm256_loadu_pd(values + 4), _CMP_UNORD_Q);
}

[[gnu::noinline]] NQ_AVX2 std::uint64_t scan_long(const std::uint8_t* text, std::size_t length,
                                                  std::uint8_t value) noexcept {
    const std::size_t i = find_first_match(text, length, equal_to(all_bytes(value)));
    return i == length ? NQ_NOT_FOUND : i;
}

[[gnu::noinline]] NQ_AVX2 std::int32_t compare_long(const std::uint8_t* a, const std::uint8_t* b,
                                                    std::size_t length) noexcept {
    const std::size_t i = find_first_match(a, length, unequal_to(a, b));
    if (i == length) return 0;
    return a[i] < b[i] ? -1 : 1;
}

// Sets each of 32 bytes to 0xFF in which two texts are equal, both there and 32 bytes further on.
NQ_AVX2_INLINE Bytes equal_in_64(const std::uint8_t* a, const std::uint8_t* b) noexcept {
    return _mm256_and_si256(_mm256_cmpeq_epi8(load(b), load(a)),
                            _mm256_cmpeq_epi8(load(b + 32), load(a + 32)));
}

// Whether two texts of more than kShortBytes and at most kMiddleBytes are equal.
NQ_AVX2_INLINE bool are_equal(const std::uint8_t* a, const std::uint8_t* b,
                              std::size_t length) noexcept {
    const std::uint8_t* const a_end = a + length;
    const std::uint8_t* const b_end = b + length;
    Bytes all = _mm256_and_si256(equal_in_64(a, b), equal_in_64(a_end - 64, b_end - 64));
    if (length > 128) [[likely]] {
        all = _mm256_and_si256(all, _mm256_and_si256(equal_in_64(a + 64, b + 64),
                                                     equal_in_64(a_end - 128, b_end - 128)));
    }
    return top_bits(all) == ~0u;
}

// `fill` and `move` store from the start of the target to its end, because the processor then
// combines stores to one cache line. A store across two lines costs two, so where the target is not
// aligned, the stores between the first and the last one are: four of them from the start on and
// four before the end, which may overlap.
constexpr std::size_t kInnerBytes = 4 * 32;

NQ_AVX2_INLINE bool is_aligned(const std::uint8_t* at) noexcept { return aligned_from(at) == at; }

struct FourBlocks {
    Bytes first, second, third, fourth;
};

NQ_AVX2_INLINE FourBlocks load_four(const std::uint8_t* from) noexcept {
    return {load(from), load(from + 32), load(from + 64), load(from + 96)};
}

NQ_AVX2_INLINE void store_four(std::uint8_t* to, const FourBlocks& blocks) noexcept {
    store(to, blocks.first);
    store(to + 32, blocks.second);
    store(to + 64, blocks.third);
    store(to + 96, blocks.fourth);
}

// Whether the inner stores are to be aligned. They have room behind the first store from a length
// of kInnerBytes + 32 on.
NQ_AVX2_INLINE bool aligns(const std::uint8_t* to, std::size_t length) noexcept {
    if (length <= kInnerBytes + 32) [[unlikely]]
        return false;
    return __builtin_expect(!is_aligned(to), false);
}

NQ_AVX2_INLINE void fill(std::uint8_t* to, Bytes block, std::size_t length) noexcept {
    const FourBlocks four{block, block, block, block};
    std::uint8_t* const end = to + length;
    if (length > kInnerBytes) [[likely]] {
        if (__builtin_expect(!aligns(to, length), true)) {
            store_four(to, four);
            store_four(end - kInnerBytes, four);
            return;
        }
        store(to, block);
        store_four(aligned_from(to), four);
        store_four(aligned_from(end - 32) - kInnerBytes, four);
        store(end - 32, block);
        return;
    }
    store(to, block);
    store(to + 32, block);
    store(end - 64, block);
    store(end - 32, block);
}

}  // namespace

NQ_AVX2_AT_LINE void fill_bytes(std::uint8_t* to, std::uint8_t value, std::size_t length) noexcept {
    fill(to, all_bytes(value), length);
}

NQ_AVX2_AT_LINE void fill_units(NQChar* to, NQChar value, std::size_t count) noexcept {
    fill(reinterpret_cast<std::uint8_t*>(to), all_units(value), 4 * count);
}

// Loads everything before it stores anything, because the target may overlap the source.
NQ_AVX2_AT_LINE std::uint8_t* move(const std::uint8_t* from, std::uint8_t* to,
                                   std::size_t length) noexcept {
    const std::uint8_t* const from_end = from + length;
    std::uint8_t* const end = to + length;
    if (length > kInnerBytes) [[likely]] {
        if (__builtin_expect(!aligns(to, length), true)) {
            const FourBlocks early = load_four(from);
            const FourBlocks late = load_four(from_end - kInnerBytes);
            store_four(to, early);
            store_four(end - kInnerBytes, late);
            return to;
        }
        std::uint8_t* const early_to = aligned_from(to);
        std::uint8_t* const late_to = aligned_from(end - 32) - kInnerBytes;
        const Bytes first = load(from);
        const FourBlocks early = load_four(from + (early_to - to));
        const FourBlocks late = load_four(from + (late_to - to));
        const Bytes last = load(from_end - 32);
        store(to, first);
        store_four(early_to, early);
        store_four(late_to, late);
        store(end - 32, last);
        return to;
    }
    const FourBlocks all{load(from), load(from + 32), load(from_end - 64), load(from_end - 32)};
    store(to, all.first);
    store(to + 32, all.second);
    store(end - 64, all.third);
    store(end - 32, all.fourth);
    return to;
}

NQ_AVX2_AT_LINE std::uint64_t scan_first_not_unit(const NQChar* units, std::size_t count,
                                                  NQChar value) noexcept {
    const std::size_t i = find_first_not_unit(units, count, value);
    return i == count ? NQ_NOT_FOUND : i;
}

NQ_AVX2_AT_LINE std::int32_t all_units_equal(const NQChar* units, std::size_t count,
                                             NQChar value) noexcept {
    return find_first_not_unit(units, count, value) == count;
}

NQ_AVX2_AT_LINE std::int32_t has_nan(const double* values, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256d low = _mm256_or_pd(unordered(values + i), unordered(values + i + 8));
        const __m256d high = _mm256_or_pd(unordered(values + i + 16), unordered(values + i + 24));
        if (_mm256_movemask_pd(_mm256_or_pd(low, high))) return 1;
    }
    for (; i + 8 <= count; i += 8) {
        if (_mm256_movemask_pd(unordered(values + i))) return 1;
    }
    return loops::has_nan(values + i, count - i);
}

// `scan` and `compare` answer up to kMiddleBytes without a further call where nothing is found. All
// else is in a function of its own, whose use of registers costs these nothing.
NQ_AVX2_AT_LINE std::uint64_t scan(const std::uint8_t* text, std::size_t length,
                                   std::uint8_t value) noexcept {
    if (length <= kMiddleBytes) [[likely]] {
        if (!has_match(text, length, equal_to(all_bytes(value)))) [[likely]]
            return hide_from_optimizer(NQ_NOT_FOUND);
    }
    return scan_long(text, length, value);
}

NQ_AVX2_AT_LINE std::int32_t compare(const std::uint8_t* a, const std::uint8_t* b,
                                     std::size_t length) noexcept {
    if (length <= kMiddleBytes) [[likely]] {
        if (are_equal(a, b, length)) [[likely]]
            return hide_from_optimizer(0);
    }
    return compare_long(a, b, length);
}

}  // namespace avx2

constinit const TextKernels kAvx2TextKernels = {
    .name = "avx2",
    .to_upper = avx2::to_upper,
    .to_lower = avx2::to_lower,
    .map_ascii = avx2::map_ascii,
    .map_ascii_units = avx2::map_ascii_units,
    .fill_bytes = avx2::fill_bytes,
    .fill_units = avx2::fill_units,
    .move = avx2::move,
    .find_first_not_byte = avx2::find_first_not_byte,
    .first_mismatch = avx2::first_mismatch,
    .scan_first_not_unit = avx2::scan_first_not_unit,
    .all_units_equal = avx2::all_units_equal,
    .has_nan = avx2::has_nan,
    .scan = avx2::scan,
    .compare = avx2::compare,
    .find_pair = avx2::find_pair,
    .equal_prefix_ignoring_ascii_case_utf8 = avx2::equal_prefix_ignoring_ascii_case_utf8,
    .equal_prefix_ignoring_ascii_case_bytes = avx2::equal_prefix_ignoring_ascii_case_bytes,
    .equal_prefix_ignoring_ascii_case_units = avx2::equal_prefix_ignoring_ascii_case_units,
    .count_characters = avx2::count_characters,
    .size_of_characters = avx2::size_of_characters,
    .count_steps = avx2::count_steps,
    .utf8_bytes = avx2::utf8_bytes,
    .swap_units = avx2::swap_units,
    .utf8_to_utf32 = avx2::utf8_to_utf32,
    .utf16_to_utf32 = avx2::utf16_to_utf32,
    .utf32_to_utf8 = avx2::utf32_to_utf8,
    .utf32_to_utf16 = avx2::utf32_to_utf16,
};

}  // namespace nq
#endif
