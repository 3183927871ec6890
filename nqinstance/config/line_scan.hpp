#pragma once
#include "nqinstance/host/base.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace nq {

inline constexpr NQChar kLineFeed = 0x0A;
inline constexpr NQChar kNewLine = 0x15;

// The first line terminator in [start, end), or `end`.
inline const NQChar* find_terminator(const NQChar* start, const NQChar* end) noexcept {
#ifdef __SSE2__
    const __m128i line_feed = _mm_set1_epi32(static_cast<int>(kLineFeed));
    const __m128i new_line = _mm_set1_epi32(static_cast<int>(kNewLine));
    const auto hits = [&](const NQChar* units) noexcept {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
        return _mm_or_si128(_mm_cmpeq_epi32(four, line_feed), _mm_cmpeq_epi32(four, new_line));
    };
    for (; end - start >= 16; start += 16) {
        const __m128i low = _mm_packs_epi32(hits(start), hits(start + 4));
        const __m128i high = _mm_packs_epi32(hits(start + 8), hits(start + 12));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
        if (mask) return start + __builtin_ctz(mask);
    }
#endif
    while (start != end && *start != kLineFeed && *start != kNewLine) ++start;
    return start;
}

}  // namespace nq
