#include "tests/fault/sweep.hpp"

#include <algorithm>
#include <numeric>
#include <sstream>

#include "nqinstance/host/status.h"

namespace nq::test {
namespace {

// No service has more statuses than this.
constexpr std::size_t kVariants = 3;
constexpr std::size_t kProblemsKept = 10;

std::string hex(NQStatus status) {
    std::ostringstream text;
    text << "0x" << std::hex << status;
    return text.str();
}

HostState counts_without_blocks(HostState state) {
    state.blocks = state.bytes = 0;
    return state;
}

class Sweeper {
  public:
    explicit Sweeper(const SweepCase& test_case) : case_(test_case) {}

    SweepReport run() {
        one_round(kNothingFails, 0, false);
        for (std::size_t variant = 0; variant < kVariants; ++variant) {
            for (const bool sticky : {false, true}) {
                for (std::uint64_t n = 0; one_round(n, variant, sticky); ++n) {
                    if (report_.problems.size() >= kProblemsKept) return std::move(report_);
                }
            }
        }
        return std::move(report_);
    }

  private:
    static constexpr std::uint64_t kNothingFails = UINT64_MAX / 2;

    // False when nothing failed any more.
    bool one_round(std::uint64_t n, std::size_t variant, bool sticky) {
        ++report_.rounds;
        trap_.take();
        where_ = case_.name + ", call " + std::to_string(n) + (sticky ? " and all after it" : "") +
                 ", variant " + std::to_string(variant);
        CheckingHost host;
        host.forgive();
        const std::unique_ptr<Operation> operation = case_.make();
        if (operation->needs_library()) host.load();
        const HostState start = host.state();
        operation->prepare(host);
        host.plan().clear();
        host.plan().deliver_with_failure(case_.deliver_with_failure);
        host.plan().fail_any(n, variant, sticky);
        const Round round = call(*operation, host);
        if (n == kNothingFails) report_.host_calls = calls_of(round);
        check_call(*operation, round);
        finish(*operation, round);
        check_state(host.state() - start, operation->leftover(round));

        const HostState middle = host.state();
        const Operation::Leftover again = repeat(*operation, host);
        check_state(host.state() - middle, again);
        host.check();
        for (const std::string& fault : trap_.take()) note(fault);
        return !round.failures.empty();
    }

    static std::uint64_t calls_of(const Round& round) {
        return std::accumulate(round.calls.begin(), round.calls.end(), std::uint64_t{0});
    }

    // Calls the operation under the plan, which is cleared afterwards.
    static Round call(Operation& operation, CheckingHost& host) {
        Round round{host, operation.call(host), host.plan().failures()};
        for (std::size_t i = 0; i < kCallKinds; ++i) {
            round.calls[i] = host.plan().calls(static_cast<Call>(i));
        }
        host.plan().clear();
        return round;
    }

    // The status and, after a success, the result of the call that a failure was planned for.
    void check_call(Operation& operation, const Round& round) {
        NQStatus expected = operation.normal_status();
        std::string cause = "nothing";
        for (const FailedCall& failed : round.failures) {
            if (const NQStatus mapped = operation.status_for(failed)) {
                expected = mapped;
                cause = call_name(failed.call);
                break;
            }
        }
        if (round.status != expected) {
            note("status " + hex(round.status) + " instead of " + hex(expected) + " when " + cause +
                 " failed");
        }
        if (round.status) return;
        const std::string result = operation.result(round.host);
        if (round.failures.empty() && !has_result_) {
            has_result_ = true;
            result_ = result;
        }
        if (!operation.right_result(round, result_, result)) {
            note("result \"" + result + "\" instead of \"" + result_ + "\"");
        }
    }

    // The same operation once more, with nothing failing.
    Operation::Leftover repeat(Operation& operation, CheckingHost& host) {
        operation.prepare(host);
        host.plan().clear();
        const Round round = call(operation, host);
        if (round.status != operation.normal_status()) {
            note("status " + hex(round.status) + " of the call after a failure");
        }
        if (!round.status) {
            const std::string result = operation.result(host);
            if (result != result_) {
                note("result \"" + result + "\" after a failure instead of \"" + result_ + "\"");
            }
        }
        finish(operation, round);
        return operation.leftover(round);
    }

    // Gives back all that the call and its preparation made.
    void finish(Operation& operation, const Round& round) {
        if (round.status) {
            note(operation.check_failure(round));
        } else {
            operation.drop_result(round.host);
        }
        operation.clean_up(round.host);
    }

    void check_state(const HostState& difference, const Operation::Leftover& expected) {
        const bool same = expected.exact_blocks ? difference == expected.state
                                                : counts_without_blocks(difference) ==
                                                      counts_without_blocks(expected.state);
        if (same) return;
        std::ostringstream text;
        text << "the host is left with " << difference << " instead of " << expected.state;
        note(text.str());
    }

    void note(const std::string& problem) {
        if (!problem.empty()) report_.problems.push_back(where_ + ": " + problem);
    }

    const SweepCase& case_;
    SweepReport report_;
    FaultTrap trap_;
    std::string where_;
    bool has_result_ = false;
    std::string result_;
};

}  // namespace

std::uint64_t Round::failed(Call kind) const {
    return static_cast<std::uint64_t>(
        std::count_if(failures.begin(), failures.end(),
                      [=](const FailedCall& failure) { return failure.call == kind; }));
}

NQStatus Operation::status_for(const FailedCall& failed) const {
    if (gives_back(failed.call)) return NQ_STATUS_OK;
    switch (failed.call) {
        case Call::kAlloc:
        case Call::kRealloc:
            return NQ_STATUS_NO_MEMORY;
        case Call::kLoadExtension:
            return NQ_STATUS_NO_EXTENSION;
        case Call::kCreateTranscoder:
            return NQ_STATUS_NO_SERVICE;
        default:
            return failed.status;
    }
}

SweepReport sweep(const SweepCase& test_case) { return Sweeper(test_case).run(); }

}  // namespace nq::test
