#pragma once
#include "nqinstance/host/array.h"
#include "nqinstance/host/string.h"

NQ_BEGIN_C

typedef struct NQDictionaryApi NQDictionaryApi;

/* A dictionary of instances under string keys: type name "NQDictionary". */
struct NQDictionary {
    InstanceHeader header;
    NQDictionaryApi* extension; /* the extension that the dictionary keeps loaded */

    /* Stores the value under the key and takes references of its own to both. What a key that
     * is there already does is the host's rule. */
    NQStatus (*set)(NQDictionary* self, NQU8String* key, InstanceHeader* value) NQ_NOEXCEPT;

    /* Stores the value, which stays the dictionary's, in `*value`. */
    NQStatus (*get)(NQDictionary* self, NQU8String* key, InstanceHeader** value) NQ_NOEXCEPT;

    /* 1 and the borrowed value when the key exists, else 0 with `*value` unchanged. */
    int32_t (*find)(NQDictionary* self, const uint8_t* key, uint64_t keyLength,
                    InstanceHeader** value) NQ_NOEXCEPT;

    /* A new array of NQU8String keys, released by the caller. */
    NQStatus (*listKeys)(NQDictionary* self, NQArray** keys) NQ_NOEXCEPT;

    void* host[27]; /* host's own */
};

/* The sibling extension "nqdictionary". */
struct NQDictionaryApi {
    NQHandle handle;
    void* host_3_to_9[7];

    /* A new empty dictionary. `self2` is the extension once more. */
    NQStatus (*createDictionary)(NQDictionaryApi* self, HostPool* pool, void* null,
                                 NQDictionary** out, NQDictionaryApi* self2) NQ_NOEXCEPT;

    NQStringApi* strings; /* held by the extension for as long as it is loaded */
};

NQ_END_C

NQ_TABLE(NQDictionary, 42);
NQ_WORD(NQDictionary, extension, 10);
NQ_WORD(NQDictionary, set, 11);
NQ_WORD(NQDictionary, get, 12);
NQ_WORD(NQDictionary, find, 13);
NQ_WORD(NQDictionary, listKeys, 14);
NQ_WORD(NQDictionary, host, 15);
NQ_TABLE(NQDictionaryApi, 12);
NQ_WORD(NQDictionaryApi, createDictionary, 10);
NQ_WORD(NQDictionaryApi, strings, 11);
