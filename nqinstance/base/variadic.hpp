#pragma once
#include <cstdint>
#include <type_traits>

namespace nq {

// A value as it goes into a variable argument list: the host's formatters fetch integers and
// characters as 64 bits and floating values as double.
constexpr auto widened(double value) noexcept { return value; }
template <class Integer>
constexpr auto widened(Integer value) noexcept {
    return std::conditional_t<std::is_signed_v<Integer>, int64_t, uint64_t>{value};
}

}  // namespace nq
