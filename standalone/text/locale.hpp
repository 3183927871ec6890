#pragma once
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "nqinstance/host/locale.h"

namespace nq {

// The host's locales on ICU.
//
// NQLocale::language is the language_code of the tag's language. The operations, with the C type
// of each one's value:
//
//   Double             double
//   Int, Long          int32_t, int64_t
//   UInt, ULong        uint32_t, uint64_t
//   Intfast, Intmax    int64_t
//   Uintfast, Uintmax  uint64_t
//   Datetime           double, seconds since 1960-01-01T00:00:00
//   Date               double, the same scale: any time of the day in, its first second out
//   Time               double, seconds of the day, 0 to less than 86400
//
// Formatting, `NQStatus (NQLocale*, value, uint8_t* out, uint64_t capacity, uint64_t* outLength)`,
// writes UTF-8 without a terminator; outLength may be null.
//   NQ_STATUS_BUFFER_TOO_SMALL: *outLength is the room the text needs, `out` is unchanged. A null
//   `out` with capacity 0 measures.
//   NQ_STATUS_INVALID_ARGUMENT: a time value outside the range of LocaleDates; nothing is written.
//
// Parsing, `NQStatus (NQLocale*, const uint8_t* text, uint64_t length, value* out)`, reads the
// whole text, around which white space may stand.
//   NQ_STATUS_INVALID_ARGUMENT: the text is nothing of the kind, or its value does not fit; `*out`
//   is unchanged.
//
// Either may return NQ_STATUS_NO_MEMORY and changes nothing then. What is formatted reads back as
// the same value; a datetime or time to the millisecond. Threads may use one locale at once. The
// words that have no name are null.
class LocaleService {
  public:
    LocaleService();
    // The locales that were handed out are gone afterwards.
    ~LocaleService();
    LocaleService(const LocaleService&) = delete;
    LocaleService& operator=(const LocaleService&) = delete;

    // The locale of a BCP 47 language tag, the same for tags that differ in spelling only. A tag
    // without data of its own has the formats of the nearest one that has. Null when the tag is
    // not well-formed, when ICU cannot write its numbers with decimal digits, or without memory.
    NQLocale* get(std::string_view tag) noexcept;

  private:
    struct Locale;
    struct Operations;

    std::mutex looking_up_;
    std::map<std::string, std::unique_ptr<Locale>> locales_;  // by ICU's name
};

}  // namespace nq
