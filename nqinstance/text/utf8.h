#pragma once
#include "nqinstance/host/base.h"

NQ_BEGIN_C

/* UTF-8 text. All may be called from several threads at once. */

/* The sequence length that the byte announces, 1 to 6; 1 for a continuation byte. */
NQ_EXPORT int32_t utf8_len(const uint8_t* text) NQ_NOEXCEPT;

/* The byte offset of the needle's first occurrence; -1 if there is none, 0 for an empty needle.
 * Bytes are compared, whatever `encoding` says. A text of length 0 may be null. Takes no memory
 * and time linear in the lengths. */
NQ_EXPORT int64_t nqzsu8IndexText(const uint8_t* haystack, uint64_t haystackBytes,
                                  const uint8_t* needle, uint64_t needleBytes,
                                  uint32_t encoding) NQ_NOEXCEPT;

NQ_END_C
