#include "tests/support/faults.hpp"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace nq::test {
namespace {

std::mutex trap_mutex;
FaultTrap* active_trap = nullptr;

}  // namespace

void report_fault(const std::string& message) {
    const std::lock_guard lock(trap_mutex);
    if (active_trap) {
        active_trap->messages_.push_back(message);
        return;
    }
    std::fprintf(stderr, "host fault: %s\n", message.c_str());
    std::abort();
}

FaultTrap::FaultTrap() {
    const std::lock_guard lock(trap_mutex);
    active_trap = this;
}

FaultTrap::~FaultTrap() {
    const std::lock_guard lock(trap_mutex);
    active_trap = nullptr;
}

std::vector<std::string> FaultTrap::take() {
    const std::lock_guard lock(trap_mutex);
    return std::exchange(messages_, {});
}

}  // namespace nq::test
