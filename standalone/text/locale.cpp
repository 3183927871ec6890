#include "standalone/text/locale.hpp"

#include <unicode/locid.h>
#include <unicode/uchar.h>

#include <new>
#include <type_traits>
#include <utility>

#include "nqinstance/host/status.h"
#include "standalone/text/language.hpp"
#include "standalone/text/locale_dates.hpp"
#include "standalone/text/locale_numbers.hpp"
#include "standalone/text/text_output.hpp"

namespace nq {
namespace {

// Longer texts are neither numbers nor dates; refused before any work is done on them.
constexpr std::uint64_t kReadableBytes = 4096;

// Without the white space around it; empty also for a text too long to be read.
icu::UnicodeString decode_trimmed(const std::uint8_t* text, std::uint64_t length) {
    if (!length || length > kReadableBytes) return {};
    auto decoded = icu::UnicodeString::fromUTF8(
        {reinterpret_cast<const char*>(text), static_cast<int32_t>(length)});
    int32_t start = 0;
    int32_t end = decoded.length();
    while (start < end && u_isUWhiteSpace(decoded.charAt(start))) ++start;
    while (end > start && u_isUWhiteSpace(decoded.charAt(end - 1))) --end;
    return {decoded, start, end - start};
}

NQStatus put_unicode(const icu::UnicodeString& text, std::uint8_t* out, std::uint64_t capacity,
                     std::uint64_t* length) {
    if (text.isBogus()) return NQ_STATUS_NO_MEMORY;
    std::string bytes;
    text.toUTF8String(bytes);
    return put_text(bytes, out, capacity, length);
}

template <class Function>
NQLocaleOperation operation(Function* function) {
    return reinterpret_cast<NQLocaleOperation>(function);
}

}  // namespace

struct LocaleService::Locale : NQLocale {
    Locale(const icu::Locale& locale, UErrorCode& status)
        : NQLocale{}, name(locale.getName()), numbers(locale, status), dates(locale, status) {}

    std::string name;
    LocaleNumbers numbers;
    LocaleDates dates;
};

struct LocaleService::Operations {
    static const Locale& locale(NQLocale* self) { return *static_cast<Locale*>(self); }

    // The type that LocaleNumbers has for a kind of numbers.
    template <class Value>
    using Wide = std::conditional_t<
        std::is_floating_point_v<Value>, double,
        std::conditional_t<std::is_signed_v<Value>, std::int64_t, std::uint64_t>>;

    template <class Value>
    static NQStatus format_number(NQLocale* self, Value value, std::uint8_t* out,
                                  std::uint64_t capacity, std::uint64_t* out_length) noexcept try {
        UErrorCode status = U_ZERO_ERROR;
        const icu::UnicodeString text =
            locale(self).numbers.write(static_cast<Wide<Value>>(value), status);
        if (U_FAILURE(status)) return NQ_STATUS_NO_MEMORY;
        return put_unicode(text, out, capacity, out_length);
    } catch (const std::bad_alloc&) {
        return NQ_STATUS_NO_MEMORY;
    }

    template <class Value>
    static NQStatus parse_number(NQLocale* self, const std::uint8_t* text, std::uint64_t length,
                                 Value* out) noexcept try {
        Wide<Value> wide;
        if (!locale(self).numbers.read(decode_trimmed(text, length), wide)) {
            return NQ_STATUS_INVALID_ARGUMENT;
        }
        if constexpr (std::is_integral_v<Value>) {
            if (!std::in_range<Value>(wide)) return NQ_STATUS_INVALID_ARGUMENT;
        }
        *out = static_cast<Value>(wide);
        return NQ_STATUS_OK;
    } catch (const std::bad_alloc&) {
        return NQ_STATUS_NO_MEMORY;
    }

    template <DateKind kind>
    static NQStatus format_date(NQLocale* self, double value, std::uint8_t* out,
                                std::uint64_t capacity, std::uint64_t* out_length) noexcept try {
        icu::UnicodeString text;
        if (!locale(self).dates.write(kind, value, text)) return NQ_STATUS_INVALID_ARGUMENT;
        return put_unicode(text, out, capacity, out_length);
    } catch (const std::bad_alloc&) {
        return NQ_STATUS_NO_MEMORY;
    }

    template <DateKind kind>
    static NQStatus parse_date(NQLocale* self, const std::uint8_t* text, std::uint64_t length,
                               double* out) noexcept try {
        return locale(self).dates.read(kind, decode_trimmed(text, length), *out)
                   ? NQ_STATUS_OK
                   : NQ_STATUS_INVALID_ARGUMENT;
    } catch (const std::bad_alloc&) {
        return NQ_STATUS_NO_MEMORY;
    }

    static NQStatus release(void*) noexcept { return NQ_STATUS_OK; }

    static void fill(Locale& locale, LanguageCode language) {
        NQLocale& table = locale;
        table = {
            .handle = {.magic = NQ_MAGIC, .name = locale.name.c_str(), .release = release},
            .language = language,
            .padding = 0,
            .ToDouble = operation(parse_number<double>),
            .host_5_to_6 = {},
            .DoubleFormat = operation(format_number<double>),
            .IntfastFormat = operation(format_number<std::int64_t>),
            .IntmaxFormat = operation(format_number<std::int64_t>),
            .UintfastFormat = operation(format_number<std::uint64_t>),
            .UintmaxFormat = operation(format_number<std::uint64_t>),
            .ToIntfast = operation(parse_number<std::int64_t>),
            .ToIntmax = operation(parse_number<std::int64_t>),
            .ToUintfast = operation(parse_number<std::uint64_t>),
            .ToUintmax = operation(parse_number<std::uint64_t>),
            .IntFormat = operation(format_number<std::int32_t>),
            .UIntFormat = operation(format_number<std::uint32_t>),
            .ToInt = operation(parse_number<std::int32_t>),
            .ToUInt = operation(parse_number<std::uint32_t>),
            .LongFormat = operation(format_number<std::int64_t>),
            .ULongFormat = operation(format_number<std::uint64_t>),
            .ToLong = operation(parse_number<std::int64_t>),
            .ToULong = operation(parse_number<std::uint64_t>),
            .host_24_to_27 = {},
            .DatetimeFormat = operation(format_date<DateKind::datetime>),
            .DateFormat = operation(format_date<DateKind::date>),
            .TimeFormat = operation(format_date<DateKind::time>),
            .ToDatetime = operation(parse_date<DateKind::datetime>),
            .ToDate = operation(parse_date<DateKind::date>),
            .ToTime = operation(parse_date<DateKind::time>),
        };
    }
};

LocaleService::LocaleService() = default;
LocaleService::~LocaleService() = default;

NQLocale* LocaleService::get(std::string_view tag) noexcept try {
    // Longer tags are beyond what ICU's names hold.
    if (tag.empty() || tag.size() >= ULOC_FULLNAME_CAPACITY) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    const auto wanted =
        icu::Locale::forLanguageTag({tag.data(), static_cast<int32_t>(tag.size())}, status);
    if (U_FAILURE(status) || wanted.isBogus()) return nullptr;

    const std::lock_guard lock(looking_up_);
    const auto known = locales_.find(wanted.getName());
    if (known != locales_.end()) return known->second.get();
    auto made = std::make_unique<Locale>(wanted, status);
    if (U_FAILURE(status)) return nullptr;
    Operations::fill(*made, language_code(wanted.getLanguage()));
    return locales_.emplace(made->name, std::move(made)).first->second.get();
} catch (const std::bad_alloc&) {
    return nullptr;
}

}  // namespace nq
