#pragma once
#include "nqinstance/host/kernel.h"

namespace nq {

// The context that stands for "no particular task": its environment leads to the kernel.
class DefaultContext {
  public:
    explicit DefaultContext(HostKernel* kernel) noexcept;
    DefaultContext(const DefaultContext&) = delete;
    DefaultContext& operator=(const DefaultContext&) = delete;

    // Where the context is kept, for the kernel table's `defaultContext`.
    NQContext** place() noexcept { return &place_; }

  private:
    NQEnvironment environment_;
    NQContext context_;
    NQContext* place_ = &context_;
};

}  // namespace nq
