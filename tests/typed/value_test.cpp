#include "typed/value.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>

#include "nqinstance/core/data.h"
#include "nqinstance/core/datetime.h"
#include "nqinstance/datefmt/dates.h"
#include "standalone/base/base64.hpp"
#include "standalone/values/strings.hpp"
#include "tests/support/random.hpp"
#include "tests/typed/support.hpp"
#include "typed/dates.hpp"
#include "typed/validation.hpp"
#include "typed/value_text.hpp"

namespace nq {
namespace {

using namespace std::string_literals;
using test::FailedCall;
using test::SeededRandom;

class TypedValue : public test::TypedTest {
  protected:
    // A leaf of the type, as the loader makes it.
    static DefinitionNode leaf_of(DataType type) {
        DefinitionNode leaf;
        leaf.type = type;
        leaf.takes_uint64 = true;
        return leaf;
    }

    // The value in a notation that shows the kind of instance; "-" when it does not fit.
    std::string made(const DefinitionNode& leaf, const PlainValue& value) {
        InstanceHeader* instance = reinterpret_cast<InstanceHeader*>(this);
        const NQStatus status = make_typed_value(services, host.pool(), leaf, value, &instance);
        if (status) {
            EXPECT_EQ(status, NQ_STATUS_WRONG_TYPE);
            EXPECT_EQ(instance, nullptr);
            return "-";
        }
        const std::string shown = notation(instance);
        instance->release(instance);
        return shown;
    }
    std::string made(DataType type, const PlainValue& value) { return made(leaf_of(type), value); }
    std::string from_text(DataType type, std::string_view text) {
        return made(type, PlainValue::of_text(text));
    }
    void expect_unfit(DataType type, std::initializer_list<std::string_view> texts) {
        for (const std::string_view text : texts)
            EXPECT_EQ(from_text(type, text), "-") << keyword_of(type) << " \"" << text << '"';
    }

    static std::string notation(InstanceHeader* instance) {
        const auto is = [&](const char* type) { return instance->isType(instance, type) == 1; };
        char text[80] = "?";
        const auto print = [&](const char* format, auto... values) {
            std::snprintf(text, sizeof text, format, values...);
            return std::string(text);
        };
        const auto zone = [](double offset, uint8_t has) {
            return std::string(has == 1 ? " zone " : "")
                .append(has == 1 ? std::to_string(static_cast<int>(offset)) : "");
        };
        if (is("NQInt32Instance"))
            return print("i32 %d", reinterpret_cast<NQInt32Instance*>(instance)->value);
        if (is("NQUInt32Instance"))
            return print("u32 %u", reinterpret_cast<NQUInt32Instance*>(instance)->value);
        if (is("NQInt64Instance"))
            return print("i64 %ld", reinterpret_cast<NQInt64Instance*>(instance)->value);
        if (is("NQUInt64Instance"))
            return print("u64 %lu", reinterpret_cast<NQUInt64Instance*>(instance)->value);
        if (is("NQDoubleInstance"))
            return print("double %.17g", reinterpret_cast<NQDoubleInstance*>(instance)->value);
        if (is("NQBooleanInstance"))
            return reinterpret_cast<NQBooleanInstance*>(instance)->value == 1 ? "true" : "false";
        if (is("NQCharInstance"))
            return print("U+%04X", reinterpret_cast<NQCharInstance*>(instance)->value);
        if (is("NQU8String"))
            return std::string(1, '\'')
                .append(text_of(*reinterpret_cast<NQU8String*>(instance)))
                .append(1, '\'');
        if (is("NQData")) {
            const auto& data = *reinterpret_cast<NQData*>(instance);
            std::string hex = "data";
            for (uint64_t i = 0; i < data.length; ++i) hex += print(" %02x", data.bytes[i]);
            return hex;
        }
        if (is("NQCalendarDateInstance")) {
            const auto& date = *reinterpret_cast<NQCalendarDate*>(instance);
            return print("date %d %d %d", date.year, date.month, date.day);
        }
        if (is("NQTimeInstance")) {
            const auto& time = *reinterpret_cast<NQTime*>(instance);
            return print("time %d %d %d %d", time.hour, time.minute, time.second,
                         time.millisecond) +
                   zone(time.zoneOffset, time.hasZoneOffset);
        }
        if (is("NQDateTimeInstanceName")) {
            const auto& moment = *reinterpret_cast<NQDateTime*>(instance);
            return print("datetime %.3f", moment.value) +
                   zone(moment.zoneOffset, moment.hasZoneOffset);
        }
        if (is("NQArray"))
            return "array " + std::to_string(reinterpret_cast<NQArray*>(instance)->count);
        return is("NQDictionary") ? "dictionary" : "?";
    }
};

using TypedValueFault = TypedValue;
using TypedValueModel = TypedValue;

TEST_F(TypedValue, IntegersFillTheirWidthAndNoMore) {
    struct Limits {
        DataType type;
        const char* name;
        const char* least;
        const char* most;
        const char* below;
        const char* above;
    };
    const Limits rows[] = {
        {DataType::kInt32, "i32", "-2147483648", "2147483647", "-2147483649", "2147483648"},
        {DataType::kUInt32, "u32", "0", "4294967295", "-1", "4294967296"},
        {DataType::kInt64, "i64", "-9223372036854775808", "9223372036854775807",
         "-9223372036854775809", "9223372036854775808"},
        {DataType::kUInt64, "u64", "0", "18446744073709551615", "-1", "18446744073709551616"},
    };
    for (const auto& [type, name, least, most, below, above] : rows) {
        const std::string prefix = name + " "s;
        EXPECT_EQ(from_text(type, least), prefix + least);
        EXPECT_EQ(from_text(type, most), prefix + most);
        EXPECT_EQ(from_text(type, std::string("+").append(most)), prefix + most);
        EXPECT_EQ(from_text(type, "007"), prefix + "7");
        EXPECT_EQ(from_text(type, "-0"), prefix + "0");
        expect_unfit(type, {below, above, "99999999999999999999999", ""});
        expect_unfit(
            type, {"x", "1x", "x1", " 1", "1 ", "1.0", "1e3", "0x10", "1_000", "1,000", "+-1",
                   "-+1", "++1", "--1", "+", "-", "one", "\xd9\xa3", std::string_view("1\0", 2)});
    }
    expect_unfit(DataType::kInt32, {"99999999999"});
}

TEST_F(TypedValue, AnyIntegerGrowsIntoUInt64WhereTheLimitsAllow) {
    EXPECT_EQ(from_text(DataType::kInteger, "-9223372036854775808"), "i64 -9223372036854775808");
    EXPECT_EQ(from_text(DataType::kInteger, "9223372036854775807"), "i64 9223372036854775807");
    EXPECT_EQ(from_text(DataType::kInteger, "9223372036854775808"), "u64 9223372036854775808");
    EXPECT_EQ(from_text(DataType::kInteger, "18446744073709551615"), "u64 18446744073709551615");
    expect_unfit(DataType::kInteger, {"18446744073709551616", "1.5", ""});
    DefinitionNode leaf = leaf_of(DataType::kInteger);
    leaf.takes_uint64 = false;
    EXPECT_EQ(made(leaf, PlainValue::of_text("9223372036854775808")), "-");
    EXPECT_EQ(made(leaf, PlainValue::of_text("9223372036854775807")), "i64 9223372036854775807");
}

TEST_F(TypedValue, NumbersOfJsonKeepTheirValue) {
    EXPECT_EQ(made(DataType::kInt32, PlainValue::of(int64_t{-5})), "i32 -5");
    EXPECT_EQ(made(DataType::kInt32, PlainValue::of(int64_t{2147483648})), "-");
    EXPECT_EQ(made(DataType::kUInt32, PlainValue::of(int64_t{-1})), "-");
    EXPECT_EQ(made(DataType::kUInt64, PlainValue::of(UINT64_MAX)), "u64 18446744073709551615");
    EXPECT_EQ(made(DataType::kInt64, PlainValue::of(uint64_t{1} << 63)), "-");
    EXPECT_EQ(made(DataType::kInteger, PlainValue::of(UINT64_MAX)), "u64 18446744073709551615");
    // JSON does not tell 5 from 5.0.
    EXPECT_EQ(made(DataType::kInt32, PlainValue::of(5.0)), "i32 5");
    EXPECT_EQ(made(DataType::kInteger, PlainValue::of(-1e3)), "i64 -1000");
    EXPECT_EQ(made(DataType::kInt64, PlainValue::of(0x1p53 - 1)), "i64 9007199254740991");
    for (const double real : {5.5, -0.25, 0x1p53, -0x1p53, 1e300, -1e300, HUGE_VAL, -HUGE_VAL,
                              std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(made(DataType::kInt64, PlainValue::of(real)), "-") << real;
        EXPECT_EQ(made(DataType::kUInt64, PlainValue::of(real)), "-") << real;
    }
    EXPECT_EQ(made(DataType::kUInt32, PlainValue::of(-0.0)), "u32 0");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of(0.1)), "double 0.10000000000000001");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of(int64_t{7})), "double 7");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of((int64_t{1} << 53) + 1)), "-");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of(INT64_MIN)), "double -9.2233720368547758e+18");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of(INT64_MAX)), "-");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of(UINT64_MAX)), "-");
    EXPECT_EQ(made(DataType::kDouble, PlainValue::of(uint64_t{1} << 63)),
              "double 9.2233720368547758e+18");
}

TEST_F(TypedValue, StringsOfJsonAreNoNumbers) {
    for (const DataType type : {DataType::kInt32, DataType::kUInt32, DataType::kInt64,
                                DataType::kUInt64, DataType::kInteger, DataType::kDouble}) {
        EXPECT_EQ(made(type, PlainValue::of_string("1")), "-") << keyword_of(type);
        EXPECT_EQ(made(type, PlainValue::of(true)), "-") << keyword_of(type);
        EXPECT_EQ(made(type, PlainValue()), "-") << keyword_of(type);
    }
    EXPECT_EQ(made(DataType::kBoolean, PlainValue::of_string("true")), "-");
    EXPECT_EQ(made(DataType::kBoolean, PlainValue::of(int64_t{1})), "-");
    EXPECT_EQ(made(DataType::kBoolean, PlainValue::of(false)), "false");
    EXPECT_EQ(made(DataType::kArray, PlainValue::of_string("[]")), "-");
    EXPECT_EQ(made(DataType::kDictionary, PlainValue::of_string("{}")), "-");
}

TEST_F(TypedValue, DoublesAreDecimalAndIntegersExact) {
    const auto read = [this](std::string_view text) { return from_text(DataType::kDouble, text); };
    EXPECT_EQ(read("0.5"), "double 0.5");
    EXPECT_EQ(read("-.5"), "double -0.5");
    EXPECT_EQ(read("5."), "double 5");
    EXPECT_EQ(read("+1e3"), "double 1000");
    EXPECT_EQ(read("1E-2"), "double 0.01");
    EXPECT_EQ(read("-0"), "double -0");
    EXPECT_EQ(read("1.7976931348623157e308"), "double 1.7976931348623157e+308");
    EXPECT_EQ(read("5e-324"), "double 4.9406564584124654e-324");
    EXPECT_EQ(read("9007199254740992"), "double 9007199254740992");
    EXPECT_EQ(read("-9007199254740994"), "double -9007199254740994");
    EXPECT_EQ(read("0018446744073709551616"), "double 1.8446744073709552e+19");
    EXPECT_EQ(read("9007199254740993.0"), "double 9007199254740992");
    expect_unfit(DataType::kDouble, {"9007199254740993",
                                     "-9007199254740993",
                                     "18446744073709551617",
                                     "1e309",
                                     "-1e309",
                                     "1e-400",
                                     "inf",
                                     "-inf",
                                     "nan",
                                     "infinity",
                                     "0x1p3",
                                     "1,5",
                                     "1e",
                                     "e1",
                                     "",
                                     ".",
                                     "-",
                                     "+",
                                     "+-1",
                                     " 1",
                                     "1 ",
                                     "1.5x",
                                     "--1"});
}

TEST_F(TypedValue, BooleansAreWords) {
    for (const char* text : {"true", "TRUE", "True", "yes", "Yes", "on", "oN", "1"})
        EXPECT_EQ(from_text(DataType::kBoolean, text), "true") << text;
    for (const char* text : {"false", "FALSE", "no", "off", "Off", "0"})
        EXPECT_EQ(from_text(DataType::kBoolean, text), "false") << text;
    expect_unfit(DataType::kBoolean, {"", "t", "y", "n", "2", "-1", "01", "truee", "tru", " true",
                                      "enable", "\xc3\xb6n"});
}

TEST_F(TypedValue, ACharacterIsOneCodePoint) {
    EXPECT_EQ(from_text(DataType::kChar, "a"), "U+0061");
    EXPECT_EQ(from_text(DataType::kChar, std::string_view("\0", 1)), "U+0000");
    EXPECT_EQ(from_text(DataType::kChar, "\xc3\xa9"), "U+00E9");
    EXPECT_EQ(from_text(DataType::kChar, "\xf0\x9f\x9a\xa2"), "U+1F6A2");
    EXPECT_EQ(made(DataType::kChar, PlainValue::of_string("\xf4\x8f\xbf\xbf")), "U+10FFFF");
    EXPECT_EQ(made(DataType::kChar, PlainValue::of(int64_t{7})), "-");
    expect_unfit(DataType::kChar, {"", "ab", "e\xcc\x81", "\xc3", "\xff", "\xed\xa0\x80"});
}

TEST_F(TypedValue, TextStaysAsItIs) {
    EXPECT_EQ(from_text(DataType::kString, ""), "''");
    EXPECT_EQ(from_text(DataType::kString, "42"), "'42'");
    EXPECT_EQ(made(DataType::kString, PlainValue::of_string(" \xc3\xa9 \" ")), "' \xc3\xa9 \" '");
    EXPECT_EQ(made(DataType::kString, PlainValue::of(int64_t{42})), "-");
    EXPECT_EQ(made(DataType::kString, PlainValue::of(true)), "-");
}

TEST_F(TypedValue, DataIsBase64OfEitherAlphabet) {
    const auto read = [this](std::string_view text) { return from_text(DataType::kData, text); };
    EXPECT_EQ(read(""), "data");
    EXPECT_EQ(read("AA=="), "data 00");
    EXPECT_EQ(read("AA"), "data 00");
    EXPECT_EQ(read("AAE="), "data 00 01");
    EXPECT_EQ(read("AAE"), "data 00 01");
    EXPECT_EQ(read("AAEC"), "data 00 01 02");
    EXPECT_EQ(read("+/+/"), "data fb ff bf");
    EXPECT_EQ(read("-_-_"), "data fb ff bf");
    EXPECT_EQ(made(DataType::kData, PlainValue::of_string("AAEC")), "data 00 01 02");
    expect_unfit(DataType::kData, {"A", "AA=", "AAEC=", "AAE==", "A===", "====", "=",
                                   "AA==AA==", "AB==", "AAF=", "AB", "AAF",
                                   "+_==", "A A=", "AAEC\n", "AAE*", "\xc3\xa9\xc3\xa9"});
}

TEST_F(TypedValue, DatesAreDaysOfTheCalendar) {
    const auto read = [this](std::string_view text) { return from_text(DataType::kDate, text); };
    EXPECT_EQ(read("2024-02-29"), "date 2024 2 29");
    EXPECT_EQ(read("20240229"), "date 2024 2 29");
    EXPECT_EQ(read("0001-01-01"), "date 1 1 1");
    EXPECT_EQ(read("9999-12-31"), "date 9999 12 31");
    EXPECT_EQ(read("2000-02-29"), "date 2000 2 29");
    EXPECT_EQ(made(DataType::kDate, PlainValue::of_string("1959-04-30")), "date 1959 4 30");
    expect_unfit(DataType::kDate,
                 {"2023-02-29",  "1900-02-29",  "2024-04-31",  "2024-13-01",       "2024-00-01",
                  "2024-01-00",  "2024-01-32",  "0000-01-01",  "2024-1-1",         "24-01-01",
                  "2024-0101",   "202401-01",   "2024-01-01 ", "2024-01-01T00:00", "2024/01/01",
                  "-2024-01-01", "+2024-01-01", "2024-W05-1",  "2024-060",         "",
                  "12024-01-01"});
}

TEST_F(TypedValue, TimesHaveOptionalPartsAndZones) {
    const auto read = [this](std::string_view text) { return from_text(DataType::kTime, text); };
    EXPECT_EQ(read("08:05"), "time 8 5 0 0");
    EXPECT_EQ(read("23:59:59"), "time 23 59 59 0");
    EXPECT_EQ(read("235959"), "time 23 59 59 0");
    EXPECT_EQ(read("08:05:00.25"), "time 8 5 0 250");
    EXPECT_EQ(read("08:05:00,007"), "time 8 5 0 7");
    EXPECT_EQ(read("08:05:00.123000"), "time 8 5 0 123");
    EXPECT_EQ(read("08:05Z"), "time 8 5 0 0 zone 0");
    EXPECT_EQ(read("08:05:00z"), "time 8 5 0 0 zone 0");
    EXPECT_EQ(read("08:05:00+05:30"), "time 8 5 0 0 zone 19800");
    EXPECT_EQ(read("08:05:00.5-0330"), "time 8 5 0 500 zone -12600");
    EXPECT_EQ(read("08:05:00-11"), "time 8 5 0 0 zone -39600");
    EXPECT_EQ(read("080500+23:59"), "time 8 5 0 0 zone 86340");
    EXPECT_EQ(read("00:00:00-00:00"), "time 0 0 0 0 zone 0");
    expect_unfit(DataType::kTime, {"24:00",         "08:60",
                                   "08:05:60",      "8:05",
                                   "08:5",          "08:05:0",
                                   "08:05:00.",     "08:05.5",
                                   "08:05:00.1234", "08:05:00.0001",
                                   "08:05:00+24",   "08:05:00+05:60",
                                   "08:05:00+5",    "08:05:00+05:3",
                                   "08:05:00+05:",  "08:05:00 Z",
                                   "08:05:00ZZ",    "08:05:00+",
                                   "0805",          "08:0500",
                                   "0805:00",       "",
                                   "noon",          "08:05:00+05:300",
                                   " 08:05"});
}

TEST_F(TypedValue, MomentsCountFrom1960AndKeepTheirZone) {
    const auto read = [this](std::string_view text) {
        return from_text(DataType::kDateTime, text);
    };
    EXPECT_EQ(read("1960-01-01T00:00:00"), "datetime 0.000");
    EXPECT_EQ(read("1960-01-02 00:00:01"), "datetime 86401.000");
    EXPECT_EQ(read("1961-01-01t00:00"), "datetime 31622400.000");
    EXPECT_EQ(read("2024-02-29T08:05:00.250+01:00"), "datetime 2024813100.250 zone 3600");
    EXPECT_EQ(read("20240229T080500Z"), "datetime 2024813100.000 zone 0");
    EXPECT_EQ(read("9999-12-31T23:59:59.999"), "datetime 253717919999.999");
    expect_unfit(DataType::kDateTime,
                 {"1959-12-31T23:59:59", "0001-01-01T00:00:00", "2024-02-29", "08:05:00",
                  "2024-02-30T08:05:00", "2024-02-29T24:00:00", "2024-02-29  08:05:00",
                  "2024-02-29_08:05:00", "2024-02-29T", "2024-02-29T08:05:00+1", ""});
}

// The library walks the years one by one, so what comes from outside must not name a far one.
TEST_F(TypedValue, NoMomentIsPastTheYear9999) {
    expect_unfit(DataType::kDateTime,
                 {"10000-01-01T00:00:00", "010000-01-01T00:00:00", "+10000-01-01T00:00:00",
                  "100000101T000000", "1000000000-01-01T00:00:00", "31556952000000000", "3e16",
                  "1e300", "inf", "nan"});
    for (const double seconds : {0.0, 86400.0, 253717920000.0, 3e16, 1e300}) {
        EXPECT_EQ(made(DataType::kDateTime, PlainValue::of(seconds)), "-") << seconds;
        EXPECT_EQ(made(DataType::kDate, PlainValue::of(seconds)), "-") << seconds;
    }
    for (const int64_t seconds : {INT64_C(0), INT64_C(31556952000000000), INT64_MAX}) {
        EXPECT_EQ(made(DataType::kDateTime, PlainValue::of(seconds)), "-") << seconds;
    }
    EXPECT_EQ(made(DataType::kDateTime, PlainValue::of(UINT64_MAX)), "-");
}

// The library splits the number of seconds again, and cuts what is less than a millisecond.
TEST_F(TypedValueModel, MomentsSplitIntoTheFieldsTheyWereMadeOf) {
    SeededRandom random(200000);
    const auto split_date = NQ_LIBRARY(nqzdmdy);
    const auto split_time = NQ_LIBRARY(nqzdhms);
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        DateTimeFields fields;
        fields.date.year = 1960 + static_cast<int32_t>(random.below(i % 10 ? 200 : 8040));
        fields.date.month = 1 + static_cast<int32_t>(random.below(12));
        fields.date.day = 1 + static_cast<int32_t>(random.below(28));
        fields.time.hour = static_cast<int32_t>(random.below(24));
        fields.time.minute = static_cast<int32_t>(random.below(60));
        fields.time.second = static_cast<int32_t>(random.below(60));
        fields.time.millisecond = static_cast<int32_t>(random.below(1000));
        const double seconds = seconds_from_1960(fields);
        int32_t month, day, year, hour, minute, second;
        split_date(seconds, &month, &day, &year, nullptr);
        split_time(seconds, &hour, &minute, &second);
        double whole;
        const auto millisecond = static_cast<int32_t>(std::modf(seconds, &whole) * 1000.0);
        ASSERT_EQ(
            (std::array{year, month, day, hour, minute, second, millisecond}),
            (std::array{fields.date.year, fields.date.month, fields.date.day, fields.time.hour,
                        fields.time.minute, fields.time.second, fields.time.millisecond}))
            << std::to_string(seconds);
    }
}

TEST_F(TypedValueModel, Base64GivesBackWhatWasEncoded) {
    SeededRandom random(20000);
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        std::vector<uint8_t> bytes(random.below(50));
        for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random.bits());
        const auto alphabet = i % 2 ? Base64Alphabet::kStandard : Base64Alphabet::kUrlSafe;
        std::string text(base64_length(bytes.size()), '\0');
        encode_base64(bytes.data(), bytes.size(), alphabet,
                      reinterpret_cast<uint8_t*>(text.data()));
        if (i % 3 == 0) text.erase(text.find_last_not_of('=') + 1);
        ASSERT_EQ(decoded_base64_length(text), bytes.size()) << text;
        std::vector<uint8_t> decoded(bytes.size());
        decode_base64(text, decoded.data());
        ASSERT_EQ(decoded, bytes) << text;
    }
}

TEST_F(TypedValue, ContainersAreJsonTextOrThemselves) {
    EXPECT_EQ(from_text(DataType::kArray, "[1, [2], {\"a\": 3}]"), "array 3");
    EXPECT_EQ(from_text(DataType::kArray, "[]"), "array 0");
    EXPECT_EQ(from_text(DataType::kDictionary, "{\"a\": 1}"), "dictionary");
    expect_unfit(DataType::kArray, {"", "1, 2", "{}", "[1,]", "[1", "[] x", "null", "\"[]\""});
    expect_unfit(DataType::kDictionary, {"", "[]", "{a: 1}", "{\"a\"}", "{\"a\": 1e999}"});
    NQArray* array = host.array({host.string("x")});
    EXPECT_EQ(made(DataType::kArray, plain_value_of(&array->header, PlainValue::Kind::kString)),
              "array 1");
    EXPECT_EQ(
        made(DataType::kDictionary, plain_value_of(&array->header, PlainValue::Kind::kString)),
        "-");
    EXPECT_EQ(made(DataType::kString, plain_value_of(&array->header, PlainValue::Kind::kText)),
              "-");
    EXPECT_EQ(array->header.refCount, 1u);
    test::release(array);
}

TEST_F(TypedValue, AnInstanceIsTheFirstTypeThatFits) {
    Definitions definitions;
    ASSERT_EQ(load(definitions, R"({"k": {"dataType": "instance", "expectedTypes": [
        {"dataType": "int32"}, {"dataType": "boolean"}, {"dataType": "date"},
        {"dataType": "string"}]}, "any": {"dataType": "instance"}})"),
              "");
    const DefinitionNode& leaf = *definitions.leaves()[0];
    EXPECT_EQ(made(leaf, PlainValue::of_text("1")), "i32 1");
    EXPECT_EQ(made(leaf, PlainValue::of_text("yes")), "true");
    EXPECT_EQ(made(leaf, PlainValue::of_text("2024-01-01")), "date 2024 1 1");
    EXPECT_EQ(made(leaf, PlainValue::of_text("99999999999")), "'99999999999'");
    EXPECT_EQ(made(leaf, PlainValue::of_string("1")), "'1'");
    EXPECT_EQ(made(leaf, PlainValue::of(true)), "true");
    EXPECT_EQ(made(leaf, PlainValue::of(1.5)), "-");
    EXPECT_EQ(made(leaf, PlainValue()), "-");
    const DefinitionNode& any = *definitions.leaves()[1];
    EXPECT_EQ(made(any, PlainValue::of_text("1")), "'1'");
    EXPECT_EQ(made(any, PlainValue::of(int64_t{1})), "i64 1");
    EXPECT_EQ(made(any, PlainValue::of(UINT64_MAX)), "u64 18446744073709551615");
    EXPECT_EQ(made(any, PlainValue::of(1.5)), "double 1.5");
    EXPECT_EQ(made(any, PlainValue::of(true)), "true");
    EXPECT_EQ(made(any, PlainValue()), "-");
    NQDictionary* dictionary = host.dictionary();
    EXPECT_EQ(made(any, plain_value_of(&dictionary->header, PlainValue::Kind::kText)),
              "dictionary");
    test::release(dictionary);
}

class TypedCheck : public TypedValue {
  protected:
    // The verdict on a text, and what is said about it.
    std::string said(std::string_view definition, const PlainValue& value) {
        Definitions definitions;
        EXPECT_EQ(load(definitions, "{\"k\":" + std::string(definition) + "}"), "");
        const DefinitionNode& leaf = *definitions.leaves().at(0);
        InstanceHeader* instance = nullptr;
        NQStatus verdict = make_typed_value(services, host.pool(), leaf, value, &instance);
        if (verdict) return fault_text(leaf, value, verdict, "");
        std::string result;
        {
            Validation validation;
            EXPECT_EQ(validation.start(services.instances, services.strings, services.arrays,
                                       host.pool()),
                      NQ_STATUS_OK);
            NQStatus unheard = 77;
            EXPECT_EQ(check_typed_value(services.instances, leaf, instance, &unheard, nullptr),
                      NQ_STATUS_OK);
            EXPECT_EQ(
                check_typed_value(services.instances, leaf, instance, &verdict, validation.get()),
                NQ_STATUS_OK);
            EXPECT_EQ(verdict, unheard);
            // The texts of the messages are the host's, and this one's say codes alone.
            if (verdict) result = fault_text(leaf, value, verdict, "");
        }
        instance->release(instance);
        return result;
    }
    std::string said(std::string_view definition, std::string_view text) {
        return said(definition, PlainValue::of_text(text));
    }
};

TEST_F(TypedCheck, TheLibraryChecksBoundsAndValues) {
    constexpr const char* kPort = R"({"dataType": "int32", "min": 1, "max": 65535})";
    EXPECT_EQ(said(kPort, "1"), "");
    EXPECT_EQ(said(kPort, "65535"), "");
    EXPECT_EQ(said(kPort, "70000"), "value 70000 is out of bounds");
    EXPECT_EQ(said(kPort, "0"), "value 0 is out of bounds");
    EXPECT_EQ(said(kPort, "99999999999"),
              "value 99999999999 is not of type int32: expected a whole number from 1 to 65535");
    constexpr const char* kValues =
        R"({"dataType": "uint64", "values": [2, {"min": 10, "max": 18446744073709551615}]})";
    EXPECT_EQ(said(kValues, "2"), "");
    EXPECT_EQ(said(kValues, "18446744073709551615"), "");
    EXPECT_EQ(said(kValues, "3"),
              "value 3 is none of the accepted values: 2, 10 to 18446744073709551615");
    EXPECT_EQ(said(R"({"dataType": "double", "min": 0.5})", "0.25"), "value 0.25 is out of bounds");
    EXPECT_EQ(said(R"({"dataType": "double", "min": 0.5})", "0.5"), "");
}

TEST_F(TypedCheck, GreatIntegersAreNotComparedWithSignedLimits) {
    // The library would take the bound for 2^64 - 5.
    constexpr const char* kSigned = R"({"dataType": "integer", "min": -5})";
    EXPECT_EQ(said(kSigned, "9223372036854775807"), "");
    EXPECT_EQ(said(kSigned, "9223372036854775808"),
              "value 9223372036854775808 is not of type integer: expected a whole number from -5 "
              "to 9223372036854775807");
    EXPECT_EQ(said(R"({"dataType": "integer", "min": 5})", "18446744073709551615"), "");
    EXPECT_EQ(said(R"({"dataType": "integer", "max": 7})", "18446744073709551615"),
              "value 18446744073709551615 is out of bounds");
    EXPECT_EQ(
        said(R"({"dataType": "integer", "max": "max"})", "18446744073709551615").substr(0, 46),
        "value 18446744073709551615 is not of type inte");
    EXPECT_EQ(said(R"({"dataType": "integer", "values": [{"min": -1, "max": 9}]})",
                   "18446744073709551615")
                  .substr(0, 46),
              "value 18446744073709551615 is not of type inte");
}

TEST_F(TypedCheck, TextsAndCharactersAreAmongTheAccepted) {
    constexpr const char* kWords = R"({"dataType": "string", "values": ["tcp", "u dp", ","]})";
    EXPECT_EQ(said(kWords, "tcp"), "");
    EXPECT_EQ(said(kWords, "u dp"), "");
    EXPECT_EQ(said(kWords, "TCP"),
              "value TCP is none of the accepted values: tcp, \"u dp\", \",\"");
    EXPECT_EQ(said(kWords, ""), "value \"\" is none of the accepted values: tcp, \"u dp\", \",\"");
    constexpr const char* kLetters = "{\"dataType\": \"char\", \"values\": [\"a\", \"\xc3\xa9\"]}";
    EXPECT_EQ(said(kLetters, "\xc3\xa9"), "");
    EXPECT_EQ(said(kLetters, "b").substr(0, 36), "value b is none of the accepted valu");
}

TEST_F(TypedCheck, ValuesAreShownOnOneLine) {
    EXPECT_EQ(shown_value(PlainValue::of_text("70000")), "70000");
    EXPECT_EQ(shown_value(PlainValue::of_text("")), "\"\"");
    EXPECT_EQ(shown_value(PlainValue::of_text("a b\n\"\\")), "\"a b\\u000a\\\"\\\\\"");
    EXPECT_EQ(shown_value(PlainValue::of_string("70000")), "\"70000\"");
    EXPECT_EQ(shown_value(PlainValue::of(0.1)), "0.1");
    EXPECT_EQ(shown_value(PlainValue::of(true)), "true");
    EXPECT_EQ(shown_value(PlainValue()), "null");
    EXPECT_EQ(shown_value(PlainValue::of_text(std::string(64, 'x'))), std::string(64, 'x'));
    EXPECT_EQ(shown_value(PlainValue::of_text(std::string(65, 'x'))), std::string(64, 'x') + "...");
    // Not cut within a character.
    EXPECT_EQ(shown_value(PlainValue::of_text(std::string(63, ' ') + "\xc3\xa9 ")),
              std::string(1, '"').append(63, ' ').append("\"..."));
}

TEST_F(TypedCheck, ACatalogueSentenceBecomesPartOfALine) {
    const DefinitionNode leaf = leaf_of(DataType::kInt32);
    EXPECT_EQ(fault_text(leaf, PlainValue::of_text("9"), NQ_STATUS_OUT_OF_BOUNDS,
                         "The value 9 is above the maximum 8."),
              "value 9 is above the maximum 8");
}

// Every call of the host fails in turn, for a value of every type.
TEST_F(TypedValueFault, EveryFailedCallUndoesEverything) {
    const std::pair<DataType, const char*> values[] = {
        {DataType::kInt32, "1"},
        {DataType::kUInt32, "1"},
        {DataType::kInt64, "1"},
        {DataType::kUInt64, "1"},
        {DataType::kInteger, "18446744073709551615"},
        {DataType::kDouble, "1"},
        {DataType::kBoolean, "1"},
        {DataType::kChar, "1"},
        {DataType::kString, "a text that is longer than any short string"},
        {DataType::kData, "AAEC"},
        {DataType::kDate, "2024-01-01"},
        {DataType::kTime, "08:05"},
        {DataType::kDateTime, "2024-01-01T08:05"},
        {DataType::kArray, "[1, {\"a\": \"b\"}]"},
        {DataType::kDictionary, "{\"a\": [1]}"},
        {DataType::kInstance, "x"},
    };
    for (const auto& [type, text] : values) {
        for (uint64_t n = 0;; ++n) {
            host.plan().fail_any(n);
            InstanceHeader* instance = nullptr;
            const NQStatus status = make_typed_value(services, host.pool(), leaf_of(type),
                                                     PlainValue::of_text(text), &instance);
            const std::vector<FailedCall> failed = host.plan().failures();
            host.plan().clear();
            const bool is_made = instance != nullptr;
            if (is_made) instance->release(instance);
            if (failed.empty()) {
                EXPECT_EQ(status, NQ_STATUS_OK) << text;
                EXPECT_GE(n, 1u) << text;
                break;
            }
            if (test::gives_back(failed.front().call)) continue;
            // A call that returns a pointer has no status to pass on.
            EXPECT_TRUE(status == NQ_STATUS_NO_MEMORY || status == failed.front().status)
                << text << ' ' << n << ": " << std::hex << status;
            EXPECT_FALSE(is_made) << text << ' ' << n;
        }
    }
}

// A start that fails hands its place to the clean-up.
TEST(ValidationFault, EveryFailedCallOfTheStartIsSurvived) {
    for (const bool loads_itself : {false, true}) {
        for (uint64_t n = 0;; ++n) {
            test::CheckingHost host;
            InstanceApi* api = host.load();
            NQStringApi* strings = loads_itself ? nullptr : host.string_api();
            NQArrayApi* arrays = loads_itself ? nullptr : host.array_api();
            Validation validation;
            host.plan().fail_any(n);
            const NQStatus status = validation.start(api, strings, arrays, host.pool());
            const std::vector<FailedCall> failed = host.plan().failures();
            host.plan().clear();
            if (status) {
                EXPECT_EQ(validation.get(), nullptr);
                EXPECT_EQ(validation.count(), 0u);
                host.forgive();  // the unfinished record stays with the pool
            } else {
                EXPECT_NE(validation.get(), nullptr);
                validation.finish();
            }
            // The next start works.
            EXPECT_EQ(validation.start(api, strings, arrays, host.pool()), NQ_STATUS_OK);
            if (failed.empty()) {
                EXPECT_GE(n, loads_itself ? 4u : 3u);
                break;
            }
        }
    }
}

}  // namespace
}  // namespace nq
