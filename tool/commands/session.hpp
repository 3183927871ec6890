#pragma once
#include <memory>
#include <new>

#include "nqinstance/host/pool.h"
#include "nqinstance/host/status.h"
#include "standalone/json/services.hpp"
#include "tool/io/run.hpp"

namespace nq::tool {

struct DestroyPool {
    void operator()(HostPool* pool) const noexcept { pool->destroy(pool); }
};
using OwnedPool = std::unique_ptr<HostPool, DestroyPool>;

// What a command that makes values needs beside its run: the services that build them, and pools.
class Session {
  public:
    explicit Session(Run& run) : run_(run), services_(run.host().kernel(), run.host().api()) {
        if (!services_) run.fail(NQ_STATUS_NO_EXTENSION);
    }

    Run& run() const noexcept { return run_; }
    Host& host() const noexcept { return run_.host(); }
    const Services& services() const noexcept { return services_; }

    // `name` must outlive the pool.
    OwnedPool make_pool(const char* name) const {
        OwnedPool pool(host().make_pool(name));
        if (!pool) throw std::bad_alloc();
        return pool;
    }

  private:
    Run& run_;
    Services services_;
};

}  // namespace nq::tool
