#pragma once
#include "nqinstance/host/handle.h"

NQ_BEGIN_C

/* An operation of a locale, cast to its own signature by whoever calls it:
 * formatting `NQStatus (NQLocale*, value, uint8_t* out, uint64_t capacity, uint64_t* outLength)`,
 * parsing `NQStatus (NQLocale*, const uint8_t* text, uint64_t length, value* out)`. */
typedef void (*NQLocaleOperation)(void);

/* A locale: how a language writes and reads numbers, dates and times. */
typedef struct NQLocale {
    NQHandle handle;
    uint32_t language; /* the host's language code */
    uint32_t padding;
    NQLocaleOperation ToDouble;
    NQLocaleOperation host_5_to_6[2];
    NQLocaleOperation DoubleFormat;
    NQLocaleOperation IntfastFormat;
    NQLocaleOperation IntmaxFormat;
    NQLocaleOperation UintfastFormat;
    NQLocaleOperation UintmaxFormat;
    NQLocaleOperation ToIntfast;
    NQLocaleOperation ToIntmax;
    NQLocaleOperation ToUintfast;
    NQLocaleOperation ToUintmax;
    NQLocaleOperation IntFormat;
    NQLocaleOperation UIntFormat;
    NQLocaleOperation ToInt;
    NQLocaleOperation ToUInt;
    NQLocaleOperation LongFormat;
    NQLocaleOperation ULongFormat;
    NQLocaleOperation ToLong;
    NQLocaleOperation ToULong;
    NQLocaleOperation host_24_to_27[4];
    NQLocaleOperation DatetimeFormat;
    NQLocaleOperation DateFormat;
    NQLocaleOperation TimeFormat;
    NQLocaleOperation ToDatetime;
    NQLocaleOperation ToDate;
    NQLocaleOperation ToTime;
} NQLocale;

NQ_END_C

NQ_TABLE(NQLocale, 34);
NQ_WORD(NQLocale, language, 3);
NQ_WORD(NQLocale, ToDouble, 4);
NQ_WORD(NQLocale, DoubleFormat, 7);
NQ_WORD(NQLocale, IntfastFormat, 8);
NQ_WORD(NQLocale, IntmaxFormat, 9);
NQ_WORD(NQLocale, UintfastFormat, 10);
NQ_WORD(NQLocale, UintmaxFormat, 11);
NQ_WORD(NQLocale, ToIntfast, 12);
NQ_WORD(NQLocale, ToIntmax, 13);
NQ_WORD(NQLocale, ToUintfast, 14);
NQ_WORD(NQLocale, ToUintmax, 15);
NQ_WORD(NQLocale, IntFormat, 16);
NQ_WORD(NQLocale, UIntFormat, 17);
NQ_WORD(NQLocale, ToInt, 18);
NQ_WORD(NQLocale, ToUInt, 19);
NQ_WORD(NQLocale, LongFormat, 20);
NQ_WORD(NQLocale, ULongFormat, 21);
NQ_WORD(NQLocale, ToLong, 22);
NQ_WORD(NQLocale, ToULong, 23);
NQ_WORD(NQLocale, DatetimeFormat, 28);
NQ_WORD(NQLocale, DateFormat, 29);
NQ_WORD(NQLocale, TimeFormat, 30);
NQ_WORD(NQLocale, ToDatetime, 31);
NQ_WORD(NQLocale, ToDate, 32);
NQ_WORD(NQLocale, ToTime, 33);
