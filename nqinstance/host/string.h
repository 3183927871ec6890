#pragma once
#include "nqinstance/host/instance_header.h"

NQ_BEGIN_C

typedef struct NQU8String NQU8String;

/* The operations of a UTF-8 string. `append`, `insert` and `trim` may move the buffer, so
 * `bytes` is read afresh after each. */
typedef struct NQU8StringMethods {
    /* Adds text at the end. `length` counts bytes (NQ_ENCODING_UTF8) or units
     * (NQ_ENCODING_NQCHAR). */
    NQStatus (*append)(NQU8String* self, const void* text, uint64_t length,
                       uint32_t encoding) NQ_NOEXCEPT;

    /* Puts `length` bytes of UTF-8 text before the byte at `position`. */
    NQStatus (*insert)(NQU8String* self, uint64_t position, const uint8_t* text,
                       uint64_t length) NQ_NOEXCEPT;

    /* Removes white space at both ends. */
    NQStatus (*trim)(NQU8String* self) NQ_NOEXCEPT;

    /* Replaces the text by the host's message for `code` with its arguments. */
    NQStatus (*formatMessage)(NQU8String* self, void* userData, NQStatus code, ...) NQ_NOEXCEPT;
} NQU8StringMethods;

/* A UTF-8 string object: type name "NQU8String". */
struct NQU8String {
    InstanceHeader header;
    const NQU8StringMethods* methods;
    uint8_t* bytes;  /* zero-terminated */
    uint64_t length; /* in bytes, without the terminator */
};

/* A string object of NQChar text: type name "NQString". */
typedef struct NQString {
    InstanceHeader header;
    void* host; /* host's own */
    NQChar* text;
    uint64_t length; /* in units */
} NQString;

/* The sibling extension "nqstring". Words called host_* belong to the host alone. */
typedef struct NQStringApi NQStringApi;
/* clang-format off */
struct NQStringApi {
    NQHandle handle;
    void* host_3_to_9[7];

    /* A new string of `length` bytes of UTF-8 text (null for none), or null. */
    NQU8String* (*newString)(NQStringApi* self, HostPool* pool, const uint8_t* text,
                             uint64_t length, uint32_t flag) NQ_NOEXCEPT;

    /* The same through `*out`. With flag 1 a string that `*out` already holds may be continued
     * instead; with flag 0, or a null `*out`, the string is new. */
    NQStatus (*createFromUtf8)(NQStringApi* self, NQU8String** out, HostPool* pool,
                               const uint8_t* text, uint64_t length, uint32_t flag) NQ_NOEXCEPT;

    /* A new string from text in the given encoding; `length` as in `append`. */
    NQStatus (*createEncoded)(NQStringApi* self, NQU8String** out, HostPool* pool, const void* text,
                              uint64_t length, uint32_t encoding) NQ_NOEXCEPT;

    /* A new empty string with room for `capacity` bytes and the terminator, whose buffer the
     * caller may fill directly. */
    NQStatus (*createWithCapacity)(NQStringApi* self, NQU8String** out, HostPool* pool,
                                   uint64_t capacity) NQ_NOEXCEPT;

    /* A new string holding `length` units of NQChar text as UTF-8. */
    NQStatus (*copyText)(NQStringApi* self, NQU8String** out, HostPool* pool, const NQChar* text,
                         uint64_t length) NQ_NOEXCEPT;
    void* host_15_to_64[50];

    /* A new string holding the base64 text (RFC 4648) of the bytes. The options are the
     * host's; 0 and 0 give the plain encoding. */
    NQStatus (*base64EncodeU8)(NQStringApi* self, const uint8_t* bytes, uint64_t length,
                               HostPool* pool, NQU8String** out, uint32_t option1,
                               uint32_t option2) NQ_NOEXCEPT;
    void* host_66_to_68[3];

    /* The same with the URL- and file-name-safe alphabet. */
    NQStatus (*base64URLEncodeU8)(NQStringApi* self, const uint8_t* bytes, uint64_t length,
                                  HostPool* pool, NQU8String** out, uint32_t option1,
                                  uint32_t option2) NQ_NOEXCEPT;
};
/* clang-format on */

NQ_END_C

NQ_TABLE(NQU8StringMethods, 4);
NQ_WORD(NQU8StringMethods, append, 0);
NQ_WORD(NQU8StringMethods, insert, 1);
NQ_WORD(NQU8StringMethods, trim, 2);
NQ_WORD(NQU8StringMethods, formatMessage, 3);
NQ_TABLE(NQU8String, 13);
NQ_WORD(NQU8String, methods, 10);
NQ_WORD(NQU8String, bytes, 11);
NQ_WORD(NQU8String, length, 12);
NQ_TABLE(NQString, 13);
NQ_WORD(NQString, text, 11);
NQ_WORD(NQString, length, 12);
NQ_TABLE(NQStringApi, 70);
NQ_WORD(NQStringApi, newString, 10);
NQ_WORD(NQStringApi, createFromUtf8, 11);
NQ_WORD(NQStringApi, createEncoded, 12);
NQ_WORD(NQStringApi, createWithCapacity, 13);
NQ_WORD(NQStringApi, copyText, 14);
NQ_WORD(NQStringApi, base64EncodeU8, 65);
NQ_WORD(NQStringApi, base64URLEncodeU8, 69);
