#pragma once
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/unistr.h>

#include <array>
#include <memory>
#include <mutex>

namespace nq {

enum class DateKind { datetime, date, time };
inline constexpr std::size_t kDateKinds = 3;

// How a locale writes and reads dates and times, as time values: seconds since 1960-01-01T00:00:00
// without a time zone. Dates are in the Gregorian calendar throughout, from year 1 to 9999, with
// the year in at least four digits. A datetime and a time have milliseconds only where they are
// not 0.
//
// - datetime: rounded to the nearest millisecond.
// - date: the day in which the time value lies; reading gives the start of that day.
// - time: a time value from 0 to less than 86400, the seconds of a day, rounded likewise but not
//   up to the next day.
//
// Threads may use one object at once; they take turns.
class LocaleDates {
  public:
    // `status` fails when ICU cannot make the formats.
    LocaleDates(icu::Locale locale, UErrorCode& status);

    // False: the value is outside the range and `text` is unchanged.
    bool write(DateKind kind, double value, icu::UnicodeString& text) const;
    // Reads a whole text without white space around it. False: it is no such date or time, and
    // `value` is unchanged.
    bool read(DateKind kind, const icu::UnicodeString& text, double& value) const;

  private:
    struct Format {
        std::unique_ptr<icu::SimpleDateFormat> writer;
        std::unique_ptr<icu::SimpleDateFormat> reader;
    };
    // Without and with milliseconds; a date has only the first.
    struct Formats {
        Format whole;
        Format fraction;
    };

    mutable std::mutex busy_;
    std::array<Formats, kDateKinds> formats_;
};

}  // namespace nq
