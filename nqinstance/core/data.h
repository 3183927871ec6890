#pragma once
#include "nqinstance/host/instance_header.h"
#include "nqinstance/host/status.h"
#include "nqinstance/host/string.h"

NQ_BEGIN_C

/* A binary blob: type name "NQData". Either owns its buffer, or points at the caller's. Several
 * threads may read a blob; resizing needs the only holder. */
typedef struct NQData NQData;
struct NQData {
    InstanceHeader header;
    uint8_t* bytes;  /* null when empty */
    uint64_t length; /* bytes of content */
    uint8_t owned;   /* 1: `bytes` goes back to the instance's pool with the instance */

    /* nqDataEncodeBase64URLU8 and nqDataEncodeBase64U8. */
    NQStatus (*encodeBase64URL)(NQData* self, NQU8String** out, uint32_t option1,
                                uint32_t option2) NQ_NOEXCEPT;
    NQStatus (*encodeBase64)(NQData* self, NQU8String** out, uint32_t option1,
                             uint32_t option2) NQ_NOEXCEPT;

    uint64_t capacity;     /* bytes available in the buffer, at least `length` */
    uint8_t wipeOnDestroy; /* nonzero: the content is zeroed before the buffer is let go */

    /* nqDataResize. */
    NQStatus (*resize)(NQData* self, uint64_t capacity, uint8_t zeroFill) NQ_NOEXCEPT;
};

/* A blob of `length` bytes from `source`; a null source or length 0 gives an empty one. With
 * `copy` nonzero the bytes are copied; else the blob points at `source`, which must outlive it or,
 * with `takeOwnership` 1, is a block of `pool` that the blob frees when it ends.
 * Stores NQ_STATUS_OK; or returns null with NQ_STATUS_NO_MEMORY and nothing left allocated, the
 * source still the caller's. */
NQ_EXPORT NQData* nqDataCreate(InstanceApi* api, HostPool* pool, const void* source,
                               uint64_t length, uint8_t copy, uint8_t takeOwnership,
                               NQStatus* status) NQ_NOEXCEPT;

/* A blob that owns `size` bytes of undefined content; `length` and `capacity` are `size`.
 * Stores NQ_STATUS_OK; or returns null with NQ_STATUS_NO_MEMORY and nothing left allocated. */
NQ_EXPORT NQData* nqDataCreateSized(InstanceApi* api, HostPool* pool, uint64_t size,
                                    NQStatus* status) NQ_NOEXCEPT;

/* Gives the blob's buffer room for `capacity` bytes; `length` stays. With `zeroFill` exactly 1 the
 * added bytes are zero. The blob is unchanged on failure.
 * NQ_STATUS_INVALID_ARGUMENT: the blob does not own its buffer, or `capacity` is below `length`.
 * NQ_STATUS_NO_MEMORY: the pool refused. */
NQ_EXPORT NQStatus nqDataResize(NQData* data, uint64_t capacity, uint8_t zeroFill) NQ_NOEXCEPT;

/* Stores a copy that owns its bytes, held once by the caller, in `*out`. `pool` is required.
 * NQ_STATUS_NO_MEMORY: `*out` is null and nothing is left allocated. */
NQ_EXPORT NQStatus nqDataClone(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                               InstanceHeader** out) NQ_NOEXCEPT;

/* The destroy hook, called by the last release only: the pool's status of the free. */
NQ_EXPORT NQStatus nqDataDestroy(InstanceHeader* instance) NQ_NOEXCEPT;

/* Stores the content's base64 text, a new string in the blob's pool that the caller releases, in
 * `*out`; the options go to the string service unchanged. The URL form uses the URL- and
 * file-name-safe alphabet. NQ_STATUS_NO_EXTENSION: "nqstring" could not be loaded; any other
 * status is the string service's. */
NQ_EXPORT NQStatus nqDataEncodeBase64U8(NQData* data, NQU8String** out, uint32_t option1,
                                        uint32_t option2) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqDataEncodeBase64URLU8(NQData* data, NQU8String** out, uint32_t option1,
                                           uint32_t option2) NQ_NOEXCEPT;

NQ_END_C

NQ_RECORD(NQData, 144);
NQ_FIELD(NQData, bytes, 80);
NQ_FIELD(NQData, length, 88);
NQ_FIELD(NQData, owned, 96);
NQ_FIELD(NQData, encodeBase64URL, 104);
NQ_FIELD(NQData, encodeBase64, 112);
NQ_FIELD(NQData, capacity, 120);
NQ_FIELD(NQData, wipeOnDestroy, 128);
NQ_FIELD(NQData, resize, 136);
