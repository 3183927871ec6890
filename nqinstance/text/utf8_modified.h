#pragma once
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* Standard UTF-8 from and to the modified form, which writes a supplementary character as the
 * sequences of its two surrogates, three bytes each, and may write U+0000 as C0 80. Lengths count
 * bytes; source and target must not overlap. All may be called from several threads at once. */

#define NQ_MODIFIED_ZERO 0x1u /* U+0000 is C0 80 */
/* Unless the flag above is given too: no surrogates. Encoding replaces supplementary characters,
 * decoding copies. */
#define NQ_MODIFIED_BASIC 0x4u

/* Modified form to standard. Stores the bytes written in `*written`, which may be null.
 *
 * With NQ_MODIFIED_BASIC alone the source is copied by nqzsu8Copy into the first bytes of the
 * target, at most as many as the source has; NQ_STATUS_BUFFER_TOO_SMALL when fewer were copied,
 * also where the source ends inside a character.
 *
 * Else well-formed characters (see _U8ValidCharSize) are copied and a high surrogate's sequence
 * followed by a low one's becomes one character. C0 80 becomes a zero byte with NQ_MODIFIED_ZERO.
 * Whatever else there is becomes U+FFFD, one for a byte and the continuation bytes behind it that
 * it announces, and the walk goes on. NQ_STATUS_MALFORMED: something was replaced; the target holds
 * it all. NQ_STATUS_BUFFER_TOO_SMALL: a character did not fit; the target holds those before it. */
NQ_EXPORT NQStatus nqzsu8Decode(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                                uint64_t capacity, uint64_t* written, uint32_t flags) NQ_NOEXCEPT;

/* Standard form to modified, with the same statuses. A zero byte becomes C0 80 with
 * NQ_MODIFIED_ZERO. A sequence of four bytes becomes two of three, or U+FFFD with NQ_MODIFIED_BASIC
 * alone; what it stands for is taken modulo 2^20 where it is no supplementary character. U+FFFD is
 * also written for a sequence with an invalid lead byte or too few continuation bytes, and for a
 * surrogate's. All else is copied, overlong forms too. */
NQ_EXPORT NQStatus nqzsu8Encode(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                                uint64_t capacity, uint64_t* written, uint32_t flags) NQ_NOEXCEPT;

NQ_END_C
