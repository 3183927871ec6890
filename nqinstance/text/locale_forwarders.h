#pragma once
#include "nqinstance/host/locale.h"

NQ_BEGIN_C

/* The operations of a locale under names of their own: each hands the call on to the locale's
 * operation of its name, with all registers and the stack as they are, and its result is the
 * operation's. A locale whose operations take other arguments than its host's usual ones is called
 * through a pointer of the fitting type. Statuses, ownership and threads are the locale's. */

/* Formats `value` into `capacity` bytes at `out` and stores the length in `*outLength`. */
#define NQ_LOCALE_FORMATTER(operation, Value)                                         \
    NQ_EXPORT NQStatus nqzsu8##operation(NQLocale* locale, Value value, uint8_t* out, \
                                         uint64_t capacity, uint64_t* outLength) NQ_NOEXCEPT

NQ_LOCALE_FORMATTER(DoubleFormat, double);
NQ_LOCALE_FORMATTER(IntfastFormat, int64_t);
NQ_LOCALE_FORMATTER(IntmaxFormat, int64_t);
NQ_LOCALE_FORMATTER(UintfastFormat, uint64_t);
NQ_LOCALE_FORMATTER(UintmaxFormat, uint64_t);
NQ_LOCALE_FORMATTER(IntFormat, int32_t);
NQ_LOCALE_FORMATTER(UIntFormat, uint32_t);
NQ_LOCALE_FORMATTER(LongFormat, int64_t);
NQ_LOCALE_FORMATTER(ULongFormat, uint64_t);
/* Seconds since 1960-01-01T00:00:00. */
NQ_LOCALE_FORMATTER(DatetimeFormat, double);
NQ_LOCALE_FORMATTER(DateFormat, double);
NQ_LOCALE_FORMATTER(TimeFormat, double);

/* Reads a value from `length` bytes of text into `*out`. */
#define NQ_LOCALE_PARSER(operation, Value)                                                       \
    NQ_EXPORT NQStatus nqzsu8##operation(NQLocale* locale, const uint8_t* text, uint64_t length, \
                                         Value* out) NQ_NOEXCEPT

NQ_LOCALE_PARSER(ToDouble, double);
NQ_LOCALE_PARSER(ToIntfast, int64_t);
NQ_LOCALE_PARSER(ToIntmax, int64_t);
NQ_LOCALE_PARSER(ToUintfast, uint64_t);
NQ_LOCALE_PARSER(ToUintmax, uint64_t);
NQ_LOCALE_PARSER(ToInt, int32_t);
NQ_LOCALE_PARSER(ToUInt, uint32_t);
NQ_LOCALE_PARSER(ToLong, int64_t);
NQ_LOCALE_PARSER(ToULong, uint64_t);
NQ_LOCALE_PARSER(ToDatetime, double);
NQ_LOCALE_PARSER(ToDate, double);
NQ_LOCALE_PARSER(ToTime, double);

#undef NQ_LOCALE_FORMATTER
#undef NQ_LOCALE_PARSER

NQ_END_C
