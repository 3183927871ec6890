#include "standalone/memory/pool.hpp"

#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "nqinstance/host/status.h"
#include "tests/support/random.hpp"

namespace nq {
namespace {

using test::SeededRandom;

// A sanitizer's run takes a tenth of the rounds.
constexpr uint64_t rounds_of(uint64_t rounds) { return NQ_UNDER_SANITIZER ? rounds / 10 : rounds; }

class Pool : public testing::TestWithParam<PoolKind> {
  protected:
    HostPool* make() {
        HostPool* pool = service.make("a pool", GetParam());
        EXPECT_NE(pool, nullptr);
        return pool;
    }
    PoolService service;
};

INSTANTIATE_TEST_SUITE_P(, Pool, testing::Values(PoolKind::kChunks, PoolKind::kTracked),
                         [](const auto& kind) {
                             return kind.param == PoolKind::kChunks ? "Chunks" : "Tracked";
                         });

bool holds(const void* block, uint8_t byte, uint64_t from, uint64_t to) {
    const auto* bytes = static_cast<const uint8_t*>(block);
    for (uint64_t i = from; i < to; ++i) {
        if (bytes[i] != byte) return false;
    }
    return true;
}

// Bytes that the C library has handed out, where that can be asked. It counts blocks that it
// keeps for quick reuse as well, so two answers may differ by kSlack.
constexpr std::size_t kSlack = 64 << 10;
std::size_t bytes_in_use() {
    return NQ_UNDER_SANITIZER ? 0 : mallinfo2().uordblks + mallinfo2().hblkhd;
}

// The bytes of the process's mappings.
uint64_t address_space() {
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

std::vector<uint64_t> interesting_sizes() {
    std::vector<uint64_t> sizes;
    for (uint64_t size = 0; size <= 5200; ++size) sizes.push_back(size);
    for (uint64_t size : {8191u, 12288u, 65536u, 262144u, 1u << 20}) sizes.push_back(size);
    return sizes;
}

TEST_P(Pool, CarriesItsNameAndTheMagic) {
    HostPool* pool = make();
    EXPECT_EQ(pool->magic, NQ_MAGIC);
    EXPECT_STREQ(pool->name, "a pool");
    EXPECT_EQ(pool->destroy(pool), NQ_STATUS_OK);
}

TEST_P(Pool, BlocksOfAllSizesAreAlignedAndDoNotOverlap) {
    HostPool* pool = make();
    const std::vector<uint64_t> sizes = interesting_sizes();
    std::vector<void*> blocks;
    for (uint64_t size : sizes) {
        void* block = pool->alloc(pool, size, 0);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u) << size;
        std::memset(block, static_cast<int>(size % 251), size);
        blocks.push_back(block);
    }
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        EXPECT_TRUE(holds(blocks[i], static_cast<uint8_t>(sizes[i] % 251), 0, sizes[i]))
            << sizes[i];
        EXPECT_EQ(pool->free(pool, blocks[i]), NQ_STATUS_OK);
    }
    pool->destroy(pool);
}

TEST_P(Pool, BlocksOfNoBytesAreDistinct) {
    HostPool* pool = make();
    std::set<void*> blocks;
    for (int i = 0; i < 100; ++i) blocks.insert(pool->alloc(pool, 0, ALLOC_ZERO_FILL));
    EXPECT_EQ(blocks.size(), 100u);
    EXPECT_FALSE(blocks.contains(nullptr));
    pool->destroy(pool);
}

TEST_P(Pool, ZeroFillClearsBlocksThatWereUsedBefore) {
    HostPool* pool = make();
    for (uint64_t size : interesting_sizes()) {
        void* dirty = pool->alloc(pool, size, 0);
        std::memset(dirty, 0xA5, size);
        pool->free(pool, dirty);
        void* block = pool->alloc(pool, size, ALLOC_ZERO_FILL);
        EXPECT_TRUE(holds(block, 0, 0, size)) << size;
        pool->free(pool, block);
    }
    pool->destroy(pool);
}

TEST_P(Pool, ReallocKeepsTheContentAndZeroFillsWhatIsAdded) {
    HostPool* pool = make();
    SeededRandom random(rounds_of(20'000));
    void* block = nullptr;
    uint64_t size = 0;
    constexpr uint64_t limits[] = {40, 600, 5000, 300'000};
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        const uint64_t to = random.below(limits[random.below(4)]);
        const bool zero_fill = random.below(2) == 0;
        auto* moved =
            static_cast<uint8_t*>(pool->realloc(pool, block, to, zero_fill ? ALLOC_ZERO_FILL : 0));
        ASSERT_NE(moved, nullptr);
        const uint64_t kept = std::min(size, to);
        ASSERT_TRUE(holds(moved, 0x5A, 0, kept)) << "from " << size << " to " << to;
        if (zero_fill) {
            ASSERT_TRUE(holds(moved, 0, kept, to)) << "from " << size << " to " << to;
        }
        std::memset(moved, 0x5A, to);
        block = moved;
        size = to;
    }
    pool->free(pool, block);
    pool->destroy(pool);
}

TEST_P(Pool, AbsurdSizesAreRefused) {
    HostPool* pool = make();
    void* small = pool->alloc(pool, 10, 0);
    void* large = pool->alloc(pool, 10'000, 0);
    std::memset(small, 7, 10);
    std::memset(large, 7, 10'000);
    for (uint64_t size : {UINT64_MAX, UINT64_MAX - 15, UINT64_MAX - 40, uint64_t{1} << 63,
                          uint64_t{1} << 47, kLargestBlock + 1}) {
        EXPECT_EQ(pool->alloc(pool, size, 0), nullptr) << size;
        EXPECT_EQ(pool->alloc(pool, size, ALLOC_ZERO_FILL), nullptr) << size;
        EXPECT_EQ(pool->realloc(pool, nullptr, size, 0), nullptr) << size;
        EXPECT_EQ(pool->realloc(pool, small, size, 0), nullptr) << size;
        EXPECT_EQ(pool->realloc(pool, large, size, ALLOC_ZERO_FILL), nullptr) << size;
    }
    EXPECT_TRUE(holds(small, 7, 0, 10));
    EXPECT_TRUE(holds(large, 7, 0, 10'000));
    pool->destroy(pool);
}

TEST_P(Pool, FreeOfNullIsNothing) {
    HostPool* pool = make();
    EXPECT_EQ(pool->free(pool, nullptr), NQ_STATUS_OK);
    pool->destroy(pool);
}

TEST_P(Pool, DestroyGivesBackLiveBlocks) {
    const auto fill_and_destroy = [&] {
        HostPool* pool = make();
        for (uint64_t size = 0; size < 6000; size += 7) {
            void* block = pool->alloc(pool, size, 0);
            if (size % 3 == 0) pool->free(pool, block);
        }
        pool->destroy(pool);
    };
    fill_and_destroy();  // what the thread keeps for itself is there from now on
    const std::size_t before = bytes_in_use();
    for (int i = 0; i < 20; ++i) fill_and_destroy();
    EXPECT_LE(bytes_in_use(), before + kSlack);
    EXPECT_EQ(service.count(), 0u);
}

TEST_P(Pool, ServiceDestroysForgottenPools) {
    const std::size_t before = bytes_in_use();
    for (int round = 0; round < 50; ++round) {
        PoolService forgetful;
        for (int i = 0; i < 5; ++i) {
            HostPool* pool = forgetful.make("forgotten", GetParam());
            for (uint64_t size : {10u, 500u, 5000u}) {
                ASSERT_NE(pool->alloc(pool, size, 0), nullptr);
            }
        }
        HostPool* destroyed = forgetful.make("destroyed", GetParam());
        EXPECT_EQ(forgetful.count(), 6u);
        destroyed->destroy(destroyed);
        EXPECT_EQ(forgetful.count(), 5u);
    }
    EXPECT_LE(bytes_in_use(), before + kSlack);
}

TEST_P(Pool, ManyPoolsOfOneThreadKeepApart) {
    std::vector<HostPool*> pools;
    std::vector<void*> blocks;
    for (int i = 0; i < 300; ++i) pools.push_back(make());
    for (int round = 0; round < 4; ++round) {
        for (HostPool* pool : pools) {
            void* block = pool->alloc(pool, 48, 0);
            std::memset(block, round, 48);
            blocks.push_back(block);
        }
    }
    for (std::size_t i = 0; i < pools.size(); i += 2) pools[i]->destroy(pools[i]);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const std::size_t pool = i % pools.size();
        if (pool % 2 == 0) continue;
        EXPECT_TRUE(holds(blocks[i], static_cast<uint8_t>(i / pools.size()), 0, 48));
        pools[pool]->free(pools[pool], blocks[i]);
    }
    EXPECT_EQ(service.count(), 150u);
}

// Blocks that carry their size and a pattern, so that whoever frees one can check it.
struct Parcel {
    uint64_t size;
    uint8_t mark;
};

Parcel* pack(HostPool* pool, std::mt19937_64& random) {
    const uint64_t size = sizeof(Parcel) + random() % (random() % 16 ? 300 : 9000);
    const auto mark = static_cast<uint8_t>(random());
    auto* parcel = static_cast<Parcel*>(pool->alloc(pool, size, 0));
    std::memset(static_cast<void*>(parcel), mark, size);
    parcel->size = size;
    parcel->mark = mark;
    return parcel;
}

bool unpack(HostPool* pool, Parcel* parcel) {
    const bool is_intact = holds(parcel, parcel->mark, sizeof(Parcel), parcel->size);
    pool->free(pool, parcel);
    return is_intact;
}

TEST_P(Pool, ThreadsExchangeBlocks) {
    HostPool* pool = make();
    SeededRandom seeds(rounds_of(200'000));
    std::array<std::atomic<Parcel*>, 64> slots{};
    std::atomic<bool> all_intact{true};
    std::vector<std::thread> threads;
    while (threads.size() < 8) {
        threads.emplace_back([&, seed = seeds.bits()] {
            std::mt19937_64 random(seed);
            for (uint64_t i = 0; i < seeds.rounds(); ++i) {
                Parcel* mine = pack(pool, random);
                Parcel* found = slots[random() % slots.size()].exchange(mine);
                if (found && !unpack(pool, found)) all_intact = false;
                if (i % 5 == 0 && !unpack(pool, pack(pool, random))) all_intact = false;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(all_intact);
    for (auto& slot : slots) {
        if (Parcel* left = slot.load()) {
            EXPECT_TRUE(unpack(pool, left));
        }
    }
    pool->destroy(pool);
}

TEST_P(Pool, MemoryStaysFlatWhenAnotherThreadFrees) {
    HostPool* pool = make();
    const uint64_t rounds = rounds_of(2'000);
    std::atomic<void**> handed_over{nullptr};
    std::atomic<bool> is_done{false};
    constexpr std::size_t kBatch = 500;
    std::thread consumer([&] {
        while (!is_done) {
            void** batch = handed_over.load();
            if (!batch) {
                std::this_thread::yield();
                continue;
            }
            for (std::size_t i = 0; i < kBatch; ++i) pool->free(pool, batch[i]);
            handed_over = nullptr;
        }
    });
    std::array<void*, kBatch> blocks;
    std::size_t after_start = 0;
    for (uint64_t round = 0; round < rounds; ++round) {
        for (void*& block : blocks) block = pool->alloc(pool, 88, 0);
        handed_over = blocks.data();
        while (handed_over) std::this_thread::yield();
        if (round == 10) after_start = bytes_in_use();
    }
    EXPECT_LE(bytes_in_use(), after_start + kSlack);
    is_done = true;
    consumer.join();
    pool->destroy(pool);
}

TEST_P(Pool, ThreadsThatComeAndGoLeaveNoMemoryBehind) {
    HostPool* pool = make();
    const auto visit = [&] {
        std::thread([&] {
            std::vector<void*> blocks;
            for (int i = 0; i < 200; ++i) blocks.push_back(pool->alloc(pool, 100, 0));
            for (void* block : blocks) pool->free(pool, block);
        }).join();
    };
    for (int i = 0; i < 20; ++i) visit();
    const std::size_t before = bytes_in_use();
    for (int i = 0; i < 500; ++i) visit();
    EXPECT_LE(bytes_in_use(), before + kSlack);
    pool->destroy(pool);
}

// What a thread's last destructors still allocate and free.
struct AtThreadEnd {
    HostPool* pool = nullptr;
    void* early = nullptr;
    bool* is_zeroed = nullptr;

    ~AtThreadEnd() {
        if (!pool) return;
        pool->free(pool, early);
        void* late = pool->alloc(pool, 200, ALLOC_ZERO_FILL);
        *is_zeroed = late && holds(late, 0, 0, 200);
        pool->free(pool, late);
    }
};
thread_local AtThreadEnd at_thread_end;

TEST_P(Pool, ServesDestructorsThatRunAtTheEndOfAThread) {
    HostPool* pool = make();
    std::size_t after_start = 0;
    for (int i = 0; i < 200; ++i) {
        bool is_zeroed = false;
        std::thread([&] {
            // Constructed before the pool's own thread-local part, so destroyed after it.
            at_thread_end.is_zeroed = &is_zeroed;
            at_thread_end.early = pool->alloc(pool, 100, 0);
            at_thread_end.pool = pool;
        }).join();
        EXPECT_TRUE(is_zeroed);
        if (i == 20) after_start = bytes_in_use();
    }
    EXPECT_LE(bytes_in_use(), after_start + kSlack);
    pool->destroy(pool);
}

TEST_P(Pool, PoolsAreMadeAndDestroyedByThreadsAtOnce) {
    std::vector<std::thread> threads;
    const uint64_t rounds = rounds_of(5'000);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (uint64_t i = 0; i < rounds; ++i) {
                HostPool* pool = service.make("short", GetParam());
                std::memset(pool->alloc(pool, 1000, 0), 1, 1000);
                pool->destroy(pool);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(service.count(), 0u);
}

TEST(TrackedPoolDeathTest, StopsAtABlockThatIsNotItsOwn) {
    PoolService service;
    HostPool* pool = service.make("strict", PoolKind::kTracked);
    void* block = pool->alloc(pool, 8, 0);
    pool->free(pool, block);
    EXPECT_DEATH(pool->free(pool, block), "is no block of the pool \"strict\"");
}

TEST(ChunkPool, DestroyGivesBackWhatALargePoolMapped) {
    if (NQ_UNDER_SANITIZER) GTEST_SKIP() << "the sanitizer keeps freed memory";
    PoolService service;
    constexpr uint64_t kBlocks = 20'000;
    const auto fill_and_destroy = [&] {
        HostPool* pool = service.make("large", PoolKind::kChunks);
        for (uint64_t i = 0; i < kBlocks; ++i) {
            void* block = pool->alloc(pool, 4096, 0);
            ASSERT_NE(block, nullptr);
            std::memset(block, 1, 4096);
        }
        EXPECT_GE(address_space(), kBlocks * 4096);
        pool->destroy(pool);
    };
    const uint64_t before = address_space();
    for (int i = 0; i < 5; ++i) fill_and_destroy();
    // malloc may keep a part of what it got, once.
    EXPECT_LE(address_space(), before + kBlocks * 4096);
}

}  // namespace
}  // namespace nq
