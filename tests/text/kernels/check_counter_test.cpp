// Planted in counts of checks: what a program must not pass with.
#include "tests/support/check_counter.hpp"

#include <gtest/gtest-spi.h>

namespace nq::test {
namespace {

class PlantedChecks : public testing::Test {
  protected:
    PlantedChecks() {
        figures_.demand({"first", "second"});
        figures_.count("first", "generic") = 1;
        figures_.count("first", "wide") = CheckFigures::kDemanded - 1;
        figures_.count("second", "generic") = CheckFigures::kDemanded;
    }

    CheckFigures figures_;
};

TEST_F(PlantedChecks, EnoughOfEachRoutinePass) { figures_.judge(); }

TEST_F(PlantedChecks, ARoutineThatIsMissingIsReported) {
    figures_.demand({"dropped"});
    EXPECT_NONFATAL_FAILURE(figures_.judge(), "no checks of dropped");
}

TEST_F(PlantedChecks, ACountBelowTheDemandIsReported) {
    --figures_.count("first", "wide");
    EXPECT_NONFATAL_FAILURE(figures_.judge(), "too few checks of first");
}

TEST_F(PlantedChecks, ABodyThatIsNeverComparedIsReported) {
    figures_.count("second", "wide") = 0;
    EXPECT_NONFATAL_FAILURE(figures_.judge(), "no checks of second, wide");
}

TEST_F(PlantedChecks, ARoutineThatNobodyDemandsIsReported) {
    figures_.count("third", "generic") = CheckFigures::kDemanded;
    EXPECT_NONFATAL_FAILURE(figures_.judge(), "nobody demands checks of third");
}

}  // namespace
}  // namespace nq::test
