// One instance made and released through the library, against the least that a reference-counted
// block can cost: malloc, free, and one atomic increment and decrement in the block. The two are
// measured in turns and each round's best time counts, so that a busy machine disturbs both
// alike.
//
//     pool_bench [limit]     fails when the ratio is above the limit
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "standalone/host.hpp"

namespace {

constexpr std::size_t kInstanceBytes = sizeof(NQInt32Instance);
constexpr int kRounds = 200;
constexpr int kRepeats = 50'000;

// Keeps the compiler from reasoning about a block that it could drop.
void escape(void* pointer) noexcept { __asm__ volatile("" : : "r"(pointer) : "memory"); }

template <class Operation>
double nanoseconds(Operation operation) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (int i = 0; i < kRepeats; ++i) operation(i);
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / kRepeats;
}

void malloc_and_count(int) {
    void* block = std::malloc(kInstanceBytes);
    escape(block);
    auto* count = new (block) std::atomic<uint64_t>(0);
    count->fetch_add(1);
    escape(block);
    count->fetch_sub(1);
    std::free(block);
}

}  // namespace

int main(int argc, char** argv) {
    nq::Host host;
    std::string error;
    if (!host.load(NQ_LIBRARY_PATH, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    HostPool* pool = host.make_pool("benchmark");
    InstanceApi* api = host.api();
    const auto create_and_release = [=](int value) {
        NQStatus status;
        NQInt32Instance* instance = api->createInt32(api, pool, value, &status);
        escape(instance);
        instance->header.release(instance);
    };

    double library = 1e9;
    double baseline = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        baseline = std::min(baseline, nanoseconds(malloc_and_count));
        library = std::min(library, nanoseconds(create_and_release));
    }
    const double ratio = library / baseline;
    std::printf("malloc(%zu), free, atomic +1 and -1: %6.2f ns\n", kInstanceBytes, baseline);
    std::printf("Int32 instance, create and release:  %6.2f ns\n", library);
    std::printf("ratio: %.2f\n", ratio);
    return argc > 1 && ratio > std::atof(argv[1]) ? 1 : 0;
}
