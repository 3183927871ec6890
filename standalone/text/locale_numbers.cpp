#include "standalone/text/locale_numbers.hpp"

#include <unicode/uchar.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace nq {
namespace {

constexpr double kScientificBelow = 1e-6;
constexpr double kScientificFrom = 1e21;

// No number that the writers make is nearly as long, and ICU's reader takes quadratic time.
constexpr int32_t kReadableUnits = 512;

// What ICU read, exactly: "0", "1.5" or "1.8446744073709551615E+19".
std::string_view digits_of(icu::Formattable& number) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::StringPiece digits = number.getDecimalNumber(status);
    if (U_FAILURE(status)) return {};
    return {digits.data(), static_cast<std::size_t>(digits.length())};
}

// Reads a whole number beyond int64_t from ICU's exact writing: one digit, the others after a
// point unless they are zeros, and the exponent.
bool read_beyond_int64(std::string_view number, std::uint64_t& value) {
    const std::size_t mark = number.find("E+");
    if (mark == number.npos) return false;
    const std::string_view mantissa = number.substr(0, mark);
    const std::string_view exponent = number.substr(mark + 2);
    if (exponent != "18" && exponent != "19") return false;
    char digits[std::numeric_limits<std::uint64_t>::digits10 + 1];
    const std::size_t size = exponent == "18" ? 19 : 20;
    static_assert(sizeof digits == 20);
    if (mantissa.size() > 1 && mantissa[1] != '.') return false;  // negative
    if (mantissa.size() > size + 1) return false;                 // a fraction is left
    std::fill_n(digits, size, '0');
    std::remove_copy(mantissa.begin(), mantissa.end(), digits, '.');
    const auto [end, error] = std::from_chars(digits, digits + size, value);
    return error == std::errc{} && end == digits + size;
}

bool is_int64(const icu::Formattable& number) {
    return number.getType() == icu::Formattable::kLong ||
           number.getType() == icu::Formattable::kInt64;
}

// Minus zero is no int64_t in ICU's view.
bool is_zero(icu::Formattable& number) { return digits_of(number) == "0"; }

}  // namespace

LocaleNumbers::LocaleNumbers(const icu::Locale& locale, UErrorCode& status) {
    using icu::number::Notation;
    using icu::number::NumberFormatter;
    using icu::number::Precision;
    plain_ = NumberFormatter::withLocale(locale).precision(Precision::unlimited());
    scientific_ = plain_.notation(Notation::scientific());
    std::unique_ptr<icu::NumberFormat> reader(
        icu::NumberFormat::createInstance(locale, UNUM_DECIMAL, status));
    if (U_FAILURE(status)) return;
    if (!dynamic_cast<icu::DecimalFormat*>(reader.get())) {
        status = U_UNSUPPORTED_ERROR;  // digits that are no decimal system
        return;
    }
    reader_.reset(static_cast<icu::DecimalFormat*>(reader.release()));
    reader_->setLenient(false);
    // ICU prepares a formatter for speed when it has been used a few times: here, where no other
    // thread can see it.
    for (int use = 0; use < 4; ++use) {
        plain_.formatInt(0, status);
        scientific_.formatInt(0, status);
    }
}

icu::UnicodeString LocaleNumbers::write(std::int64_t value, UErrorCode& status) const {
    return plain_.formatInt(value, status).toString(status);
}

icu::UnicodeString LocaleNumbers::write(std::uint64_t value, UErrorCode& status) const {
    char digits[std::numeric_limits<std::uint64_t>::digits10 + 1];
    const char* end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
    return plain_.formatDecimal({digits, static_cast<int32_t>(end - digits)}, status)
        .toString(status);
}

icu::UnicodeString LocaleNumbers::write(double value, UErrorCode& status) const {
    const double magnitude = std::fabs(value);
    const bool is_plain = !std::isfinite(value) || magnitude == 0 ||
                          (magnitude >= kScientificBelow && magnitude < kScientificFrom);
    return (is_plain ? plain_ : scientific_).formatDouble(value, status).toString(status);
}

bool LocaleNumbers::parse(icu::UnicodeString& text, icu::Formattable& number) const {
    if (text.isEmpty() || text.length() > kReadableUnits) return false;
    // The patterns have no plus sign, but people type one.
    if (text.charAt(0) == u'+' && u_isdigit(text.char32At(1))) text.remove(0, 1);
    icu::ParsePosition position;
    const std::lock_guard lock(reading_);
    reader_->parse(text, number, position);
    return position.getErrorIndex() < 0 && position.getIndex() == text.length();
}

bool LocaleNumbers::read(icu::UnicodeString text, std::int64_t& value) const {
    icu::Formattable number;
    if (!parse(text, number)) return false;
    if (!is_int64(number) && !is_zero(number)) return false;
    value = is_int64(number) ? number.getInt64() : 0;
    return true;
}

bool LocaleNumbers::read(icu::UnicodeString text, std::uint64_t& value) const {
    icu::Formattable number;
    if (!parse(text, number)) return false;
    if (!is_int64(number)) {
        value = 0;
        return is_zero(number) || read_beyond_int64(digits_of(number), value);
    }
    if (number.getInt64() < 0) return false;
    value = static_cast<std::uint64_t>(number.getInt64());
    return true;
}

bool LocaleNumbers::read(icu::UnicodeString text, double& value) const {
    icu::Formattable number;
    if (!parse(text, number)) return false;
    UErrorCode status = U_ZERO_ERROR;
    const double parsed = number.getDouble(status);
    if (U_FAILURE(status)) return false;
    const bool is_overflow =
        std::isinf(parsed) && digits_of(number).find("Infinity") == std::string_view::npos;
    if (is_overflow) return false;
    value = parsed;
    return true;
}

}  // namespace nq
