#pragma once
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* Operations on UTF-8 text and on the fields of fixed width that hold it, filled up with blanks
 * (U+0020). Lengths count bytes unless they say otherwise; nothing outside them is touched. A text
 * of length 0 may be null. All may be called from several threads at once.
 *
 * A character is here a byte and the continuation bytes behind it, at most as many as the byte
 * announces, so that malformed text goes on at the next byte that continues nothing. */

/* --- Copying --------------------------------------------------------------------------------- */

/* Copies as much of the source as fits, cut back by UTF8_BLENB to whole characters, and fills the
 * rest of the target with blanks; a null source leaves only blanks. The two may overlap. Returns
 * the bytes copied. `encoding` changes nothing. */
NQ_EXPORT uint64_t nqzsu8CopyText(const uint8_t* source, uint64_t sourceBytes, uint32_t encoding,
                                  uint8_t* target, uint64_t targetBytes) NQ_NOEXCEPT;
NQ_EXPORT uint64_t nqzsu8Copy(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                              uint64_t targetBytes) NQ_NOEXCEPT;

/* --- Blanks ---------------------------------------------------------------------------------- */

/* Moves what is between the leading and the trailing blanks of a field: to the start (mode 'L'),
 * to the end ('R'), to the centre with an odd blank on the right ('C') or nowhere ('N'); small
 * letters do the same. Stores where it is then and how long, both 0 for a field of blanks. Either
 * out-parameter may be null.
 * NQ_STATUS_UNKNOWN_JUSTIFICATION: another mode, and the field holds more than blanks; it is
 * unchanged, and both are stored as they are. */
NQ_EXPORT NQStatus nqzsu8Justify(uint8_t* field, uint32_t length, uint8_t mode,
                                 uint32_t* contentLength, uint32_t* contentOffset) NQ_NOEXCEPT;

/* The length without the blanks at the end: only U+0020 for class 0; for class 2 also U+00A0,
 * U+1680, U+2000..U+200A, U+2028, U+2029, U+202F, U+205F and U+3000; for any other class also
 * U+0009..U+000D and U+0085. But for class 0 the last character goes from the last byte that is no
 * continuation byte to the end, and is what UTF8_UTF32 reads there. */
NQ_EXPORT uint64_t nqzsu8StripBlanks(const uint8_t* text, uint64_t length,
                                     uint32_t blankClass) NQ_NOEXCEPT;

/* --- Counting -------------------------------------------------------------------------------- */

/* The characters of a text. */
NQ_EXPORT uint64_t nqzsu8NumChars(const uint8_t* text, uint64_t length) NQ_NOEXCEPT;

/* The bytes of the first `count` characters, which must be there; where the last of them is not
 * complete, so must the byte behind it. */
NQ_EXPORT uint64_t nqzsu8ByteLength(const uint8_t* text, uint64_t count) NQ_NOEXCEPT;

/* The characters and the bytes of a zero-terminated text. Either out-parameter may be null. Stores
 * nothing for a null text. */
NQ_EXPORT void nqzsu8Lengths(const uint8_t* text, uint64_t* characters,
                             uint64_t* bytes) NQ_NOEXCEPT;

NQ_END_C
