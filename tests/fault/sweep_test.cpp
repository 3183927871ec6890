// Every exported operation that can fail, with every call it makes to the host failing in turn.
// NQ_SWEEP=text takes the cases with the text in their names alone. PAIR_STEP=n takes every n-th
// first call of the pairs, which under a sanitizer is not each.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "export_table.hpp"
#include "standalone/memory/sanitizer.hpp"
#include "tests/fault/cases.hpp"
#include "tests/support/random.hpp"

namespace nq::test {

std::vector<SweepCase> all_cases() {
    std::vector<SweepCase> cases;
    for (auto part : {entry_cases(), instance_cases(), data_cases(), config_cases(), json_cases(),
                      format_cases(), memory_cases(), text_cases(), validate_cases()}) {
        std::move(part.begin(), part.end(), std::back_inserter(cases));
    }
    return cases;
}

namespace {

// That each export stands in the table once, the build has seen.
TEST(SweepFault, EverySweptExportHasACase) {
    std::set<std::string, std::less<>> in_cases;
    for (const SweepCase& test_case : all_cases()) {
        in_cases.insert(test_case.exports.begin(), test_case.exports.end());
    }
    for (const Export& one : kExports) {
        const auto found = in_cases.find(std::string_view(one.name));
        const bool has_case = found != in_cases.end();
        EXPECT_EQ(has_case, std::string_view(one.section) == "swept")
            << one.name << " stands under [" << one.section << "] and "
            << (has_case ? "has a case" : "has no case");
        if (has_case) in_cases.erase(found);
    }
    for (const std::string& name : in_cases) ADD_FAILURE() << name << " is not exported";
}

TEST(SweepFault, EveryFailureIsReportedAndUndone) {
    const char* filter = std::getenv("NQ_SWEEP");
    const auto start = std::chrono::steady_clock::now();
    const std::uint64_t pair_step = setting("PAIR_STEP", NQ_UNDER_SANITIZER ? 8 : 1);
    std::uint64_t rounds = 0;
    std::uint64_t pairs = 0;
    std::uint64_t cases = 0;
    Leftover kept;
    for (const SweepCase& test_case : all_cases()) {
        if (filter && test_case.name.find(filter) == std::string::npos) continue;
        const SweepReport report = sweep(test_case, pair_step);
        rounds += report.rounds;
        pairs += report.pair_rounds;
        kept.add(report.kept);
        ++cases;
        for (const std::string& problem : report.problems) ADD_FAILURE() << problem;
        // A case without any host call tests nothing, unless the operation has no success.
        EXPECT_TRUE(report.host_calls > 0 || test_case.make()->normal_status())
            << test_case.name << " calls nothing";
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%llu rounds and %llu with two failures over %llu cases in %.1f s\n",
                static_cast<unsigned long long>(rounds), static_cast<unsigned long long>(pairs),
                static_cast<unsigned long long>(cases), seconds.count());
    if (filter) return;
    EXPECT_GE(rounds, 20000u);
    // One that no round has is not documented behaviour any more.
    for (const KnownLeftover& known : kKnownLeftovers) {
        EXPECT_GT(kept.times(known.kept), 0u) << known.operation << ": " << known.reason;
    }
}

}  // namespace
}  // namespace nq::test
