#pragma once
#include "nqinstance/text/kernels/table.hpp"

namespace nq {

// The steps through a text, see utf8_count.hpp: short ones in the caller, others by the body in
// use.
inline Steps count_steps(const std::uint8_t* text, std::uint64_t length) noexcept {
    return length < kInlineBytes ? loops::count_steps(text, length)
                                 : text_kernels().count_steps(text, length);
}

}  // namespace nq
