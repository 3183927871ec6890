#include "nqinstance/text/kernels/table.hpp"

namespace nq {
namespace {

constexpr const TextKernels* kBodies[] = {
#if defined(__x86_64__)
    &kAvx2TextKernels,
#endif
    &kGenericTextKernels};

}  // namespace

constinit BodyChoice<TextKernels> text_kernels_in_use;

std::span<const TextKernels* const> text_kernel_bodies() noexcept {
    return has_avx2() ? std::span(kBodies) : std::span(kBodies).last(1);
}

const TextKernels& choose_text_kernels() noexcept {
    return text_kernels_in_use.choose(text_kernel_bodies());
}

}  // namespace nq
