#include "fuzz/support/checking.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "nqinstance/host/status.h"

namespace nq {
namespace test {

void* library_symbol(const char* name) {
    if (void* symbol = dlsym(RTLD_DEFAULT, name)) return symbol;
    std::fprintf(stderr, "%s\n", dlerror());
    std::abort();
}

}  // namespace test

namespace fuzz {

CheckingHost::CheckingHost() { testing::GTEST_FLAG(break_on_failure) = true; }

void require_explained(CheckingHost& host, NQStatus status) {
    if (!status) return;
    const auto failures = host.plan().failures();
    NQ_REQUIRE(std::ranges::any_of(failures, [status](const test::FailedCall& failed) {
        switch (failed.call) {
            case test::Call::kAlloc:
            case test::Call::kRealloc:
                return status == NQ_STATUS_NO_MEMORY;
            case test::Call::kLoadExtension:
                return status == NQ_STATUS_NO_EXTENSION;
            case test::Call::kCreateTranscoder:
                return status == NQ_STATUS_NO_SERVICE;
            default:
                return status == failed.status;
        }
    }));
}

}  // namespace fuzz
}  // namespace nq
