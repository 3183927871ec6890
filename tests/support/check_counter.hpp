#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <set>
#include <string>

#include "standalone/memory/sanitizer.hpp"

namespace nq::test {

// What a program has compared of each routine in each of its bodies. A line for each tells it at
// the end; a whole run in which it was too little fails.
class CheckFigures : public testing::Environment {
  public:
    static constexpr std::uint64_t kDemanded = 1'000'000;  // of a routine, its bodies together

    static CheckFigures& of_program() { return *kOfProgram; }

    void demand(std::initializer_list<const char*> routines) {
        demanded_.insert(routines.begin(), routines.end());
    }

    std::uint64_t& count(const std::string& routine, const std::string& body) {
        return counts_[routine][body];
    }

    void TearDown() override {
        print();
        if (is_whole_run()) judge();
    }

    void print() const {
        for (const auto& [routine, bodies] : counts_) {
            for (const auto& [body, count] : bodies) {
                std::printf("figure: checks of %s, %s: %llu\n", routine.c_str(), body.c_str(),
                            static_cast<unsigned long long>(count));
            }
        }
        std::fflush(stdout);
    }

    // Fails for each routine that is demanded and not counted, or counted and not demanded, and
    // for each that has too few checks or a body without any.
    void judge() const {
        for (const std::string& routine : demanded_) {
            EXPECT_TRUE(counts_.contains(routine)) << "no checks of " << routine;
        }
        for (const auto& [routine, bodies] : counts_) {
            EXPECT_TRUE(demanded_.contains(routine)) << "nobody demands checks of " << routine;
            std::uint64_t sum = 0;
            for (const auto& [body, count] : bodies) {
                sum += count;
                EXPECT_GT(count, 0u) << "no checks of " << routine << ", " << body;
            }
            EXPECT_GE(sum, kDemanded) << "too few checks of " << routine;
        }
    }

  private:
    // Every test was run, to its end and with its own number of rounds.
    static bool is_whole_run() {
        const testing::UnitTest& all = *testing::UnitTest::GetInstance();
        return !NQ_UNDER_SANITIZER && !std::getenv("ITER") && !all.Failed() &&
               all.test_to_run_count() == all.total_test_count();
    }

    static CheckFigures* const kOfProgram;  // GoogleTest owns it

    std::set<std::string> demanded_;
    std::map<std::string, std::map<std::string, std::uint64_t>> counts_;
};

inline CheckFigures* const CheckFigures::kOfProgram = [] {
    auto* figures = new CheckFigures;
    testing::AddGlobalTestEnvironment(figures);
    return figures;
}();

// Beside a fixture: the routines that it counts, so that one that is dropped is missed.
struct DemandedChecks {
    DemandedChecks(std::initializer_list<const char*> routines) {
        CheckFigures::of_program().demand(routines);
    }
};

// The checks of one routine in one body.
class Checks {
  public:
    Checks(const std::string& routine, const std::string& body)
        : count_(&CheckFigures::of_program().count(routine, body)) {}

    // Counts a result on its way into the comparison with what is expected.
    template <class Result>
    Result counted(Result result) const {
        ++*count_;
        return result;
    }

  private:
    std::uint64_t* count_;
};

}  // namespace nq::test
