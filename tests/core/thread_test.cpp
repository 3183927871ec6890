// Instances shared between threads.
#include <array>
#include <atomic>
#include <barrier>
#include <mutex>

#include "tests/core/core_support.hpp"
#include "tests/threads/threads.hpp"

namespace nq::test {
namespace {

using Release = NQStatus (*)(void*) noexcept;

std::atomic<std::uint64_t> hook_runs{0};
std::atomic<std::uint64_t> marks_seen{0};

// An instance that nothing frees, with a place for each of its holders to write to before they let
// go. What they wrote must be there for the hook to see.
struct Shared {
    InstanceHeader header{};
    std::array<std::uint64_t, 16> written{};
};

constexpr std::uint64_t kMark = 7;

NQStatus count_hook(InstanceHeader* instance) noexcept {
    for (const std::uint64_t mark : reinterpret_cast<Shared*>(instance)->written) {
        marks_seen += mark;
    }
    ++hook_runs;
    return NQ_STATUS_OK;
}

Shared shared_by(std::uint64_t references) {
    Shared shared;
    shared.header.refCount = references;
    shared.header.destroyHook = count_hook;
    return shared;
}

struct StormResult {
    std::uint64_t instances = 0;
    std::uint64_t hooks = 0;
    std::uint64_t marks = 0;
    std::uint64_t left = 0;  // references that no release took away
};

// Threads drop the references of instances that they share, all of one instance at once, so that
// the last releases of each race.
StormResult release_storm(unsigned threads, std::uint64_t instances, Release release) {
    constexpr std::uint64_t kPerThread = 4;
    std::vector<Shared> all(instances, shared_by(threads * kPerThread));
    hook_runs = marks_seen = 0;
    std::barrier start(threads);
    run_threads(threads, [&](unsigned index) {
        start.arrive_and_wait();
        for (Shared& shared : all) {
            shared.written[index] = kMark;
            for (std::uint64_t k = 0; k < kPerThread; ++k) release(&shared);
        }
    });
    StormResult result{instances, hook_runs, marks_seen, 0};
    for (const Shared& shared : all) result.left += shared.header.refCount;
    return result;
}

TEST(ReferenceThread, ExactlyOneReleaseRunsTheHook) {
    const Release release = NQ_LIBRARY(nqInstanceDestroy);
    for (const unsigned threads : kThreadCounts) {
        const std::uint64_t instances = operations() / kThreadCounts.size() / (threads * 4) + 1;
        const StormResult result = release_storm(threads, instances, release);
        EXPECT_EQ(result.hooks, result.instances) << threads << " threads";
        EXPECT_EQ(result.marks, result.instances * threads * kMark) << threads << " threads";
        EXPECT_EQ(result.left, 0u) << threads << " threads";
    }
}

// A release that reads and writes the count in two steps, as one that is not atomic would.
NQStatus release_in_two_steps(void* object) noexcept {
    auto* instance = static_cast<InstanceHeader*>(object);
    std::atomic_ref<std::uint64_t> count(instance->refCount);
    const std::uint64_t left = count.load() - 1;
    if (left % 3 == 0) std::this_thread::yield();
    count.store(left);
    if (left == 0) instance->destroyHook(instance);
    return NQ_STATUS_OK;
}

// A release as it would be without atomic operations.
NQStatus release_plainly(void* object) noexcept {
    auto* instance = static_cast<InstanceHeader*>(object);
    if (--instance->refCount == 0) instance->destroyHook(instance);
    return NQ_STATUS_OK;
}

// With PLAIN_COUNTER= in a run of its own, which the thread sanitizer must end with a report.
TEST(ReferenceThreadPlanted, TheStormFindsACountThatIsNotAtomic) {
    const Release release = std::getenv("PLAIN_COUNTER") ? release_plainly : release_in_two_steps;
    bool found = false;
    for (int attempt = 0; attempt < 50 && !found; ++attempt) {
        const StormResult result = release_storm(4, 2000, release);
        found = result.hooks != result.instances || result.left != 0;
    }
    EXPECT_TRUE(found);
}

TEST(ReferenceThread, TheLastReleaseOfManyFreesTheInstance) {
    CheckingHost host;
    InstanceApi* api = host.load();
    const HostState before = host.state();
    for (const unsigned threads : kThreadCounts) {
        const std::uint64_t rounds = operations() / kThreadCounts.size() / threads / 64 + 1;
        std::vector<InstanceHeader*> shared(64);
        std::barrier step(threads);
        run_threads(threads, [&](unsigned index) {
            for (std::uint64_t round = 0; round < rounds; ++round) {
                if (index == 0) {
                    for (InstanceHeader*& instance : shared) {
                        NQStatus status = 0;
                        instance = &api->createInt64(api, host.pool(), 5, &status)->header;
                        instance->refCount = threads;
                    }
                }
                step.arrive_and_wait();
                for (InstanceHeader* instance : shared) instance->release(instance);
                step.arrive_and_wait();
            }
        });
        EXPECT_EQ(host.state(), before) << threads << " threads";
    }
}

TEST(ReferenceThread, SharedInstancesAreClonedAndReleasedAtOnce) {
    CheckingHost host;
    InstanceApi* api = host.load();
    const HostState before = host.state();
    NQStatus status = 0;
    NQTime* time = api->createTime(api, host.pool(), &status);
    time->hour = 7;
    const std::vector<InstanceHeader*> sources{
        &api->createInt32(api, host.pool(), 42, &status)->header,
        &api->createDouble(api, host.pool(), 0.5, &status)->header,
        &api->createData(api, host.pool(), "shared bytes", 12, 1, 0, &status)->header,
        &time->header};
    std::atomic<std::uint64_t> wrong{0};
    for (const unsigned threads : kThreadCounts) {
        // A clone, a release of it, a reference taken and dropped.
        const std::uint64_t rounds = operations() / kThreadCounts.size() / threads / 4 + 1;
        run_threads(threads, [&](unsigned index) {
            for (std::uint64_t round = 0; round < rounds; ++round) {
                InstanceHeader* source = sources[(round + index) % sources.size()];
                retain(source);
                InstanceHeader* clone = nullptr;
                if (source->clone(source, host.pool(), 0, &clone) ||
                    !clone->isType(clone, source->typeName) || clone->refCount != 1) {
                    ++wrong;
                    continue;
                }
                if (clone->isType(clone, "NQInt32Instance")) {
                    wrong += reinterpret_cast<NQInt32Instance*>(clone)->value != 42;
                }
                clone->release(clone);
                source->release(source);
            }
        });
    }
    EXPECT_EQ(wrong, 0u);
    for (InstanceHeader* source : sources) {
        EXPECT_EQ(source->refCount, 1u);
        release(source);
    }
    EXPECT_EQ(host.state(), before);
}

TEST(ReferenceThread, InstancesMadeHereAreReleasedThere) {
    CheckingHost host;
    InstanceApi* api = host.load();
    const HostState before = host.state();
    for (const unsigned threads : kThreadCounts) {
        std::mutex mutex;
        std::vector<InstanceHeader*> passed;
        const unsigned makers = threads / 2;
        const std::uint64_t each = operations() / kThreadCounts.size() / 2 / makers + 1;
        std::atomic<unsigned> making{makers};
        std::atomic<std::uint64_t> sum{0};
        run_threads(threads, [&](unsigned index) {
            std::vector<InstanceHeader*> batch;
            if (index < makers) {
                for (std::uint64_t i = 0; i < each; ++i) {
                    NQStatus status = 0;
                    batch.push_back(&api->createUInt64(api, host.pool(), i, &status)->header);
                    if (batch.size() == 32 || i + 1 == each) {
                        const std::lock_guard lock(mutex);
                        passed.insert(passed.end(), batch.begin(), batch.end());
                        batch.clear();
                    }
                }
                --making;
                return;
            }
            for (;;) {
                const bool last = making == 0;
                {
                    const std::lock_guard lock(mutex);
                    batch.swap(passed);
                }
                for (InstanceHeader* instance : batch) {
                    sum += reinterpret_cast<NQUInt64Instance*>(instance)->value;
                    instance->release(instance);
                }
                if (last && batch.empty()) return;
                if (batch.empty()) std::this_thread::yield();
                batch.clear();
            }
        });
        EXPECT_EQ(sum, makers * (each * (each - 1) / 2)) << threads << " threads";
        EXPECT_EQ(host.state(), before) << threads << " threads";
    }
}

}  // namespace
}  // namespace nq::test
