#pragma once
#include "nqinstance/host/base.h"

NQ_BEGIN_C

/* The first word of every table and object: "nevo", then four zero bytes. */
#define NQ_MAGIC UINT64_C(0x6f76656e)

/* The three words that begin everything the host and its extensions exchange. */
typedef struct NQHandle {
    uint64_t magic;   /* NQ_MAGIC */
    const char* name; /* zero-terminated; may be null where an object has no name */

    /* Gives back one hold of the object, which may be gone afterwards. */
    NQStatus (*release)(void* self) NQ_NOEXCEPT;
} NQHandle;

/* A loaded sibling extension, before it is known which one. `release` gives back one hold. */
typedef struct NQExtension {
    NQHandle handle;
} NQExtension;

NQ_END_C

NQ_TABLE(NQHandle, 3);
NQ_WORD(NQHandle, magic, 0);
NQ_WORD(NQHandle, name, 1);
NQ_WORD(NQHandle, release, 2);
NQ_TABLE(NQExtension, 3);
