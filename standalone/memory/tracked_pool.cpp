#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

#include "nqinstance/host/status.h"
#include "standalone/memory/pool.hpp"

namespace nq {
namespace {

// Blocks with neighbouring addresses fall into different stripes, so that the locks order as
// few of the caller's threads as possible: a sanitizer would take that for their own ordering.
struct Stripe {
    std::mutex mutex;
    std::unordered_map<void*, uint64_t> sizes;
};

struct TrackedPool final : ListedPool {
    std::array<Stripe, 64> stripes;

    Stripe& stripe(const void* block) noexcept {
        return stripes[(reinterpret_cast<uintptr_t>(block) >> 4) % stripes.size()];
    }
};

[[noreturn]] void refuse_foreign_block(const HostPool& pool, const void* block) noexcept {
    std::fprintf(stderr, "%p is no block of the pool \"%s\"\n", block, pool.name);
    std::abort();
}

void* alloc(HostPool* self, uint64_t size, uint32_t flags) noexcept {
    if (size > kLargestBlock) return nullptr;
    const uint64_t room = size ? size : 1;
    void* block = flags & ALLOC_ZERO_FILL ? std::calloc(1, room) : std::malloc(room);
    if (!block) return nullptr;
    Stripe& stripe = static_cast<TrackedPool*>(self)->stripe(block);
    const std::lock_guard lock(stripe.mutex);
    try {
        stripe.sizes.emplace(block, size);
    } catch (const std::bad_alloc&) {
        std::free(block);
        return nullptr;
    }
    return block;
}

NQStatus free_block(HostPool* self, void* block) noexcept {
    if (!block) return NQ_STATUS_OK;
    Stripe& stripe = static_cast<TrackedPool*>(self)->stripe(block);
    {
        const std::lock_guard lock(stripe.mutex);
        if (stripe.sizes.erase(block) == 0) refuse_foreign_block(*self, block);
    }
    std::free(block);
    return NQ_STATUS_OK;
}

uint64_t size_of(HostPool* self, void* block) noexcept {
    Stripe& stripe = static_cast<TrackedPool*>(self)->stripe(block);
    const std::lock_guard lock(stripe.mutex);
    const auto found = stripe.sizes.find(block);
    if (found == stripe.sizes.end()) refuse_foreign_block(*self, block);
    return found->second;
}

// Always moves, so that a pointer into the old block that is still in use is found.
void* realloc_block(HostPool* self, void* block, uint64_t size, uint32_t flags) noexcept {
    void* moved = alloc(self, size, flags);
    if (!moved || !block) return moved;
    const uint64_t old_size = size_of(self, block);
    std::memcpy(moved, block, old_size < size ? old_size : size);
    free_block(self, block);
    return moved;
}

NQStatus destroy(HostPool* self) noexcept {
    auto* pool = static_cast<TrackedPool*>(self);
    pool->service->remove(*pool);
    for (Stripe& stripe : pool->stripes) {
        for (const auto& [block, size] : stripe.sizes) std::free(block);
    }
    delete pool;
    return NQ_STATUS_OK;
}

}  // namespace

ListedPool* make_tracked_pool() noexcept {
    auto* pool = new (std::nothrow) TrackedPool;
    if (!pool) return nullptr;
    pool->destroy = destroy;
    pool->alloc = alloc;
    pool->free = free_block;
    pool->realloc = realloc_block;
    return pool;
}

}  // namespace nq
