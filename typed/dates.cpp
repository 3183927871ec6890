#include "typed/dates.hpp"

#include <cmath>

#include "nqinstance/base/calendar.hpp"

namespace nq {
namespace {

// Takes pieces from the front of a text; after a piece that is not there nothing fits any more.
class Scanner {
  public:
    explicit Scanner(std::string_view text) noexcept : text_(text) {}

    // A number of exactly so many digits.
    std::optional<int32_t> digits(std::size_t count) noexcept {
        if (text_.size() < count) return std::nullopt;
        int32_t number = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (text_[i] < '0' || text_[i] > '9') return std::nullopt;
            number = number * 10 + (text_[i] - '0');
        }
        text_.remove_prefix(count);
        return number;
    }

    // Two digits of a number up to `most`.
    std::optional<int32_t> two_digits(int32_t most) noexcept {
        const auto number = digits(2);
        return number && *number <= most ? number : std::nullopt;
    }

    // One of the characters, or NUL.
    char take(std::string_view characters) noexcept {
        if (text_.empty() || characters.find(text_.front()) == characters.npos) return '\0';
        const char taken = text_.front();
        text_.remove_prefix(1);
        return taken;
    }

    bool at_digit() const noexcept {
        return !text_.empty() && text_.front() >= '0' && text_.front() <= '9';
    }
    bool at_end() const noexcept { return text_.empty(); }

  private:
    std::string_view text_;
};

std::optional<DateFields> date(Scanner& scanner) noexcept {
    const auto year = scanner.digits(4);
    if (!year || *year == 0) return std::nullopt;
    const bool has_hyphens = scanner.take("-");
    const auto month = scanner.two_digits(12);
    if (!month || *month == 0) return std::nullopt;
    if (has_hyphens && !scanner.take("-")) return std::nullopt;
    const auto day = scanner.two_digits(month_lengths(*year)[*month - 1]);
    if (!day || *day == 0) return std::nullopt;
    return DateFields{*year, *month, *day};
}

// Milliseconds; digits beyond them must be zeros.
std::optional<int32_t> fraction(Scanner& scanner) noexcept {
    if (!scanner.at_digit()) return std::nullopt;
    int32_t milliseconds = 0;
    int32_t weight = 100;
    while (scanner.at_digit()) {
        const int32_t digit = *scanner.digits(1);
        if (weight == 0 && digit) return std::nullopt;
        milliseconds += digit * weight;
        weight /= 10;
    }
    return milliseconds;
}

bool zone(Scanner& scanner, TimeFields& fields) noexcept {
    if (scanner.at_end()) return true;
    fields.has_zone = true;
    if (scanner.take("Zz")) return scanner.at_end();
    const char sign = scanner.take("+-");
    if (!sign) return false;
    const auto hours = scanner.two_digits(23);
    if (!hours) return false;
    int32_t minutes = 0;
    if (!scanner.at_end()) {
        scanner.take(":");
        const auto found = scanner.two_digits(59);
        if (!found) return false;
        minutes = *found;
    }
    const int32_t seconds = *hours * 3600 + minutes * 60;
    fields.zone_seconds = sign == '-' ? -seconds : seconds;
    return scanner.at_end();
}

std::optional<TimeFields> time(Scanner& scanner) noexcept {
    TimeFields fields;
    const auto hour = scanner.two_digits(23);
    if (!hour) return std::nullopt;
    const bool has_colons = scanner.take(":");
    const auto minute = scanner.two_digits(59);
    if (!minute) return std::nullopt;
    fields.hour = *hour;
    fields.minute = *minute;
    const bool has_seconds = has_colons ? scanner.take(":") != '\0' : true;
    if (has_seconds) {
        const auto second = scanner.two_digits(59);
        if (!second) return std::nullopt;
        fields.second = *second;
        if (scanner.take(".,")) {
            const auto milliseconds = fraction(scanner);
            if (!milliseconds) return std::nullopt;
            fields.millisecond = *milliseconds;
        }
    }
    if (!zone(scanner, fields)) return std::nullopt;
    return fields;
}

}  // namespace

std::optional<DateFields> parse_date(std::string_view text) noexcept {
    Scanner scanner(text);
    const auto fields = date(scanner);
    return scanner.at_end() ? fields : std::nullopt;
}

std::optional<TimeFields> parse_time(std::string_view text) noexcept {
    Scanner scanner(text);
    return time(scanner);
}

std::optional<DateTimeFields> parse_date_time(std::string_view text) noexcept {
    Scanner scanner(text);
    const auto day = date(scanner);
    if (!day || !scanner.take("Tt ")) return std::nullopt;
    const auto clock = time(scanner);
    if (!clock) return std::nullopt;
    return DateTimeFields{*day, *clock};
}

double seconds_from_1960(const DateTimeFields& fields) noexcept {
    const auto& [date, time] = fields;
    // Days before the year, counted from the year 1.
    const auto days_before = [](int32_t year) {
        const int32_t past = year - 1;
        return past * 365 + past / 4 - past / 100 + past / 400;
    };
    const int32_t days = days_before(date.year) - days_before(1960) +
                         days_before_months(date.year)[date.month - 1] + date.day - 1;
    const double whole = days * 86400.0 + time.hour * 3600.0 + time.minute * 60.0 + time.second;
    // Milliseconds are cut from the fraction, so the double just below a decimal fraction would
    // lose one.
    double seconds = whole + time.millisecond / 1000.0;
    while (std::trunc((seconds - whole) * 1000.0) < time.millisecond) {
        seconds = std::nextafter(seconds, HUGE_VAL);
    }
    return seconds;
}

}  // namespace nq
