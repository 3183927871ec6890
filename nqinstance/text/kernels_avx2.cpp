#if defined(__x86_64__)
#include "nqinstance/text/avx2.hpp"

namespace nq {
namespace avx2 {
namespace {

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

NQ_AVX2_INLINE bool is_zero(Bytes bytes) noexcept { return _mm256_testz_si256(bytes, bytes); }

// The index of the first byte that is not zero in what `mark` makes of the 32 bytes from it on, or
// the length. Blocks are looked at several at a time, the last ones as they overlap those before.
// At least 32 bytes.
template <class Mark>
NQ_AVX2_INLINE std::size_t find_marked(const std::uint8_t* text, std::size_t length,
                                       Mark mark) noexcept {
    const auto mark_two = [=](const std::uint8_t* at)
                              NQ_AVX2 { return _mm256_or_si256(mark(at), mark(at + 32)); };
    const auto mark_four = [=](const std::uint8_t* at)
                               NQ_AVX2 { return _mm256_or_si256(mark_two(at), mark_two(at + 64)); };
    const std::uint8_t* const end = text + length;
    const std::uint8_t* at = text;
    for (; end - at >= 256; at += 256) {
        if (!is_zero(_mm256_or_si256(mark_four(at), mark_four(at + 128)))) break;
    }
    if (end - at >= 128 && is_zero(mark_four(at))) at += 128;
    if (end - at < 128 && length >= 64) {
        if (at == end) return length;
        Bytes any = mark_two(end - 64);
        if (end - at > 64) any = _mm256_or_si256(any, mark_two(at));
        if (is_zero(any)) return length;
    }
    for (;; at += 32) {
        if (end - at < 32) {
            if (at == end) return length;
            at = end - 32;
        }
        const std::uint32_t marked = ~top_bits(_mm256_cmpeq_epi8(mark(at), _mm256_setzero_si256()));
        if (marked) return static_cast<std::size_t>(at - text) + _tzcnt_u32(marked);
    }
}

// The index of the first byte that differs from the block's value, or the length.
NQ_AVX2_INLINE std::size_t find_different_byte(const std::uint8_t* text, Bytes value,
                                               std::size_t length) noexcept {
    return find_marked(text, length, [=](const std::uint8_t* at) NQ_AVX2 {
        return _mm256_xor_si256(load(at), value);
    });
}

// The index of the first byte at which the two differ, or the length.
NQ_AVX2_INLINE std::size_t find_unequal_byte(const std::uint8_t* a, const std::uint8_t* b,
                                             std::size_t length) noexcept {
    const auto distance = reinterpret_cast<std::uintptr_t>(b) - reinterpret_cast<std::uintptr_t>(a);
    return find_marked(a, length, [=](const std::uint8_t* at) NQ_AVX2 {
        const auto of_b = reinterpret_cast<std::uintptr_t>(at) + distance;
        return _mm256_xor_si256(load(at), load(reinterpret_cast<const void*>(of_b)));
    });
}

NQ_AVX2 std::size_t find_other_byte(const std::uint8_t* text, std::size_t length,
                                    std::uint8_t value) noexcept {
    if (length < 32) return loops::find_other(text, length, value);
    return find_different_byte(text, all_bytes(value), length);
}

NQ_AVX2 std::size_t find_other_unit(const NQChar* units, std::size_t count, NQChar value) noexcept {
    if (count < 8) return loops::find_other(units, count, value);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(units);
    return find_different_byte(bytes, all_units(value), 4 * count) / 4;
}

NQ_AVX2 std::size_t find_unequal(const NQChar* a, const NQChar* b, std::size_t count) noexcept {
    if (count < 8) return loops::find_unequal(a, b, count);
    return find_unequal_byte(reinterpret_cast<const std::uint8_t*>(a),
                             reinterpret_cast<const std::uint8_t*>(b), 4 * count) /
           4;
}

// All ones in the lanes of two blocks of four in which one of the two is a NaN.
NQ_AVX2_INLINE __m256d unordered(const double* values) noexcept {
    return _mm256_cmp_pd(_mm256_loadu_pd(values), _mm256_loadu_pd(values + 4), _CMP_UNORD_Q);
}

NQ_AVX2 std::size_t find_nan(const double* values, std::size_t count) noexcept {
    std::size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256d low = _mm256_or_pd(unordered(values + i), unordered(values + i + 8));
        const __m256d high = _mm256_or_pd(unordered(values + i + 16), unordered(values + i + 24));
        if (_mm256_movemask_pd(_mm256_or_pd(low, high))) break;
    }
    for (; i + 8 <= count && !_mm256_movemask_pd(unordered(values + i)); i += 8) {
    }
    return i + loops::find_nan(values + i, count - i);
}

// The kernels of more than 64 bytes, which callers look at themselves.
NQ_AVX2 std::uint64_t scan(const std::uint8_t* text, std::size_t length,
                           std::uint8_t value) noexcept {
    const Bytes wanted = all_bytes(value);
    const std::size_t i = find_marked(text, length, [=](const std::uint8_t* at) NQ_AVX2 {
        return _mm256_cmpeq_epi8(load(at), wanted);
    });
    return i == length ? NQ_NOT_FOUND : i;
}

NQ_AVX2 std::int32_t compare(const std::uint8_t* a, const std::uint8_t* b,
                             std::size_t length) noexcept {
    const std::size_t i = find_unequal_byte(a, b, length);
    if (i == length) return 0;
    return a[i] < b[i] ? -1 : 1;
}

NQ_AVX2 std::size_t find_pair(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                              std::uint8_t first, std::uint8_t second) noexcept {
    if (positions < 32) {
        return kGenericTextKernels.find_pair(text, positions, distance, first, second);
    }
    const Bytes firsts = all_bytes(first);
    const Bytes seconds = all_bytes(second);
    return find_marked(text, positions, [=](const std::uint8_t* at) NQ_AVX2 {
        return _mm256_and_si256(_mm256_cmpeq_epi8(load(at), firsts),
                                _mm256_cmpeq_epi8(load(at + distance), seconds));
    });
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

NQ_AVX2 void swap_units(const std::uint8_t* source, std::uint8_t* target,
                        std::size_t count) noexcept {
    const Bytes swap = order_shuffle(ByteOrder::big, 4);
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        store(target + 4 * i, _mm256_shuffle_epi8(load(source + 4 * i), swap));
    }
    loops::swap_units(source + 4 * i, target + 4 * i, count - i);
}

}  // namespace
}  // namespace avx2

constinit const TextKernels kAvx2TextKernels = {
    .name = "avx2",
    .to_upper = avx2::to_upper,
    .to_lower = avx2::to_lower,
    .map_ascii = avx2::map_ascii,
    .map_ascii_units = avx2::map_ascii_units,
    .find_other_byte = avx2::find_other_byte,
    .find_other_unit = avx2::find_other_unit,
    .find_unequal = avx2::find_unequal,
    .find_nan = avx2::find_nan,
    .scan = avx2::scan,
    .compare = avx2::compare,
    .find_pair = avx2::find_pair,
    .alike_utf8 = avx2::alike_utf8,
    .alike_bytes = avx2::alike_bytes,
    .alike_units = avx2::alike_units,
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
