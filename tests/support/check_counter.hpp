#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "standalone/sanitizer.hpp"

namespace nq::test {

// What a program has compared of each routine in each of its bodies. A line for each tells it at
// the end; a whole run in which it was too little fails.
class CheckFigures : public testing::Environment {
  public:
    static constexpr std::uint64_t kDemanded = 1'000'000;  // of a routine, its bodies together

    static CheckFigures& of_program() { return *kOfProgram; }

    std::uint64_t& count(const std::string& routine, const std::string& body) {
        return counts_[routine][body];
    }

    void TearDown() override {
        const bool is_whole = is_whole_run();
        for (const auto& [routine, bodies] : counts_) {
            std::uint64_t sum = 0;
            for (const auto& [body, count] : bodies) {
                sum += count;
                std::printf("figure: checks of %s, %s: %llu\n", routine.c_str(), body.c_str(),
                            static_cast<unsigned long long>(count));
            }
            if (is_whole) {
                EXPECT_GE(sum, kDemanded) << "checks of " << routine;
            }
        }
        std::fflush(stdout);
    }

  private:
    // Every test was run, to its end and with its own number of rounds.
    static bool is_whole_run() {
        const testing::UnitTest& all = *testing::UnitTest::GetInstance();
        return !NQ_UNDER_SANITIZER && !std::getenv("ITER") && !all.Failed() &&
               all.test_to_run_count() == all.total_test_count();
    }

    static CheckFigures* const kOfProgram;  // GoogleTest owns it

    std::map<std::string, std::map<std::string, std::uint64_t>> counts_;
};

inline CheckFigures* const CheckFigures::kOfProgram = [] {
    auto* figures = new CheckFigures;
    testing::AddGlobalTestEnvironment(figures);
    return figures;
}();

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
