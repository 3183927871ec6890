#pragma once
#include "nqinstance/host/instance_header.h"
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* The scalar instances and the wrapped handle: 88 bytes each, the header and one payload word.
 *
 * Every create operation takes the service table, the pool in which the instance is to live and
 * the value; it returns the instance, held once by the caller, and stores NQ_STATUS_OK, or returns
 * null and stores NQ_STATUS_NO_MEMORY. It may be called with one pool by several threads where
 * the host's pool allows that.
 *
 * Every clone operation stores an independent copy, held once by the caller, in `*out`. A null
 * `pool` means the source's own; `ignored` has no meaning. NQ_STATUS_NO_MEMORY: `*out` is null. */

typedef struct NQHandleInstance {
    InstanceHeader header;
    NQHandle* inner; /* the wrapped handle, owned; may be null */
} NQHandleInstance;

typedef struct NQBooleanInstance {
    InstanceHeader header;
    uint8_t value;
} NQBooleanInstance;

typedef struct NQInt32Instance {
    InstanceHeader header;
    int32_t value;
} NQInt32Instance;

typedef struct NQInt64Instance {
    InstanceHeader header;
    int64_t value;
} NQInt64Instance;

typedef struct NQUInt32Instance {
    InstanceHeader header;
    uint32_t value;
} NQUInt32Instance;

typedef struct NQUInt64Instance {
    InstanceHeader header;
    uint64_t value;
} NQUInt64Instance;

typedef struct NQDoubleInstance {
    InstanceHeader header;
    double value;
} NQDoubleInstance;

/* One character, not a string. Its `clone` word refuses on purpose; nqInstanceCloneNQChar
 * copies it all the same. */
typedef struct NQCharInstance {
    InstanceHeader header;
    NQChar value;
} NQCharInstance;

/* Wraps `inner`, which may be null, and takes over the caller's hold of it on success. The
 * instance answers to "NQHandleInstance" and to the wrapped handle's name. */
NQ_EXPORT NQHandleInstance* nqInstanceHandleCreate(InstanceApi* api, HostPool* pool,
                                                   NQHandle* inner, NQStatus* status) NQ_NOEXCEPT;

NQ_EXPORT NQBooleanInstance* nqInstanceCreateBoolean(InstanceApi* api, HostPool* pool,
                                                     uint8_t value, NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQInt32Instance* nqInstanceCreateInt32(InstanceApi* api, HostPool* pool, int32_t value,
                                                 NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQInt64Instance* nqInstanceCreateInt64(InstanceApi* api, HostPool* pool, int64_t value,
                                                 NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQUInt32Instance* nqInstanceCreateUInt32(InstanceApi* api, HostPool* pool, uint32_t value,
                                                   NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQUInt64Instance* nqInstanceCreateUInt64(InstanceApi* api, HostPool* pool, uint64_t value,
                                                   NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQDoubleInstance* nqInstanceCreateDouble(InstanceApi* api, HostPool* pool, double value,
                                                   NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQCharInstance* nqInstanceCreateNQChar(InstanceApi* api, HostPool* pool, NQChar value,
                                                 NQStatus* status) NQ_NOEXCEPT;

NQ_EXPORT NQStatus nqInstanceCloneBoolean(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                          InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCloneInt32(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                        InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCloneInt64(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                        InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCloneUInt32(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                         InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCloneUInt64(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                         InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCloneDouble(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                         InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCloneNQChar(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                         InstanceHeader** out) NQ_NOEXCEPT;

/* The shared first half of every clone: a zero-filled block of `size` bytes (at least 80) from
 * `pool`, its header copied from the source with a count of 1, but `pool` and payload still zero.
 * `*out` is stored at once. NQ_STATUS_NO_MEMORY: `*out` is null. */
NQ_EXPORT NQStatus nqInstanceCreateClone(InstanceHeader* source, HostPool* pool, uint64_t size,
                                         InstanceHeader** out) NQ_NOEXCEPT;

/* The clone operation of kinds that cannot be cloned: always NQ_STATUS_UNSUPPORTED, with `*out`
 * untouched. */
NQ_EXPORT NQStatus cloneInstance(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                 InstanceHeader** out) NQ_NOEXCEPT;

/* Drops one reference of any instance; the last one runs its destroy hook. Always NQ_STATUS_OK.
 * Threads may release their own references to one instance at once; exactly one runs the hook.
 * A release beyond the last wraps the count and does nothing else. */
NQ_EXPORT NQStatus nqInstanceDestroy(void* instance) NQ_NOEXCEPT;

/* 1 when the instance is of the named type, compared by content, else 0. A null name matches a
 * null type name, and a wrapped handle that is null or has no name. Any thread may ask. */
NQ_EXPORT int32_t instanceIsType(InstanceHeader* instance, const char* typeName) NQ_NOEXCEPT;

/* Destroy hooks, called by the last release only. They return the pool's status of the free. */
NQ_EXPORT NQStatus nqHandleInstanceDestroy(InstanceHeader* instance) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqHandleNumericDestroy(InstanceHeader* instance) NQ_NOEXCEPT;

NQ_END_C

NQ_RECORD(NQHandleInstance, 88);
NQ_FIELD(NQHandleInstance, inner, 80);
NQ_RECORD(NQBooleanInstance, 88);
NQ_FIELD(NQBooleanInstance, value, 80);
NQ_RECORD(NQInt32Instance, 88);
NQ_FIELD(NQInt32Instance, value, 80);
NQ_RECORD(NQInt64Instance, 88);
NQ_FIELD(NQInt64Instance, value, 80);
NQ_RECORD(NQUInt32Instance, 88);
NQ_FIELD(NQUInt32Instance, value, 80);
NQ_RECORD(NQUInt64Instance, 88);
NQ_FIELD(NQUInt64Instance, value, 80);
NQ_RECORD(NQDoubleInstance, 88);
NQ_FIELD(NQDoubleInstance, value, 80);
NQ_RECORD(NQCharInstance, 88);
NQ_FIELD(NQCharInstance, value, 80);
