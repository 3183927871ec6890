#pragma once

// A sanitizer that reports sums which leave their type's range lets these pass.
#ifdef __clang__
#define NQ_WRAPS __attribute__((no_sanitize("unsigned-integer-overflow"), always_inline))
#else
#define NQ_WRAPS __attribute__((always_inline))
#endif

namespace nq {

template <class T>
concept Unsigned = (T(0) < T(-1));

// Arithmetic that is meant to be modulo the type's range.
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
