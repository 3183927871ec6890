#pragma once
#include <string>

#include "fuzz/support/input.hpp"
#include "tests/support/checking_host.hpp"

namespace nq::fuzz {

// A host that ends the process where something is held when it ends, which it reports as a test
// would.
struct CheckingHost : test::CheckingHost {
    CheckingHost();
};

inline std::string text_of(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// A host call that fails: read from the input, it fails none in half of all cases.
struct PlannedFailure {
    explicit PlannedFailure(Input& input) {
        const std::uint32_t choice = input.byte();
        fails = choice & 1;
        is_sticky = choice & 2;
        variant = choice >> 2 & 3;
        at = input.number();
    }

    // Before the calls; the n-th of them fails.
    void arm(CheckingHost& host) const {
        host.plan().clear();
        if (fails) host.plan().fail_any(at, variant, is_sticky);
    }

    bool fails;
    bool is_sticky;
    std::size_t variant;
    std::uint64_t at;
};

// After an armed call: nothing failed, or the status is that of a call which failed. A call that
// returns no status makes one of the library's own.
void require_explained(CheckingHost& host, NQStatus status);

}  // namespace nq::fuzz
