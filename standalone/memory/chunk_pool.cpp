#include <sys/mman.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "nqinstance/host/status.h"
#include "standalone/memory/pool.hpp"

// A pool keeps one shard for every thread that allocates from it. Only that thread takes blocks
// from the shard's free lists, so neither a lock nor an atomic instruction is needed there. A
// block freed by another thread goes onto the shard's remote list, which the owner empties when
// a free list has run dry. When a thread has ended, the next new thread takes its shard over.
namespace nq {
namespace {

constexpr uint64_t kGranule = 16;
constexpr uint64_t kLargestLinear = 512;  // up to here the classes are one granule apart
constexpr uint64_t kLargestSmall = 4096;  // up to here four classes to a doubling
constexpr unsigned kLinearClasses = kLargestLinear / kGranule;
constexpr unsigned kClasses = kLinearClasses + 12;
constexpr uint64_t kFirstChunkBytes = 4096;
constexpr uint64_t kLargestChunkBytes = 256 << 10;
// From here on a shard grows by chunks of whole huge pages. A smaller one would pay for their
// zeroing each time anew, while what malloc gives was in use before.
constexpr uint64_t kLargeShardBytes = 32 << 20;
constexpr uint64_t kHugeChunkBytes = 4 << 20;
constexpr uint64_t kHugePageBytes = 2 << 20;
constexpr unsigned kCachedShards = 64;

constexpr unsigned class_of(uint64_t size) noexcept {
    const uint64_t last = size - (size != 0);
    if (last < kLargestLinear) return static_cast<unsigned>(last / kGranule);
    const auto width = static_cast<unsigned>(std::bit_width(last));
    return kLinearClasses + (width - 10) * 4 + static_cast<unsigned>(last >> (width - 3) & 3);
}

constexpr uint64_t class_bytes(unsigned index) noexcept {
    if (index < kLinearClasses) return (index + 1) * kGranule;
    const unsigned step = index - kLinearClasses;
    return uint64_t{5 + step % 4} << (7 + step / 4);
}

static_assert(class_of(0) == 0 && class_of(kLargestLinear) == kLinearClasses - 1);
static_assert(class_of(kLargestLinear + 1) == kLinearClasses);
static_assert(class_bytes(kLinearClasses) == 640 && class_of(640) == kLinearClasses);
static_assert(class_bytes(class_of(641)) == 768 && class_bytes(class_of(1025)) == 1280);
static_assert(class_of(kLargestSmall) == kClasses - 1 && class_bytes(kClasses - 1) == 4096);

struct Shard;
struct ChunkPool;

// Stands before every block. A block of more than kLargestSmall bytes is the tail of a LargeBlock.
struct BlockHeader {
    union {
        Shard* shard;
        ChunkPool* pool;
    };
    uint64_t size;  // as asked for
};
static_assert(sizeof(BlockHeader) == kGranule);

struct LargeBlock {
    LargeBlock* previous;
    LargeBlock* next;
    BlockHeader header;
};
static_assert(sizeof(LargeBlock) % kGranule == 0);

struct FreeBlock {
    FreeBlock* next;
};

struct alignas(kGranule) Chunk {
    Chunk* next;
    uint64_t mapped_bytes;  // 0 when it comes from malloc
};
static_assert(kHugeChunkBytes % kHugePageBytes == 0);

// A thread as the shards know it: kept until the thread has ended and no shard names it.
struct ThreadRecord {
    std::atomic<uint64_t> references{1};
    std::atomic<bool> ended{false};

    void drop() noexcept {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
};

struct Shard {
    // Written under the pool's mutex; compared by any thread that frees a block. Null in the
    // shard that is used under the pool's mutex instead.
    std::atomic<ThreadRecord*> owner{nullptr};
    Shard* next = nullptr;
    Chunk* chunks = nullptr;
    std::byte* unused = nullptr;  // the rest of the newest chunk
    std::byte* unused_end = nullptr;
    uint64_t next_chunk_bytes = kFirstChunkBytes;
    uint64_t bytes = 0;  // of all its chunks
    FreeBlock* free[kClasses] = {};
    alignas(64) std::atomic<FreeBlock*> remote{nullptr};
};

struct ChunkPool final : ListedPool {
    uint64_t id = 0;  // never used again for another pool
    std::mutex mutex;
    Shard* shards = nullptr;
    Shard common;  // for threads that are past the end of their thread-local storage
    LargeBlock* large = nullptr;
};

struct CachedShard {
    uint64_t pool_id;
    Shard* shard;
};

// Usable from a thread's first instruction to its last. An entry whose pool is gone is harmless:
// its number never comes back.
struct ThreadState {
    ThreadRecord* record;
    bool ended;
    CachedShard shards[kCachedShards];
};
constinit thread_local ThreadState t_state{};

struct ThreadEnd {
    bool armed = false;

    ~ThreadEnd() {
        if (!t_state.record) return;
        t_state.record->ended.store(true, std::memory_order_release);
        t_state.record->drop();
        t_state = {};
        t_state.ended = true;
    }
};
thread_local ThreadEnd t_end;

BlockHeader* header_of(void* block) noexcept { return static_cast<BlockHeader*>(block) - 1; }

void keep(Shard& shard, FreeBlock* block, uint64_t size) noexcept {
    FreeBlock*& list = shard.free[class_of(size)];
    block->next = list;
    list = block;
}

void collect_remote(Shard& shard) noexcept {
    if (!shard.remote.load(std::memory_order_relaxed)) return;
    FreeBlock* block = shard.remote.exchange(nullptr, std::memory_order_acquire);
    while (block) {
        FreeBlock* next = block->next;
        keep(shard, block, header_of(block)->size);
        block = next;
    }
}

// A mapping of kHugeChunkBytes that begins at a huge page and asks for such pages, so that a page
// fault brings 2 MiB instead of 4 KiB. Null when there is none.
void* map_huge_chunk() noexcept {
    void* mapping = mmap(nullptr, kHugeChunkBytes + kHugePageBytes, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    auto* begin = static_cast<std::byte*>(mapping);
    const uint64_t before = -reinterpret_cast<uintptr_t>(begin) % kHugePageBytes;
    if (before) munmap(begin, before);
    munmap(begin + before + kHugeChunkBytes, kHugePageBytes - before);
    madvise(begin + before, kHugeChunkBytes, MADV_HUGEPAGE);
    return begin + before;
}

bool add_chunk(Shard& shard, uint64_t bytes) noexcept {
    bytes += sizeof(Chunk);
    if (bytes < shard.next_chunk_bytes) bytes = shard.next_chunk_bytes;
    void* memory = shard.bytes < kLargeShardBytes ? nullptr : map_huge_chunk();
    const uint64_t mapped_bytes = memory ? kHugeChunkBytes : 0;
    if (memory) {
        bytes = mapped_bytes;
    } else {
        memory = std::malloc(bytes);
        if (!memory) return false;
    }
    shard.chunks = new (memory) Chunk{shard.chunks, mapped_bytes};
    shard.unused = reinterpret_cast<std::byte*>(shard.chunks + 1);
    shard.unused_end = static_cast<std::byte*>(memory) + bytes;
    shard.bytes += bytes;
    if (shard.next_chunk_bytes < kLargestChunkBytes) shard.next_chunk_bytes *= 2;
    return true;
}

void free_chunk(Chunk* chunk) noexcept {
    if (chunk->mapped_bytes) {
        munmap(chunk, chunk->mapped_bytes);
    } else {
        std::free(chunk);
    }
}

// A block for the class when its free list is empty.
[[gnu::noinline]] FreeBlock* refill(Shard& shard, unsigned index) noexcept {
    collect_remote(shard);
    if (FreeBlock* block = shard.free[index]) {
        shard.free[index] = block->next;
        return block;
    }
    const uint64_t bytes = sizeof(BlockHeader) + class_bytes(index);
    if (static_cast<uint64_t>(shard.unused_end - shard.unused) < bytes &&
        !add_chunk(shard, bytes)) {
        return nullptr;
    }
    auto* header = new (shard.unused) BlockHeader{{.shard = &shard}, 0};
    shard.unused += bytes;
    return new (header + 1) FreeBlock;
}

void* take(Shard& shard, uint64_t size) noexcept {
    const unsigned index = class_of(size);
    FreeBlock* block = shard.free[index];
    if (block) [[likely]] {
        shard.free[index] = block->next;
    } else {
        block = refill(shard, index);
        if (!block) return nullptr;
    }
    header_of(block)->size = size;
    return block;
}

ThreadRecord* record_of_thread() noexcept {
    if (t_state.record || t_state.ended) return t_state.record;
    t_end.armed = true;  // its first use is what makes its destructor run
    return t_state.record = new (std::nothrow) ThreadRecord;
}

// The thread's shard of a pool that is not in its cache, or null.
[[gnu::noinline]] Shard* find_shard(ChunkPool& pool) noexcept {
    ThreadRecord* record = record_of_thread();
    if (!record) return nullptr;
    const std::lock_guard lock(pool.mutex);
    Shard* own = nullptr;
    Shard* abandoned = nullptr;
    for (Shard* shard = pool.shards; shard && !own; shard = shard->next) {
        ThreadRecord* owner = shard->owner.load(std::memory_order_relaxed);
        if (owner == record) own = shard;
        if (owner->ended.load(std::memory_order_acquire)) abandoned = shard;
    }
    if (!own) {
        own = abandoned;
        if (own) {
            own->owner.load(std::memory_order_relaxed)->drop();
        } else {
            own = new (std::nothrow) Shard;
            if (!own) return nullptr;
            own->next = pool.shards;
            pool.shards = own;
        }
        record->references.fetch_add(1, std::memory_order_relaxed);
        own->owner.store(record, std::memory_order_relaxed);
    }
    t_state.shards[pool.id % kCachedShards] = {pool.id, own};
    return own;
}

void link_large(ChunkPool& pool, LargeBlock* block) noexcept {
    block->previous = nullptr;
    block->next = pool.large;
    if (pool.large) pool.large->previous = block;
    pool.large = block;
}

void unlink_large(ChunkPool& pool, LargeBlock* block) noexcept {
    if (block->next) block->next->previous = block->previous;
    (block->previous ? block->previous->next : pool.large) = block->next;
}

LargeBlock* large_of(void* block) noexcept { return static_cast<LargeBlock*>(block) - 1; }

void* alloc_large(ChunkPool& pool, uint64_t size, uint32_t flags) noexcept {
    if (size > kLargestBlock) return nullptr;
    const uint64_t bytes = sizeof(LargeBlock) + size;
    void* memory = flags & ALLOC_ZERO_FILL ? std::calloc(1, bytes) : std::malloc(bytes);
    if (!memory) return nullptr;
    auto* block = new (memory) LargeBlock;
    block->header = {{.pool = &pool}, size};
    const std::lock_guard lock(pool.mutex);
    link_large(pool, block);
    return block + 1;
}

void free_large(LargeBlock* block) noexcept {
    ChunkPool& pool = *block->header.pool;
    {
        const std::lock_guard lock(pool.mutex);
        unlink_large(pool, block);
    }
    std::free(block);
}

// Out of the list while it moves, so that the list never names memory that is gone.
void* resize_large(LargeBlock* block, uint64_t size) noexcept {
    ChunkPool& pool = *block->header.pool;
    const std::lock_guard lock(pool.mutex);
    unlink_large(pool, block);
    void* moved = std::realloc(static_cast<void*>(block), sizeof(LargeBlock) + size);
    auto* kept = moved ? static_cast<LargeBlock*>(moved) : block;
    if (moved) kept->header.size = size;
    link_large(pool, kept);
    return moved ? kept + 1 : nullptr;
}

void* alloc(HostPool* self, uint64_t size, uint32_t flags) noexcept {
    auto& pool = *static_cast<ChunkPool*>(self);
    if (size > kLargestSmall) return alloc_large(pool, size, flags);
    const CachedShard& cached = t_state.shards[pool.id % kCachedShards];
    void* block;
    if (cached.pool_id == pool.id) [[likely]] {
        block = take(*cached.shard, size);
    } else if (Shard* shard = find_shard(pool)) {
        block = take(*shard, size);
    } else {
        const std::lock_guard lock(pool.mutex);
        block = take(pool.common, size);
    }
    if (block && flags & ALLOC_ZERO_FILL) std::memset(block, 0, size);
    return block;
}

NQStatus free_block(HostPool*, void* block) noexcept {
    if (!block) return NQ_STATUS_OK;
    const BlockHeader* header = header_of(block);
    if (header->size > kLargestSmall) {
        free_large(large_of(block));
        return NQ_STATUS_OK;
    }
    Shard& shard = *header->shard;
    auto* freed = new (block) FreeBlock{nullptr};
    const ThreadRecord* owner = shard.owner.load(std::memory_order_relaxed);
    if (owner && owner == t_state.record) [[likely]] {
        keep(shard, freed, header->size);
        return NQ_STATUS_OK;
    }
    freed->next = shard.remote.load(std::memory_order_relaxed);
    while (!shard.remote.compare_exchange_weak(freed->next, freed, std::memory_order_release,
                                               std::memory_order_relaxed)) {
    }
    return NQ_STATUS_OK;
}

// Changes the block's size where it stands or by the C library's realloc; null when it must move.
void* resize_in_place(void* block, uint64_t size) noexcept {
    BlockHeader* header = header_of(block);
    if (header->size > kLargestSmall) {
        return size > kLargestSmall ? resize_large(large_of(block), size) : nullptr;
    }
    if (size > kLargestSmall || class_of(size) != class_of(header->size)) return nullptr;
    header->size = size;
    return block;
}

void* realloc_block(HostPool* self, void* block, uint64_t size, uint32_t flags) noexcept {
    if (!block) return alloc(self, size, flags);
    if (size > kLargestBlock) return nullptr;
    const uint64_t old_size = header_of(block)->size;
    void* moved = resize_in_place(block, size);
    if (!moved) {
        moved = alloc(self, size, 0);
        if (!moved) return nullptr;
        std::memcpy(moved, block, old_size < size ? old_size : size);
        free_block(self, block);
    }
    if (flags & ALLOC_ZERO_FILL && size > old_size) {
        std::memset(static_cast<std::byte*>(moved) + old_size, 0, size - old_size);
    }
    return moved;
}

void free_chunks(Shard& shard) noexcept {
    while (Chunk* chunk = shard.chunks) {
        shard.chunks = chunk->next;
        free_chunk(chunk);
    }
}

NQStatus destroy(HostPool* self) noexcept {
    auto* pool = static_cast<ChunkPool*>(self);
    pool->service->remove(*pool);
    while (Shard* shard = pool->shards) {
        pool->shards = shard->next;
        shard->owner.load(std::memory_order_relaxed)->drop();
        free_chunks(*shard);
        delete shard;
    }
    free_chunks(pool->common);
    while (LargeBlock* block = pool->large) {
        pool->large = block->next;
        std::free(block);
    }
    delete pool;
    return NQ_STATUS_OK;
}

}  // namespace

ListedPool* make_chunk_pool() noexcept {
    static constinit std::atomic<uint64_t> last_id{0};
    auto* pool = new (std::nothrow) ChunkPool;
    if (!pool) return nullptr;
    pool->id = last_id.fetch_add(1, std::memory_order_relaxed) + 1;
    pool->destroy = destroy;
    pool->alloc = alloc;
    pool->free = free_block;
    pool->realloc = realloc_block;
    return pool;
}

}  // namespace nq
