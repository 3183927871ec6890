#pragma once
#include <atomic>
#include <cstdint>

#include "nqinstance/host/handle.h"
#include "nqinstance/host/status.h"

namespace nq {

// A sibling extension that is part of the host: its table followed by the number of holds. The
// table is there as long as the kernel; the count tells whether everyone gave back what he took.
template <class Api>
class Extension : public Api {
  public:
    Extension(const char* name, const Api& operations) noexcept : Api(operations) {
        this->handle = {NQ_MAGIC, name, release};
    }
    Extension(const Extension&) = delete;
    Extension& operator=(const Extension&) = delete;

    // One more hold, for which the table's `release` is called once.
    Extension* hold() noexcept {
        holds_.fetch_add(1, std::memory_order_relaxed);
        return this;
    }
    uint64_t holds() const noexcept { return holds_.load(std::memory_order_relaxed); }

  private:
    // NQ_STATUS_INVALID_ARGUMENT: nobody holds the extension.
    static NQStatus release(void* table) noexcept {
        auto& holds = static_cast<Extension*>(static_cast<Api*>(table))->holds_;
        uint64_t held = holds.load(std::memory_order_relaxed);
        do {
            if (held == 0) return NQ_STATUS_INVALID_ARGUMENT;
        } while (!holds.compare_exchange_weak(held, held - 1, std::memory_order_relaxed));
        return NQ_STATUS_OK;
    }

    std::atomic<uint64_t> holds_{0};
};

}  // namespace nq
