// Splitting time values into fields and adding fields up to time values, against arithmetic that
// knows no loop over the years; every body of that loop stops at the same place.
#include <bit>
#include <cmath>

#include "fuzz/support/checking.hpp"
#include "nqinstance/core/datetime.h"
#include "nqinstance/datefmt/dates.h"
#include "nqinstance/datefmt/year_walk.hpp"

namespace nq::fuzz {
namespace {

// Walks over more years than this take too long, for they go year by year.
constexpr double kFarthest = 1e12;
constexpr std::int32_t kMostYears = 20000;

bool is_leap(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

// Days from the first of January of year 1 to that of `year`, which is not before it.
std::int64_t days_before(std::int64_t year) {
    const std::int64_t past = year - 1;
    return 365 * past + past / 4 - past / 100 + past / 400;
}

constexpr std::int32_t kMonthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

std::int32_t month_days(std::int32_t index, std::int64_t year) {
    return kMonthDays[index] + (index == 1 && is_leap(year));
}

struct Date {
    std::int64_t month, day, year, weekday;
};

Date date_of(std::int64_t days) {
    // Days before the epoch stay in its year, as a day of the year of 32 bits.
    std::int64_t year = 1960;
    std::int64_t of_year = static_cast<std::int32_t>(days);
    if (days >= 0) {
        const std::int64_t absolute = days + days_before(1960);
        year = absolute * 400 / 146097 + 1;
        while (days_before(year) > absolute) --year;
        while (days_before(year + 1) <= absolute) ++year;
        of_year = absolute - days_before(year);
    }
    const std::int64_t weekday = days % 7 + 5;
    Date date{13, of_year - 366 + 1, year, weekday > 6 ? weekday - 7 : weekday};
    if (of_year < 0 || of_year >= 366) return date;
    std::int32_t month = 0;
    while (of_year >= month_days(month, year)) of_year -= month_days(month++, year);
    date.month = month + 1;
    date.day = of_year + 1;
    return date;
}

void check_split(double time) {
    const double magnitude = std::fabs(time);
    std::int32_t hours = -9, minutes = -9, seconds = -9;
    nqzdhms(time, &hours, &minutes, &seconds);
    const std::int64_t whole =
        magnitude < 0x1p63 ? static_cast<std::int64_t>(time) : std::int64_t{INT64_MIN};
    NQ_REQUIRE(hours == whole % 86400 / 3600 && minutes == whole % 3600 / 60 &&
               seconds == whole % 60);
    nqzdhms(time, nullptr, nullptr, nullptr);
    if (!(magnitude < kFarthest) && !(time < 0) && time == time) return;

    const double day = time / 86400.0;
    const std::int64_t days =
        std::fabs(day) < 0x1p63 ? static_cast<std::int64_t>(day) : std::int64_t{INT64_MIN};
    std::int32_t month = -9, day_of_month = -9, year = -9, weekday = -9;
    nqzdmdy(time, &month, &day_of_month, &year, &weekday);
    const Date expected = date_of(days);
    NQ_REQUIRE(month == expected.month && year == expected.year && weekday == expected.weekday);
    NQ_REQUIRE(day_of_month == static_cast<std::int32_t>(expected.day));
    nqzdmdy(time, nullptr, nullptr, nullptr, nullptr);

    if (days < 0) return;
    for (const YearWalkBody* body : year_walk_bodies()) {
        const YearWalk end = finish_walk(body->walk({.days_left = days, .year = 1960}));
        NQ_REQUIRE(end.year == expected.year);
        NQ_REQUIRE(end.days_left == days - (days_before(end.year) - days_before(1960)));
    }
}

// 32-bit products that wrap.
double product(std::int64_t count, std::int64_t seconds) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(count * seconds));
}

// The rules of the conversions, in which the whole year counts away from the epoch before it.
double calendar_seconds(std::int32_t year, std::int64_t months, std::int32_t day) {
    const bool is_before = year < 1960;
    const double sign = is_before ? -1.0 : 1.0;
    const auto years_to = [](std::int64_t from, std::int64_t to) {
        // Any year, by whole cycles before the first.
        constexpr std::int64_t kCycles = 1000;
        return days_before(to + 400 * kCycles) - days_before(from + 400 * kCycles);
    };
    const std::int64_t days =
        is_before ? years_to(std::int64_t{year} + 1, 1960) : years_to(1960, year);
    double seconds = static_cast<double>(days) * (sign * 86400.0);
    for (std::int32_t m = 0; m < std::clamp<std::int64_t>(months, 0, 12); ++m) {
        seconds += sign * product(month_days(m, year), 86400);
    }
    return seconds + sign * (product(day, 86400) - 86400.0);
}

std::int32_t field_of(Input& input) {
    const std::uint32_t choice = input.byte();
    if (choice < 200) return static_cast<std::int32_t>(choice % 64);
    return static_cast<std::int32_t>(input.number() | input.number() << 16);
}

void check_conversions(Input& input) {
    NQCalendarDateTime both{};
    both.year = static_cast<std::int32_t>(1960 + static_cast<std::int16_t>(input.number()));
    both.year = std::clamp(both.year, 1960 - kMostYears, 1960 + kMostYears);
    both.month = field_of(input);
    both.day = field_of(input);
    both.hour = field_of(input);
    both.minute = field_of(input);
    both.second = field_of(input);
    both.millisecond = field_of(input);
    both.hasZoneOffset = static_cast<std::uint8_t>(input.byte() % 3);
    both.zoneOffset = static_cast<std::int16_t>(input.number());
    const double zone = both.hasZoneOffset == 1 ? both.zoneOffset : 0.0;

    NQCalendarDate date{};
    date.year = both.year;
    date.month = both.month;
    date.day = both.day;
    NQ_REQUIRE(nqCalDateGetDate(&date) == calendar_seconds(date.year, date.month, date.day));

    NQTime time{};
    time.hour = both.hour;
    time.minute = both.minute;
    time.second = both.second;
    time.millisecond = both.millisecond;
    time.zoneOffset = both.zoneOffset;
    time.hasZoneOffset = both.hasZoneOffset;
    const double clock = product(time.hour, 3600) + product(time.minute, 60) + time.second +
                         time.millisecond / 1000.0;
    NQ_REQUIRE(nqTimeGetDate(&time) == clock + zone);

    const std::int64_t months = std::int64_t{both.month} - 1;
    NQ_REQUIRE(nqCalDateTimeGetDate(&both) ==
               clock + calendar_seconds(both.year, months, both.day) + zone);
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const std::uint32_t way = input.byte() % 4;
    if (way == 3) {
        check_conversions(input);
        return 0;
    }
    std::uint64_t bits = 0;
    for (int i = 0; i < 4; ++i) bits = bits << 16 | input.number();
    switch (way) {
        case 0:
            check_split(std::bit_cast<double>(bits));
            break;
        case 1:  // some seconds
            check_split(static_cast<double>(static_cast<std::int64_t>(bits) >> 24) / 8);
            break;
        default:  // whole days, and a second to either side
            for (const int step : {-1, 0, 1}) {
                check_split(static_cast<double>(bits % 10000000) * 86400.0 + step);
            }
    }
    return 0;
}
