#pragma once
#include "fuzz/support/input.hpp"
#include "standalone/json/services.hpp"
#include "standalone/kernel.hpp"

namespace nq::fuzz {

// One standalone host with the library for all inputs: each has a pool of its own.
struct Machine {
    Machine() { NQ_REQUIRE(bool(services)); }

    // The pools of the kernel end with it.
    Kernel kernel;
    InstanceApi* api = load(kernel);
    const Services services{&kernel, api};

  private:
    static InstanceApi* load(Kernel& kernel) {
        nqextent(&kernel);
        return nqinstance(&kernel);
    }
};

inline Machine& machine() {
    static Machine the_machine;
    return the_machine;
}

}  // namespace nq::fuzz
