#include "nqinstance/datefmt/dates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>

#include "tests/support/library.hpp"

namespace {

constexpr double kDay = 86400.0;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct Date {
    std::int32_t month, day, year, weekday;
    friend bool operator==(const Date&, const Date&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Date& d) {
        return out << d.year << '-' << d.month << '-' << d.day << " weekday " << d.weekday;
    }
};

struct Clock {
    std::int32_t hours, minutes, seconds;
    friend bool operator==(const Clock&, const Clock&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Clock& c) {
        return out << c.hours << ':' << c.minutes << ':' << c.seconds;
    }
};

Date date_of(double time) {
    Date date{-9, -9, -9, -9};
    NQ_LIBRARY(nqzdmdy)(time, &date.month, &date.day, &date.year, &date.weekday);
    return date;
}

Clock clock_of(double time) {
    Clock clock{-9, -9, -9};
    NQ_LIBRARY(nqzdhms)(time, &clock.hours, &clock.minutes, &clock.seconds);
    return clock;
}

bool is_leap(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int days_in_month(int month, std::int64_t year) {
    if (month == 2) return is_leap(year) ? 29 : 28;
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

void next_day(Date& date) {
    date.weekday = (date.weekday + 1) % 7;
    if (++date.day <= days_in_month(date.month, date.year)) return;
    date.day = 1;
    if (++date.month <= 12) return;
    date.month = 1;
    ++date.year;
}

}  // namespace

TEST(Dates, EpochIsFridayFirstOfJanuary1960) {
    EXPECT_EQ(date_of(0), (Date{1, 1, 1960, 5}));
    EXPECT_EQ(clock_of(0), (Clock{0, 0, 0}));
}

TEST(Dates, EveryDayTo2400MatchesDayByDayCounter) {
    Date expected{1, 1, 1960, 5};
    for (std::int64_t day = 0; expected.year <= 2400; ++day, next_day(expected)) {
        const double midnight = static_cast<double>(day) * kDay;
        ASSERT_EQ(date_of(midnight), expected) << "day " << day;
        ASSERT_EQ(date_of(midnight + 86399.9), expected) << "end of day " << day;
    }
}

TEST(Dates, LeapYears) {
    EXPECT_EQ(date_of(kDay * 59), (Date{2, 29, 1960, 1}));
    EXPECT_EQ(date_of(kDay * 60), (Date{3, 1, 1960, 2}));
    EXPECT_EQ(date_of(kDay * 365), (Date{12, 31, 1960, 6}));
    EXPECT_EQ(date_of(kDay * 366), (Date{1, 1, 1961, 0}));
    // 2000-02-29 and 2100-03-01, which follows 02-28.
    EXPECT_EQ(date_of(kDay * 14669), (Date{2, 29, 2000, 2}));
    EXPECT_EQ(date_of(kDay * 51193), (Date{2, 28, 2100, 0}));
    EXPECT_EQ(date_of(kDay * 51194), (Date{3, 1, 2100, 1}));
}

TEST(Dates, EdgesOfEveryYearThatTextMayName) {
    std::int64_t day = 0;
    for (std::int32_t year = 1960; year <= 9999; ++year) {
        const auto weekday = static_cast<std::int32_t>((day + 5) % 7);
        const int length = is_leap(year) ? 366 : 365;
        ASSERT_EQ(date_of(static_cast<double>(day) * kDay), (Date{1, 1, year, weekday}));
        day += length;
        ASSERT_EQ(date_of(static_cast<double>(day) * kDay - 0.001),
                  (Date{12, 31, year, (weekday + length - 1) % 7}));
    }
}

TEST(Dates, FarYearsMatchWholeCyclesOf400Years) {
    // 146097 days are 400 years and whole weeks.
    constexpr int kCycles = 2500;
    Date expected{1, 1, 1960, 5};
    for (std::int64_t day = 0; day < 146097; ++day, next_day(expected)) {
        if (day % 997 != 0) continue;
        Date far = expected;
        far.year += 400 * kCycles;
        ASSERT_EQ(date_of(static_cast<double>(day + 146097 * kCycles) * kDay), far) << day;
    }
}

TEST(Dates, DayNumberIsTruncatedTowardsZero) {
    EXPECT_EQ(date_of(86399.9), (Date{1, 1, 1960, 5}));
    EXPECT_EQ(clock_of(86399.9), (Clock{23, 59, 59}));
    for (const double time : {-0.0, -0.5, -1.0, -3661.0, -86399.0, -86399.999}) {
        EXPECT_EQ(date_of(time), (Date{1, 1, 1960, 5})) << time;
    }
}

TEST(Dates, DaysBeforeTheEpochStayIn1960WithMonth13) {
    EXPECT_EQ(date_of(-86400), (Date{13, -366, 1960, 4}));
    EXPECT_EQ(date_of(-86400.0 * 6), (Date{13, -371, 1960, -1}));
    EXPECT_EQ(date_of(-86400.0 * 7), (Date{13, -372, 1960, 5}));
    for (std::int32_t days = -1; days > -100000; --days) {
        const Date expected{13, days - 366 + 1, 1960, days % 7 + 5};
        ASSERT_EQ(date_of(days * kDay), expected) << days;
        ASSERT_EQ(date_of(days * kDay - 86399.0), expected) << days;
    }
}

TEST(Dates, DayOfYearWrapsTo32Bits) {
    // 2^32 days before the epoch and one more is day -1 again; a day of year beyond the table's
    // end has month 13 too.
    const double wrap = 4294967296.0;
    EXPECT_EQ(date_of((-wrap - 1) * kDay).day, -366);
    EXPECT_EQ(date_of((-wrap - 1) * kDay).month, 13);
    EXPECT_EQ(date_of((-wrap + 59) * kDay).month, 2);
    EXPECT_EQ(date_of((-wrap + 59) * kDay).day, 29);
    EXPECT_EQ(date_of((-wrap + 1000) * kDay).month, 13);
    EXPECT_EQ(date_of((-wrap + 1000) * kDay).day, 1000 - 366 + 1);
    // The least day of the year less 365 wraps as well.
    EXPECT_EQ(date_of(-2147483648.0 * kDay).day, INT32_MAX - 364);
}

TEST(Dates, WhatFitsNo64BitsIsTheSmallestDay) {
    // -2^63 days: its low 32 bits are 0, and -2^63 remainder 7 is -1.
    for (const double time : {kNan, kInfinity, -kInfinity, 1e300, -1e300}) {
        EXPECT_EQ(date_of(time), (Date{1, 1, 1960, 4})) << time;
    }
    // -2^63 seconds remainder 86400 is -55808: 15:30:08 before midnight.
    for (const double time : {kNan, kInfinity, -kInfinity, 1e300, 0x1p63, -0x1p63, -1e300}) {
        EXPECT_EQ(clock_of(time), (Clock{-15, -30, -8})) << time;
    }
}

TEST(Dates, ClockMatchesEverySecondOfTwoDays) {
    for (std::int32_t s = 0; s < 2 * 86400; ++s) {
        const std::int32_t of_day = s % 86400;
        const Clock expected{of_day / 3600, of_day / 60 % 60, of_day % 60};
        ASSERT_EQ(clock_of(s), expected);
        ASSERT_EQ(clock_of(s + 0.75), expected);
        ASSERT_EQ(clock_of(-s), (Clock{-expected.hours, -expected.minutes, -expected.seconds}));
        ASSERT_EQ(clock_of(-s - 0.75),
                  (Clock{-expected.hours, -expected.minutes, -expected.seconds}));
    }
}

TEST(Dates, ClockOfNegativeTimeIsNegative) {
    EXPECT_EQ(clock_of(-3661), (Clock{-1, -1, -1}));
    EXPECT_EQ(clock_of(-86400.0 * 3 - 0.5), (Clock{0, 0, 0}));
    EXPECT_EQ(clock_of(1e15 + 3661), clock_of(std::fmod(1e15 + 3661, kDay)));
}

TEST(Dates, NullPointersAreNotStored) {
    for (unsigned mask = 0; mask < 16; ++mask) {
        Date date{-9, -9, -9, -9};
        NQ_LIBRARY(nqzdmdy)
        (kDay * 60, mask & 1 ? &date.month : nullptr, mask & 2 ? &date.day : nullptr,
         mask & 4 ? &date.year : nullptr, mask & 8 ? &date.weekday : nullptr);
        EXPECT_EQ(date, (Date{mask & 1 ? 3 : -9, mask & 2 ? 1 : -9, mask & 4 ? 1960 : -9,
                              mask & 8 ? 2 : -9}));
    }
    for (unsigned mask = 0; mask < 8; ++mask) {
        Clock clock{-9, -9, -9};
        NQ_LIBRARY(nqzdhms)
        (3723, mask & 1 ? &clock.hours : nullptr, mask & 2 ? &clock.minutes : nullptr,
         mask & 4 ? &clock.seconds : nullptr);
        EXPECT_EQ(clock, (Clock{mask & 1 ? 1 : -9, mask & 2 ? 2 : -9, mask & 4 ? 3 : -9}));
    }
}
