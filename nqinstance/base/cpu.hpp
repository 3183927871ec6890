#pragma once
#include <atomic>
#include <span>

namespace nq {

#if defined(__x86_64__)
// What every 256-bit body may use, so that any of them can call another's helpers. has_avx2 asks
// for the same list.
#define NQ_AVX2_FEATURES "avx2,bmi,bmi2,popcnt"
// Marks a function of such a body. Functions are marked one by one, never a whole file: an inline
// function that is compiled for a processor with AVX2 could be the copy that the linker keeps for
// all callers.
#define NQ_AVX2 __attribute__((target(NQ_AVX2_FEATURES)))
#define NQ_AVX2_INLINE __attribute__((target(NQ_AVX2_FEATURES), always_inline)) inline
// For a function whose shortest ways end within a few cache lines: starts it at one.
#define NQ_AVX2_AT_LINE __attribute__((target(NQ_AVX2_FEATURES), aligned(64)))
#endif

// Whether this processor runs functions that are marked NQ_AVX2.
inline bool has_avx2() noexcept {
#if defined(__x86_64__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
#else
    return false;
#endif
}

// Which body of a module's loops is in use. A body is a constant table of functions; all bodies
// give the same results, so a thread may work with one while another thread chooses, and a thread
// that sees the pointer needs no further ordering to see the table.
template <class Body>
class BodyChoice {
  public:
    // Null until the first call that needs a body.
    const Body* in_use() const noexcept { return body_.load(std::memory_order_relaxed); }

    // Takes the first of the bodies, which is the best that the processor runs, into use. Choosing
    // twice chooses the same.
    const Body& choose(std::span<const Body* const> bodies) noexcept {
        *this = bodies.front();
        return *bodies.front();
    }

    // For tests: takes this body into use; with null the next call that needs one chooses again.
    void operator=(const Body* body) noexcept { body_.store(body, std::memory_order_relaxed); }

  private:
    std::atomic<const Body*> body_{nullptr};
};

}  // namespace nq
