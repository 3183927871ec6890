#pragma once
#include "nqinstance/host/base.h"

NQ_BEGIN_C

/* Time values are seconds from 1960-01-01T00:00:00 as a double; a date alone is a whole number of
 * days times 86400. A value whose number of days or seconds fits no signed 64-bit integer, or that
 * is no number, counts as the smallest one. Every pointer may be null; that field is not stored
 * then. Any thread may call both. */

/* Splits the day of a time value into month (1 to 12), day of the month (from 1), year and weekday
 * (0 is Sunday). The day number is truncated towards zero, so the last day before the epoch is
 * 1960-01-01 too. Earlier days stay in 1960 with month 13, a day below 1 and a weekday from -1, as
 * hosts know them; they are not the dates of 1959. The year is 32 bits and wraps.
 * Takes time linear in the number of years, as what far values give follows from a walk year by
 * year: microseconds up to the year 9999, in the order of a second for a billion years (a value of
 * 3e16), months for the largest values. Bound a value that an outsider chose before it comes here,
 * also where a date-time is to be written as JSON. */
NQ_EXPORT void nqzdmdy(double time, int32_t* month, int32_t* day, int32_t* year,
                       int32_t* weekday) NQ_NOEXCEPT;

/* Splits what a time value holds beyond whole days into hours, minutes and whole seconds, all of
 * them zero or negative for a negative time. Fractions of a second are dropped. */
NQ_EXPORT void nqzdhms(double time, int32_t* hours, int32_t* minutes, int32_t* seconds) NQ_NOEXCEPT;

NQ_END_C
