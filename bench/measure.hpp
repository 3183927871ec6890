#pragma once
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "nqinstance/base/held.hpp"
#include "standalone/host.hpp"

namespace nq::bench {

template <class Work>
double seconds_of(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class Samples {
  public:
    void add(double sample) { samples_.push_back(sample); }
    double median() {
        const auto middle = samples_.begin() + static_cast<std::ptrdiff_t>(samples_.size() / 2);
        std::nth_element(samples_.begin(), middle, samples_.end());
        return *middle;
    }

  private:
    std::vector<double> samples_;
};

// Loads the library that was built beside the benchmark, or ends the program with a message.
inline void load_or_exit(Host& host) {
    std::string error;
    if (host.load(NQ_LIBRARY_PATH, error)) return;
    std::fprintf(stderr, "%s\n", error.c_str());
    std::exit(2);
}

// A hold of one of the host's sibling extensions.
template <class Api>
Held<Api> extension(Host& host) {
    const auto& name = kExtensionName<Api>;
    HostKernel* kernel = host.kernel();
    return Held<Api>(reinterpret_cast<Api*>(
        kernel->loadExtension(kernel, name.data(), name.size(), 0, nullptr)));
}

}  // namespace nq::bench
