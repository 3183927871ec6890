// The memory sanitizer sees what a library does with memory that nobody has written.
#include <gtest/gtest.h>

#include "nqinstance/host/pool.h"
#include "tests/support/checking_host.hpp"

extern "C" int planted_sign(HostPool* pool, std::uint32_t flags);
extern "C" void planted_fill(std::uint8_t* bytes, std::uint64_t written);

namespace nq::test {
namespace {

class PlantedMemory : public testing::Test {
  protected:
    CheckingHost host_;
};

TEST_F(PlantedMemory, ABlockThatNobodyWroteIsReported) {
    EXPECT_EQ(planted_sign(host_.pool(), ALLOC_ZERO_FILL), 0);
    EXPECT_DEATH(EXPECT_EQ(planted_sign(host_.pool(), 0), 0), "use-of-uninitialized-value");
}

TEST_F(PlantedMemory, AnOutParameterThatIsWrittenInPartIsReported) {
    std::uint8_t bytes[8];
    planted_fill(bytes, 8);
    EXPECT_EQ(bytes[7], 1);
    EXPECT_DEATH(
        {
            std::uint8_t others[8];
            planted_fill(others, 7);
            EXPECT_EQ(others[7], 1);
        },
        "use-of-uninitialized-value");
}

}  // namespace
}  // namespace nq::test
