#pragma once
#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <memory>
#include <mutex>

namespace nq {

// How a locale writes and reads numbers. Writing is exact: reading the text back gives the same
// value. Reading wants a whole text without white space around it, takes groups only where the
// locale has them (typed with any kind of space if with one), digits of any script and exponents,
// and answers false for anything that is not a number of the wanted type; what `value` holds then
// is not said. An integer may have a fraction of zeros.
// Threads may use one object at once.
class LocaleNumbers {
  public:
    // `status` fails when ICU has no decimal numbers for the locale.
    LocaleNumbers(const icu::Locale& locale, UErrorCode& status);

    icu::UnicodeString write(std::int64_t value, UErrorCode& status) const;
    icu::UnicodeString write(std::uint64_t value, UErrorCode& status) const;
    // Without loss; beyond the magnitudes 1e-6 to 1e21 in scientific notation.
    icu::UnicodeString write(double value, UErrorCode& status) const;

    bool read(icu::UnicodeString text, std::int64_t& value) const;
    bool read(icu::UnicodeString text, std::uint64_t& value) const;
    // A text beyond a double's range is refused; one closer to zero than any double reads as zero.
    bool read(icu::UnicodeString text, double& value) const;

  private:
    bool parse(icu::UnicodeString& text, icu::Formattable& number) const;

    icu::number::LocalizedNumberFormatter plain_;
    icu::number::LocalizedNumberFormatter scientific_;
    mutable std::mutex reading_;
    std::unique_ptr<icu::DecimalFormat> reader_;
};

}  // namespace nq
