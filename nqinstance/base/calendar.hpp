#pragma once
#include <cstdint>

namespace nq {

// The Gregorian rule, for years before that calendar and below zero too. Among the multiples of 4,
// those of 25 are the centuries, and those of 16 as well are the multiples of 400.
constexpr bool is_leap_year(int32_t year) noexcept {
    return year % 4 == 0 && (year % 25 != 0 || year % 16 == 0);
}

constexpr int32_t days_in_year(int32_t year) noexcept { return is_leap_year(year) ? 366 : 365; }

using MonthLengths = int32_t[12];
inline constexpr MonthLengths kMonthLengths = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
inline constexpr MonthLengths kLeapMonthLengths = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

constexpr const MonthLengths& month_lengths(int32_t year) noexcept {
    return is_leap_year(year) ? kLeapMonthLengths : kMonthLengths;
}

// Days before the start of each month and, last, the year's length.
struct DaysBeforeMonths {
    int32_t days[13];
    constexpr int32_t operator[](int32_t month) const noexcept { return days[month]; }
};

consteval DaysBeforeMonths summed(const MonthLengths& lengths) {
    DaysBeforeMonths before{};
    for (int32_t m = 0; m < 12; ++m) before.days[m + 1] = before.days[m] + lengths[m];
    return before;
}

inline constexpr DaysBeforeMonths kDaysBeforeMonths = summed(kMonthLengths);
inline constexpr DaysBeforeMonths kLeapDaysBeforeMonths = summed(kLeapMonthLengths);

constexpr const DaysBeforeMonths& days_before_months(int32_t year) noexcept {
    return is_leap_year(year) ? kLeapDaysBeforeMonths : kDaysBeforeMonths;
}

}  // namespace nq
