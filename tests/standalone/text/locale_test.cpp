#include "standalone/text/locale.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "nqinstance/host/status.h"
#include "standalone/text/language.hpp"
#include "tests/support/random.hpp"

namespace {

constexpr const char* kTags[] = {"en", "de", "fr", "tr", "ar", "hi", "ja"};

template <class Value>
NQStatus call_format(NQLocale* locale, NQLocaleOperation NQLocale::*operation, Value value,
                     std::uint8_t* out, std::uint64_t capacity, std::uint64_t* length) {
    using Function = NQStatus(NQLocale*, Value, std::uint8_t*, std::uint64_t, std::uint64_t*);
    return reinterpret_cast<Function*>(locale->*operation)(locale, value, out, capacity, length);
}

// Into a buffer of exactly the size that measuring gave.
template <class Value>
std::string format(NQLocale* locale, NQLocaleOperation NQLocale::*operation, Value value) {
    std::uint64_t needed = 0;
    EXPECT_EQ(call_format(locale, operation, value, nullptr, 0, &needed),
              NQ_STATUS_BUFFER_TOO_SMALL);
    const auto out = std::make_unique<std::uint8_t[]>(needed);
    std::uint64_t length = 0;
    EXPECT_EQ(call_format(locale, operation, value, out.get(), needed, &length), NQ_STATUS_OK);
    EXPECT_EQ(length, needed);
    return {reinterpret_cast<const char*>(out.get()), needed};
}

template <class Value>
NQStatus parse(NQLocale* locale, NQLocaleOperation NQLocale::*operation, std::string_view text,
               Value& value) {
    using Function = NQStatus(NQLocale*, const std::uint8_t*, std::uint64_t, Value*);
    // An allocation of exactly the text's size, so that an over-read shows.
    const auto bytes = std::make_unique<std::uint8_t[]>(text.size());
    std::copy(text.begin(), text.end(), bytes.get());
    return reinterpret_cast<Function*>(locale->*operation)(locale, bytes.get(), text.size(),
                                                           &value);
}

template <class Value>
Value parsed(NQLocale* locale, NQLocaleOperation NQLocale::*operation, std::string_view text) {
    Value value{};
    EXPECT_EQ(parse(locale, operation, text, value), NQ_STATUS_OK) << text;
    return value;
}

template <class Value>
void expect_refused(NQLocale* locale, NQLocaleOperation NQLocale::*operation,
                    std::string_view text) {
    Value value{77};
    EXPECT_EQ(parse(locale, operation, text, value), NQ_STATUS_INVALID_ARGUMENT) << text;
    EXPECT_EQ(value, Value{77}) << text;
}

// A kind of values and the two operations on it.
template <class Value>
struct Kind {
    using Type = Value;
    NQLocaleOperation NQLocale::*format;
    NQLocaleOperation NQLocale::*parse;
};

template <class Action>
void for_each_integer_kind(Action action) {
    action(Kind<std::int64_t>{&NQLocale::IntfastFormat, &NQLocale::ToIntfast});
    action(Kind<std::int64_t>{&NQLocale::IntmaxFormat, &NQLocale::ToIntmax});
    action(Kind<std::uint64_t>{&NQLocale::UintfastFormat, &NQLocale::ToUintfast});
    action(Kind<std::uint64_t>{&NQLocale::UintmaxFormat, &NQLocale::ToUintmax});
    action(Kind<std::int32_t>{&NQLocale::IntFormat, &NQLocale::ToInt});
    action(Kind<std::uint32_t>{&NQLocale::UIntFormat, &NQLocale::ToUInt});
    action(Kind<std::int64_t>{&NQLocale::LongFormat, &NQLocale::ToLong});
    action(Kind<std::uint64_t>{&NQLocale::ULongFormat, &NQLocale::ToULong});
}

template <class Value>
void expect_round_trip(NQLocale* locale, Kind<Value> kind, Value value) {
    const std::string text = format(locale, kind.format, value);
    const Value back = parsed<Value>(locale, kind.parse, text);
    if constexpr (std::is_floating_point_v<Value>) {
        ASSERT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(value))
            << locale->handle.name << ": " << value << " as " << text;
    } else {
        ASSERT_EQ(back, value) << locale->handle.name << ": " << text;
    }
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kDay = 86400;
constexpr double kFirstDay = -715509 * kDay;
constexpr double kEndDay = 2936550 * kDay;

class LocaleTest : public testing::Test {
  protected:
    std::string number(const char* tag, double value) {
        return format(service.get(tag), &NQLocale::DoubleFormat, value);
    }
    std::string integer(const char* tag, std::int64_t value) {
        return format(service.get(tag), &NQLocale::IntmaxFormat, value);
    }

    nq::LocaleService service;
};
using Locale = LocaleTest;
using LocaleThreads = LocaleTest;

}  // namespace

TEST_F(Locale, TagsGiveLanguages) {
    EXPECT_EQ(service.get("tr")->language, nq::kLanguageTurkish);
    EXPECT_EQ(service.get("tr-TR")->language, 0x7472u);
    EXPECT_EQ(service.get("az-Cyrl-AZ")->language, nq::kLanguageAzeri);
    EXPECT_EQ(service.get("fil")->language, 0x66696cu);
    EXPECT_EQ(service.get("und")->language, nq::kLanguageNone);
    EXPECT_EQ(service.get("de-AT")->handle.magic, NQ_MAGIC);
}

TEST_F(Locale, SpellingsOfATagShareALocale) {
    NQLocale* locale = service.get("de-AT");
    EXPECT_EQ(service.get("de-AT"), locale);
    EXPECT_EQ(service.get("DE-at"), locale);
    EXPECT_NE(service.get("de"), locale);
    EXPECT_EQ(locale->handle.release(locale), NQ_STATUS_OK);
    EXPECT_EQ(service.get("de-AT"), locale) << "the service owns it";
}

TEST_F(Locale, UnusableTagsAreRefused) {
    for (const std::string& tag :
         {std::string(), std::string("-"), std::string("e"), std::string("en_"), std::string("de-"),
          std::string("toolonglanguage"), std::string("en-\xff"), std::string("e\0n", 3),
          std::string(100000, 'a')}) {
        EXPECT_EQ(service.get(tag), nullptr) << tag.substr(0, 20);
    }
    EXPECT_EQ(service.get("zh-u-nu-hansfin"), nullptr) << "no decimal digits";
}

TEST_F(Locale, AnUnknownLanguageHasCommonFormats) {
    NQLocale* locale = service.get("xx");
    ASSERT_NE(locale, nullptr);
    EXPECT_EQ(locale->language, nq::language_code("xx"));
    expect_round_trip(locale, Kind<double>{&NQLocale::DoubleFormat, &NQLocale::ToDouble}, -1234.5);
}

TEST_F(Locale, EveryNamedWordIsFilled) {
    NQLocale* locale = service.get("en");
    const auto* words = reinterpret_cast<NQLocaleOperation*>(locale);
    for (int word = 4; word < 34; ++word) {
        const bool is_gap = word == 5 || word == 6 || (word >= 24 && word <= 27);
        EXPECT_EQ(words[word] == nullptr, is_gap) << word;
    }
}

TEST_F(Locale, NumbersAreWrittenAsTheLanguageDoes) {
    EXPECT_EQ(number("en", -1234567.25), "-1,234,567.25");
    EXPECT_EQ(number("de", -1234567.25), "-1.234.567,25");
    EXPECT_EQ(number("fr", 1234567.25), "1\u202f234\u202f567,25");
    EXPECT_EQ(number("tr", 1234.5), "1.234,5");
    EXPECT_EQ(number("ar", 1234.5), "\u0661\u066c\u0662\u0663\u0664\u066b\u0665");
    EXPECT_EQ(number("hi", 1234567.25), "12,34,567.25");
    EXPECT_EQ(number("ja", 0.1), "0.1");
    EXPECT_EQ(number("de-AT", 1234.5), "1\u00a0234,5");
    EXPECT_EQ(number("en", 1e-7), "1E-7");
    EXPECT_EQ(number("en", 1e21), "1E21");
    EXPECT_EQ(number("en", 1e20), "100,000,000,000,000,000,000");
    EXPECT_EQ(number("en", 1e-6), "0.000001");
    EXPECT_EQ(number("en", -0.0), "-0");
    EXPECT_EQ(number("en", kInfinity), "\u221e");
    EXPECT_EQ(number("en", kNan), "NaN");
}

TEST_F(Locale, IntegersAreWrittenExactly) {
    EXPECT_EQ(integer("en", INT64_MIN), "-9,223,372,036,854,775,808");
    EXPECT_EQ(integer("en", 0), "0");
    NQLocale* locale = service.get("en");
    EXPECT_EQ(format(locale, &NQLocale::ULongFormat, UINT64_MAX), "18,446,744,073,709,551,615");
    EXPECT_EQ(format(locale, &NQLocale::UIntFormat, UINT32_MAX), "4,294,967,295");
    EXPECT_EQ(format(locale, &NQLocale::IntFormat, INT32_MIN), "-2,147,483,648");
}

TEST_F(Locale, DatesAreWrittenAsTheLanguageDoes) {
    const double moment = 59 * kDay + 13 * 3600 + 2 * 60 + 3;
    const auto datetime = [&](const char* tag) {
        return format(service.get(tag), &NQLocale::DatetimeFormat, moment);
    };
    EXPECT_EQ(datetime("en"), "2/29/1960, 1:02:03\u202fPM");
    EXPECT_EQ(datetime("de"), "29.2.1960, 13:02:03");
    EXPECT_EQ(datetime("fr"), "29/02/1960 13:02:03");
    EXPECT_EQ(datetime("ja"), "1960/2/29 13:02:03");
    EXPECT_EQ(format(service.get("de"), &NQLocale::DateFormat, moment), "29.2.1960");
    EXPECT_EQ(format(service.get("th"), &NQLocale::DateFormat, moment), "29/2/1960");
    EXPECT_EQ(format(service.get("de"), &NQLocale::TimeFormat, 3723.25), "01:02:03,250");
    EXPECT_EQ(format(service.get("ja"), &NQLocale::TimeFormat, 3723.0), "1:02:03");
    EXPECT_EQ(format(service.get("de"), &NQLocale::DateFormat, kFirstDay), "1.1.0001");
    EXPECT_EQ(format(service.get("de"), &NQLocale::DateFormat, -0.5), "31.12.1959");
    // Gregorian even before there was a Gregorian calendar: no leap day in 1500.
    EXPECT_EQ(format(service.get("de"), &NQLocale::DateFormat, -167953 * kDay), "28.2.1500");
    EXPECT_EQ(format(service.get("de"), &NQLocale::DateFormat, -167952 * kDay), "1.3.1500");
}

TEST_F(Locale, TimesAreRoundedToMilliseconds) {
    NQLocale* locale = service.get("de");
    EXPECT_EQ(format(locale, &NQLocale::TimeFormat, 0.0004), "00:00:00");
    EXPECT_EQ(format(locale, &NQLocale::TimeFormat, 0.0006), "00:00:00,001");
    EXPECT_EQ(format(locale, &NQLocale::TimeFormat, 86399.9999), "23:59:59,999");
    EXPECT_EQ(format(locale, &NQLocale::DatetimeFormat, 86399.9999), "2.1.1960, 00:00:00");
}

TEST_F(Locale, TimeValuesOutOfRangeAreRefused) {
    NQLocale* locale = service.get("en");
    const auto expect = [&](NQLocaleOperation NQLocale::*operation, double value) {
        std::uint8_t out[64] = {7};
        std::uint64_t length = 77;
        EXPECT_EQ(call_format(locale, operation, value, out, sizeof out, &length),
                  NQ_STATUS_INVALID_ARGUMENT)
            << value;
        EXPECT_EQ(length, 77u);
        EXPECT_EQ(out[0], 7);
    };
    for (const double value :
         {-kInfinity, kInfinity, kNan, -1e300, 1e300, kEndDay, kFirstDay - 1}) {
        for (const auto operation :
             {&NQLocale::DatetimeFormat, &NQLocale::DateFormat, &NQLocale::TimeFormat}) {
            expect(operation, value);
        }
    }
    expect(&NQLocale::DatetimeFormat, kEndDay - 0.0001);
    expect(&NQLocale::TimeFormat, -1);
    expect(&NQLocale::TimeFormat, kDay);
}

TEST_F(Locale, ATooSmallBufferIsUnchanged) {
    NQLocale* locale = service.get("ar");
    const std::string whole = format(locale, &NQLocale::DoubleFormat, -1234.5);
    for (std::uint64_t capacity = 0; capacity < whole.size(); ++capacity) {
        std::vector<std::uint8_t> out(capacity, 0xa5);
        std::uint64_t length = 0;
        EXPECT_EQ(
            call_format(locale, &NQLocale::DoubleFormat, -1234.5, out.data(), capacity, &length),
            NQ_STATUS_BUFFER_TOO_SMALL);
        EXPECT_EQ(length, whole.size());
        EXPECT_EQ(out, std::vector<std::uint8_t>(capacity, 0xa5));
    }
    std::vector<std::uint8_t> out(whole.size() + 1, 0xa5);
    EXPECT_EQ(
        call_format(locale, &NQLocale::DoubleFormat, -1234.5, out.data(), out.size(), nullptr),
        NQ_STATUS_OK);
    EXPECT_EQ(out.back(), 0xa5) << "no terminator";
}

TEST_F(Locale, NumbersAreReadInTheLanguagesForm) {
    NQLocale* english = service.get("en");
    for (const char* text : {"1234.5", "1,234.5", " 1,234.5\t\n", "\u00a01234.5\u3000", "+1234.5",
                             "12345E-1", "1.2345e3", "\uff11\uff12\uff13\uff14.\uff15",
                             "\u0661\u0662\u0663\u0664.\u0665", "01234.50"}) {
        EXPECT_EQ(parsed<double>(english, &NQLocale::ToDouble, text), 1234.5) << text;
    }
    EXPECT_EQ(parsed<double>(service.get("de"), &NQLocale::ToDouble, "1.234,5"), 1234.5);
    for (const char* text : {"1 234,5", "1\u00a0234,5", "1\u202f234,5", "1234,5"}) {
        EXPECT_EQ(parsed<double>(service.get("fr"), &NQLocale::ToDouble, text), 1234.5) << text;
    }
    for (const char* text : {"-5", "\u22125"}) {
        EXPECT_EQ(parsed<double>(english, &NQLocale::ToDouble, text), -5) << text;
    }
    EXPECT_TRUE(std::isnan(parsed<double>(english, &NQLocale::ToDouble, "NaN")));
    EXPECT_EQ(parsed<double>(english, &NQLocale::ToDouble, "1E-400"), 0);
}

TEST_F(Locale, OtherTextsAreNoNumbers) {
    NQLocale* english = service.get("en");
    for (const char* text :
         {"",   " ",   "-",   "+",    "+-5",   "--5",    ".",        ",",     "x",
          "5x", "x5",  "5 6", "0x10", "1,5",   "12,34",  "1,234,56", "1.5.6", "1E",
          "E5", "(5)", "5%",  "$5",   "1E400", "-1E400", "5-",       "\xff"}) {
        expect_refused<double>(english, &NQLocale::ToDouble, text);
        expect_refused<std::int64_t>(english, &NQLocale::ToIntmax, text);
        expect_refused<std::uint32_t>(english, &NQLocale::ToUInt, text);
    }
    expect_refused<double>(service.get("de"), &NQLocale::ToDouble, "1,234.5");
    expect_refused<double>(english, &NQLocale::ToDouble, std::string(5000, '1'));
    expect_refused<double>(english, &NQLocale::ToDouble, std::string(1000, '1'));
    expect_refused<double>(english, &NQLocale::ToDouble, std::string_view("5\0", 2));
    expect_refused<double>(english, &NQLocale::ToDouble, std::string_view("1\0002", 3));
}

TEST_F(Locale, IntegersOutOfRangeAreRefused) {
    NQLocale* locale = service.get("en");
    for (const char* text : {"9223372036854775808", "-9223372036854775809", "1.5", "1E-1", "NaN",
                             "\u221e", "1E19", "1E2000000000"}) {
        expect_refused<std::int64_t>(locale, &NQLocale::ToIntmax, text);
        expect_refused<std::int64_t>(locale, &NQLocale::ToLong, text);
        expect_refused<std::int32_t>(locale, &NQLocale::ToInt, text);
    }
    for (const char* text :
         {"18446744073709551616", "-1", "9223372036854775807.5", "18446744073709551615.5",
          "184467440737095516150E-2", "1E20", "-9223372036854775809", "\u221e", "1E-400"}) {
        expect_refused<std::uint64_t>(locale, &NQLocale::ToUintmax, text);
        expect_refused<std::uint64_t>(locale, &NQLocale::ToUintfast, text);
        expect_refused<std::uint32_t>(locale, &NQLocale::ToUInt, text);
    }
    expect_refused<std::int32_t>(locale, &NQLocale::ToInt, "2147483648");
    expect_refused<std::int32_t>(locale, &NQLocale::ToInt, "-2147483649");
    expect_refused<std::uint32_t>(locale, &NQLocale::ToUInt, "4294967296");
}

TEST_F(Locale, IntegersAreReadExactly) {
    NQLocale* locale = service.get("en");
    const auto wide = [&](const char* text) {
        return parsed<std::uint64_t>(locale, &NQLocale::ToUintmax, text);
    };
    EXPECT_EQ(wide("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(wide("18446744073709551615.000"), UINT64_MAX);
    EXPECT_EQ(wide("9223372036854775808"), UINT64_C(9223372036854775808));
    EXPECT_EQ(wide("9,223,372,036,854,775,807"), UINT64_C(9223372036854775807));
    EXPECT_EQ(wide("1E19"), UINT64_C(10000000000000000000));
    EXPECT_EQ(wide("-0"), 0u);
    EXPECT_EQ(wide("12.0"), 12u);
    const auto narrow = [&](const char* text) {
        return parsed<std::int64_t>(locale, &NQLocale::ToIntmax, text);
    };
    EXPECT_EQ(narrow("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(narrow("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(narrow("-0"), 0);
    EXPECT_EQ(narrow("-1.5E1"), -15);
}

TEST_F(Locale, DatesAreReadWithTypedSpacesAndWithoutDirectionMarks) {
    NQLocale* english = service.get("en");
    const double moment = 59 * kDay + 13 * 3600 + 2 * 60 + 3;
    for (const char* text : {"2/29/1960, 1:02:03 PM", "2/29/1960, 1:02:03\u202fpm",
                             "  02/29/1960, 01:02:03\u00a0PM ", "2/29/1960, 1:02:03.000 PM"}) {
        EXPECT_EQ(parsed<double>(english, &NQLocale::ToDatetime, text), moment) << text;
    }
    EXPECT_EQ(parsed<double>(english, &NQLocale::ToTime, "12:00:00 AM"), 0);
    EXPECT_EQ(parsed<double>(english, &NQLocale::ToTime, "1:02:03.5 PM"), 46923.5);
    NQLocale* arabic = service.get("ar");
    EXPECT_EQ(
        parsed<double>(arabic, &NQLocale::ToDate, "\u0662\u0669/\u0662/\u0661\u0669\u0666\u0660"),
        59 * kDay);
    EXPECT_EQ(parsed<double>(arabic, &NQLocale::ToDate, "29/2/1960"), 59 * kDay);
}

TEST_F(Locale, OtherTextsAreNoDates) {
    NQLocale* english = service.get("en");
    for (const char* text : {"", "x", "2/30/2000", "2/29/1900", "13/1/2000", "0/1/2000", "1/0/2000",
                             "1/1", "1/1/2000x", "1/1/10000", "1/1/0000", "1/1/-5", "1/1/2000,"}) {
        expect_refused<double>(english, &NQLocale::ToDate, text);
        expect_refused<double>(english, &NQLocale::ToDatetime, text);
        expect_refused<double>(english, &NQLocale::ToTime, text);
    }
    for (const char* text : {"13:00:00 PM", "1:60:00 PM", "1:00:60 PM", "1:00 PM", "1:00:00",
                             "-1:00:00 PM", "1:00:00 PM UTC"}) {
        expect_refused<double>(english, &NQLocale::ToTime, text);
    }
    expect_refused<double>(service.get("de"), &NQLocale::ToTime, "24:00:00");
    // The last moment that is read, and the next.
    EXPECT_EQ(parsed<double>(english, &NQLocale::ToDatetime, "12/31/9999, 11:59:59 PM"),
              253717919999.0);
    expect_refused<double>(english, &NQLocale::ToDatetime, "1/1/10000, 12:00:00 AM");
    expect_refused<double>(english, &NQLocale::ToDatetime, "1/1/1000000000, 12:00:00 AM");
}

TEST_F(Locale, EdgesOfIntegersRoundTrip) {
    for (const char* tag : kTags) {
        NQLocale* locale = service.get(tag);
        for_each_integer_kind([&](auto kind) {
            using Value = typename decltype(kind)::Type;
            constexpr Value kMinimum = std::numeric_limits<Value>::min();
            constexpr Value kMaximum = std::numeric_limits<Value>::max();
            for (const Value value :
                 {kMinimum, static_cast<Value>(kMinimum + 1), Value{0}, Value{1}, Value{999},
                  Value{1000}, static_cast<Value>(kMaximum / 2),
                  static_cast<Value>(kMaximum / 2 + 1), static_cast<Value>(kMaximum - 1),
                  kMaximum}) {
                expect_round_trip(locale, kind, value);
            }
        });
    }
}

TEST_F(Locale, RandomValuesRoundTrip) {
    nq::test::SeededRandom random(1500);
    const Kind<double> numbers{&NQLocale::DoubleFormat, &NQLocale::ToDouble};
    const Kind<double> datetimes{&NQLocale::DatetimeFormat, &NQLocale::ToDatetime};
    const Kind<double> dates{&NQLocale::DateFormat, &NQLocale::ToDate};
    const Kind<double> times{&NQLocale::TimeFormat, &NQLocale::ToTime};
    for (std::uint64_t round = 0; round < random.rounds(); ++round) {
        NQLocale* locale = service.get(random.pick(kTags));
        for_each_integer_kind([&](auto kind) {
            // All magnitudes alike.
            using Value = typename decltype(kind)::Type;
            const auto value = static_cast<Value>(static_cast<Value>(random.bits()) >>
                                                  random.below(sizeof(Value) * 8));
            expect_round_trip(locale, kind, value);
        });
        const auto number = std::bit_cast<double>(random.bits());
        if (!std::isnan(number)) expect_round_trip(locale, numbers, number);
        expect_round_trip(locale, numbers, static_cast<double>(random.below(2000000)) / 1000);
        const auto milliseconds = static_cast<std::int64_t>(random.below(315537897600000));
        const bool is_whole = random.below(2) == 0;
        const std::int64_t counted = is_whole ? milliseconds / 1000 * 1000 : milliseconds;
        const auto from_epoch =
            static_cast<double>(counted + static_cast<std::int64_t>(kFirstDay) * 1000);
        expect_round_trip(locale, datetimes, from_epoch / 1000);
        expect_round_trip(locale, dates, std::floor(from_epoch / 1000 / kDay) * kDay);
        expect_round_trip(locale, times, static_cast<double>(counted % 86400000) / 1000);
        if (HasFatalFailure()) return;
    }
}

TEST_F(LocaleThreads, AllGetTheSameLocaleAndUseItAtOnce) {
    std::vector<std::thread> threads;
    std::vector<NQLocale*> found(8);
    for (NQLocale*& mine : found) {
        threads.emplace_back([&mine, this] {
            mine = service.get("ar");
            for (int round = 0; round < 150; ++round) {
                NQLocale* locale = service.get(kTags[static_cast<std::size_t>(round) % 7]);
                for (const double value : {0.5, -1234567.125, 86399.0}) {
                    expect_round_trip(
                        locale, Kind<double>{&NQLocale::DoubleFormat, &NQLocale::ToDouble}, value);
                    expect_round_trip(
                        locale, Kind<double>{&NQLocale::DatetimeFormat, &NQLocale::ToDatetime},
                        value);
                }
                expect_round_trip(locale, Kind<double>{&NQLocale::TimeFormat, &NQLocale::ToTime},
                                  static_cast<double>(round));
                expect_round_trip(locale,
                                  Kind<std::uint64_t>{&NQLocale::ULongFormat, &NQLocale::ToULong},
                                  UINT64_MAX - static_cast<std::uint64_t>(round));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const NQLocale* mine : found) EXPECT_EQ(mine, found[0]);
}
