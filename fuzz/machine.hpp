#pragma once
#include "fuzz/input.hpp"
#include "standalone/kernel.hpp"

namespace nq::fuzz {

// One standalone host with the library for all inputs: each has a pool of its own.
struct Machine {
    Machine() {
        nqextent(&kernel);
        api = nqinstance(&kernel);
        NQ_REQUIRE(api != nullptr);
    }
    // The pools of the kernel end with it.
    Kernel kernel;
    InstanceApi* api = nullptr;
};

inline Machine& machine() {
    static Machine the_machine;
    return the_machine;
}

}  // namespace nq::fuzz
