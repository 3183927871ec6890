#include "nqinstance/datefmt/dates.h"

#include "nqinstance/base/calendar.hpp"
#include "nqinstance/base/truncate.hpp"
#include "nqinstance/datefmt/year_walk.hpp"

namespace nq {
namespace {

constexpr int32_t kEpochYear = 1960;
constexpr int32_t kEpochWeekday = 5;
constexpr double kSecondsPerDay = 86400.0;

// 13 for a day outside the year.
int32_t month_of(const DaysBeforeMonths& days_before, int32_t day_of_year) noexcept {
    int32_t month = 1;
    while (month <= 12 &&
           !(days_before[month - 1] <= day_of_year && day_of_year < days_before[month])) {
        ++month;
    }
    return month;
}

void store(int32_t* target, int64_t value) noexcept {
    if (target) *target = static_cast<int32_t>(value);
}

}  // namespace
}  // namespace nq

void nqzdmdy(double time, int32_t* month, int32_t* day, int32_t* year, int32_t* weekday) noexcept {
    const int64_t days = nq::truncate_int64(time / nq::kSecondsPerDay);
    const nq::YearWalk at =
        nq::finish_walk(nq::year_walk_body().walk({.days_left = days, .year = nq::kEpochYear}));
    const nq::DaysBeforeMonths& days_before = nq::days_before_months(at.year);
    const auto day_of_year = static_cast<int32_t>(at.days_left);
    const int32_t month_number = nq::month_of(days_before, day_of_year);
    const int64_t day_of_week = days % 7 + nq::kEpochWeekday;

    nq::store(month, month_number);
    nq::store(day, int64_t{day_of_year} - days_before[month_number - 1] + 1);
    nq::store(year, at.year);
    nq::store(weekday, day_of_week > 6 ? day_of_week - 7 : day_of_week);
}

void nqzdhms(double time, int32_t* hours, int32_t* minutes, int32_t* seconds) noexcept {
    const int64_t of_day = nq::truncate_int64(time) % 86400;
    const int64_t of_hour = of_day % 3600;
    nq::store(hours, of_day / 3600);
    nq::store(minutes, of_hour / 60);
    nq::store(seconds, of_hour % 60);
}
