#pragma once

// Takes a function out of the sanitizer build's report of unsigned sums that wrap around.
#ifdef __clang__
#define NQ_WRAPS __attribute__((no_sanitize("unsigned-integer-overflow"), always_inline))
#else
#define NQ_WRAPS __attribute__((always_inline))
#endif

namespace nq {

template <class T>
concept Unsigned = (T(0) < T(-1));

// Arithmetic modulo the type's range. A sum that wraps anywhere else is a mistake, which the
// sanitizer build reports.
template <Unsigned T>
NQ_WRAPS constexpr T wrapping_add(T a, T b) noexcept {
    return a + b;
}

template <Unsigned T>
NQ_WRAPS constexpr T wrapping_sub(T a, T b) noexcept {
    return a - b;
}

template <Unsigned T>
NQ_WRAPS constexpr T wrapping_mul(T a, T b) noexcept {
    return a * b;
}

}  // namespace nq
