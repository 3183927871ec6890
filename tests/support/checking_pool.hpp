#pragma once
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "nqinstance/host/pool.h"
#include "tests/support/failure_plan.hpp"

namespace nq::test {

enum class PoolMode {
    kHeap,   // red zones around each block, known to AddressSanitizer where it is on
    kGuard,  // each block ends at a protected page, so that one byte read too far ends the process
};

// What a block is for: the host's own objects are counted through their blocks.
enum class BlockKind : std::uint8_t { kPlain, kString, kText, kArray, kDictionary, kCount };

inline constexpr std::size_t kBlockKinds = static_cast<std::size_t>(BlockKind::kCount);

// A pool that knows every block it gave out. Blocks hold 0xA5 unless zeroed memory was asked for,
// are overwritten when they are freed and stay in a quarantine for a while, which is checked for
// writes. A realloc always moves. Damage and wrong calls are faults. Threads may share it.
class CheckingPool {
  public:
    static constexpr std::uint64_t kNoLimit = UINT64_MAX;

    CheckingPool(FailurePlan& plan, PoolMode mode, std::string name,
                 std::uint64_t byte_limit = kNoLimit);
    ~CheckingPool();
    CheckingPool(const CheckingPool&) = delete;
    CheckingPool& operator=(const CheckingPool&) = delete;

    HostPool* table() { return &table_; }
    // The pool behind a table; a table that is none of ours is a fault and ends the process.
    static CheckingPool& of(HostPool* table);

    // The host's own blocks: no planned failure, no count. `take` gives null beyond the limit.
    void* take(std::uint64_t size, bool zeroed, BlockKind kind);
    void give(void* block);

    // True when a live block starts here.
    bool has(const void* block) const;
    // Checks the red zones of all live blocks and the quarantine.
    void check() const;

    // Frees everything; any use afterwards is a fault.
    void destroy();
    bool destroyed() const { return destroyed_; }

    void set_limit(std::uint64_t bytes) { byte_limit_ = bytes; }
    const std::string& name() const { return name_; }
    std::uint64_t bytes() const;
    std::uint64_t blocks() const;
    std::uint64_t blocks(BlockKind kind) const;

  private:
    struct Table : HostPool {
        std::uint64_t cookie;
        CheckingPool* pool;
    };
    struct Block {
        unsigned char* raw;  // start of the memory taken from the system
        std::uint64_t raw_size;
        std::uint64_t size;
        BlockKind kind;
    };

    static NQStatus destroy_pool(HostPool* self) noexcept;
    static void* alloc_block(HostPool* self, std::uint64_t size, std::uint32_t flags) noexcept;
    static NQStatus free_block(HostPool* self, void* block) noexcept;
    static void* realloc_block(HostPool* self, void* block, std::uint64_t size,
                               std::uint32_t flags) noexcept;

    bool usable(const char* operation) const;
    void* take_locked(std::uint64_t size, bool zeroed, BlockKind kind);
    bool give_locked(void* block, const char* operation);
    bool intact(const unsigned char* start, const Block& block) const;
    bool untouched(const unsigned char* start, const Block& block) const;
    void retire(unsigned char* start, const Block& block);
    void drop_oldest();
    void discard(const Block& block);
    void fault(const std::string& what) const;

    Table table_;
    FailurePlan& plan_;
    const PoolMode mode_;
    const std::string name_;
    std::uint64_t byte_limit_;
    std::atomic<bool> destroyed_{false};
    std::uint64_t live_bytes_ = 0;
    std::array<std::uint64_t, kBlockKinds> live_{};
    std::map<unsigned char*, Block> blocks_;
    std::deque<std::pair<unsigned char*, Block>> quarantine_;
    std::uint64_t quarantine_bytes_ = 0;
    mutable std::mutex mutex_;
};

}  // namespace nq::test
