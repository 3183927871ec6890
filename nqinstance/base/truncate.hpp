#pragma once
#include <cstdint>

namespace nq {

// Truncation towards zero. What does not fit, and what is no number, gives the smallest integer, as
// the processor's own conversion does; the language leaves those undefined.
constexpr int64_t truncate_int64(double value) noexcept {
    return value >= -0x1p63 && value < 0x1p63 ? static_cast<int64_t>(value) : INT64_MIN;
}

constexpr int32_t truncate_int32(double value) noexcept {
    return value > -0x1p31 - 1.0 && value < 0x1p31 ? static_cast<int32_t>(value) : INT32_MIN;
}

}  // namespace nq
