// A check that has never failed is not trusted: these plant faults that the checking host and the
// sweep must find.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/fault/sweep.hpp"
#include "tests/support/guard_pages.hpp"

namespace nq::test {
namespace {

// True when one of the messages holds the text.
bool has(const std::vector<std::string>& messages, std::string_view text) {
    for (const std::string& message : messages) {
        if (message.find(text) != std::string::npos) return true;
    }
    return false;
}

std::uint8_t* alloc(CheckingHost& host, std::uint64_t size, std::uint32_t flags = 0) {
    return static_cast<std::uint8_t*>(host.pool()->alloc(host.pool(), size, flags));
}

// A byte may be written where AddressSanitizer watches: the pool's own checks are what is tested.
__attribute__((no_sanitize("address"))) void write_byte(std::uint8_t* place) {
    *const_cast<volatile std::uint8_t*>(place) = 0x77;
}

TEST(CheckingPoolPlanted, FreshBytesAreGarbageUnlessZeroesAreAskedFor) {
    CheckingHost host;
    std::uint8_t* garbage = alloc(host, 100);
    std::uint8_t* zeroes = alloc(host, 100, ALLOC_ZERO_FILL);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(garbage[i], 0xA5);
        EXPECT_EQ(zeroes[i], 0);
    }
    host.pool()->free(host.pool(), garbage);
    host.pool()->free(host.pool(), zeroes);
}

TEST(CheckingPoolPlanted, ReallocMovesAndKeepsAndZeroes) {
    CheckingHost host;
    std::uint8_t* block = alloc(host, 4);
    std::memcpy(block, "abcd", 4);
    auto* moved =
        static_cast<std::uint8_t*>(host.pool()->realloc(host.pool(), block, 8, ALLOC_ZERO_FILL));
    EXPECT_NE(moved, block);
    EXPECT_EQ(std::memcmp(moved, "abcd\0\0\0\0", 8), 0);
    host.pool()->free(host.pool(), moved);
}

TEST(CheckingPoolPlanted, CatchesDoubleFree) {
    FaultTrap trap;
    CheckingHost host;
    std::uint8_t* block = alloc(host, 16);
    host.pool()->free(host.pool(), block);
    EXPECT_TRUE(trap.take().empty());
    host.pool()->free(host.pool(), block);
    EXPECT_TRUE(has(trap.take(), "free of a freed block"));
}

TEST(CheckingPoolPlanted, CatchesForeignFree) {
    FaultTrap trap;
    CheckingHost host;
    CheckingPool& other = host.make_pool("other");
    std::uint8_t* block = alloc(host, 16);
    other.table()->free(other.table(), block);
    EXPECT_TRUE(has(trap.take(), "free of a foreign block in pool \"other\""));
    host.pool()->free(host.pool(), block);
    EXPECT_TRUE(trap.take().empty());
}

TEST(CheckingPoolPlanted, CatchesWritesOneByteOutside) {
    for (const int offset : {-1, 24}) {
        FaultTrap trap;
        CheckingHost host;
        std::uint8_t* block = alloc(host, 24);
        write_byte(block + offset);
        host.check();
        EXPECT_TRUE(has(trap.take(), "write outside a block of 24 bytes")) << offset;
        host.pool()->free(host.pool(), block);
        EXPECT_TRUE(has(trap.take(), "write outside a block of 24 bytes")) << offset;
    }
}

TEST(CheckingPoolPlanted, CatchesWritesAfterFree) {
    FaultTrap trap;
    CheckingHost host;
    std::uint8_t* block = alloc(host, 24);
    host.pool()->free(host.pool(), block);
    write_byte(block + 23);
    host.check();
    EXPECT_TRUE(has(trap.take(), "write to a freed block of 24 bytes"));
    write_byte(block + 23);
    host.pool()->destroy(host.pool());
    EXPECT_TRUE(has(trap.take(), "write to a freed block"));
}

TEST(CheckingPoolPlanted, CatchesUseAfterDestroy) {
    FaultTrap trap;
    CheckingHost host;
    HostPool* pool = host.make_pool("short-lived").table();
    pool->destroy(pool);
    EXPECT_EQ(pool->alloc(pool, 1, 0), nullptr);
    EXPECT_TRUE(has(trap.take(), "alloc after destroy in pool \"short-lived\""));
    pool->destroy(pool);
    EXPECT_TRUE(has(trap.take(), "destroy after destroy"));
}

TEST(CheckingPoolPlanted, KeepsItsLimit) {
    CheckingHost host;
    host.checked_pool().set_limit(100);
    std::uint8_t* block = alloc(host, 60);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(alloc(host, 41), nullptr);
    EXPECT_EQ(alloc(host, UINT64_MAX), nullptr);
    std::uint8_t* rest = alloc(host, 40);
    EXPECT_NE(rest, nullptr);
    host.pool()->free(host.pool(), block);
    host.pool()->free(host.pool(), rest);
}

std::uint8_t read_byte(const std::uint8_t* place) {
    return *const_cast<volatile const std::uint8_t*>(place);
}

TEST(CheckingPoolDeathTest, GuardModeEndsAtOneByteTooFar) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CheckingHost host(PoolMode::kGuard);
    for (const std::uint64_t size : {1u, 24u, 4096u, 5000u}) {
        std::uint8_t* block = alloc(host, size);
        EXPECT_EQ(read_byte(block + size - 1), 0xA5);
        EXPECT_DEATH(read_byte(block + size), "") << size;
        host.pool()->free(host.pool(), block);
        EXPECT_DEATH(read_byte(block), "") << size;
    }
}

TEST(GuardPagesDeathTest, ReadsAndWritesOneByteOutsideEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const GuardPages pages(100);
    const auto all = pages.all();
    EXPECT_EQ(read_byte(&all.front()) + read_byte(&all.back()), 0);
    EXPECT_DEATH(read_byte(pages.first(3).data() - 1), "");
    EXPECT_DEATH(read_byte(pages.last(3).data() + 3), "");
    EXPECT_DEATH(write_byte(pages.last(3).data() + 3), "");
    pages.protect(true);
    EXPECT_EQ(read_byte(&all.front()), 0);
    EXPECT_DEATH(write_byte(&all.front()), "");
}

TEST(CheckingPoolDeathTest, AFaultEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    CheckingHost host;
    std::uint8_t* block = alloc(host, 8);
    host.pool()->free(host.pool(), block);
    EXPECT_DEATH(host.pool()->free(host.pool(), block), "free of a freed block");
}

TEST(CheckingHostPlanted, CatchesUseOfReleasedObjects) {
    FaultTrap trap;
    CheckingHost host;
    NQU8String* string = host.string("gone");
    release(string);
    EXPECT_TRUE(trap.take().empty());
    HostCore::alive(string, "append");
    EXPECT_TRUE(has(trap.take(), "append on an object that is gone"));
}

TEST(CheckingHostPlanted, CountsEveryHoldAndObject) {
    CheckingHost host;
    const HostState before = host.state();
    NQDictionary* tree =
        host.dictionary({{"a", host.string("b")}, {"c", host.array({host.text(U"d")})}});
    HostState held = host.state() - before;
    EXPECT_EQ(held.strings, 3u);
    EXPECT_EQ(held.texts, 1u);
    EXPECT_EQ(held.arrays, 1u);
    EXPECT_EQ(held.dictionaries, 1u);
    release(tree);
    EXPECT_EQ(host.state(), before);
}

TEST(CheckingHostPlanted, CatchesAReleaseTooMuchOfAnExtension) {
    FaultTrap trap;
    CheckingHost host;
    NQStringApi* strings = host.strings.table();
    EXPECT_EQ(strings->newString(strings, host.pool(), nullptr, 0, 0)->length, 0u);
    EXPECT_TRUE(has(trap.take(), "newString of \"nqstring\", which is not loaded"));
    strings->handle.release(strings);
    EXPECT_TRUE(has(trap.take(), "release of \"nqstring\" beyond its holds"));
    host.forgive();
}

// Operations that do one thing wrong each, in place of the library's.
enum class Mistake {
    kNone,
    kLeak,            // forgets the first block when the second fails
    kWrongStatus,     // reports another status
    kDoubleRelease,   // frees the first block twice when the second fails
    kIgnoresFailure,  // reports success without a result
    kWritesOutside,   // one byte behind the block
    kWritesFreed,     // into a block that it gave back
    kTouchesOut,      // changes the out-parameter on failure
    kLosesHold,       // keeps the extension loaded
    kForgets,         // works differently after a failure
    kAfterTwo,        // another result when two calls failed that matter to it neither way
    kKeepsAsKnown,    // leaves what is known to stay, where it is said to stay
    kKeepsNoMore,     // does not leave what is known to stay
};

class Fake : public Operation {
  public:
    explicit Fake(Mistake mistake) : mistake_(mistake) {}

    bool needs_library() const override { return false; }
    NQStatus call(CheckingHost& host) override {
        HostPool* pool = host.pool();
        HostKernel* kernel = host.kernel();
        constexpr std::array<NQChar, 8> kName{'n', 'q', 's', 't', 'r', 'i', 'n', 'g'};
        out_ = nullptr;
        auto* first = static_cast<std::uint8_t*>(pool->alloc(pool, kFirstSize, 0));
        if (!first) return failed(NQ_STATUS_NO_MEMORY);
        auto* second = static_cast<std::uint8_t*>(pool->alloc(pool, 8, 0));
        if (!second) {
            if (mistake_ == Mistake::kIgnoresFailure) {
                first[0] = 0;
                out_ = first;
                return NQ_STATUS_OK;
            }
            if (mistake_ != Mistake::kLeak) pool->free(pool, first);
            if (mistake_ == Mistake::kDoubleRelease) pool->free(pool, first);
            if (mistake_ == Mistake::kWritesFreed) write_byte(first);
            return failed(NQ_STATUS_NO_MEMORY);
        }
        if (mistake_ == Mistake::kWritesOutside) write_byte(second + 8);
        const NQStatus freed = pool->free(pool, second);
        NQExtension* strings =
            kernel->loadExtension(kernel, kName.data(), kName.size(), 0, nullptr);
        if (!strings) {
            if (mistake_ != Mistake::kKeepsAsKnown) pool->free(pool, first);
            return failed(mistake_ == Mistake::kWrongStatus ? NQ_STATUS_UNSUPPORTED
                                                            : NQ_STATUS_NO_EXTENSION);
        }
        const NQStatus dropped =
            mistake_ == Mistake::kLosesHold ? NQ_STATUS_OK : strings->handle.release(strings);
        std::memcpy(first, "result", 7);
        if (mistake_ == Mistake::kAfterTwo && freed && dropped) first[0] = 'R';
        if (mistake_ == Mistake::kForgets && has_failed_) first[0] = 'R';
        out_ = first;
        return NQ_STATUS_OK;
    }
    std::string result(CheckingHost&) override { return reinterpret_cast<const char*>(out_); }
    std::string check_failure(const Round&) override { return out_ ? "*out was changed" : ""; }
    void drop_result(CheckingHost& host) override { host.checked_pool().give(out_); }

    Leftover leftover(const Round& round) const override {
        Leftover left;
        const bool may_keep =
            mistake_ == Mistake::kKeepsAsKnown || mistake_ == Mistake::kKeepsNoMore;
        if (may_keep && round.failed(Call::kLoadExtension)) left.keep(Kept::kConversionState);
        return left;
    }

  private:
    static constexpr std::uint64_t kFirstSize = sizeof(TranscoderState);

    NQStatus failed(NQStatus status) {
        has_failed_ = true;
        if (mistake_ == Mistake::kTouchesOut) out_ = reinterpret_cast<std::uint8_t*>(1);
        return status;
    }

    const Mistake mistake_;
    bool has_failed_ = false;
    std::uint8_t* out_ = nullptr;
};

SweepReport sweep_fake(Mistake mistake) {
    return sweep({"fake", {}, [=] { return std::make_unique<Fake>(mistake); }});
}

TEST(SweepPlanted, FindsNothingWhereNothingIsWrong) {
    const SweepReport report = sweep_fake(Mistake::kNone);
    EXPECT_EQ(report.problems, std::vector<std::string>{});
    // Two allocations, a free, a load and a release: each failed by itself and with all after it,
    // with three statuses, and a round more in which nothing fails.
    EXPECT_EQ(report.host_calls, 5u);
    EXPECT_EQ(report.rounds, 1 + 6 * (5 + 1));
    // The second allocation and the free of the first block; the free of the second block and the
    // load, or the release; the load and the free of the first block: each with two of three
    // statuses.
    EXPECT_EQ(report.pair_rounds, 4u * 3 * 3);
    EXPECT_EQ(report.kept.state(), HostState{});
}

TEST(SweepPlanted, TakesWhatIsKnownToStay) {
    const SweepReport report = sweep_fake(Mistake::kKeepsAsKnown);
    EXPECT_EQ(report.problems, std::vector<std::string>{});
    EXPECT_GT(report.kept.times(Kept::kConversionState), 0u);
}

TEST(SweepPlanted, PairsMayBeSampled) {
    const SweepReport all = sweep_fake(Mistake::kNone);
    const SweepReport some =
        sweep({"fake", {}, [] { return std::make_unique<Fake>(Mistake::kNone); }}, 4);
    EXPECT_EQ(some.rounds, all.rounds);
    EXPECT_LT(some.pair_rounds, all.pair_rounds);
    EXPECT_GT(some.pair_rounds, 0u);
}

struct Planted {
    const char* name;
    Mistake mistake;
    const char* message;

    friend void PrintTo(const Planted& planted, std::ostream* out) { *out << planted.name; }
};

class SweepPlantedMistake : public testing::TestWithParam<Planted> {};

TEST_P(SweepPlantedMistake, IsFound) {
    const SweepReport report = sweep_fake(GetParam().mistake);
    EXPECT_TRUE(has(report.problems, GetParam().message))
        << "found: " << testing::PrintToString(report.problems);
}

INSTANTIATE_TEST_SUITE_P(
    All, SweepPlantedMistake,
    testing::Values(
        Planted{"Leak", Mistake::kLeak,
                "the host is left with {1 blocks, 40 bytes} instead of {nothing}"},
        Planted{"KeepsNoMore", Mistake::kKeepsNoMore,
                "the host is left with {nothing} instead of {1 blocks, 40 bytes}"},
        Planted{"AfterTwo", Mistake::kAfterTwo, "result \"Result\" instead of \"result\""},
        Planted{"WrongStatus", Mistake::kWrongStatus,
                "status 0x803fc004 instead of 0x803fc065 when loadExtension failed"},
        Planted{"DoubleRelease", Mistake::kDoubleRelease, "free of a freed block"},
        Planted{"IgnoresFailure", Mistake::kIgnoresFailure,
                "status 0x0 instead of 0x803fc002 when alloc failed"},
        Planted{"WritesOutside", Mistake::kWritesOutside, "write outside a block of 8 bytes"},
        Planted{"WritesFreed", Mistake::kWritesFreed, "write to a freed block of 40 bytes"},
        Planted{"TouchesOut", Mistake::kTouchesOut, "*out was changed"},
        Planted{"LosesHold", Mistake::kLosesHold,
                "left with {1 string holds} instead of {nothing}"},
        Planted{"Forgets", Mistake::kForgets,
                "result \"Result\" after a failure instead of \"result\""}));

TEST(FailurePlanPlanted, FailsTheCallsItIsToldTo) {
    CheckingHost host;
    HostPool* pool = host.pool();
    host.plan().fail(Call::kAlloc, 1, NQ_STATUS_NO_MEMORY);
    std::uint8_t* first = alloc(host, 1);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(alloc(host, 1), nullptr);
    std::uint8_t* third = alloc(host, 1);
    EXPECT_NE(third, nullptr);
    ASSERT_EQ(host.plan().failures().size(), 1u);
    EXPECT_EQ(host.plan().failures()[0].call, Call::kAlloc);
    EXPECT_EQ(host.plan().calls(Call::kAlloc), 3u);

    host.plan().fail(Call::kAlloc, 0, NQ_STATUS_NO_MEMORY, true);
    EXPECT_EQ(alloc(host, 1), nullptr);
    EXPECT_EQ(alloc(host, 1), nullptr);
    host.plan().clear();
    EXPECT_EQ(host.plan().total(), 0u);

    // Giving back happens all the same.
    host.plan().fail_any(0, 0, true);
    EXPECT_NE(pool->free(pool, first), NQ_STATUS_OK);
    EXPECT_NE(pool->free(pool, third), NQ_STATUS_OK);
    EXPECT_EQ(host.state().blocks, 0u);
}

TEST(FailurePlanPlanted, FailsTwoCalls) {
    CheckingHost host;
    host.plan().fail_pair(1, 2, 0, 1);
    std::uint8_t* first = alloc(host, 1);
    EXPECT_EQ(alloc(host, 1), nullptr);
    EXPECT_EQ(alloc(host, 1), nullptr);
    std::uint8_t* last = alloc(host, 1);
    const auto failures = host.plan().failures();
    ASSERT_EQ(failures.size(), 2u);
    EXPECT_EQ(failures[0].status, statuses_of(Call::kAlloc)[0]);
    EXPECT_EQ(failures[1].status, statuses_of(Call::kAlloc)[1]);
    host.pool()->free(host.pool(), first);
    host.pool()->free(host.pool(), last);
}

TEST(FailurePlanPlanted, EveryServiceHasTwoStatuses) {
    for (std::size_t i = 0; i < kCallKinds; ++i) {
        const auto statuses = statuses_of(static_cast<Call>(i));
        ASSERT_GE(statuses.size(), 2u) << call_name(static_cast<Call>(i));
        EXPECT_NE(statuses[0], statuses[1]);
    }
}

}  // namespace
}  // namespace nq::test
