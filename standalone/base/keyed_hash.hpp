#pragma once
#include <cstdint>
#include <string_view>

namespace nq {

// SipHash-1-3 under a key drawn once for the process, so that nobody can choose texts that
// collide.
uint64_t keyed_hash(std::string_view text) noexcept;

}  // namespace nq
