#pragma once
#include "nqinstance/text/kernels/table.hpp"

namespace nq {

// The steps through a text of any length, by the body in use where that pays.
inline Steps count_steps(const std::uint8_t* text, std::uint64_t length) noexcept {
    return length < kInlineBytes ? loops::count_steps(text, length)
                                 : text_kernels().count_steps(text, length);
}

}  // namespace nq
