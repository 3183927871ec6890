#pragma once
#include "nqinstance/host/handle.h"

NQ_BEGIN_C

/* Set in TranscoderState.flags when the input held bytes that cannot be converted. */
#define NQ_TRANSCODER_BAD_INPUT UINT32_C(0x100)

/* What a conversion reports beside its status, and keeps from one call to the next. The caller
 * provides it zeroed and hands the same one to each call. */
typedef struct TranscoderState {
    uint32_t flags;    /* NQ_TRANSCODER_BAD_INPUT */
    uint32_t padding;  /* host's own */
    uint64_t consumed; /* bytes of the last call's source that were consumed */
    uint64_t host[3];  /* host's own */
} TranscoderState;

/* Converts one stream of text; its handle's `release` ends it. */
typedef struct Transcoder Transcoder;
struct Transcoder {
    NQHandle handle;

    /* Converts `source` into `target` and stores the bytes written.
     * NQ_STATUS_BUFFER_TOO_SMALL: the source ends inside a character, or the target is full;
     * `state->consumed` says how much of the source was used. `state` is a TranscoderState. */
    NQStatus (*convert)(Transcoder* self, const uint8_t* source, uint64_t sourceLength,
                        NQChar* target, uint64_t targetBytes, uint64_t* bytesWritten, void* state,
                        uint64_t zero) NQ_NOEXCEPT;
};

typedef struct HostEncoding HostEncoding;
/* clang-format off */
struct HostEncoding {
    NQHandle handle;

    /* 1 when text in encoding `from` must be converted to become text in encoding `to`. */
    int32_t (*needsTranscoding)(HostEncoding* self, uint32_t from, uint32_t to) NQ_NOEXCEPT;

    /* A new transcoder, or null. Code 0 stands for the host's own NQChar encoding. */
    Transcoder* (*createTranscoder)(HostEncoding* self, uint32_t from, uint32_t to,
                                    uint64_t options) NQ_NOEXCEPT;
};
/* clang-format on */

NQ_END_C

NQ_RECORD(TranscoderState, 40);
NQ_FIELD(TranscoderState, flags, 0);
NQ_FIELD(TranscoderState, consumed, 8);
NQ_TABLE(Transcoder, 4);
NQ_WORD(Transcoder, convert, 3);
NQ_TABLE(HostEncoding, 5);
NQ_WORD(HostEncoding, needsTranscoding, 3);
NQ_WORD(HostEncoding, createTranscoder, 4);
