#pragma once
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include "standalone/host.hpp"
#include "standalone/memory/sanitizer.hpp"

namespace nq::test {

inline constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

// Prints a measured figure, one a line, so that they can be gathered.
inline void figure(const std::string& what, double value, const char* unit) {
    std::printf("figure: %s: %.4g %s\n", what.c_str(), value, unit);
    std::fflush(stdout);
}

inline double as_mib(std::uint64_t bytes) {
    return static_cast<double>(bytes) / static_cast<double>(kMiB);
}

// Of the clock on the wall, or of the thread's own work, which other programs disturb less.
class Stopwatch {
  public:
    explicit Stopwatch(clockid_t clock = CLOCK_THREAD_CPUTIME_ID) : clock_(clock), start_(now()) {}
    double seconds() const { return now() - start_; }

  private:
    double now() const {
        timespec time;
        clock_gettime(clock_, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    }

    clockid_t clock_;
    double start_;
};

// A line of /proc/self/status in bytes.
inline std::uint64_t process_memory(const std::string& name) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name + ":")) return std::stoull(line.substr(name.size() + 1)) * 1024;
    }
    ADD_FAILURE() << "no " << name;
    return 0;
}

inline std::uint64_t resident_memory() { return process_memory("VmRSS"); }

// The most memory that the process had more than at the start.
class PeakMemory {
  public:
    PeakMemory() {
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5";
        start_ = resident_memory();
    }
    std::uint64_t growth() const {
        const std::uint64_t peak = process_memory("VmHWM");
        return peak > start_ ? peak - start_ : 0;
    }

  private:
    std::uint64_t start_;
};

// `run(size)` gives the seconds that the size takes. Twice the size must not take more than 2.3
// times the time; the fastest of up to twenty runs counts, for the machine has other work as well.
template <class Run>
void expect_linear(const std::string& what, std::uint64_t size, Run run) {
    constexpr double kMost = 2.3;
    double half = 0;
    double whole = 0;
    for (int attempt = 0; attempt < 20; ++attempt) {
        const double half_now = run(size / 2);
        const double whole_now = run(size);
        half = attempt ? std::min(half, half_now) : half_now;
        whole = attempt ? std::min(whole, whole_now) : whole_now;
        if (attempt >= 2 && whole <= kMost * half) break;
    }
    figure(what, whole, "s");
    figure(what + ", against half the size", whole / half, "times");
    // What a sanitizer adds is not the library's.
    if (!NQ_UNDER_SANITIZER) {
        EXPECT_LE(whole, kMost * half) << what;
    }
}

// The process must not have grown by more than a MiB since it had `before`.
inline void expect_flat(const std::string& what, std::uint64_t before) {
    const std::uint64_t after = resident_memory();
    figure(what + ", growth", (as_mib(after) - as_mib(before)) * 1024, "KiB");
    if (!NQ_UNDER_SANITIZER) {
        EXPECT_LE(after, before + kMiB) << what;
    }
}

// The library in the standalone host.
class Soak : public testing::Test {
  protected:
    void SetUp() override {
        // Large blocks come fresh from the system whatever was freed before, so that sizes compare.
        mallopt(M_MMAP_THRESHOLD, 256 * 1024);
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
    }
    InstanceApi* api() { return host.api(); }

    Host host;
};

}  // namespace nq::test
