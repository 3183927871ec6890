#pragma once
#include <memory>

#include "nqinstance/host/pool.h"

namespace nq::tool {

struct DestroyPool {
    void operator()(HostPool* pool) const noexcept { pool->destroy(pool); }
};
using OwnedPool = std::unique_ptr<HostPool, DestroyPool>;

}  // namespace nq::tool
