/* Written by generate/statuses.py from generate/statuses.tsv; not to be edited. */
#pragma once
#include "nqinstance/host/base.h"

/* clang-format off */
/* The statuses that the library returns or gives a meaning to. */
#define NQ_STATUS_OK 0x00000000u
#define NQ_STATUS_NO_MEMORY 0x803fc002u        /* a pool had no memory */
#define NQ_STATUS_INVALID_ARGUMENT 0x803fc003u /* an argument is missing, or a resize was refused */
#define NQ_STATUS_UNSUPPORTED 0x803fc004u      /* the operation does not exist for this object */
#define NQ_STATUS_NO_SERVICE 0x803fc009u       /* no transcoder, or no formatting context */
#define NQ_STATUS_NO_EXTENSION 0x803fc065u     /* a sibling extension could not be loaded */
#define NQ_STATUS_BUFFER_TOO_SMALL 0x803fe807u /* no room; of a transcoder: incomplete input */
#define NQ_STATUS_MALFORMED 0x803fe808u        /* malformed input, U+FFFD in its place */
#define NQ_STATUS_UNCONVERTIBLE 0x803fe813u    /* the file holds bytes that cannot be converted */
#define NQ_STATUS_TRUNCATED 0x803fe814u        /* the input ends inside a character */
#define NQ_STATUS_UNKNOWN_JUSTIFICATION 0x803fe835u
#define NQ_STATUS_NO_LOCALE 0x803fe862u        /* locale case mapping called without a locale */
#define NQ_STATUS_END_OF_FILE 0x80bfe80au      /* a file has no more bytes */

/* Configuration syntax. */
#define NQ_STATUS_UNCLOSED_SECTION 0x8bbff853u /* a section header without "]" */
#define NQ_STATUS_MISSING_EQUALS 0x8bbff854u   /* a key/value line without "=" */

/* Validation: verdicts, and the statuses of checks that cannot be made. */
#define NQ_STATUS_NOT_CONVERTIBLE 0x8bbff858u   /* a bound or accepted value is of another type */
#define NQ_STATUS_NO_DATA_TYPE 0x8bbff887u      /* the definition has no "dataType" */
#define NQ_STATUS_VALUES_NOT_ARRAY 0x8bbff889u  /* "values" is no array */
#define NQ_STATUS_UNKNOWN_DATA_TYPE 0x8bbff88au /* "dataType" is no keyword */
#define NQ_STATUS_NESTED_INSTANCE 0x8bbff88bu   /* "instance" inside "expectedTypes" */
#define NQ_STATUS_RANGE_WITHOUT_MIN 0x8bbff898u /* a range in "values" has no "min" */
#define NQ_STATUS_RANGE_WITHOUT_MAX 0x8bbff899u /* a range in "values" has no "max" */
#define NQ_STATUS_WRONG_TYPE 0x8bbff89au        /* verdict: another type than the definition's */
#define NQ_STATUS_OUT_OF_BOUNDS 0x8bbff89fu     /* verdict: below "min" or above "max" */
#define NQ_STATUS_NOT_ACCEPTED 0x8bbff8a0u      /* verdict: none of "values" */
#define NQ_STATUS_NOT_A_DICTIONARY 0x8bbff8cbu  /* the definition is no dictionary */

/* Messages of a validation run, for signed, unsigned and double values. Their arguments are the
 * value and, but for the last three, the bound that it misses. */
#define NQ_MESSAGE_SIGNED_BELOW_MIN 0x8bbff8aau
#define NQ_MESSAGE_UNSIGNED_BELOW_MIN 0x8bbff8abu
#define NQ_MESSAGE_DOUBLE_BELOW_MIN 0x8bbff8acu
#define NQ_MESSAGE_SIGNED_ABOVE_MAX 0x8bbff8adu
#define NQ_MESSAGE_UNSIGNED_ABOVE_MAX 0x8bbff8aeu
#define NQ_MESSAGE_DOUBLE_ABOVE_MAX 0x8bbff8afu
#define NQ_MESSAGE_SIGNED_NOT_ACCEPTED 0x8bbff8b0u
#define NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED 0x8bbff8b1u
#define NQ_MESSAGE_DOUBLE_NOT_ACCEPTED 0x8bbff8b2u
/* clang-format on */
