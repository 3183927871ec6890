#pragma once
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/fault/leftovers.hpp"
#include "tests/support/checking_host.hpp"

namespace nq::test {

// Stands for the status of an operation that reports failure by a null result alone.
inline constexpr NQStatus kNullResult = 0xFFFFFFFFu;

// One call of the operation and what it asked of the host, whose plan is cleared by then.
struct Round {
    CheckingHost& host;
    NQStatus status;
    std::vector<FailedCall> failures;  // none: nothing failed
    std::array<std::uint64_t, kCallKinds> calls{};

    std::uint64_t called(Call kind) const { return calls[static_cast<std::size_t>(kind)]; }
    std::uint64_t failed(Call kind) const;
    std::uint64_t succeeded(Call kind) const { return called(kind) - failed(kind); }
};

// An operation of the library under the sweep. One object lives for one round: it is called with
// a failing host, then once more with a host that works.
class Operation {
  public:
    virtual ~Operation() = default;

    // Makes what the operation works on. Called again before the second call.
    virtual void prepare(CheckingHost&) {}

    // Runs the operation once.
    virtual NQStatus call(CheckingHost&) = 0;

    // What a success produced, as text.
    virtual std::string result(CheckingHost&) { return {}; }

    // What is wrong with the out-parameters after a failure; empty when they are as documented.
    // What a failure hands to the caller is given back here.
    virtual std::string check_failure(const Round&) { return {}; }

    // Gives back the result of a success, and what prepare() made and the call left; after both,
    // or after check_failure() and the second, the host holds what it held before prepare().
    virtual void drop_result(CheckingHost&) {}
    virtual void clean_up(CheckingHost&) {}

    // The status that one failed host call ends in; 0 when the operation takes no notice of it.
    virtual NQStatus status_for(const FailedCall& failed) const;

    // What stays with the host on purpose; nothing else may, and all of it must.
    virtual Leftover leftover(const Round&) const { return {}; }

    // Whether a success in spite of failed calls has the right result.
    virtual bool right_result(const Round&, const std::string& expected,
                              const std::string& result) const {
        return result == expected;
    }

    // False: the host is not loaded for the operation.
    virtual bool needs_library() const { return true; }
    // The status of a call in which nothing fails.
    virtual NQStatus normal_status() const { return NQ_STATUS_OK; }
};

struct SweepCase {
    std::string name;
    std::vector<std::string> exports;  // the exported operations that it covers
    std::function<std::unique_ptr<Operation>()> make;
    bool deliver_with_failure = false;
};

struct SweepReport {
    std::uint64_t rounds = 0;       // with no failure, with one, and with all from one on
    std::uint64_t pair_rounds = 0;  // with two failures
    std::uint64_t host_calls = 0;   // of the operation when nothing fails
    Leftover kept;                  // added up over all rounds
    std::vector<std::string> problems;
};

// Operations that make no more calls than this are swept in pairs as well.
inline constexpr std::uint64_t kMostCallsForPairs = 60;

// Fails the host's calls one after the other, once and from then on, with each of their statuses,
// until the operation makes no further call; then every two of them, with each two statuses.
// `pair_step` bounds the pairs: of each two statuses only every so-many-th first call is taken, for
// each two another one.
SweepReport sweep(const SweepCase& test_case, std::uint64_t pair_step = 1);

}  // namespace nq::test
