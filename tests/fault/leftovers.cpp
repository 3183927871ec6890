#include "tests/fault/leftovers.hpp"

namespace nq::test {
namespace {

constexpr bool stands_in_its_place() {
    for (std::size_t i = 0; i < kKeptKinds; ++i) {
        if (static_cast<std::size_t>(kKnownLeftovers[i].kept) != i) return false;
    }
    return true;
}
static_assert(stands_in_its_place());

}  // namespace

HostState Leftover::state() const {
    HostState sum;
    for (std::size_t i = 0; i < kKeptKinds; ++i) {
        for (std::uint64_t n = 0; n < times_[i]; ++n) sum = sum + kKnownLeftovers[i].each;
    }
    return sum;
}

bool Leftover::has_exact_bytes() const {
    for (std::size_t i = 0; i < kKeptKinds; ++i) {
        const HostState& each = kKnownLeftovers[i].each;
        if (times_[i] && each.blocks && !each.bytes) return false;
    }
    return true;
}

}  // namespace nq::test
