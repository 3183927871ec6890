#pragma once
#include "nqinstance/host/instance_header.h"

NQ_BEGIN_C

/* An array of instances: type name "NQArray". */
typedef struct NQArray NQArray;
struct NQArray {
    InstanceHeader header;

    /* Adds an item at the end and takes a reference of its own to it. */
    NQStatus (*append)(NQArray* self, void* item, uint64_t zero) NQ_NOEXCEPT;

    InstanceHeader** elements;
    uint64_t count;
};

/* The sibling extension "nqarray". */
typedef struct NQArrayApi NQArrayApi;
struct NQArrayApi {
    NQHandle handle;
    void* host_3_to_9[7];

    /* A new empty array. */
    NQStatus (*createArray)(NQArrayApi* self, HostPool* pool, uint64_t zero,
                            NQArray** out) NQ_NOEXCEPT;
};

NQ_END_C

NQ_TABLE(NQArray, 13);
NQ_WORD(NQArray, append, 10);
NQ_WORD(NQArray, elements, 11);
NQ_WORD(NQArray, count, 12);
NQ_TABLE(NQArrayApi, 11);
NQ_WORD(NQArrayApi, createArray, 10);
