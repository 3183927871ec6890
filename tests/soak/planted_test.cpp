// Planted in the measuring of load: what it must report.
#include <gtest/gtest-spi.h>

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "tests/soak/measure.hpp"

namespace nq::test {
namespace {

// Memory that is in use, whatever the allocator holds back.
std::unique_ptr<char[]> touched(std::uint64_t bytes) {
    std::unique_ptr<char[]> block(new char[bytes]);
    std::memset(block.get(), 1, bytes);
    return block;
}

class PlantedLoad : public testing::Test {
  protected:
    // Blocks come from the system and go back to it, as in the tests of load.
    void SetUp() override { mallopt(M_MMAP_THRESHOLD, 256 * 1024); }

    static void expect_linear_cost(const std::function<double(double)>& seconds) {
        expect_linear("planted cost", 1000,
                      [&](std::uint64_t size) { return seconds(static_cast<double>(size)); });
    }
};

TEST_F(PlantedLoad, MeasuredQuadraticWorkIsReported) {
    std::vector<std::uint32_t> values;
    std::uint64_t equal = 0;
    const auto run = [&](std::uint64_t size) {
        values.resize(size);
        for (std::uint64_t i = 0; i < size; ++i) values[i] = static_cast<std::uint32_t>(i * i);
        const Stopwatch watch;
        for (const std::uint32_t a : values) {
            for (const std::uint32_t b : values) equal += a == b;
        }
        return watch.seconds();
    };
    EXPECT_NONFATAL_FAILURE(expect_linear("planted work", 4000, run), "planted work");
    EXPECT_GT(equal, 0u);
}

TEST_F(PlantedLoad, LinearCostPassesAndMoreIsReported) {
    expect_linear_cost([](double size) { return size; });
    expect_linear_cost([](double size) { return size > 500 ? 2.29 : 1; });
    EXPECT_NONFATAL_FAILURE(expect_linear_cost([](double size) { return size > 500 ? 2.31 : 1; }),
                            "planted cost");
    EXPECT_NONFATAL_FAILURE(expect_linear_cost([](double size) { return size * size; }),
                            "planted cost");
}

// The machine is busy with something else but for one run of each size, or now and then.
TEST_F(PlantedLoad, TheFastestRunsAreCompared) {
    int runs = 0;
    expect_linear_cost([&](double size) {
        ++runs;
        return runs == 2 || runs == 3 ? size : 100 * size * size;
    });
    runs = 0;
    EXPECT_NONFATAL_FAILURE(
        expect_linear_cost([&](double size) { return size * size * (++runs % 4 == 1 ? 100 : 1); }),
        "planted cost");
}

TEST_F(PlantedLoad, GrowingMemoryIsReported) {
    const std::uint64_t before = resident_memory();
    expect_flat("planted memory", before);
    const auto kept = touched(4 * kMiB);
    EXPECT_NONFATAL_FAILURE(expect_flat("planted memory", before), "planted memory");
}

TEST_F(PlantedLoad, ManySmallBlocksThatAreKeptAreReported) {
    std::vector<std::unique_ptr<char[]>> kept;
    const std::uint64_t before = resident_memory();
    for (int i = 0; i < 100'000; ++i) kept.push_back(touched(32));
    EXPECT_NONFATAL_FAILURE(expect_flat("planted blocks", before), "planted blocks");
}

TEST_F(PlantedLoad, ThePeakIsSeenAfterTheMemoryIsGone) {
    const PeakMemory peak;
    EXPECT_LE(peak.growth(), kMiB);
    touched(16 * kMiB);
    EXPECT_GE(peak.growth(), 15 * kMiB);
    EXPECT_LE(resident_memory() + 8 * kMiB, process_memory("VmHWM"));
}

}  // namespace
}  // namespace nq::test
