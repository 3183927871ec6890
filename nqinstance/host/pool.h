#pragma once
#include "nqinstance/host/handle.h"

NQ_BEGIN_C

/* Asks `alloc` and `realloc` for zeroed bytes. */
#define ALLOC_ZERO_FILL UINT32_C(0x80000000)

/* A memory pool. Whether several threads may use one pool at once is the host's promise; the
 * standalone host makes it. */
typedef struct HostPool HostPool;
/* clang-format off */
struct HostPool {
    uint64_t magic;
    const char* name;

    /* Destroys the pool and every block in it. */
    NQStatus (*destroy)(HostPool* self) NQ_NOEXCEPT;

    /* A block of `size` bytes, or null when there is no memory. Its bytes are garbage unless
     * `flags` holds ALLOC_ZERO_FILL. */
    void* (*alloc)(HostPool* self, uint64_t size, uint32_t flags) NQ_NOEXCEPT;

    /* Frees a block of this pool. */
    NQStatus (*free)(HostPool* self, void* block) NQ_NOEXCEPT;

    /* The block moved or grown to `size` bytes with its content kept, or null with the old block
     * unchanged. With ALLOC_ZERO_FILL the added bytes are zero. A null `block` allocates. */
    void* (*realloc)(HostPool* self, void* block, uint64_t size, uint32_t flags) NQ_NOEXCEPT;
};
/* clang-format on */

NQ_END_C

NQ_TABLE(HostPool, 6);
NQ_WORD(HostPool, magic, 0);
NQ_WORD(HostPool, name, 1);
NQ_WORD(HostPool, destroy, 2);
NQ_WORD(HostPool, alloc, 3);
NQ_WORD(HostPool, free, 4);
NQ_WORD(HostPool, realloc, 5);
