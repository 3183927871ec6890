#pragma once
#include "nqinstance/host/instance_header.h"
#include "nqinstance/host/status.h"
#include "nqinstance/host/string.h"

NQ_BEGIN_C

/* Writes an instance, with the arrays and dictionaries in it, as JSON text. The instances and, for
 * nqInstanceToJSON2, the string service are borrowed and must not change meanwhile; threads may
 * convert at once.
 *
 * A null `*out` receives a new string in `pool`, held once by the caller; a string that is there
 * already is continued, stays the caller's and is not itself part of `instance`. A null `instance`
 * is written as null.
 *
 * A wrapped handle is written as the object it wraps, under the type name it answers to. Keys are
 * not escaped; in strings only the double quote, the backslash, the tab and the line feed are. Both
 * are on purpose: readers get the other characters as they are, and text that holds others of
 * JSON's special characters is no legal JSON.
 *
 * After a failure a string made by the call is gone and `*out` is null; the caller's own keeps the
 * text written so far. Nothing else is left behind.
 * NQ_STATUS_NO_MEMORY: the pool refused.
 * NQ_STATUS_UNSUPPORTED: an instance is of no kind that can be written, such as one character.
 * Any other status comes from the string, dictionary or formatting service. */

/* The indented layout, four blanks a level; a new string ends with a line feed.
 * NQ_STATUS_NO_EXTENSION: "nqstring" could not be loaded; nothing was created. */
NQ_EXPORT NQStatus nqInstanceToJSON(InstanceApi* api, HostPool* pool, InstanceHeader* instance,
                                    NQU8String** out) NQ_NOEXCEPT;

/* The layout of the caller's choice. The low byte of `modeFlags`: 0 for compact text; 1 for a line
 * per element, and a line feed at the end of a new string; any but 0 for a blank after the colon.
 * `indent`: blanks a level, 0 for four of them, -1 for no indentation; compact text has none.
 * What a width too large or below -1 asks of the string service, that service may refuse. */
NQ_EXPORT NQStatus nqInstanceToJSON2(InstanceApi* api, NQStringApi* strings, HostPool* pool,
                                     uint32_t modeFlags, int32_t indent, InstanceHeader* instance,
                                     NQU8String** out) NQ_NOEXCEPT;

NQ_END_C
