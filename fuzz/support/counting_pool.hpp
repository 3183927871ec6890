#pragma once
#include "fuzz/support/machine.hpp"

namespace nq::fuzz {

// A pool of the machine for one input, which counts its blocks: at its end there are none left.
class CountingPool : public HostPool {
  public:
    CountingPool() : HostPool{}, pool_(machine().kernel.pools().make("fuzz")) {
        magic = pool_->magic;
        name = pool_->name;
        alloc = alloc_block;
        free = free_block;
        realloc = realloc_block;
    }
    CountingPool(const CountingPool&) = delete;
    CountingPool& operator=(const CountingPool&) = delete;
    ~CountingPool() {
        NQ_REQUIRE(blocks_ == 0);
        pool_->destroy(pool_);
    }

    std::uint64_t blocks() const { return blocks_; }

  private:
    static CountingPool& of(HostPool* self) { return *static_cast<CountingPool*>(self); }

    static void* alloc_block(HostPool* self, std::uint64_t size, std::uint32_t flags) noexcept {
        return realloc_block(self, nullptr, size, flags);
    }
    static NQStatus free_block(HostPool* self, void* block) noexcept {
        if (block) --of(self).blocks_;
        return of(self).pool_->free(of(self).pool_, block);
    }
    static void* realloc_block(HostPool* self, void* block, std::uint64_t size,
                               std::uint32_t flags) noexcept {
        HostPool* pool = of(self).pool_;
        void* made =
            block ? pool->realloc(pool, block, size, flags) : pool->alloc(pool, size, flags);
        if (made && !block) ++of(self).blocks_;
        return made;
    }

    HostPool* pool_;
    std::uint64_t blocks_ = 0;
};

}  // namespace nq::fuzz
