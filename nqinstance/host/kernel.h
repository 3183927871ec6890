#pragma once
#include <stdarg.h>

#include "nqinstance/host/encoding.h"
#include "nqinstance/host/pool.h"
#include "nqinstance/host/unicode.h"

NQ_BEGIN_C

typedef struct HostKernel HostKernel;

/* The part of a task's surroundings that names its service table. */
typedef struct NQEnvironment {
    NQHandle handle;
    HostKernel* services;
} NQEnvironment;

/* A task's context. */
typedef struct NQContext {
    NQHandle handle;
    NQEnvironment* environment;
} NQContext;

/* What the formatting services get as their first argument after the table. */
typedef struct NQCallRecord {
    NQContext* context; /* may be null */
    uint64_t zero;
} NQCallRecord;

/* The host's kernel table. Names are NQChar text with a length in units. Words called host_*
 * belong to the host alone. */
/* clang-format off */
struct HostKernel {
    NQHandle handle;
    void* host_3_to_5[3];

    /* A new pool, or null. `parameters`: 24 bytes, all zero for a plain pool. `name` is
     * zero-terminated and must outlive the pool. */
    HostPool* (*createPool)(HostKernel* self, const void* parameters, uint64_t zero,
                            const char* name) NQ_NOEXCEPT;
    void* host_7_to_8[2];

    /* The named extension's table with one hold for the caller, or null. `version` is 0. `slot` is
     * the address of Exported_NQHandle when "nqdictionary" is loaded, else null. */
    NQExtension* (*loadExtension)(HostKernel* self, const NQChar* name, uint64_t length,
                                  uint64_t version, HostKernel** slot) NQ_NOEXCEPT;
    void* host_10_to_11[2];

    /* Ends a registration made with registerHandle. */
    NQStatus (*unregisterHandle)(HostKernel* self, const NQChar* name, uint64_t length) NQ_NOEXCEPT;
    void* host_13_to_14[2];

    /* Registers `handle` under `name`. Any status but 0 means that it is not registered. */
    NQStatus (*registerHandle)(HostKernel* self, const NQChar* name, uint64_t length,
                               uint64_t three, uint64_t five, void* handle, uint64_t eight,
                               uint64_t zero1, uint64_t zero2) NQ_NOEXCEPT;

    /* Copies a host option into `value`; `*valueSize` holds its room in bytes and receives the
     * bytes stored. */
    NQStatus (*getOption)(HostKernel* self, const NQChar* name, uint64_t length, uint64_t zero,
                          void* value, uint64_t* valueSize) NQ_NOEXCEPT;

    /* A pool for the duration of one operation, given back with releaseTempPool; or null. */
    HostPool* (*getTempPool)(HostKernel* self) NQ_NOEXCEPT;
    NQStatus (*releaseTempPool)(HostKernel* self, HostPool* pool) NQ_NOEXCEPT;

    HostEncoding* encoding;
    HostUnicode* unicode; /* null when the host has none */

    NQStatus (*captureMessage)(HostKernel* self, void* first, void* second,
                               va_list arguments) NQ_NOEXCEPT;

    /* Formats into `buffer` of `capacity` units; `*outLength` receives the units stored. The
     * output is not terminated. `record` is an NQCallRecord or the caller's NQContext**.
     * Integers and characters are fetched from `arguments` as 64 bits, floating values as double.
     * What happens to output that does not fit is the host's rule. */
    NQStatus (*formatToBuffer)(HostKernel* self, void* record, const NQChar* format,
                               uint64_t formatLength, NQChar* buffer, uint64_t capacity,
                               uint64_t* outLength, uint64_t zero, va_list arguments) NQ_NOEXCEPT;

    /* The meaning of the untyped arguments of the next three is the host's. */
    uint64_t (*renderMessage)(HostKernel* self, void* record, void* first, void* second,
                              void* fourth, void* fifth) NQ_NOEXCEPT;
    uint64_t (*renderFormatted)(HostKernel* self, void* record, void* first, void* second,
                                void* third, va_list arguments) NQ_NOEXCEPT;
    NQStatus (*formatStatus)(HostKernel* self, void* record, NQStatus status, void* first,
                             void* second, void* third, va_list arguments) NQ_NOEXCEPT;

    /* Where the host keeps its default context; may be null, and so may what it points at. */
    NQContext** defaultContext;
};
/* clang-format on */

/* The kernel of the host that loaded the library: written by nqextent and nqextver before any
 * other call, only read afterwards. */
extern NQ_EXPORT HostKernel* Exported_NQHandle;

NQ_END_C

NQ_TABLE(NQEnvironment, 4);
NQ_WORD(NQEnvironment, services, 3);
NQ_TABLE(NQContext, 4);
NQ_WORD(NQContext, environment, 3);
NQ_RECORD(NQCallRecord, 16);
NQ_FIELD(NQCallRecord, context, 0);
NQ_FIELD(NQCallRecord, zero, 8);
NQ_TABLE(HostKernel, 27);
NQ_WORD(HostKernel, createPool, 6);
NQ_WORD(HostKernel, loadExtension, 9);
NQ_WORD(HostKernel, unregisterHandle, 12);
NQ_WORD(HostKernel, registerHandle, 15);
NQ_WORD(HostKernel, getOption, 16);
NQ_WORD(HostKernel, getTempPool, 17);
NQ_WORD(HostKernel, releaseTempPool, 18);
NQ_WORD(HostKernel, encoding, 19);
NQ_WORD(HostKernel, unicode, 20);
NQ_WORD(HostKernel, captureMessage, 21);
NQ_WORD(HostKernel, formatToBuffer, 22);
NQ_WORD(HostKernel, renderMessage, 23);
NQ_WORD(HostKernel, renderFormatted, 24);
NQ_WORD(HostKernel, formatStatus, 25);
NQ_WORD(HostKernel, defaultContext, 26);
