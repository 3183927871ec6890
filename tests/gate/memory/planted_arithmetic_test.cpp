// The sanitizers of the library's objects, with which this file is compiled, see a sum that leaves
// its type and a value that is cut off, and let pass what is meant to wrap.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "nqinstance/base/modular.hpp"

namespace nq::test {
namespace {

// What the compiler knows at once, it does not check.
template <class T>
T unknown(T value) {
    volatile T kept = value;
    return kept;
}

std::uint64_t difference(std::uint64_t a, std::uint64_t b) { return a - b; }

// Compilers warn of it where they see it.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wconversion"
std::uint32_t cut_off(std::uint64_t value) { return value; }
#pragma clang diagnostic pop

std::uint8_t element(std::uint64_t index) {
    const std::uint8_t bytes[4] = {1, 2, 3, 4};
    return bytes[index];
}

TEST(PlantedArithmetic, ADifferenceBelowZeroIsReported) {
    EXPECT_EQ(difference(unknown<std::uint64_t>(3), 2), 1u);
    EXPECT_DEATH(difference(unknown<std::uint64_t>(2), 3), "unsigned integer overflow");
}

TEST(PlantedArithmetic, AValueThatIsCutOffIsReported) {
    EXPECT_EQ(cut_off(unknown<std::uint64_t>(5)), 5u);
    EXPECT_DEATH(cut_off(unknown(std::uint64_t{1} << 32)), "implicit conversion");
}

TEST(PlantedArithmetic, AnIndexBehindAnArrayEndsTheProcess) {
    EXPECT_EQ(element(unknown<std::uint64_t>(3)), 4);
    EXPECT_DEATH(element(unknown<std::uint64_t>(4)), "");
}

// The standard library's own code may wrap, and is watched in all else.
TEST(PlantedArithmetic, AReadBehindABlockIsReportedInTheStandardLibrary) {
    std::vector<int> values(unknown<std::size_t>(4), 1);
    const int* const all = values.data();
    EXPECT_EQ(*std::max_element(all, all + 4), 1);
    EXPECT_DEATH(unknown(*std::max_element(all, all + 5)), "heap-buffer-overflow");
}

TEST(PlantedArithmetic, WhatIsMeantToWrapPasses) {
    EXPECT_EQ(wrapping_sub(unknown<std::uint64_t>(2), std::uint64_t{3}), ~std::uint64_t{0});
    EXPECT_EQ(wrapping_add(unknown<std::uint32_t>(~0u), 2u), 1u);
    EXPECT_EQ(wrapping_mul(unknown<std::uint32_t>(0x10000u), 0x10001u), 0x10000u);
}

}  // namespace
}  // namespace nq::test
