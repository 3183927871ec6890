#pragma once
#include "nqinstance/host/base.h"

NQ_BEGIN_C

/* Order and equality of text. Every function takes two texts, each with its length in bytes or, for
 * the functions on NQChar text, in units; a text of length 0 may be null. Nothing past a text's
 * length is read: where the text ends inside a character, that character is what is there of it.
 * The Text forms ignore `encoding` and answer as the forms without it. All may be called from
 * several threads at once. */

/* The order of the bytes as unsigned values: -1, 0 or 1. A text that begins another is the lesser
 * one. */
NQ_EXPORT int32_t nqzsu8Compare(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                uint64_t bBytes) NQ_NOEXCEPT;
NQ_EXPORT int32_t nqzsu8CompareText(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                    uint64_t bBytes, uint32_t encoding) NQ_NOEXCEPT;

/* The order of the characters in lower case, trailing blanks aside:
 *   -2, 2   `a` sorts before or after `b`, or the other text has, or `a` has, more than blanks
 *           behind what both share
 *   -1, 1   the same in lower case, and of the first characters that differ that of `a` is the
 *           lesser or the greater
 *    0      the same
 * ASCII pairs are lowered by ASCII's rules, all else by the host's Unicode service, which is asked
 * at least once for each code point that needs it; without one by the built-in table, which leaves
 * code points from U+10000 up alone. Malformed characters count as U+FFFD, and those of unequal
 * bytes as different: then the result is -1 or 1.
 * A character of `a` takes part when it begins within as many bytes as the shorter text has, and
 * what is then left of the two is compared by its length alone. Where the cases of a letter differ
 * in their UTF-8 length, exchanging the texts may therefore change more than the sign. */
NQ_EXPORT int32_t nqzsu8NormCompare(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                    uint64_t bBytes) NQ_NOEXCEPT;
NQ_EXPORT int32_t nqzsu8NormCompareText(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                        uint64_t bBytes, uint32_t encoding) NQ_NOEXCEPT;

/* 1 if the texts are the same in lower case, trailing blanks included; else 0. Lowers as
 * nqzsu8NormCompare does, but ASCII always by ASCII's rules. */
NQ_EXPORT int32_t nqzsu8NormEqual(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                  uint64_t bBytes) NQ_NOEXCEPT;
NQ_EXPORT int32_t nqzsu8NormEqualText(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                      uint64_t bBytes, uint32_t encoding) NQ_NOEXCEPT;

/* 1 if the texts have the same bytes but for the case of ASCII letters, else 0. */
NQ_EXPORT int32_t nqzsu8NormASCIIEqual(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                                       uint64_t bBytes) NQ_NOEXCEPT;

/* 1 if the texts are of one length and the same when the built-in table has lowered each unit
 * below U+10000, else 0. The host is not asked. */
NQ_EXPORT int32_t nqzseqn(const NQChar* a, uint64_t aUnits, const NQChar* b,
                          uint64_t bUnits) NQ_NOEXCEPT;

/* The order of the units as the built-in table lowers them, with the results of nqzsu8NormCompare.
 * Units are compared as signed values; trailing U+0020 is ignored. A length of 0 or less is that of
 * an empty text. */
NQ_EXPORT int32_t nqzsncmp(const NQChar* a, int64_t aUnits, const NQChar* b,
                           int64_t bUnits) NQ_NOEXCEPT;

NQ_END_C
