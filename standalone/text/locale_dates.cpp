#include "standalone/text/locale_dates.hpp"

#include <unicode/dtfmtsym.h>
#include <unicode/dtptngen.h>
#include <unicode/gregocal.h>
#include <unicode/timezone.h>
#include <unicode/uchar.h>

#include <cmath>
#include <limits>

namespace nq {
namespace {

constexpr double kMillisecondsPerSecond = 1000;
constexpr double kMillisecondsPerDay = 86400 * kMillisecondsPerSecond;
// ICU counts from 1970, time values count from 1960; three leap years lie between.
constexpr double kEpochDifference = (10 * 365 + 3) * kMillisecondsPerDay;
// The days from year 1 and to year 10000, counted from 1960.
constexpr double kFirstMillisecond = -715509 * kMillisecondsPerDay;
constexpr double kEndMillisecond = 2936550 * kMillisecondsPerDay;

struct Skeletons {
    const char16_t* whole;
    const char16_t* fraction;
};

// In the order of DateKind. "j" is the locale's choice between 12 and 24 hours.
constexpr Skeletons kSkeletons[kDateKinds] = {
    {u"yMdjms", u"yMdjmsSSS"},
    {u"yMd", nullptr},
    {u"jms", u"jmsSSS"},
};

// The milliseconds of `value` since 1960 as `kind` counts them, or NaN out of range.
double milliseconds(DateKind kind, double value) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    const double exact = value * kMillisecondsPerSecond;
    if (kind == DateKind::time) {
        if (!(exact >= 0 && exact < kMillisecondsPerDay)) return kNone;
        return std::fmin(std::round(exact), kMillisecondsPerDay - 1);
    }
    const double count = kind == DateKind::date
                             ? std::floor(exact / kMillisecondsPerDay) * kMillisecondsPerDay
                             : std::round(exact);
    return count >= kFirstMillisecond && count < kEndMillisecond ? count : kNone;
}

// Drops what a locale writes for the eye and people do not type: marks of writing direction, and
// the difference between kinds of spaces.
icu::UnicodeString plain(const icu::UnicodeString& text) {
    icu::UnicodeString result;
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 character = text.char32At(i);
        if (u_hasBinaryProperty(character, UCHAR_BIDI_CONTROL)) continue;
        result.append(u_isUWhiteSpace(character) ? u' ' : character);
    }
    return result;
}

// With a year in at least four digits: ICU reads a year of two as one of this century.
icu::UnicodeString with_full_year(const icu::UnicodeString& pattern) {
    icu::UnicodeString result;
    bool is_quoted = false;
    for (int32_t i = 0; i < pattern.length(); ++i) {
        const char16_t unit = pattern.charAt(i);
        if (unit == u'\'') is_quoted = !is_quoted;
        if (unit != u'y' || is_quoted) {
            result.append(unit);
        } else if (i == 0 || pattern.charAt(i - 1) != u'y') {
            result.append(u"yyyy", 4);
        }
    }
    return result;
}

void make_plain(icu::DateFormatSymbols& symbols) {
    int32_t count = 0;
    const icu::UnicodeString* names = symbols.getAmPmStrings(count);
    if (count != 2) return;
    const icu::UnicodeString plain_names[] = {plain(names[0]), plain(names[1])};
    symbols.setAmPmStrings(plain_names, count);
}

// Gregorian for all time, in UTC, refusing the 30th of February.
std::unique_ptr<icu::SimpleDateFormat> make_format(const icu::UnicodeString& pattern,
                                                   const icu::Locale& locale, UErrorCode& status) {
    auto format = std::make_unique<icu::SimpleDateFormat>(pattern, locale, status);
    auto calendar =
        std::make_unique<icu::GregorianCalendar>(*icu::TimeZone::getGMT(), locale, status);
    // ICU's own operator new answers null.
    if (!format || !calendar) status = U_MEMORY_ALLOCATION_ERROR;
    if (U_FAILURE(status)) return nullptr;
    calendar->setGregorianChange(-std::numeric_limits<double>::max(), status);
    format->adoptCalendar(calendar.release());
    format->setLenient(false);
    return format;
}

}  // namespace

LocaleDates::LocaleDates(icu::Locale locale, UErrorCode& status) {
    locale.setKeywordValue("calendar", "gregorian", status);
    const std::unique_ptr<icu::DateTimePatternGenerator> patterns(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    icu::DateFormatSymbols symbols(locale, status);
    if (U_FAILURE(status)) return;
    make_plain(symbols);
    const auto make = [&](const char16_t* skeleton) {
        Format format;
        if (!skeleton || U_FAILURE(status)) return format;
        const icu::UnicodeString pattern =
            with_full_year(patterns->getBestPattern(skeleton, status));
        format.writer = make_format(pattern, locale, status);
        format.reader = make_format(plain(pattern), locale, status);
        if (format.reader) format.reader->setDateFormatSymbols(symbols);
        return format;
    };
    for (std::size_t kind = 0; kind < kDateKinds; ++kind) {
        formats_[kind] = {.whole = make(kSkeletons[kind].whole),
                          .fraction = make(kSkeletons[kind].fraction)};
    }
}

bool LocaleDates::write(DateKind kind, double value, icu::UnicodeString& text) const {
    const double count = milliseconds(kind, value);
    if (std::isnan(count)) return false;
    const Formats& formats = formats_[static_cast<std::size_t>(kind)];
    const bool is_whole = std::fmod(count, kMillisecondsPerSecond) == 0;
    const std::lock_guard lock(busy_);
    text.remove();
    (is_whole ? formats.whole : formats.fraction).writer->format(count - kEpochDifference, text);
    return true;
}

bool LocaleDates::read(DateKind kind, const icu::UnicodeString& text, double& value) const {
    const icu::UnicodeString typed = plain(text);
    const Formats& formats = formats_[static_cast<std::size_t>(kind)];
    const std::lock_guard lock(busy_);
    for (const Format* format : {&formats.whole, &formats.fraction}) {
        if (!format->reader) continue;
        icu::ParsePosition position;
        const UDate date = format->reader->parse(typed, position);
        if (position.getErrorIndex() >= 0 || position.getIndex() != typed.length()) continue;
        const double count = date + (kind == DateKind::time ? 0 : kEpochDifference);
        if (std::isnan(milliseconds(kind, count / kMillisecondsPerSecond))) return false;
        value = count / kMillisecondsPerSecond;
        return true;
    }
    return false;
}

}  // namespace nq
