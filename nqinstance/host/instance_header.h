#pragma once
#include "nqinstance/host/pool.h"

NQ_BEGIN_C

typedef struct InstanceApi InstanceApi;
typedef struct InstanceHeader InstanceHeader;
typedef struct NQDictionary NQDictionary;
typedef struct ValidationRun ValidationRun;

/* The ten words that begin every instance, so that a holder can act on it without knowing its
 * kind. Threads may share an instance: only `refCount` is written after creation, atomically. */
struct InstanceHeader {
    uint64_t magic;       /* NQ_MAGIC */
    const char* typeName; /* zero-terminated, compared by content */

    /* Drops one reference; the last one runs `destroyHook`. Always 0. */
    NQStatus (*release)(void* self) NQ_NOEXCEPT;

    uint64_t refCount; /* 1 after creation; atomic */

    /* 1 when the instance is of the named type, else 0. `typeName` may be null. */
    int32_t (*isType)(InstanceHeader* self, const char* typeName) NQ_NOEXCEPT;

    /* Frees the instance; called once, by the release that takes `refCount` to 0. */
    NQStatus (*destroyHook)(InstanceHeader* self) NQ_NOEXCEPT;

    InstanceApi* api; /* the table of the library that made the instance */

    /* Checks the instance against a definition and stores the verdict, 0 when it is valid. `run`
     * may be null. A host's object may have null here, and is then always valid. */
    NQStatus (*validate)(InstanceHeader* self, NQDictionary* definition, uint32_t* validationStatus,
                         ValidationRun* run) NQ_NOEXCEPT;

    /* Stores an independent copy, held once, in `*out`. */
    NQStatus (*clone)(InstanceHeader* self, HostPool* pool, uint32_t ignored,
                      InstanceHeader** out) NQ_NOEXCEPT;

    HostPool* pool; /* where the instance lives and goes back to */
};

NQ_END_C

NQ_TABLE(InstanceHeader, 10);
NQ_WORD(InstanceHeader, magic, 0);
NQ_WORD(InstanceHeader, typeName, 1);
NQ_WORD(InstanceHeader, release, 2);
NQ_WORD(InstanceHeader, refCount, 3);
NQ_WORD(InstanceHeader, isType, 4);
NQ_WORD(InstanceHeader, destroyHook, 5);
NQ_WORD(InstanceHeader, api, 6);
NQ_WORD(InstanceHeader, validate, 7);
NQ_WORD(InstanceHeader, clone, 8);
NQ_WORD(InstanceHeader, pool, 9);
