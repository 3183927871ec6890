#include "standalone/context.hpp"

#include "nqinstance/host/status.h"

namespace nq {
namespace {

// Both objects live and end with their host.
NQStatus release(void*) noexcept { return NQ_STATUS_OK; }

}  // namespace

DefaultContext::DefaultContext(HostKernel* kernel) noexcept
    : environment_{.handle = {NQ_MAGIC, "environment", release}, .services = kernel},
      context_{.handle = {NQ_MAGIC, "default context", release}, .environment = &environment_} {}

}  // namespace nq
