#pragma once
#include "nqinstance/host/locale.h"
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* Case mapping. ASCII is mapped by the library's own tables, every other character by the host's
 * Unicode service, one code point to one. Where the host has no such service, built-in tables take
 * its place: they know the letters of the Basic Multilingual Plane that Unicode had in 1995, and
 * leave everything else as it is.
 *
 * A UTF-8 character takes as many bytes as its first byte announces, whatever they are. Malformed
 * text is not reported: it counts as U+FFFD, which no mapping changes, and stays as it stands.
 * Nothing outside the given ranges is touched. A text of length 0 may be null. All may be called
 * from several threads at once if the host's service may. */

/* --- NQChar units, in place ------------------------------------------------------------------ */

/* Map `count` units to upper or lower case. A count of 0 or less does nothing. */
NQ_EXPORT void nqzstup(NQChar* units, int64_t count) NQ_NOEXCEPT;
NQ_EXPORT void nqzstlo(NQChar* units, int64_t count) NQ_NOEXCEPT;

/* Map `count` units by the wide tables alone, without the host, so that all letters that differ
 * in case only become one: the smallest of them, mostly a capital, or the largest, mostly a small
 * letter. The largest of K and k is the Kelvin sign U+212A, of S and s the long s U+017F, of I and
 * i the dotless i U+0131. Units from U+10000 up stay as they are. A count of 0 or less does
 * nothing. */
NQ_EXPORT void nqzstmin(NQChar* units, int64_t count) NQ_NOEXCEPT;
NQ_EXPORT void nqzstmax(NQChar* units, int64_t count) NQ_NOEXCEPT;

/* --- UTF-8, in place ------------------------------------------------------------------------- */

/* Map the text where it stands; its length stays. Text that gets shorter is filled up with blanks.
 * Text that gets longer runs over bytes not yet read, which are lost; what would run past the end
 * is dropped, and a mapping longer than the whole text is dropped whole. A character that the end
 * cuts off keeps the bytes it has.
 *
 * Once a character before has changed its length, the two differ: nqzsu8Lower puts a mapped single
 * byte behind what was written so far, nqzsu8Upper back where it was read, so that the blanks
 * at the end may take the place of the last ones. */
NQ_EXPORT void nqzsu8Upper(uint8_t* text, uint64_t bytes) NQ_NOEXCEPT;
NQ_EXPORT void nqzsu8Lower(uint8_t* text, uint64_t bytes) NQ_NOEXCEPT;

/* --- UTF-8, to another place ----------------------------------------------------------------- */

/* Write the mapped text to `target`, which must not overlap the source and has room for `capacity`
 * bytes, and store the bytes written in `*written`, which may be null. With a null target or a
 * capacity of 0 nothing is written and `*written` receives the bytes that the mapped text takes;
 * without a `written` either, the text is not read.
 * NQ_STATUS_BUFFER_TOO_SMALL: the next character does not fit; those before it are written and
 * counted. */
NQ_EXPORT NQStatus nqzsu8Upper2(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                                uint64_t capacity, uint64_t* written) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzsu8Lower2(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                                uint64_t capacity, uint64_t* written) NQ_NOEXCEPT;

/* The same with the case rules of the locale's language, if the host has some: it is asked for a
 * mapping of each character, ASCII too, in its context, then for one by the language alone; either
 * may give several code points. Where it has none, as above.
 * NQ_STATUS_NO_LOCALE: the locale is null; the text is mapped as above.
 * NQ_STATUS_BUFFER_TOO_SMALL: as above, where each code point of a mapping counts as a character.
 */
NQ_EXPORT NQStatus nqzsu8LocaleUpper(NQLocale* locale, const uint8_t* source, uint64_t sourceBytes,
                                     uint8_t* target, uint64_t capacity,
                                     uint64_t* written) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzsu8LocaleLower(NQLocale* locale, const uint8_t* source, uint64_t sourceBytes,
                                     uint8_t* target, uint64_t capacity,
                                     uint64_t* written) NQ_NOEXCEPT;

NQ_END_C
