#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nqinstance/text/kernels/table.hpp"
#include "tests/support/check_counter.hpp"
#include "tests/support/library.hpp"

namespace nq::test {

inline std::string name_of_way(const TextKernels* way) { return way ? way->name : "library"; }

// Tests run with each body of the text routines, linked in, and with the delivered library, which
// has chosen its own: the parameter is the body, null for the library.
class TextBody : public testing::TestWithParam<const TextKernels*> {
  protected:
    void SetUp() override { text_kernels_in_use = GetParam(); }
    void TearDown() override { text_kernels_in_use = nullptr; }

    // The checks of a routine in the way under test.
    static Checks checks_of(const std::string& routine) {
        return {routine, name_of_way(GetParam())};
    }
};

inline std::vector<const TextKernels*> ways_to_run_text() {
    const auto bodies = text_kernel_bodies();
    std::vector<const TextKernels*> ways(bodies.begin(), bodies.end());
    ways.push_back(nullptr);
    return ways;
}

inline std::string name_of_test(const testing::TestParamInfo<const TextKernels*>& test) {
    return name_of_way(test.param);
}

// The exported function in the way under test.
#define NQ_UNDER_TEST(name)                            \
    (GetParam() ? &::name : [] {                       \
        static const auto exported = NQ_LIBRARY(name); \
        return exported;                               \
    }())

#define NQ_FOR_EACH_BODY(Suite)                                                           \
    INSTANTIATE_TEST_SUITE_P(All, Suite, testing::ValuesIn(nq::test::ways_to_run_text()), \
                             nq::test::name_of_test)

}  // namespace nq::test
