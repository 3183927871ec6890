#include "nqinstance/text/memory.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "nqinstance/host/status.h"
#include "tests/support/library.hpp"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(MemoryAbi, UnsupportedIsTheStatusOfThatName) {
    EXPECT_EQ(NQ_LIBRARY(mwUnsup)(), NQ_STATUS_UNSUPPORTED);
}

TEST(MemoryAbi, LengthsOfNullAndOfTexts) {
    EXPECT_EQ(NQ_LIBRARY(mwStrLen)(nullptr), 0u);
    EXPECT_EQ(NQ_LIBRARY(mwStrTLen)(nullptr), 0u);
    EXPECT_EQ(NQ_LIBRARY(mwStrLen)(""), 0u);
    EXPECT_EQ(NQ_LIBRARY(mwStrLen)("abc\0d"), 3u);
    const NQChar units[] = {'a', 0x100, 0x10000, 0x80000000, 0, 'b'};
    EXPECT_EQ(NQ_LIBRARY(mwStrTLen)(units), 4u);
    EXPECT_EQ(NQ_LIBRARY(mwStrTLen)(units + 4), 0u);
}

TEST(MemoryAbi, StringCopyTakesTheTerminatorAndNoMore) {
    char target[] = "??????";
    NQ_LIBRARY(mwStrCpy)("abc", target);
    EXPECT_EQ(std::string_view(target, 6), "abc\0??"sv);
    NQ_LIBRARY(mwStrCpy)(nullptr, target);
    EXPECT_EQ(std::string_view(target, 6), "\0bc\0??"sv);
    NQ_LIBRARY(mwStrCpy)("abc", nullptr);
}

TEST(MemoryAbi, UnitStringCopyTakesTheTerminatorAndNoMore) {
    const NQChar source[] = {0x1F600, 0x100, 0};
    NQChar target[] = {9, 9, 9, 9};
    NQ_LIBRARY(mwStrTCpy)(source, target);
    EXPECT_EQ(std::memcmp(target, source, sizeof source), 0);
    EXPECT_EQ(target[3], 9u);
    NQ_LIBRARY(mwStrTCpy)(nullptr, target);
    EXPECT_EQ(target[0], 0u);
    EXPECT_EQ(target[1], 0x100u);
    NQ_LIBRARY(mwStrTCpy)(source, nullptr);
}

TEST(MemoryAbi, CaseLeavesEverythingButAsciiLettersAlone) {
    std::string text = "a\xC3\xA9z";
    NQ_LIBRARY(mwStrUp)(text.data(), text.size());
    EXPECT_EQ(text, "A\xC3\xA9Z");
    NQ_LIBRARY(mwStrLow)(text.data(), text.size());
    EXPECT_EQ(text, "a\xC3\xA9z");
}

TEST(MemoryAbi, CaseGoesPastZeroBytesAndStopsAtTheLength) {
    std::string text = "a\0b`{@[c"s;
    NQ_LIBRARY(mwStrUp)(text.data(), 7);
    EXPECT_EQ(text, "A\0B`{@[c"s);
    NQ_LIBRARY(mwStrLow)(text.data(), 1);
    EXPECT_EQ(text, "a\0B`{@[c"s);
    NQ_LIBRARY(mwStrUp)(nullptr, 0);
}

TEST(MemoryAbi, NotIsTrueOfNothingAndFalseAtTheFirstOther) {
    EXPECT_EQ(NQ_LIBRARY(mwMemNot)('x', nullptr, 0), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemNot)('x', "xxx", 3), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemNot)('x', "xxy", 3), 0);
    const NQChar units[] = {0x10041, 0x10041, 0x41};
    EXPECT_EQ(NQ_LIBRARY(mwMemTNot)(0x10041, nullptr, 0), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNot)(0x10041, units, 2), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNot)(0x10041, units, 3), 0);
}

TEST(MemoryAbi, SetWithNothingDoesNothing) {
    char text[] = "abc";
    NQ_LIBRARY(mwMemSet)(text, 'z', 0);
    EXPECT_STREQ(text, "abc");
    NQ_LIBRARY(mwMemSet)(text, 0xE9, 2);
    EXPECT_STREQ(text,
                 "\xE9\xE9"
                 "c");
    NQChar units[] = {1, 2, 3};
    NQ_LIBRARY(mwMemTSet)(units, 0xFEDCBA98, 0);
    EXPECT_EQ(units[0], 1u);
    NQ_LIBRARY(mwMemTSet)(units, 0xFEDCBA98, 2);
    EXPECT_EQ(units[1], 0xFEDCBA98u);
    EXPECT_EQ(units[2], 3u);
}

TEST(MemoryAbi, CompareIsUnsignedAndNeverBeyondOne) {
    EXPECT_EQ(NQ_LIBRARY(mwMemCmp)("\x80", "\x7F", 1), 1);
    EXPECT_EQ(NQ_LIBRARY(mwMemCmp)("\x00", "\xFF", 1), -1);
    EXPECT_EQ(NQ_LIBRARY(mwMemCmp)("abc", "abd", 2), 0);
    EXPECT_EQ(NQ_LIBRARY(mwMemCmp)(nullptr, nullptr, 0), 0);
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            const auto first = static_cast<uint8_t>(a), second = static_cast<uint8_t>(b);
            ASSERT_EQ(NQ_LIBRARY(mwMemCmp)(&first, &second, 1), (a > b) - (a < b));
        }
    }
}

TEST(MemoryAbi, UnitCompareTakesTheSignOfTheWrappedDifference) {
    const auto compare = [](NQChar a, NQChar b) { return NQ_LIBRARY(mwWMemCmp)(&a, &b, 1); };
    EXPECT_EQ(compare(0x10FFFF, 0), 1);
    EXPECT_EQ(compare(0x100, 0xFF), 1);
    EXPECT_EQ(compare(0xFF, 0x100), -1);
    EXPECT_EQ(compare(0x7FFFFFFF, 0), 1);
    EXPECT_EQ(compare(0x80000000, 0), -1);
    EXPECT_EQ(compare(0, 0x80000000), -1);
    EXPECT_EQ(compare(0xFFFFFFFF, 0), -1);
    EXPECT_EQ(compare(0, 0xFFFFFFFF), 1);
    EXPECT_EQ(compare(7, 7), 0);
    EXPECT_EQ(NQ_LIBRARY(mwWMemCmp)(nullptr, nullptr, 0), 0);
}

TEST(MemoryAbi, CopyOntoTheNextByteRepeatsTheFirst) {
    std::string text = "abcde";
    EXPECT_EQ(NQ_LIBRARY(mwMemCpy)(text.data(), text.data() + 1, 4), text.data() + 1);
    EXPECT_EQ(text, "aaaaa");
}

TEST(MemoryAbi, SafeCopyOntoTheNextByteMoves) {
    std::string text = "abcde";
    NQ_LIBRARY(mwMemSCpy)(text.data(), text.data() + 1, 4);
    EXPECT_EQ(text, "aabcd");
}

TEST(MemoryAbi, CopyOfNothingReturnsTheTarget) {
    char target = 'x';
    EXPECT_EQ(NQ_LIBRARY(mwMemCpy)(nullptr, &target, 0), &target);
    NQ_LIBRARY(mwMemSCpy)(nullptr, nullptr, 0);
    EXPECT_EQ(target, 'x');
}

// Every distance, before and behind, of every small length; and long ones about the distance.
template <class Check>
void for_each_overlap(Check check) {
    for (int length = 0; length <= 130; ++length) {
        for (int distance = -140; distance <= 140; ++distance) check(length, distance);
    }
    for (const int length : {511, 1023, 4095, 65535}) {
        for (const int by : {1, 2, 3, 7, 8, 31, 32, 33, 255, 256, length / 2, length / 2 + 1,
                             length - 1, length, length + 1}) {
            check(length, by);
            check(length, -by);
        }
    }
}

std::vector<uint8_t> numbered(std::size_t size) {
    std::vector<uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
    return bytes;
}

TEST(MemoryAbi, CopyEqualsTheForwardLoopWhateverTheOverlap) {
    const auto copy = NQ_LIBRARY(mwMemCpy);
    for_each_overlap([copy](int length, int distance) {
        const int before = std::max(0, -distance);
        std::vector<uint8_t> bytes =
            numbered(static_cast<std::size_t>(length + std::abs(distance)));
        std::vector<uint8_t> expected = bytes;
        for (int i = 0; i < length; ++i) {
            // volatile, so that no compiler makes a move of the very loop that is the rule
            volatile uint8_t* all = expected.data();
            all[before + distance + i] = all[before + i];
        }
        copy(bytes.data() + before, bytes.data() + before + distance,
             static_cast<uint64_t>(length));
        ASSERT_EQ(bytes, expected) << length << " bytes by " << distance;
    });
}

TEST(MemoryAbi, SafeCopyEqualsACopyThroughABufferWhateverTheOverlap) {
    const auto copy = NQ_LIBRARY(mwMemSCpy);
    for_each_overlap([copy](int length, int distance) {
        const int before = std::max(0, -distance);
        std::vector<uint8_t> bytes =
            numbered(static_cast<std::size_t>(length + std::abs(distance)));
        const std::vector<uint8_t> source(bytes.begin() + before, bytes.begin() + before + length);
        std::vector<uint8_t> expected = bytes;
        std::copy(source.begin(), source.end(), expected.begin() + before + distance);
        copy(bytes.data() + before, bytes.data() + before + distance,
             static_cast<uint64_t>(length));
        ASSERT_EQ(bytes, expected) << length << " bytes by " << distance;
    });
}

// A pool of one block that remembers what it was asked for.
struct OneBlockPool : HostPool {
    std::array<uint8_t, 64> block;
    uint64_t asked = 0;
    uint32_t flags = 0;
    int calls = 0;
    bool is_empty = false;

    OneBlockPool() : HostPool{}, block{} {
        alloc = [](HostPool* self, uint64_t size, uint32_t asked_flags) noexcept -> void* {
            auto* pool = static_cast<OneBlockPool*>(self);
            ++pool->calls;
            pool->asked = size;
            pool->flags = asked_flags;
            return pool->is_empty ? nullptr : pool->block.data();
        };
    }
};

TEST(MemoryAbi, DuplicateIsABlockOfThePool) {
    OneBlockPool pool;
    pool.flags = 1;
    pool.block[5] = 0xA5;
    EXPECT_EQ(NQ_LIBRARY(mwMemDup)("hello", 5, &pool), pool.block.data());
    EXPECT_EQ(pool.asked, 5u);
    EXPECT_EQ(pool.flags, 0u);
    EXPECT_EQ(std::memcmp(pool.block.data(), "hello\xA5", 6), 0);
}

TEST(MemoryAbi, DuplicateOfNullAllocatesNothing) {
    OneBlockPool pool;
    EXPECT_EQ(NQ_LIBRARY(mwMemDup)(nullptr, 5, &pool), nullptr);
    EXPECT_EQ(pool.calls, 0);
    EXPECT_EQ(NQ_LIBRARY(mwMemDup)("hello", 5, nullptr), nullptr);
}

TEST(MemoryAbi, DuplicateFailsWithThePool) {
    OneBlockPool pool;
    pool.is_empty = true;
    EXPECT_EQ(NQ_LIBRARY(mwMemDup)("hello", 5, &pool), nullptr);
    EXPECT_EQ(pool.calls, 1);
}

TEST(MemoryAbi, DuplicateOfNothingIsABlock) {
    OneBlockPool pool;
    EXPECT_EQ(NQ_LIBRARY(mwMemDup)("", 0, &pool), pool.block.data());
    EXPECT_EQ(pool.asked, 0u);
}

TEST(MemoryAbi, ScansFindNothingInNothing) {
    const NQChar unit = 5;
    EXPECT_EQ(NQ_LIBRARY(mwMemScan)("x", 0, 'x'), UINT64_MAX);
    EXPECT_EQ(NQ_LIBRARY(mwMemScan)(nullptr, 9, 'x'), UINT64_MAX);
    EXPECT_EQ(NQ_LIBRARY(mwMemNScan)("y", 0, 'x'), UINT64_MAX);
    EXPECT_EQ(NQ_LIBRARY(mwMemNScan)(nullptr, 9, 'x'), UINT64_MAX);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNScan)(&unit, 0, 'x'), UINT64_MAX);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNScan)(nullptr, 9, 'x'), UINT64_MAX);
}

TEST(MemoryAbi, ScansReturnTheFirstIndex) {
    EXPECT_EQ(NQ_LIBRARY(mwMemScan)("abcbc", 5, 'b'), 1u);
    EXPECT_EQ(NQ_LIBRARY(mwMemScan)("abcbc", 5, 'd'), UINT64_MAX);
    EXPECT_EQ(NQ_LIBRARY(mwMemNScan)("aabab", 5, 'a'), 2u);
    EXPECT_EQ(NQ_LIBRARY(mwMemNScan)("aaa", 3, 'a'), UINT64_MAX);
    const NQChar units[] = {0x10020, 0x10020, 0x20};
    EXPECT_EQ(NQ_LIBRARY(mwMemTNScan)(units, 3, 0x10020), 2u);
    EXPECT_EQ(NQ_LIBRARY(mwMemTNScan)(units, 2, 0x10020), UINT64_MAX);
}

TEST(MemoryAbi, MissingIsANaNOfAnyKind) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const double values[] = {1.0, kInfinity, -kInfinity,
                             0.0, -0.0,      std::numeric_limits<double>::denorm_min()};
    EXPECT_EQ(NQ_LIBRARY(mwMissArray)(values, 6), 0);
    EXPECT_EQ(NQ_LIBRARY(mwMissArray)(nullptr, 0), 0);
    for (const double nan : {std::nan(""), -std::nan(""), std::nan("5"),
                             std::numeric_limits<double>::signaling_NaN()}) {
        const double with_nan[] = {1.0, nan};
        EXPECT_EQ(NQ_LIBRARY(mwMissArray)(with_nan, 2), 1);
        EXPECT_EQ(NQ_LIBRARY(mwMissArray)(with_nan, 1), 0);
    }
}

}  // namespace
