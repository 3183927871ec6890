#pragma once
#include "nqinstance/host/base.h"

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
#define NQ_STATUS_NO_LOCALE 0x803fe862u   /* locale case mapping called without a locale */
#define NQ_STATUS_END_OF_FILE 0x80bfe80au /* a file has no more bytes */

/* Configuration syntax. */
#define NQ_STATUS_UNCLOSED_SECTION 0x8bbff853u /* a section header without "]" */
#define NQ_STATUS_MISSING_EQUALS 0x8bbff854u   /* a key/value line without "=" */
