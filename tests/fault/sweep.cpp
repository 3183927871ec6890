#include "tests/fault/sweep.hpp"

#include <algorithm>
#include <numeric>
#include <sstream>

#include "nqinstance/host/status.h"

namespace nq::test {
namespace {

constexpr std::size_t kProblemsKept = 10;

std::string hex(NQStatus status) {
    std::ostringstream text;
    text << "0x" << std::hex << status;
    return text.str();
}

// As many variants as the service with the most statuses has.
std::size_t variants() {
    std::size_t most = 0;
    for (std::size_t i = 0; i < kCallKinds; ++i) {
        most = std::max(most, statuses_of(static_cast<Call>(i)).size());
    }
    return most;
}

// Which calls fail in a round, and with which of their statuses.
struct Failing {
    enum Kind { kNothing, kOnce, kFromThenOn, kPair } kind = kNothing;
    std::uint64_t first = 0;
    std::size_t first_variant = 0;
    std::uint64_t second = 0;
    std::size_t second_variant = 0;

    void plan(FailurePlan& plan) const {
        if (kind == kPair) {
            plan.fail_pair(first, second, first_variant, second_variant);
        } else if (kind != kNothing) {
            plan.fail_any(first, first_variant, kind == kFromThenOn);
        }
    }

    std::string text() const {
        if (kind == kNothing) return "nothing fails";
        const auto call = [](std::uint64_t n, std::size_t variant) {
            return std::to_string(n) + " (status " + std::to_string(variant) + ")";
        };
        std::string text = "call " + call(first, first_variant);
        if (kind == kFromThenOn) text += " and all after it";
        if (kind == kPair) text += " and call " + call(second, second_variant);
        return text;
    }
};

class Sweeper {
  public:
    explicit Sweeper(const SweepCase& test_case) : case_(test_case) {}

    SweepReport run(std::uint64_t pair_step) {
        one_round({});
        ++report_.rounds;
        for (std::size_t variant = 0; variant < variants(); ++variant) {
            for (const auto kind : {Failing::kOnce, Failing::kFromThenOn}) {
                for (std::uint64_t n = 0; !full(); ++n) {
                    ++report_.rounds;
                    if (one_round({kind, n, variant}) == 0) break;
                }
            }
        }
        if (report_.host_calls <= kMostCallsForPairs) run_pairs(pair_step);
        return std::move(report_);
    }

  private:
    bool full() const { return report_.problems.size() >= kProblemsKept; }

    // The second call of a pair is one that the operation still makes when the first has failed.
    void run_pairs(std::uint64_t step) {
        for (std::size_t one = 0; one < variants(); ++one) {
            for (std::size_t other = 0; other < variants(); ++other) {
                const std::uint64_t start = (one * variants() + other) % step;
                for (std::uint64_t i = start; i < report_.host_calls; i += step) {
                    for (std::uint64_t j = i + 1; !full(); ++j) {
                        if (one_round({Failing::kPair, i, one, j, other}) < 2) break;
                        ++report_.pair_rounds;
                    }
                }
            }
        }
    }

    // Returns how many calls failed.
    std::size_t one_round(const Failing& failing) {
        trap_.take();
        where_ = case_.name + ", " + failing.text();
        CheckingHost host;
        host.forgive();
        const std::unique_ptr<Operation> operation = case_.make();
        if (operation->needs_library()) host.load();
        const HostState start = host.state();
        operation->prepare(host);
        host.plan().clear();
        host.plan().deliver_with_failure(case_.deliver_with_failure);
        failing.plan(host.plan());
        const Round round = call(*operation, host);
        if (failing.kind == Failing::kNothing) report_.host_calls = calls_of(round);
        check_call(*operation, round);
        finish(*operation, round);
        check_state(host.state() - start, operation->leftover(round));

        const HostState middle = host.state();
        const Leftover again = repeat(*operation, host);
        check_state(host.state() - middle, again);
        host.check();
        for (const std::string& fault : trap_.take()) note(fault);
        return round.failures.size();
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
    Leftover repeat(Operation& operation, CheckingHost& host) {
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

    void check_state(HostState difference, const Leftover& kept) {
        report_.kept.add(kept);
        if (!kept.has_exact_bytes()) difference.bytes = kept.state().bytes;
        if (difference == kept.state()) return;
        std::ostringstream text;
        text << "the host is left with " << difference << " instead of " << kept.state();
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

SweepReport sweep(const SweepCase& test_case, std::uint64_t pair_step) {
    return Sweeper(test_case).run(pair_step);
}

}  // namespace nq::test
