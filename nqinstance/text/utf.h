#pragma once
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* UTF conversions. The byte order of each routine is said beside it; the UTF-16 readers without a
 * suffix are big-endian and the writers without one little-endian, so callers pair them with care.
 * Texts need no alignment. A place for a count may be null. All may be called from several threads
 * at once. */

/* Reads the character at the start of `available` bytes into `*codePoint` and stores the bytes it
 * takes in `*consumed`. With a status other than NQ_STATUS_OK the code point is U+FFFD:
 * NQ_STATUS_MALFORMED for a character that cannot be, NQ_STATUS_TRUNCATED for one that is not
 * all there. */
typedef NQStatus (*NQUtfReader)(const uint8_t* source, uint64_t available, NQChar* codePoint,
                                uint64_t* consumed) NQ_NOEXCEPT;

/* Writes a code point where `capacity` bytes are free and stores the bytes written in `*written`.
 * NQ_STATUS_BUFFER_TOO_SMALL: nothing is written. */
typedef NQStatus (*NQUtfWriter)(NQChar codePoint, uint8_t* target, uint64_t capacity,
                                uint64_t* written) NQ_NOEXCEPT;

/* --- Units ----------------------------------------------------------------------------------- */

NQ_EXPORT uint32_t Byte2DWord(const uint8_t* bytes) NQ_NOEXCEPT;            /* little-endian */
NQ_EXPORT uint32_t Byte2DWord_swap(const uint8_t* bytes) NQ_NOEXCEPT;       /* big-endian */
NQ_EXPORT uint16_t Byte2Word(const uint8_t* bytes) NQ_NOEXCEPT;             /* little-endian */
NQ_EXPORT uint16_t Byte2Word_swap(const uint8_t* bytes) NQ_NOEXCEPT;        /* big-endian */
NQ_EXPORT uint16_t BYTE_UTF16_UTF32(const uint8_t* bytes) NQ_NOEXCEPT;      /* big-endian */
NQ_EXPORT uint16_t BYTE_UTF16_UTF32_SWAP(const uint8_t* bytes) NQ_NOEXCEPT; /* little-endian */

/* --- Readers --------------------------------------------------------------------------------- */

/* UTF-8. Only the lead byte is judged: a valid one (below 0x80, 0xC2..0xF4) takes the bytes after
 * it for its continuation, and overlong forms, surrogates and values above U+10FFFF pass.
 * NQ_STATUS_MALFORMED: any other byte, consumed with the continuation bytes that follow, at most
 * the length it announces. NQ_STATUS_TRUNCATED: all available bytes are consumed. */
NQ_EXPORT NQStatus UTF8_UTF32(const uint8_t* source, uint64_t available, NQChar* codePoint,
                              uint64_t* consumed) NQ_NOEXCEPT;

/* UTF-16, big-endian and little-endian.
 * NQ_STATUS_MALFORMED: a low surrogate first, 2 bytes consumed; or a high surrogate without a low
 * one behind it, 4 bytes consumed even where the source ends before. So a high surrogate at the
 * end is malformed and does not wait: who reads a text in parts keeps its last 4 bytes back.
 * NQ_STATUS_TRUNCATED: fewer than 2 bytes, which are consumed. */
NQ_EXPORT NQStatus UTF16_UTF32(const uint8_t* source, uint64_t available, NQChar* codePoint,
                               uint64_t* consumed) NQ_NOEXCEPT;
NQ_EXPORT NQStatus UTF16_UTF32_SWAP(const uint8_t* source, uint64_t available, NQChar* codePoint,
                                    uint64_t* consumed) NQ_NOEXCEPT;

/* UTF-32, big-endian and little-endian; any value passes. Always 4 bytes consumed; those that are
 * not available count as zero. */
NQ_EXPORT NQStatus COPY_UTF32b(const uint8_t* source, uint64_t available, NQChar* codePoint,
                               uint64_t* consumed) NQ_NOEXCEPT;
NQ_EXPORT NQStatus COPY_UTF32b_SWAP(const uint8_t* source, uint64_t available, NQChar* codePoint,
                                    uint64_t* consumed) NQ_NOEXCEPT;

/* UTF-8 to one or two UTF-16 units in the machine's order: two from U+10000 up, which is how a
 * caller tells. Decodes as UTF8_UTF32 does.
 * NQ_STATUS_MALFORMED: one unit U+FFFD, also for a truncated character. */
NQ_EXPORT NQStatus UTF8_UTF16(const uint8_t* source, uint64_t available, uint16_t* units,
                              uint64_t* consumed) NQ_NOEXCEPT;

/* --- Writers --------------------------------------------------------------------------------- */

/* UTF-8: 1 byte below U+0080, 2 below U+0800, 3 below U+10000, else 4, for any value; from
 * U+200000 up the high bits overflow into the lead byte's mark. The single byte is stored without
 * a look at the capacity. NQ_STATUS_BUFFER_TOO_SMALL: `*written` is 0. */
NQ_EXPORT NQStatus UTF32_UTF8(NQChar codePoint, uint8_t* target, uint64_t capacity,
                              uint64_t* written) NQ_NOEXCEPT;

/* The low 16 bits of `unit` as UTF-8, a lone surrogate too; else as UTF32_UTF8. */
NQ_EXPORT NQStatus UTF16_UTF8(NQChar unit, uint8_t* target, uint64_t capacity,
                              uint64_t* written) NQ_NOEXCEPT;

/* The low 16 bits as one unit, little-endian and big-endian. The target must hold 2 bytes, which
 * is not looked at. */
NQ_EXPORT NQStatus UTF32_UTF16(NQChar codePoint, uint8_t* target, uint64_t capacity,
                               uint64_t* written) NQ_NOEXCEPT;
NQ_EXPORT NQStatus UTF32_UTF16_SWAP(NQChar codePoint, uint8_t* target, uint64_t capacity,
                                    uint64_t* written) NQ_NOEXCEPT;

/* UTF-16, little-endian and big-endian: one unit below U+10000, for which the target must hold
 * 2 bytes, which is not looked at; else a pair of surrogates.
 * NQ_STATUS_BUFFER_TOO_SMALL: no room for a pair; `*written` is unchanged. */
NQ_EXPORT NQStatus UTF32_UTF16s(NQChar codePoint, uint8_t* target, uint64_t capacity,
                                uint64_t* written) NQ_NOEXCEPT;
NQ_EXPORT NQStatus UTF32_UTF16s_SWAP(NQChar codePoint, uint8_t* target, uint64_t capacity,
                                     uint64_t* written) NQ_NOEXCEPT;

/* UTF-32, big-endian and little-endian. NQ_STATUS_BUFFER_TOO_SMALL: `*written` is 0. */
NQ_EXPORT NQStatus COPY_UTF32(NQChar codePoint, uint8_t* target, uint64_t capacity,
                              uint64_t* written) NQ_NOEXCEPT;
NQ_EXPORT NQStatus COPY_UTF32_SWAP(NQChar codePoint, uint8_t* target, uint64_t capacity,
                                   uint64_t* written) NQ_NOEXCEPT;

/* --- Whole texts ----------------------------------------------------------------------------- */

/* Copies as many of the bytes as fit and stores their number in `*copied`.
 * NQ_STATUS_BUFFER_TOO_SMALL: the source was longer. */
NQ_EXPORT NQStatus COPY_UTF(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                            uint64_t capacity, uint64_t* copied) NQ_NOEXCEPT;

/* Converts character by character: `reader` takes it from the source, `writer` puts it into the
 * next 4 bytes of the target, until the source is used up or no further 4 bytes fit, which is
 * success. Stops at the first status of either and returns it; `*produced` receives the bytes
 * stored up to there. The writer is told a capacity that shrinks by the bytes read, not by those
 * written. A reader that consumes more than there is has used up the source.
 * With the routines of this header on both sides whole blocks are converted at once, to the same
 * result. */
NQ_EXPORT NQStatus ConvertToUTF32(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                                  uint64_t capacity, uint64_t* produced, NQUtfReader reader,
                                  NQUtfWriter writer) NQ_NOEXCEPT;

/* Converts each whole 32-bit unit of the source, while the target has room: `reader` is given
 * the unit, and its status is not looked at; `writer` stores the character. Stops at the writer's
 * first status and returns it; `*produced` receives the bytes that the writer reported. Of a
 * 16-bit unit for which a single byte of room is left only that byte is stored, though both are
 * reported. Blocks as above. */
NQ_EXPORT NQStatus ConvertFromUTF32(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                                    uint64_t capacity, uint64_t* produced, NQUtfWriter writer,
                                    NQUtfReader reader) NQ_NOEXCEPT;

/* Whether the bytes of one character, of length 1 to 4, are legal: 1 or 0. Overlong forms and
 * surrogates are not, values above U+10FFFF after 0xF4 are. `*plausible` receives the length up to
 * the first byte that cannot continue the character. Any other length is legal. */
NQ_EXPORT int32_t isLegalUTF8(const uint8_t* bytes, uint64_t length,
                              uint64_t* plausible) NQ_NOEXCEPT;

/* The UTF-8 bytes that `count` units take, for any values. */
NQ_EXPORT uint64_t GET_UTF8_LEN_FROM_NQCHAR(const NQChar* units, uint64_t count) NQ_NOEXCEPT;

NQ_END_C
