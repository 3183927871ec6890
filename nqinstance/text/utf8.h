#pragma once
#include "nqinstance/host/base.h"

NQ_BEGIN_C

/* UTF-8 text: its characters, how many they are, where another text occurs in it. What a lead byte
 * announces is 1 byte below 0xC0, then 2, 3 from 0xE0, 4 from 0xF0, 5 from 0xF8 and 6 from 0xFC;
 * continuation bytes are 0x80..0xBF. All may be called from several threads at once. */

/* --- One character --------------------------------------------------------------------------- */

/* The sequence length that the byte announces, 1 to 6; 1 for a continuation byte. */
NQ_EXPORT int32_t utf8_len(const uint8_t* text) NQ_NOEXCEPT;

/* The functions from here to nqzsu8IsCombining take no length. They read the lead byte and of the
 * bytes it announces those up to the first that continues nothing; after 0xE0, 0xED and 0xF0 the
 * second byte counts as a part of the character whatever it is, and the third is read as well.
 * These bytes must be there. */

/* The bytes of the character that are there. `*valid` becomes 1 when it is well-formed: a lead byte
 * of 0x00..0x7F or 0xC2..0xF4, all continuation bytes, and a second byte of 0xA0..0xBF after 0xE0,
 * 0x80..0x9F after 0xED and 0x90..0xBF after 0xF0; else 0. There is no such limit after 0xF4. */
NQ_EXPORT uint64_t _U8ValidCharSize(const uint8_t* text, uint8_t* valid) NQ_NOEXCEPT;

/* The same without a verdict, except where the second byte is limited as above: where it fits it is
 * counted twice, so that well-formed characters yield 4 after 0xE0 and 0xED and 5 after 0xF0. After
 * 0xE0 a second byte that does not fit is counted twice as well when it is a continuation byte,
 * at the third byte's cost. Existing callers expect these numbers, so a step by them can skip bytes
 * of the next character; use nqzsu8CharSize with a flag to step through text. */
NQ_EXPORT uint64_t _U8CharSize(const uint8_t* text) NQ_NOEXCEPT;

/* _U8ValidCharSize, or nqzsu8CharSize2 when `valid` is null. */
NQ_EXPORT uint64_t nqzsu8CharSize(const uint8_t* text, uint8_t* valid) NQ_NOEXCEPT;

/* 1 for a byte below 0x80, else _U8CharSize. */
NQ_EXPORT uint64_t nqzsu8CharSize2(const uint8_t* text) NQ_NOEXCEPT;

/* The text behind the bytes that nqzsu8CharSize2 counts. */
NQ_EXPORT const uint8_t* nqzsu8NextChar(const uint8_t* text) NQ_NOEXCEPT;

/* A property of code points, as whoever asks for it defines it. */
typedef int32_t (*NQCodePointPredicate)(NQChar codePoint) NQ_NOEXCEPT;

/* What the predicate says of the character's code point, which UTF8_UTF32 reads from the announced
 * bytes, all of which must be there: U+FFFD for one with an invalid lead byte. */
NQ_EXPORT int32_t _NQZSU8IsFunct(const uint8_t* text, NQCodePointPredicate predicate) NQ_NOEXCEPT;

/* Nonzero if the character, read in the same way, joins to the one before it: 1 for U+200C and
 * U+200D, else what the host's Unicode service says; 0 where the host has none. */
NQ_EXPORT int32_t nqzsu8IsCombining(const uint8_t* text) NQ_NOEXCEPT;

/* --- Sizes by announced lengths -------------------------------------------------------------- */

/* The characters of a zero-terminated text; 0 for null. Steps by the length that each lead byte
 * announces without a look at the bytes that it skips, so the text must hold complete sequences: a
 * lead byte just before the terminator leads past it. */
NQ_EXPORT uint64_t UTF8_SLEN(const uint8_t* text) NQ_NOEXCEPT;

/* The characters that begin within `length` bytes, stepping in the same way. The last may end
 * behind them; no byte there is read. */
NQ_EXPORT uint64_t UTF8_SLENB(const uint8_t* text, uint64_t length) NQ_NOEXCEPT;

/* The length without a character that the text ends inside of, and without the continuation bytes
 * that the last character does not announce. 0 when the last byte that is no continuation byte, or
 * the first byte if all are, cannot begin a character. */
NQ_EXPORT uint64_t UTF8_BLENB(const uint8_t* text, uint64_t length) NQ_NOEXCEPT;

/* The same for a zero-terminated text; 0 for null. */
NQ_EXPORT uint64_t UTF8_BLEN(const uint8_t* text) NQ_NOEXCEPT;

/* --- Searching ------------------------------------------------------------------------------- */

/* The byte offset of the needle's first occurrence; -1 if there is none, 0 for an empty needle.
 * Bytes are compared, whatever `encoding` says. A text of length 0 may be null. Takes no memory
 * and time linear in the lengths. */
NQ_EXPORT int64_t nqzsu8IndexText(const uint8_t* haystack, uint64_t haystackBytes,
                                  const uint8_t* needle, uint64_t needleBytes,
                                  uint32_t encoding) NQ_NOEXCEPT;

/* The same for the first occurrence at a character's start: characters follow each other by the
 * length that each lead byte announces, from the needle's first byte in the haystack on. A needle
 * of one byte is found anywhere. */
NQ_EXPORT int64_t nqzsu8FindCharText(const uint8_t* haystack, uint64_t haystackBytes,
                                     const uint8_t* needle, uint64_t needleBytes,
                                     uint32_t encoding) NQ_NOEXCEPT;

NQ_END_C
