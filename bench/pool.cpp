// One instance made and released through the library, against the least that a reference-counted
// block can cost: malloc, free, and one atomic increment and decrement in the block.
//
//     pool_bench [limit]     fails when the ratio is above the limit
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "bench/loaded_library.hpp"
#include "bench/measure.hpp"

namespace {

constexpr std::size_t kInstanceBytes = sizeof(NQInt32Instance);

void malloc_and_count() {
    void* block = std::malloc(kInstanceBytes);
    nq::bench::keep(block);
    auto* count = new (block) std::atomic<uint64_t>(0);
    count->fetch_add(1);
    nq::bench::keep(block);
    count->fetch_sub(1);
    std::free(block);
}

}  // namespace

int main(int argc, char** argv) {
    nq::Host host;
    nq::bench::load_or_exit(host);
    HostPool* pool = host.make_pool("benchmark");
    InstanceApi* api = host.api();
    const auto create_and_release = [=] {
        NQStatus status;
        NQInt32Instance* instance = api->createInt32(api, pool, 7, &status);
        nq::bench::keep(instance);
        instance->header.release(instance);
    };
    const nq::bench::Times best = nq::bench::best_times(create_and_release, malloc_and_count);
    const double ratio = best.library / best.peer;
    std::printf("malloc(%zu), free, atomic +1 and -1: %6.2f ns\n", kInstanceBytes, best.peer * 1e9);
    std::printf("Int32 instance, create and release:  %6.2f ns\n", best.library * 1e9);
    std::printf("ratio: %.2f\n", ratio);
    return argc > 1 && ratio > std::atof(argv[1]) ? 1 : 0;
}
