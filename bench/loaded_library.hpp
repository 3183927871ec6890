#pragma once
#include <string>

#include "bench/require.hpp"
#include "nqinstance/base/held.hpp"
#include "standalone/host.hpp"

namespace nq::bench {

// Loads the library that was built beside the benchmark.
inline void load_or_exit(Host& host) {
    std::string error;
    const bool is_loaded = host.load(NQ_LIBRARY_PATH, error);
    require(is_loaded, error.c_str());
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
