#pragma once
/* What every header of the project rests on: the status and character types, C linkage, and the
 * checks that pin a record's layout. */
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define NQ_BEGIN_C extern "C" {
#define NQ_END_C }
#define NQ_NOEXCEPT noexcept
#define NQ_STATIC_ASSERT static_assert
#else
#define NQ_BEGIN_C
#define NQ_END_C
#define NQ_NOEXCEPT
#define NQ_STATIC_ASSERT _Static_assert
#endif

/* Marks a declaration that leaves the library; everything else is hidden. */
#define NQ_EXPORT __attribute__((visibility("default")))

/* A record's size in bytes, and the byte at which a field starts. */
#define NQ_RECORD(type, size) NQ_STATIC_ASSERT(sizeof(type) == (size), #type " has another size")
#define NQ_FIELD(type, field, offset) \
    NQ_STATIC_ASSERT(offsetof(type, field) == (offset), #type "." #field " has moved")
/* The same for the tables that are addressed by 8-byte word. */
#define NQ_TABLE(type, words) NQ_RECORD(type, 8 * (words))
#define NQ_WORD(type, field, word) NQ_FIELD(type, field, 8 * (word))

/* The result of an operation: 0 is success, see status.h. */
typedef uint32_t NQStatus;

/* One UTF-32 code unit in the machine's byte order. */
typedef uint32_t NQChar;

/* Encoding codes of the host's string and transcoding services. */
#define NQ_ENCODING_UTF8 20u   /* lengths count bytes */
#define NQ_ENCODING_NQCHAR 27u /* lengths count units */

/* "Not found" of the routines that return an index: the all-ones value. */
#define NQ_NOT_FOUND UINT64_MAX
