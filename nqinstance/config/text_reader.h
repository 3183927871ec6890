#pragma once
#include "nqinstance/core/data.h"
#include "nqinstance/host/encoding.h"
#include "nqinstance/host/file.h"

NQ_BEGIN_C

/* Turns a file of UTF-8 text into a sequence of lines: type name "NQTextReader". Made by
 * nqTextReaderCreate, ended by its header's `release`. Used by one thread at a time.
 *
 * Bytes that the transcoder left over at the end of one fill are put before the bytes of the next.
 * That next conversion is given as many bytes as were read less the left-over count, or none when
 * fewer were read than were left over. This is on purpose, and visible with a transcoder that
 * leaves bytes over, of which some are lost; one that keeps an incomplete character itself loses
 * nothing. */
typedef struct NQTextReader NQTextReader;
struct NQTextReader {
    InstanceHeader header;
    NQStringApi* stringExt;     /* held */
    NQIoeApi* ioeExt;           /* held */
    IoeFile* file;              /* owned; null until a file is open */
    Transcoder* transcoder;     /* owned; null: the file holds NQChar units as they are */
    TranscoderState* convState; /* a block of the reader's pool */
    uint64_t capacity;          /* of `charBuffer`, in characters: 2048 */
    NQData* rawBuffer;          /* owned: 2048 bytes as read from the file */
    uint64_t leftover;          /* bytes at the end of the last fill that were not converted */
    NQChar* charBuffer;         /* a block of 12288 bytes, of which conversions use 8192 */
    uint64_t charCount;         /* characters in `charBuffer`; 0: to be filled before scanning */
    NQChar* position;           /* the first character in `charBuffer` not yet returned */
};

/* Stores a new reader without a file, in memory of `pool` and held once by the caller, in
 * `*reader`. On failure `*reader` is untouched.
 * NQ_STATUS_NO_MEMORY: the pool refused. When it refused the character buffer, the state block
 * stays with the pool until the pool is destroyed; otherwise nothing is left allocated.
 * NQ_STATUS_NO_EXTENSION: "nqioe" or "nqstring" could not be loaded. */
NQ_EXPORT NQStatus nqTextReaderCreate(InstanceApi* api, HostPool* pool,
                                      NQTextReader** reader) NQ_NOEXCEPT;

/* Opens the file with the zero-terminated UTF-8 name. A reader may be opened again: what is
 * buffered from before is still returned first, and the file opened before is not closed but only
 * replaced; its holder is whoever gave it out.
 * NQ_STATUS_NO_SERVICE: the host has no transcoder for UTF-8; the file is as it was.
 * Any other status is that of the file service, or of the string service for the name. */
NQ_EXPORT NQStatus nqTextReaderOpen(NQTextReader* reader, const char* fileName) NQ_NOEXCEPT;

/* Stores the next line, a new string in the reader's pool that the caller releases, in `*line`; or
 * null at the end of the file. U+000A and U+0015 end a line and are not part of it, nor is one
 * carriage return right before them. A last line without an end keeps its carriage return.
 *
 * Set `*line` to null before the call: a failure may leave a line that was begun in it, which the
 * caller releases, or leave it untouched. After a failure the rest of the buffer is dropped and
 * the next call reads on in the file.
 * NQ_STATUS_INVALID_ARGUMENT: the buffer is used up and no file is open.
 * NQ_STATUS_UNCONVERTIBLE: the file holds bytes that cannot be converted.
 * Any other status is that of the file service, the transcoder or the string service. */
NQ_EXPORT NQStatus nqTextReaderReadLine(NQTextReader* reader, NQU8String** line) NQ_NOEXCEPT;

/* The destroy hook, called by the last release only: closes the file and gives back all that the
 * reader holds. Always NQ_STATUS_OK. */
NQ_EXPORT NQStatus nqTextReaderDestroy(InstanceHeader* instance) NQ_NOEXCEPT;

NQ_END_C

NQ_RECORD(NQTextReader, 168);
NQ_WORD(NQTextReader, stringExt, 10);
NQ_WORD(NQTextReader, ioeExt, 11);
NQ_WORD(NQTextReader, file, 12);
NQ_WORD(NQTextReader, transcoder, 13);
NQ_WORD(NQTextReader, convState, 14);
NQ_WORD(NQTextReader, capacity, 15);
NQ_WORD(NQTextReader, rawBuffer, 16);
NQ_WORD(NQTextReader, leftover, 17);
NQ_WORD(NQTextReader, charBuffer, 18);
NQ_WORD(NQTextReader, charCount, 19);
NQ_WORD(NQTextReader, position, 20);
