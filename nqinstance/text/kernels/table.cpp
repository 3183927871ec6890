#include "nqinstance/text/kernels/table.hpp"

namespace nq {
namespace {

#if defined(__x86_64__)
constexpr const TextKernels* kBodies[] = {&kAvx2TextKernels, &kGenericTextKernels};

bool has_avx2_body() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}
#else
constexpr const TextKernels* kBodies[] = {&kGenericTextKernels};
#endif

}  // namespace

constinit std::atomic<const TextKernels*> text_kernels_in_use{nullptr};

std::span<const TextKernels* const> text_kernel_bodies() noexcept {
    const std::span<const TextKernels* const> bodies(kBodies);
#if defined(__x86_64__)
    if (!has_avx2_body()) return bodies.subspan(1);
#endif
    return bodies;
}

const TextKernels& choose_text_kernels() noexcept {
    // The tables are constants, so a thread that sees the pointer needs no further ordering.
    const TextKernels* best = text_kernel_bodies().front();
    text_kernels_in_use.store(best, std::memory_order_relaxed);
    return *best;
}

}  // namespace nq
