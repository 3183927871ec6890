// The text of each kind of instance.
#include <cmath>
#include <limits>

#include "tests/json/json_fixture.hpp"

using namespace nq::test;

namespace {

struct Clock {
    std::int32_t hour, minute, second, millisecond;
};
struct Zone {
    double offset;
    std::uint8_t flag;
};
constexpr Zone kNoZone{0.0, 0};

class JsonValues : public JsonFixture {
  protected:
    template <class Instance>
    static void set_clock(Instance& instance, Clock clock) {
        instance.hour = clock.hour;
        instance.minute = clock.minute;
        instance.second = clock.second;
        instance.millisecond = clock.millisecond;
    }
    template <class Instance>
    static void set_zone(Instance& instance, Zone zone) {
        instance.zoneOffset = zone.offset;
        instance.hasZoneOffset = zone.flag;
    }

    std::string time(Clock clock, Zone zone) {
        NQTime* instance = made(api()->createTime(api(), pool(), &status));
        set_clock(*instance, clock);
        set_zone(*instance, zone);
        return compact(instance);
    }
    std::string date(std::int32_t year, std::int32_t month, std::int32_t day) {
        NQCalendarDate* instance = made(api()->createCalendarDate(api(), pool(), &status));
        instance->year = year;
        instance->month = month;
        instance->day = day;
        return compact(instance);
    }
    std::string date_and_time(Clock clock, Zone zone) {
        NQCalendarDateTime* instance = made(api()->createCalendarDateTime(api(), pool(), &status));
        instance->year = 2024;
        instance->month = 2;
        instance->day = 9;
        set_clock(*instance, clock);
        set_zone(*instance, zone);
        return compact(instance);
    }
    std::string date_time(double value, Zone zone = kNoZone) {
        NQDateTime* instance = made(api()->createDateTime(api(), pool(), value, &status));
        set_zone(*instance, zone);
        return compact(instance);
    }
    std::string real(double value) {
        return compact(made(api()->createDouble(api(), pool(), value, &status)));
    }
};

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

}  // namespace

TEST_F(JsonValues, NullInstance) {
    EXPECT_EQ(json(nullptr), "null\n");
    EXPECT_EQ(compact(nullptr), "null");
    EXPECT_EQ(compact(host.array({nullptr, nullptr})), "[null,null]");
    EXPECT_EQ(compact(host.dictionary({{"k", nullptr}})), R"({"k":null})");
}

TEST_F(JsonValues, BooleanIsTrueForOneAlone) {
    for (const int byte : {0, 1, 2, 128, 255}) {
        const auto value = static_cast<std::uint8_t>(byte);
        EXPECT_EQ(compact(made(api()->createBoolean(api(), pool(), value, &status))),
                  byte == 1 ? "true" : "false");
    }
}

TEST_F(JsonValues, Integers) {
    EXPECT_EQ(compact(number(0)), "0");
    EXPECT_EQ(compact(number(-1)), "-1");
    EXPECT_EQ(compact(number(INT32_MIN)), "-2147483648");
    EXPECT_EQ(compact(number(INT32_MAX)), "2147483647");
    EXPECT_EQ(compact(made(api()->createInt64(api(), pool(), INT64_MIN, &status))),
              "-9223372036854775808");
    EXPECT_EQ(compact(made(api()->createInt64(api(), pool(), INT64_MAX, &status))),
              "9223372036854775807");
    EXPECT_EQ(compact(made(api()->createUInt32(api(), pool(), UINT32_MAX, &status))), "4294967295");
    EXPECT_EQ(compact(made(api()->createUInt64(api(), pool(), UINT64_MAX, &status))),
              "18446744073709551615");
}

TEST_F(JsonValues, DoublesHaveSixDecimals) {
    EXPECT_EQ(real(1.5), "1.500000");
    EXPECT_EQ(real(0.1), "0.100000");
    EXPECT_EQ(real(-0.0), "-0.000000");
    EXPECT_EQ(real(-2.5e-7), "-0.000000");
    EXPECT_EQ(real(1e20), "100000000000000000000.000000");
    // What the host's formatter makes of these is not quoted.
    EXPECT_EQ(real(kInfinity), "inf");
    EXPECT_EQ(real(-kInfinity), "-inf");
    EXPECT_EQ(real(std::fabs(kNan)), "nan");
}

TEST_F(JsonValues, FormatsReachTheHostAsWritten) {
    const NQArray* numbers =
        host.array({number(1), made(api()->createInt64(api(), pool(), 1, &status)),
                    made(api()->createUInt32(api(), pool(), 1, &status)),
                    made(api()->createUInt64(api(), pool(), 1, &status)),
                    made(api()->createDouble(api(), pool(), 1, &status)),
                    made(api()->createCalendarDate(api(), pool(), &status)),
                    made(api()->createDateTime(api(), pool(), 0, &status)),
                    made(api()->createCalendarDateTime(api(), pool(), &status)),
                    made(api()->createTime(api(), pool(), &status))});
    compact(const_cast<NQArray*>(numbers));
    const std::u32string expected[] = {U"%d",
                                       U"%lld",
                                       U"%u",
                                       U"%llu",
                                       U"%f",
                                       U"\"%d-%02d-%02d\"",
                                       U"\"%d-%02d-%02dT%02d:%02d:%02d\"",
                                       U"%d-%02d-%02dT%02d:%02d:%02d",
                                       U"%02d:%02d:%02d"};
    ASSERT_EQ(host.service_calls().size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const ServiceCall& call = host.service_calls()[i];
        EXPECT_EQ(call.format, expected[i]) << i;
        EXPECT_EQ(call.capacity, 255u);
        EXPECT_EQ(call.table, host.kernel());
        EXPECT_EQ(call.record_copy.context, nullptr);
        EXPECT_EQ(call.record_copy.zero, 0u);
    }
}

TEST_F(JsonValues, StringsEscapeFourCharactersAlone) {
    EXPECT_EQ(compact(host.string("")), R"("")");
    EXPECT_EQ(compact(host.string("plain")), R"("plain")");
    EXPECT_EQ(compact(host.string("\"\\\t\n")), R"("\"\\\t\n")");
    EXPECT_EQ(compact(host.string("a\"b\\c\td\ne")), R"("a\"b\\c\td\ne")");
    EXPECT_EQ(compact(host.string("\r\b\f\x01\x7f/")), "\"\r\b\f\x01\x7f/\"");
    EXPECT_EQ(compact(host.string(std::string_view("\0\"\0", 3))), std::string("\"\0\\\"\0\"", 6));
    EXPECT_EQ(compact(host.text(u8"a\"\u00e9\\\u20ac\t\U0001F600\n")),
              "\"a\\\"\u00e9\\\\\u20ac\\t\U0001F600\\n\"");
    EXPECT_EQ(compact(host.text(std::u32string_view{})), R"("")");
}

TEST_F(JsonValues, EscapeAtEveryPosition) {
    for (std::size_t length = 1; length <= 40; ++length) {
        for (std::size_t at = 0; at < length; ++at) {
            for (const char special : {'"', '\\', '\t', '\n'}) {
                std::string text(length, 'x');
                text[at] = special;
                std::string expected(length, 'x');
                const char name = special == '\t' ? 't' : special == '\n' ? 'n' : special;
                expected.replace(at, 1, {'\\', name});
                ASSERT_EQ(compact(host.string(text)), '"' + expected + '"') << length << ' ' << at;
            }
        }
    }
}

TEST_F(JsonValues, NoByteThatALeadByteAnnouncesIsEscaped) {
    // Lead bytes of two to six bytes, and continuation bytes, which stand alone.
    EXPECT_EQ(compact(host.string("\xC3\"\"")), "\"\xC3\"\\\"\"");
    EXPECT_EQ(compact(host.string("\xE2\"\"\"")), "\"\xE2\"\"\\\"\"");
    EXPECT_EQ(compact(host.string("\xF0\"\"\"\"")), "\"\xF0\"\"\"\\\"\"");
    EXPECT_EQ(compact(host.string("\xF8\"\"\"\"\"")), "\"\xF8\"\"\"\"\\\"\"");
    EXPECT_EQ(compact(host.string("\xFC\"\"\"\"\"\"")), "\"\xFC\"\"\"\"\"\\\"\"");
    EXPECT_EQ(compact(host.string("\x80\"\xBF\"")), "\"\x80\\\"\xBF\\\"\"");
    // A length that runs past the end ends there.
    EXPECT_EQ(compact(host.string("\"\xFC")), "\"\\\"\xFC\"");
    EXPECT_EQ(compact(host.string("\"\xFC\"\"")), "\"\\\"\xFC\"\"\"");
    EXPECT_EQ(compact(host.string("\"\"\"\"\"\"\xE2")), "\"\\\"\\\"\\\"\\\"\\\"\\\"\xE2\"");
}

TEST_F(JsonValues, DataIsBase64) {
    EXPECT_EQ(compact(data("")), R"("")");
    EXPECT_EQ(compact(data("f")), R"("Zg==")");
    EXPECT_EQ(compact(data("fo")), R"("Zm8=")");
    EXPECT_EQ(compact(data("foobar")), R"("Zm9vYmFy")");
    EXPECT_EQ(compact(data("\xFB\xFF\xBF")), R"("+/+/")");
}

TEST_F(JsonValues, Times) {
    EXPECT_EQ(time({1, 2, 3, 0}, kNoZone), R"("01:02:03")");
    EXPECT_EQ(time({1, 2, 3, 4}, kNoZone), R"("01:02:03.004")");
    EXPECT_EQ(time({23, 59, 59, 999}, {3600, 1}), R"("23:59:59.999+0100")");
    EXPECT_EQ(time({1, 2, 3, 0}, {-19800, 1}), R"("01:02:03-0530")");
    EXPECT_EQ(time({1, 2, 3, 0}, {19859, 1}), R"("01:02:03+0530")");
    // No suffix for an offset of zero, and for an offset that does not count.
    EXPECT_EQ(time({1, 2, 3, 0}, {0.0, 1}), R"("01:02:03")");
    EXPECT_EQ(time({1, 2, 3, 5}, {-0.0, 1}), R"("01:02:03.005")");
    EXPECT_EQ(time({1, 2, 3, 0}, {3600, 0}), R"("01:02:03")");
    // Any flag but 0 counts; a fraction of a second is an offset.
    EXPECT_EQ(time({1, 2, 3, 0}, {3600, 2}), R"("01:02:03+0100")");
    EXPECT_EQ(time({1, 2, 3, 0}, {-0.5, 255}), R"("01:02:03-0000")");
    EXPECT_EQ(time({1, 2, 3, 0}, {3e9, 1}), R"("01:02:03+0520")");
    EXPECT_EQ(time({-1, 100, INT32_MIN, -4}, kNoZone), R"("-1:100:-2147483648.-04")");
}

TEST_F(JsonValues, CalendarDates) {
    EXPECT_EQ(date(2024, 2, 9), R"("2024-02-09")");
    EXPECT_EQ(date(0, 0, 0), R"("0-00-00")");
    EXPECT_EQ(date(INT32_MIN, -1, 100), R"("-2147483648--1-100")");
}

TEST_F(JsonValues, CalendarDateTimes) {
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, kNoZone), R"("2024-02-09T01:02:03")");
    EXPECT_EQ(date_and_time({1, 2, 3, 4}, kNoZone), R"("2024-02-09T01:02:03.004")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {3600, 1}), R"("2024-02-09T01:02:03+01")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {-19800, 1}), R"("2024-02-09T01:02:03-0530")");
    EXPECT_EQ(date_and_time({1, 2, 3, 4}, {7200, 1}), R"("2024-02-09T01:02:03.004+02")");
    EXPECT_EQ(date_and_time({1, 2, 3, 4}, {5400, 1}), R"("2024-02-09T01:02:03.004+0130")");
    // An offset of zero is written here, and a fraction keeps its sign when it is dropped.
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {0.0, 1}), R"("2024-02-09T01:02:03+00")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {-0.0, 1}), R"("2024-02-09T01:02:03+00")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {-0.9, 1}), R"("2024-02-09T01:02:03-00")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {3600, 0}), R"("2024-02-09T01:02:03")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {3600, 2}), R"("2024-02-09T01:02:03+01")");
    // 2^31 seconds of a day are 03:14:08; what fits no 32 bits counts as -2^31.
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {-2147483648.0, 1}), R"("2024-02-09T01:02:03-0314")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {3e9, 1}), R"("2024-02-09T01:02:03+0314")");
    EXPECT_EQ(date_and_time({1, 2, 3, 0}, {kNan, 1}), R"("2024-02-09T01:02:03+0314")");
}

TEST_F(JsonValues, DateTimes) {
    EXPECT_EQ(date_time(0), R"("1960-01-01T00:00:00")");
    EXPECT_EQ(date_time(86400.0 * 60 + 3723), R"("1960-03-01T01:02:03")");
    EXPECT_EQ(date_time(0.25), R"("1960-01-01T00:00:00.250")");
    EXPECT_EQ(date_time(0.0004), R"("1960-01-01T00:00:00")");
    EXPECT_EQ(date_time(0, {-19800, 1}), R"("1960-01-01T00:00:00-0530")");
    EXPECT_EQ(date_time(0, {3600, 1}), R"("1960-01-01T00:00:00+01")");
    EXPECT_EQ(date_time(0.5, {3600, 2}), R"("1960-01-01T00:00:00.500+01")");
    EXPECT_EQ(date_time(0.5, {19800, 1}), R"("1960-01-01T00:00:00.500+0530")");
    EXPECT_EQ(date_time(0, {0.0, 1}), R"("1960-01-01T00:00:00")");
    EXPECT_EQ(date_time(0, {-0.0, 1}), R"("1960-01-01T00:00:00")");
    EXPECT_EQ(date_time(0, {3600, 0}), R"("1960-01-01T00:00:00")");
    // Not zero, although nothing is left of it.
    EXPECT_EQ(date_time(0, {-0.5, 1}), R"("1960-01-01T00:00:00-00")");
    EXPECT_EQ(date_time(0, {kInfinity, 1}), R"("1960-01-01T00:00:00+0314")");
}

TEST_F(JsonValues, DateTimesBeforeTheEpochKeepTheirSigns) {
    EXPECT_EQ(date_time(-0.25), R"("1960-01-01T00:00:00.-250")");
    EXPECT_EQ(date_time(-3661.5), R"("1960-01-01T-1:-1:-1.-500")");
    EXPECT_EQ(date_time(-86400), R"("1960-13--366T00:00:00")");
}

TEST_F(JsonValues, DateTimesThatAreNoTimes) {
    EXPECT_EQ(date_time(kInfinity), R"("1960-01-01T-15:-30:-8")");
    EXPECT_EQ(date_time(-kInfinity), R"("1960-01-01T-15:-30:-8")");
    EXPECT_EQ(date_time(kNan), R"("1960-01-01T-15:-30:-8.-2147483648")");
}

TEST_F(JsonValues, WrappedHandleIsWrittenAsWhatItWraps) {
    const auto wrapped = [&](auto* inner) {
        return made(
            api()->createHandle(api(), pool(), reinterpret_cast<NQHandle*>(inner), &status));
    };
    EXPECT_EQ(compact(wrapped(host.dictionary({{"k", host.array({number(1)})}}))), R"({"k":[1]})");
    EXPECT_EQ(compact(wrapped(host.string("a\tb"))), R"("a\tb")");
    EXPECT_EQ(compact(wrapped(host.text(u8"\u00e9\n"))), "\"\u00e9\\n\"");
    EXPECT_EQ(compact(wrapped(number(7))), "7");
}

TEST_F(JsonValues, OtherKindsAreRefused) {
    const auto expect_refused = [&](auto* instance) {
        EXPECT_EQ(to_json(instance), NQ_STATUS_UNSUPPORTED);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(to_json2(instance, kCompact, 0), NQ_STATUS_UNSUPPORTED);
        EXPECT_EQ(out, nullptr);
        release(instance);
    };
    NQHandle foreign{NQ_MAGIC, "NQForeign", [](void*) noexcept -> NQStatus { return 0; }};
    expect_refused(made(api()->createNQChar(api(), pool(), 'c', &status)));
    expect_refused(made(api()->createHandle(api(), pool(), nullptr, &status)));
    expect_refused(made(api()->createHandle(api(), pool(), &foreign, &status)));
    expect_refused(host.array({made(api()->createNQChar(api(), pool(), 'c', &status))}));
}

TEST_F(JsonValues, TheOutputAsAValueIsReadAsFarAsItIsWritten) {
    out = host.string("x");
    retain(&out->header);
    NQArray* list = host.array({host.string("a"), out});
    EXPECT_EQ(to_json2(list, kCompact, 0), NQ_STATUS_OK);
    release(list);
    EXPECT_EQ(take_out(), R"(x["a","x[\"a\",\""])");
}

TEST_F(JsonValues, TheOutputAsAKeyIsReadAsFarAsItIsWritten) {
    static NQArray* keys;
    out = host.string("x");
    retain(&out->header);
    keys = host.array({out});
    NQDictionary* dictionary = host.dictionary();
    dictionary->listKeys = [](NQDictionary*, NQArray** list) noexcept -> NQStatus {
        *list = keys;
        return NQ_STATUS_OK;
    };
    EXPECT_EQ(to_json2(dictionary, kCompact, 0), NQ_STATUS_OK);
    release(dictionary);
    EXPECT_EQ(take_out(), R"(x{"x{"":null})");
}
