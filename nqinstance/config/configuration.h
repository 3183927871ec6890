#pragma once
#include "nqinstance/host/dictionary.h"

NQ_BEGIN_C

/* Reads the configuration file with the zero-terminated UTF-8 name into a dictionary: of strings,
 * of one dictionary per section, and of dictionaries of strings for indented blocks. The syntax
 * stands in docs/configuration-syntax.md.
 *
 * Stores the dictionary, held once by the caller, in `*dictionary`; on any failure it is
 * untouched. `*lineNumber` is -1 from the moment the file is open, and the number of the offending
 * line, counted from 0, after a syntax error; `lineNumber` may be null. All memory is of `pool`,
 * and two things are left in it on purpose until the pool is destroyed: the string object of each
 * comment line, and everything that is alive at a syntax error (dictionaries, reader with its file
 * and holds, line). Every other failure gives back all but the comment lines and, where the pool
 * refuses the character buffer, what nqTextReaderCreate leaves.
 *
 * NQ_STATUS_UNCLOSED_SECTION: a line begins with "[" and has no "]".
 * NQ_STATUS_MISSING_EQUALS: a line that is no comment and no section header has no "=".
 * NQ_STATUS_NO_EXTENSION: "nqdictionary", "nqioe" or "nqstring" could not be loaded.
 * NQ_STATUS_NO_MEMORY: the pool refused.
 * NQ_STATUS_UNCONVERTIBLE: the file holds bytes that cannot be converted.
 * Any other status is that of opening or reading the file, or of a string or dictionary
 * operation. Threads may read into pools of their own at once. */
NQ_EXPORT NQStatus nqInstanceReadConfiguration(InstanceApi* api, HostPool* pool,
                                               const char* fileName, int32_t* lineNumber,
                                               NQDictionary** dictionary) NQ_NOEXCEPT;

NQ_END_C
