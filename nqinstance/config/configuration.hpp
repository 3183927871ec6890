#pragma once
#include "nqinstance/core/api.h"

namespace nq {

// Fills the table's words of the configuration and text reading operations.
void setConfOps(InstanceApi* api) noexcept;

}  // namespace nq
