#pragma once
#include "nqinstance/host/handle.h"

NQ_BEGIN_C

/* How "nqioe" opens a file. All bytes that are not named are zero. */
typedef struct IoeOpenParameters {
    NQChar engine[8]; /* blank-padded name of the I/O engine: "DISK    " */
    uint32_t word_32; /* 1; the meaning of this and of the other numbered words is the host's */
    uint32_t word_36; /* 0 */
    uint64_t blockSize;
    uint32_t word_48; /* 1 */
    uint32_t word_52; /* 0 */
    uint32_t word_56; /* 4 */
    uint8_t host_60[128];
    uint32_t word_188; /* 0 */
    uint32_t word_192; /* 28 */
    uint32_t word_196; /* 28 */
    uint32_t word_200; /* 1 */
    uint8_t host_204[252];
} IoeOpenParameters;

/* Parameters of one open or read; all zero. */
typedef struct IoeParameters {
    uint64_t words[4];
} IoeParameters;

/* An open file; its handle's `release` closes it. */
typedef struct IoeFile IoeFile;
struct IoeFile {
    NQHandle handle;

    /* Reads up to `*length` bytes to `*cursor`, stores the number delivered in `*length` and
     * leaves `*cursor` alone. NQ_STATUS_END_OF_FILE: nothing follows; `*length` bytes, which may
     * be none, were still delivered. */
    NQStatus (*read)(IoeFile* self, uint8_t** cursor, uint64_t* length, uint64_t* word,
                     uint64_t zero, const void* ioParameters) NQ_NOEXCEPT;
};

/* The sibling extension "nqioe". */
typedef struct NQIoeApi NQIoeApi;
/* clang-format off */
struct NQIoeApi {
    NQHandle handle;
    void* host_3_to_9[7];

    /* Opens the file with the UTF-8 name; null when it cannot, with the reason in
     * `*openStatus`. `kind` is "file". */
    IoeFile* (*openFile)(NQIoeApi* self, const uint8_t* name, uint64_t nameLength,
                         const void* openParameters, uint64_t zero1, uint64_t zero2,
                         const char* kind, NQStatus* openStatus,
                         const void* ioParameters) NQ_NOEXCEPT;
};
/* clang-format on */

NQ_END_C

NQ_RECORD(IoeOpenParameters, 456);
NQ_FIELD(IoeOpenParameters, engine, 0);
NQ_FIELD(IoeOpenParameters, word_32, 32);
NQ_FIELD(IoeOpenParameters, word_36, 36);
NQ_FIELD(IoeOpenParameters, blockSize, 40);
NQ_FIELD(IoeOpenParameters, word_48, 48);
NQ_FIELD(IoeOpenParameters, word_52, 52);
NQ_FIELD(IoeOpenParameters, word_56, 56);
NQ_FIELD(IoeOpenParameters, word_188, 188);
NQ_FIELD(IoeOpenParameters, word_192, 192);
NQ_FIELD(IoeOpenParameters, word_196, 196);
NQ_FIELD(IoeOpenParameters, word_200, 200);
NQ_RECORD(IoeParameters, 32);
NQ_TABLE(IoeFile, 4);
NQ_WORD(IoeFile, read, 3);
NQ_TABLE(NQIoeApi, 11);
NQ_WORD(NQIoeApi, openFile, 10);
