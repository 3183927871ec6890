#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

// Fields of the ISO 8601 forms, checked.

struct DateFields {
    int32_t year = 0;  // 1 to 9999
    int32_t month = 0;
    int32_t day = 0;
};

struct TimeFields {
    int32_t hour = 0;
    int32_t minute = 0;
    int32_t second = 0;
    int32_t millisecond = 0;
    bool has_zone = false;
    int32_t zone_seconds = 0;  // east of UTC is positive
};

struct DateTimeFields {
    DateFields date;
    TimeFields time;
};

// YYYY-MM-DD or YYYYMMDD, a day of the Gregorian calendar.
std::optional<DateFields> parse_date(std::string_view text) noexcept;

// HH:MM, HH:MM:SS or HHMMSS, after the seconds "." or "," and a fraction of whole milliseconds;
// then Z, ±HH, ±HHMM or ±HH:MM where the zone is known.
std::optional<TimeFields> parse_time(std::string_view text) noexcept;

// A date, then "T", "t" or a blank, then a time.
std::optional<DateTimeFields> parse_date_time(std::string_view text) noexcept;

// Seconds from 1960-01-01T00:00:00 to the date and the time, without regard to the zone. Splitting
// the number gives back every field, the milliseconds too, from 1960 on.
double seconds_from_1960(const DateTimeFields& fields) noexcept;

}  // namespace nq
