#pragma once
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "tests/support/random.hpp"

namespace nq::test {

// Operations of one scenario over all its thread counts; ITER= takes the place of the number.
inline std::uint64_t operations() { return setting("ITER", 1000000); }

inline const std::vector<unsigned> kThreadCounts{2, 4, 16};

// So many operations for each thread that those of all threads and thread counts add up.
inline std::uint64_t share_of_thread(unsigned threads) {
    return operations() / kThreadCounts.size() / threads + 1;
}

inline void run_threads(unsigned count, const std::function<void(unsigned)>& body) {
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) threads.emplace_back(body, i);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace nq::test
