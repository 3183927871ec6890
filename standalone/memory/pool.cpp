#include "standalone/memory/pool.hpp"

namespace nq {

PoolService::~PoolService() {
    while (first_) first_->destroy(first_);
}

HostPool* PoolService::make(const char* name, PoolKind kind) noexcept {
    ListedPool* pool = kind == PoolKind::kChunks ? make_chunk_pool() : make_tracked_pool();
    if (!pool) return nullptr;
    pool->magic = NQ_MAGIC;
    pool->name = name;
    pool->service = this;
    const std::lock_guard lock(mutex_);
    pool->next = first_;
    if (first_) first_->previous = pool;
    first_ = pool;
    ++count_;
    return pool;
}

uint64_t PoolService::count() const noexcept {
    const std::lock_guard lock(mutex_);
    return count_;
}

void PoolService::remove(ListedPool& pool) noexcept {
    const std::lock_guard lock(mutex_);
    if (pool.next) pool.next->previous = pool.previous;
    (pool.previous ? pool.previous->next : first_) = pool.next;
    --count_;
}

}  // namespace nq
