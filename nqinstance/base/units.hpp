#pragma once
#include <array>
#include <cstddef>

#include "nqinstance/host/base.h"

namespace nq {

// The NQChar text of an ASCII literal, without its terminator.
template <std::size_t N>
consteval std::array<NQChar, N - 1> units(const char (&text)[N]) {
    std::array<NQChar, N - 1> result{};
    for (std::size_t i = 0; i + 1 < N; ++i) result[i] = static_cast<unsigned char>(text[i]);
    return result;
}

}  // namespace nq
