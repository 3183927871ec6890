#pragma once
#include <cstdint>
#include <mutex>

#include "nqinstance/host/pool.h"
#include "standalone/memory/sanitizer.hpp"

namespace nq {

class PoolService;

// The largest block a pool hands out; beyond it `alloc` and `realloc` answer null.
inline constexpr uint64_t kLargestBlock = uint64_t{1} << 38;

// How a pool gets its blocks. Both kinds are safe from any number of threads and keep the same
// contract.
enum class PoolKind {
    kChunks,   // small blocks are carved from chunks and kept in free lists of the thread
    kTracked,  // every block comes from malloc, so that a sanitizer sees its ends and its end
};
inline constexpr PoolKind kDefaultPoolKind =
    NQ_UNDER_SANITIZER ? PoolKind::kTracked : PoolKind::kChunks;

// A pool in the list of its service.
struct ListedPool : HostPool {
    PoolService* service = nullptr;
    ListedPool* previous = nullptr;
    ListedPool* next = nullptr;
};

// Makes pools and ends those that nobody destroyed.
class PoolService {
  public:
    PoolService() = default;
    PoolService(const PoolService&) = delete;
    PoolService& operator=(const PoolService&) = delete;
    ~PoolService();

    // A new pool, or null when there is no memory. `name` must outlive it.
    HostPool* make(const char* name, PoolKind kind = kDefaultPoolKind) noexcept;

    // How many pools are there.
    uint64_t count() const noexcept;

    // Takes a pool that is being destroyed out of the list.
    void remove(ListedPool& pool) noexcept;

  private:
    mutable std::mutex mutex_;
    ListedPool* first_ = nullptr;
    uint64_t count_ = 0;
};

// The two kinds; null when there is no memory. The service writes the list words.
ListedPool* make_chunk_pool() noexcept;
ListedPool* make_tracked_pool() noexcept;

}  // namespace nq
