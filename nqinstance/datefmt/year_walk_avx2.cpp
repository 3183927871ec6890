#if defined(__x86_64__)
#include "nqinstance/datefmt/year_walk.hpp"

#include <immintrin.h>

namespace nq {
namespace {

constexpr int32_t kLanes = 8;

// Sets the lanes whose year is a multiple to all ones: its low bits are clear.
template <int32_t PowerOfTwo>
NQ_AVX2 inline __m256i multiples_of(__m256i years) noexcept {
    const __m256i remainders = _mm256_and_si256(years, _mm256_set1_epi32(PowerOfTwo - 1));
    return _mm256_cmpeq_epi32(remainders, _mm256_setzero_si256());
}

// The mask of the lanes whose year is a leap year.
NQ_AVX2 inline uint32_t leap_lanes(__m256i years) noexcept {
    // Multiplied by the inverse of 25 modulo 2^32, a multiple of 25 becomes its quotient, which is
    // at most this large. All other numbers become larger ones, because no two numbers have the
    // same product.
    constexpr int32_t kLargestQuotient = INT32_MAX / 25;
    constexpr int32_t kInverse25 = -1030792151;
    static_assert(static_cast<uint32_t>(kInverse25) * 25u == 1u);

    const __m256i product = _mm256_mullo_epi32(years, _mm256_set1_epi32(kInverse25));
    const __m256i magnitude = _mm256_abs_epi32(product);
    const __m256i no_century =
        _mm256_or_si256(_mm256_cmpgt_epi32(magnitude, _mm256_set1_epi32(kLargestQuotient)),
                        // The magnitude of INT32_MIN stays negative.
                        _mm256_cmpgt_epi32(_mm256_setzero_si256(), magnitude));
    const __m256i leap = _mm256_and_si256(multiples_of<4>(years),
                                          _mm256_or_si256(no_century, multiples_of<16>(years)));
    return static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(leap)));
}

NQ_AVX2 YearWalk walk_avx2(YearWalk at) noexcept {
    const __m256i step = _mm256_set1_epi32(kLanes);
    __m256i years =
        _mm256_add_epi32(_mm256_set1_epi32(at.year), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    while (at.days_left >= kLanes * 366) {
        at.days_left -= kLanes * 365 + __builtin_popcount(leap_lanes(years));
        at.year = years_later(at.year, kLanes);
        years = _mm256_add_epi32(years, step);
    }
    return at;
}

}  // namespace

constinit const YearWalkBody year_walk_avx2{"avx2", walk_avx2};

}  // namespace nq
#endif
