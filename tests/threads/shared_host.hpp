#pragma once
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "nqinstance/base/units.hpp"
#include "standalone/host.hpp"
#include "tests/threads/threads.hpp"

namespace nq::test {

// The library in the standalone host, whose services do not make threads wait for each other where
// the library would not.
class SharedHost : public testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
        pool = host.make_pool("shared");
    }
    void TearDown() override {
        for (InstanceHeader* instance : shared_) {
            EXPECT_EQ(instance->refCount, 1u);
            instance->release(instance);
        }
        for (NQExtension* extension : extensions_) extension->handle.release(extension);
        pool->destroy(pool);
    }
    InstanceApi* api() { return host.api(); }

    // A sibling extension, held until the test ends.
    template <class Api, std::size_t N>
    Api* extension(const std::array<NQChar, N>& name) {
        HostKernel* kernel = host.kernel();
        extensions_.push_back(kernel->loadExtension(kernel, name.data(), name.size(), 0, nullptr));
        return reinterpret_cast<Api*>(extensions_.back());
    }

    // An instance that all threads use and that nobody else holds when the test ends.
    template <class T>
    InstanceHeader* share(T* instance) {
        shared_.push_back(&instance->header);
        return shared_.back();
    }

    // Runs the check on all threads; each time counts as so many operations.
    template <class Check>
    void check_at_once(std::uint64_t operations_of_check, Check check) {
        std::atomic<std::uint64_t> wrong{0};
        for (const unsigned threads : kThreadCounts) {
            run_threads(threads, [&](unsigned) {
                for (std::uint64_t i = 0; i < share_of_thread(threads); i += operations_of_check) {
                    if (!check()) ++wrong;
                }
            });
        }
        EXPECT_EQ(wrong, 0u);
    }

    Host host;
    HostPool* pool = nullptr;

  private:
    std::vector<NQExtension*> extensions_;
    std::vector<InstanceHeader*> shared_;
};

}  // namespace nq::test
