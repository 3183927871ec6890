#include "tests/support/checking_pool.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tests/support/faults.hpp"

#if defined(__SANITIZE_ADDRESS__)
#define NQ_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NQ_TEST_ASAN 1
#endif
#if __has_feature(memory_sanitizer)
#define NQ_TEST_MSAN 1
#endif
#endif
#ifdef NQ_TEST_ASAN
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(start, size) (static_cast<void>(start), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(start, size) (static_cast<void>(start), static_cast<void>(size))
#endif
#ifdef NQ_TEST_MSAN
#include <sanitizer/msan_interface.h>
#define NQ_MARK_UNWRITTEN(start, size) __msan_allocated_memory(start, size)
#else
#define NQ_MARK_UNWRITTEN(start, size) (static_cast<void>(start), static_cast<void>(size))
#endif

namespace nq::test {
namespace {

constexpr std::uint64_t kCookie = 0x636865636b696e67u;
constexpr std::uint64_t kRedZone = 32;
constexpr unsigned char kFresh = 0xA5;
constexpr unsigned char kZone = 0xFB;
constexpr unsigned char kFreed = 0xDD;
constexpr std::uint64_t kQuarantineBytes = 1u << 20;
constexpr std::size_t kQuarantineBlocks = 1024;
constexpr std::uint64_t kLargestBlock = std::uint64_t{1} << 40;

const std::uint64_t kPage = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));

bool all_equal(const unsigned char* start, std::uint64_t size, unsigned char value) {
    return size == 0 || (*start == value && std::memcmp(start, start + 1, size - 1) == 0);
}

constexpr std::uint64_t round_up(std::uint64_t size, std::uint64_t unit) {
    return (size + unit - 1) / unit * unit;
}

}  // namespace

CheckingPool::CheckingPool(FailurePlan& plan, PoolMode mode, std::string name,
                           std::uint64_t byte_limit)
    : table_{}, plan_(plan), mode_(mode), name_(std::move(name)), byte_limit_(byte_limit) {
    table_.magic = UINT64_C(0x6f76656e);
    table_.name = name_.c_str();
    table_.destroy = destroy_pool;
    table_.alloc = alloc_block;
    table_.free = free_block;
    table_.realloc = realloc_block;
    table_.cookie = kCookie;
    table_.pool = this;
}

CheckingPool::~CheckingPool() {
    if (!destroyed_) destroy();
}

CheckingPool& CheckingPool::of(HostPool* table) {
    auto* own = static_cast<Table*>(table);
    if (table && own->cookie == kCookie) return *own->pool;
    report_fault("a pool that this host did not make");
    std::abort();
}

void CheckingPool::fault(const std::string& what) const {
    report_fault(what + " in pool \"" + name_ + "\"");
}

bool CheckingPool::usable(const char* operation) const {
    if (!destroyed_) return true;
    fault(std::string(operation) + " after destroy");
    return false;
}

void* CheckingPool::take(std::uint64_t size, bool zeroed, BlockKind kind) {
    const std::lock_guard lock(mutex_);
    return usable("alloc") ? take_locked(size, zeroed, kind) : nullptr;
}

void CheckingPool::give(void* block) {
    const std::lock_guard lock(mutex_);
    if (usable("free")) give_locked(block, "free");
}

void* CheckingPool::take_locked(std::uint64_t size, bool zeroed, BlockKind kind) {
    if (size > kLargestBlock || size > byte_limit_ || live_bytes_ > byte_limit_ - size) {
        return nullptr;
    }
    Block block{nullptr, 0, size, kind};
    unsigned char* start;
    if (mode_ == PoolMode::kGuard) {
        const std::uint64_t room = round_up(size ? size : 1, kPage);
        block.raw_size = room + kPage;
        void* raw = mmap(nullptr, block.raw_size, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (raw == MAP_FAILED) return nullptr;
        block.raw = static_cast<unsigned char*>(raw);
        mprotect(block.raw + room, kPage, PROT_NONE);
        start = block.raw + (room - size);
        std::memset(block.raw, kZone, room - size);
    } else {
        block.raw_size = round_up(size + 2 * kRedZone, 16);
        block.raw = static_cast<unsigned char*>(std::malloc(block.raw_size));
        if (!block.raw) return nullptr;
        start = block.raw + kRedZone;
        const std::uint64_t after = block.raw_size - kRedZone - size;
        std::memset(block.raw, kZone, kRedZone);
        std::memset(start + size, kZone, after);
        ASAN_POISON_MEMORY_REGION(block.raw, kRedZone);
        ASAN_POISON_MEMORY_REGION(start + size, after);
    }
    std::memset(start, zeroed ? 0 : kFresh, size);
    if (!zeroed) NQ_MARK_UNWRITTEN(start, size);
    blocks_.emplace(start, block);
    live_bytes_ += size;
    ++live_[static_cast<std::size_t>(kind)];
    return start;
}

// Both checks look into the red zones, which AddressSanitizer then must allow.
bool CheckingPool::intact(const unsigned char* start, const Block& block) const {
    const auto before = static_cast<std::uint64_t>(start - block.raw);
    if (mode_ == PoolMode::kGuard) return all_equal(block.raw, before, kZone);
    const std::uint64_t after = block.raw_size - kRedZone - block.size;
    ASAN_UNPOISON_MEMORY_REGION(block.raw, block.raw_size);
    const bool result =
        all_equal(block.raw, before, kZone) && all_equal(start + block.size, after, kZone);
    ASAN_POISON_MEMORY_REGION(block.raw, kRedZone);
    ASAN_POISON_MEMORY_REGION(start + block.size, after);
    return result;
}

bool CheckingPool::untouched(const unsigned char* start, const Block& block) const {
    if (mode_ == PoolMode::kGuard) return true;  // a write would have ended the process
    ASAN_UNPOISON_MEMORY_REGION(block.raw, block.raw_size);
    const bool result = all_equal(start, block.size, kFreed);
    ASAN_POISON_MEMORY_REGION(block.raw, block.raw_size);
    return result;
}

bool CheckingPool::give_locked(void* block, const char* operation) {
    auto* start = static_cast<unsigned char*>(block);
    const auto found = blocks_.find(start);
    if (found == blocks_.end()) {
        const bool freed = std::any_of(quarantine_.begin(), quarantine_.end(),
                                       [=](const auto& old) { return old.first == start; });
        fault(std::string(operation) + (freed ? " of a freed block" : " of a foreign block"));
        return false;
    }
    if (!intact(start, found->second)) {
        fault("write outside a block of " + std::to_string(found->second.size) + " bytes");
    }
    live_bytes_ -= found->second.size;
    --live_[static_cast<std::size_t>(found->second.kind)];
    retire(start, found->second);
    blocks_.erase(found);
    return true;
}

void CheckingPool::retire(unsigned char* start, const Block& block) {
    if (mode_ == PoolMode::kGuard) {
        mprotect(block.raw, block.raw_size, PROT_NONE);
    } else {
        std::memset(start, kFreed, block.size);
        ASAN_POISON_MEMORY_REGION(block.raw, block.raw_size);
    }
    quarantine_.emplace_back(start, block);
    quarantine_bytes_ += block.raw_size;
    while (quarantine_bytes_ > kQuarantineBytes || quarantine_.size() > kQuarantineBlocks) {
        drop_oldest();
    }
}

void CheckingPool::drop_oldest() {
    const auto [start, block] = quarantine_.front();
    quarantine_.pop_front();
    quarantine_bytes_ -= block.raw_size;
    if (!untouched(start, block)) {
        fault("write to a freed block of " + std::to_string(block.size) + " bytes");
    }
    discard(block);
}

void CheckingPool::discard(const Block& block) {
    if (mode_ == PoolMode::kGuard) {
        munmap(block.raw, block.raw_size);
        return;
    }
    ASAN_UNPOISON_MEMORY_REGION(block.raw, block.raw_size);
    std::free(block.raw);
}

bool CheckingPool::has(const void* block) const {
    const std::lock_guard lock(mutex_);
    return blocks_.count(static_cast<unsigned char*>(const_cast<void*>(block))) != 0;
}

void CheckingPool::check() const {
    const std::lock_guard lock(mutex_);
    for (const auto& [start, block] : blocks_) {
        if (!intact(start, block)) {
            fault("write outside a block of " + std::to_string(block.size) + " bytes");
        }
    }
    for (const auto& [start, block] : quarantine_) {
        if (!untouched(start, block)) {
            fault("write to a freed block of " + std::to_string(block.size) + " bytes");
        }
    }
}

void CheckingPool::destroy() {
    check();
    const std::lock_guard lock(mutex_);
    destroyed_ = true;
    for (const auto& [start, block] : blocks_) discard(block);
    for (const auto& [start, block] : quarantine_) discard(block);
    blocks_.clear();
    quarantine_.clear();
    quarantine_bytes_ = live_bytes_ = 0;
    live_ = {};
}

std::uint64_t CheckingPool::bytes() const {
    const std::lock_guard lock(mutex_);
    return live_bytes_;
}

std::uint64_t CheckingPool::blocks() const {
    const std::lock_guard lock(mutex_);
    return blocks_.size();
}

std::uint64_t CheckingPool::blocks(BlockKind kind) const {
    const std::lock_guard lock(mutex_);
    return live_[static_cast<std::size_t>(kind)];
}

NQStatus CheckingPool::destroy_pool(HostPool* self) noexcept {
    CheckingPool& pool = of(self);
    const NQStatus status = pool.plan_.next(Call::kDestroyPool);
    if (pool.usable("destroy")) pool.destroy();
    return status;
}

void* CheckingPool::alloc_block(HostPool* self, std::uint64_t size, std::uint32_t flags) noexcept {
    CheckingPool& pool = of(self);
    if (flags & ~ALLOC_ZERO_FILL) pool.fault("alloc with unknown flags");
    if (pool.plan_.next(Call::kAlloc)) return nullptr;
    return pool.take(size, flags & ALLOC_ZERO_FILL, BlockKind::kPlain);
}

NQStatus CheckingPool::free_block(HostPool* self, void* block) noexcept {
    CheckingPool& pool = of(self);
    const NQStatus status = pool.plan_.next(Call::kFree);
    pool.give(block);
    return status;
}

void* CheckingPool::realloc_block(HostPool* self, void* block, std::uint64_t size,
                                  std::uint32_t flags) noexcept {
    CheckingPool& pool = of(self);
    if (flags & ~ALLOC_ZERO_FILL) pool.fault("realloc with unknown flags");
    const std::lock_guard lock(pool.mutex_);
    if (pool.plan_.next(Call::kRealloc) || !pool.usable("realloc")) return nullptr;
    const auto old = pool.blocks_.find(static_cast<unsigned char*>(block));
    if (block && old == pool.blocks_.end()) {
        pool.fault("realloc of a block that is not there");
        return nullptr;
    }
    const BlockKind kind = block ? old->second.kind : BlockKind::kPlain;
    const std::uint64_t kept = block ? std::min(old->second.size, size) : 0;
    void* moved = pool.take_locked(size, flags & ALLOC_ZERO_FILL, kind);
    if (!moved) return nullptr;
    if (kept) std::memcpy(moved, block, kept);
    if (block) pool.give_locked(block, "realloc");
    return moved;
}

}  // namespace nq::test
