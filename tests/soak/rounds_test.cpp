// Very many rounds of create and release: nothing is left, and memory stays flat.
#include <atomic>
#include <thread>
#include <vector>

#include "tests/soak/measure.hpp"
#include "tests/support/random.hpp"

namespace nq::test {
namespace {

constexpr unsigned kThreads = 8;

class Rounds : public Soak {
  protected:
    // So many rounds over all threads.
    template <class Round>
    void run(std::uint64_t rounds, Round round) {
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (std::uint64_t i = thread; i < rounds; i += kThreads) round(i);
            });
        }
        for (std::thread& thread : threads) thread.join();
    }

    // The rounds, with the memory measured from where a tenth of them have passed.
    template <class Round>
    void check_flat(const char* what, std::uint64_t rounds, Round round) {
        run(rounds / 10, round);
        const std::uint64_t before = resident_memory();
        const Stopwatch watch(CLOCK_MONOTONIC);
        run(rounds - rounds / 10, round);
        const double seconds = watch.seconds();
        figure(what, static_cast<double>(rounds), "rounds");
        figure(std::string(what) + ", rate",
               static_cast<double>(rounds - rounds / 10) / seconds / 1e6, "million rounds/s");
        expect_flat(what, before);
    }
};

TEST_F(Rounds, CreateAndReleaseOnEightThreads) {
    HostPool* pool = host.make_pool("rounds");
    std::atomic<std::uint64_t> wrong{0};
    const std::uint64_t rounds = setting("ITER", 100'000'000);
    check_flat("create and release on 8 threads", rounds, [&](std::uint64_t i) {
        NQStatus status = 1;
        NQInt64Instance* made =
            api()->createInt64(api(), pool, static_cast<std::int64_t>(i), &status);
        if (status || made->value != static_cast<std::int64_t>(i)) {
            ++wrong;
            return;
        }
        made->header.release(&made->header);
    });
    EXPECT_EQ(wrong, 0u);
    pool->destroy(pool);
}

// Kinds of several blocks, with a clone in between.
TEST_F(Rounds, DataAndClonesOnEightThreads) {
    HostPool* pool = host.make_pool("rounds");
    std::atomic<std::uint64_t> wrong{0};
    const std::uint64_t rounds = setting("ITER", 100'000'000) / 10;
    check_flat("create, clone and release of data on 8 threads", rounds, [&](std::uint64_t i) {
        NQStatus status = 1;
        NQData* data = api()->createData(api(), pool, &i, sizeof i, 1, 0, &status);
        if (status) {
            ++wrong;
            return;
        }
        InstanceHeader* clone = nullptr;
        wrong += data->header.clone(&data->header, pool, 0, &clone) != NQ_STATUS_OK;
        data->header.release(&data->header);
        if (clone) clone->release(clone);
    });
    EXPECT_EQ(wrong, 0u);
    pool->destroy(pool);
}

// Whole loads of the table are rounds as well.
TEST_F(Rounds, LoadAndUnload) {
    const std::uint64_t rounds = setting("ITER", 100'000'000) / 5000;
    host.unload();
    std::uint64_t before = 0;
    const Stopwatch watch(CLOCK_MONOTONIC);
    for (std::uint64_t i = 0; i < rounds; ++i) {
        if (i == rounds / 10) before = resident_memory();
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
        host.unload();
    }
    figure("load and unload", static_cast<double>(rounds) / watch.seconds(), "rounds/s");
    expect_flat("load and unload", before);
}

}  // namespace
}  // namespace nq::test
