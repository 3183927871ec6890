// Dates and times.
#include <array>
#include <chrono>

#include "tests/core/core_support.hpp"
#include "tests/support/random.hpp"

namespace nq::test {
namespace {

class DateTimeAbi : public CoreTest {
  protected:
    NQCalendarDate* date(std::int32_t year, std::int32_t month, std::int32_t day) {
        NQCalendarDate* made = NQ_LIBRARY(nqInstanceCreateCalendarDate)(api(), pool(), &status);
        made->year = year;
        made->month = month;
        made->day = day;
        return made;
    }
    NQTime* time(std::int32_t hour, std::int32_t minute, std::int32_t second,
                 std::int32_t millisecond) {
        NQTime* made = NQ_LIBRARY(nqInstanceCreateTime)(api(), pool(), &status);
        made->hour = hour;
        made->minute = minute;
        made->second = second;
        made->millisecond = millisecond;
        return made;
    }
    NQCalendarDateTime* both(std::int32_t year, std::int32_t month, std::int32_t day) {
        NQCalendarDateTime* made =
            NQ_LIBRARY(nqInstanceCreateCalendarDateTime)(api(), pool(), &status);
        made->year = year;
        made->month = month;
        made->day = day;
        return made;
    }

    double date_seconds(std::int32_t year, std::int32_t month, std::int32_t day) {
        NQCalendarDate* made = date(year, month, day);
        const double seconds = made->getDate(made);
        release(made);
        return seconds;
    }
    double both_seconds(std::int32_t year, std::int32_t month, std::int32_t day) {
        NQCalendarDateTime* made = both(year, month, day);
        const double seconds = made->getDate(made);
        release(made);
        return seconds;
    }
};

template <class Instance>
std::string payload_of(Instance* instance) {
    return {reinterpret_cast<const char*>(instance) + sizeof(InstanceHeader),
            sizeof(Instance) - sizeof(InstanceHeader)};
}

TEST_F(DateTimeAbi, AreCreatedWithEveryFieldZero) {
    SpyPool spy(pool());
    const auto check = [&](auto* instance, const char* type, const char* hook, const char* clone,
                           void* get_date) {
        SCOPED_TRACE(type);
        ASSERT_NE(instance, nullptr);
        EXPECT_EQ(status, NQ_STATUS_OK);
        EXPECT_EQ(spy.requests.back(), (SpyPool::Request{sizeof *instance, ALLOC_ZERO_FILL}));
        expect_header(instance->header, {type, library_symbol(hook), library_symbol(clone)}, api(),
                      spy.table());
        if constexpr (requires { instance->getDate; }) {
            EXPECT_EQ(reinterpret_cast<void*>(instance->getDate), get_date);
            instance->getDate = nullptr;
        }
        const std::string payload = payload_of(instance);
        EXPECT_EQ(payload, std::string(payload.size(), '\0'));
        release(instance);
        status = 0x1234;
    };
    check(NQ_LIBRARY(nqInstanceCreateCalendarDate)(api(), spy.table(), &status),
          "NQCalendarDateInstance", "nqInstanceDateDestroy", "nqInstanceCalendarDateClone",
          library_symbol("nqCalDateGetDate"));
    check(NQ_LIBRARY(nqInstanceCreateTime)(api(), spy.table(), &status), "NQTimeInstance",
          "nqInstanceTimeDestroy", "nqInstanceTimeClone", library_symbol("nqTimeGetDate"));
    check(NQ_LIBRARY(nqInstanceCreateCalendarDateTime)(api(), spy.table(), &status),
          "NQCalendarDateTimeInstance", "nqInstanceCalendarDateTimeDestroy",
          "nqInstanceCalendarDateTimeClone", library_symbol("nqCalDateTimeGetDate"));
    check(NQ_LIBRARY(nqInstanceCreateDateTime)(api(), spy.table(), 0.0, &status),
          "NQDateTimeInstanceName", "nqInstanceDateTimeDestroy", "nqInstanceDateTimeClone",
          nullptr);
}

TEST_F(DateTimeAbi, ADateTimeHoldsItsValue) {
    NQDateTime* value = NQ_LIBRARY(nqInstanceCreateDateTime)(api(), pool(), -12345.678, &status);
    EXPECT_EQ(value->value, -12345.678);
    EXPECT_EQ(value->zoneOffset, 0.0);
    EXPECT_EQ(value->hasZoneOffset, 0);
    release(value);
}

TEST_F(DateTimeAbi, ClonesCopyTheFieldsButNotGetDate) {
    CheckingPool& other = host.make_pool("other");
    const auto check = [&](auto* source) {
        SCOPED_TRACE(source->header.typeName);
        InstanceHeader* out = nullptr;
        ASSERT_EQ(source->header.clone(&source->header, other.table(), 0, &out), NQ_STATUS_OK);
        auto* clone = reinterpret_cast<decltype(source)>(out);
        EXPECT_EQ(out->pool, other.table());
        EXPECT_EQ(out->refCount, 1u);
        EXPECT_EQ(out->typeName, source->header.typeName);
        EXPECT_EQ(out->clone, source->header.clone);
        if constexpr (requires { clone->getDate; }) {
            EXPECT_EQ(clone->getDate, nullptr);
            clone->getDate = source->getDate;
        }
        EXPECT_EQ(payload_of(clone), payload_of(source));
        release(clone);
        release(source);
        EXPECT_EQ(other.blocks(), 0u);
    };
    check(date(-4, 13, 99));
    NQTime* clock = time(1, 2, 3, 4);
    clock->zoneOffset = -1.5;
    clock->hasZoneOffset = 2;
    check(clock);
    NQCalendarDateTime* full = both(1, 2, 3);
    full->hour = 4;
    full->minute = 5;
    full->second = 6;
    full->millisecond = 7;
    full->zoneOffset = 8.25;
    full->hasZoneOffset = 255;
    check(full);
    NQDateTime* value = NQ_LIBRARY(nqInstanceCreateDateTime)(api(), pool(), 3.5, &status);
    value->zoneOffset = 60;
    value->hasZoneOffset = 1;
    check(value);
}

TEST_F(DateTimeAbi, ACloneIsConvertedByTheExportedFunction) {
    NQTime* source = time(12, 30, 15, 250);
    InstanceHeader* clone = nullptr;
    ASSERT_EQ(NQ_LIBRARY(nqInstanceTimeClone)(&source->header, pool(), 0, &clone), NQ_STATUS_OK);
    EXPECT_EQ(NQ_LIBRARY(nqTimeGetDate)(reinterpret_cast<NQTime*>(clone)), 45015.25);
    release(clone);
    release(source);
}

TEST_F(DateTimeAbi, WithoutMemoryThereIsNoInstance) {
    HostPool* full = host.make_pool("full", 100).table();
    const auto refused = [&](auto* instance) {
        EXPECT_EQ(instance, nullptr);
        EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
        status = 0x1234;
    };
    refused(NQ_LIBRARY(nqInstanceCreateCalendarDate)(api(), full, &status));
    refused(NQ_LIBRARY(nqInstanceCreateTime)(api(), full, &status));
    refused(NQ_LIBRARY(nqInstanceCreateCalendarDateTime)(api(), full, &status));
    refused(NQ_LIBRARY(nqInstanceCreateDateTime)(api(), full, 1, &status));

    NQDateTime* value = NQ_LIBRARY(nqInstanceCreateDateTime)(api(), pool(), 1, &status);
    for (InstanceHeader* source : {&date(1960, 1, 1)->header, &time(1, 1, 1, 1)->header,
                                   &both(1960, 1, 1)->header, &value->header}) {
        InstanceHeader* clone = source;
        EXPECT_EQ(source->clone(source, full, 0, &clone), NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(clone, nullptr);
        release(source);
    }
}

TEST_F(DateTimeAbi, HooksAnswerZeroWhateverThePoolSays) {
    NQDateTime* value = NQ_LIBRARY(nqInstanceCreateDateTime)(api(), pool(), 1, &status);
    const auto instances =
        std::to_array<InstanceHeader*>({&date(1960, 1, 1)->header, &time(1, 1, 1, 1)->header,
                                        &both(1960, 1, 1)->header, &value->header});
    host.plan().clear();
    host.plan().fail(Call::kFree, 0, 0x4321, true);
    for (InstanceHeader* instance : instances) {
        EXPECT_EQ(instance->destroyHook(instance), NQ_STATUS_OK);
    }
    EXPECT_EQ(host.plan().failures().size(), 4u);
}

TEST_F(DateTimeAbi, CalendarDatesCountTheirMonthInFull) {
    EXPECT_EQ(date_seconds(1960, 1, 1), 2678400.0);
    EXPECT_EQ(date_seconds(1959, 12, 31), -34128000.0);
    EXPECT_EQ(date_seconds(1960, 0, 1), 0.0);
    EXPECT_EQ(date_seconds(1960, -3, 1), 0.0);
}

TEST_F(DateTimeAbi, CalendarDateTimesCountTheMonthsBefore) {
    EXPECT_EQ(both_seconds(1960, 1, 1), 0.0);
    EXPECT_EQ(both_seconds(1960, 3, 1), 5184000.0);
    EXPECT_EQ(both_seconds(1961, 1, 1), 31622400.0);
    EXPECT_EQ(both_seconds(1959, 12, 31), -31449600.0);
    EXPECT_EQ(both_seconds(1960, 0, 1), 0.0);
    EXPECT_EQ(both_seconds(1960, INT32_MIN + 1, 1), 0.0);
    EXPECT_EQ(both_seconds(1961, INT32_MIN, 1), 31622400.0);
}

TEST_F(DateTimeAbi, TheZoneOffsetIsAddedWhenItsFlagIsOne) {
    for (const std::uint8_t flag : std::initializer_list<std::uint8_t>{0, 1, 2, 255}) {
        NQCalendarDateTime* moment = both(1960, 1, 1);
        moment->zoneOffset = -3600;
        moment->hasZoneOffset = flag;
        EXPECT_EQ(moment->getDate(moment), flag == 1 ? -3600.0 : 0.0) << int{flag};
        release(moment);
        NQTime* clock = time(12, 30, 15, 250);
        clock->zoneOffset = 1800.5;
        clock->hasZoneOffset = flag;
        EXPECT_EQ(clock->getDate(clock), flag == 1 ? 46815.75 : 45015.25) << int{flag};
        release(clock);
    }
}

TEST_F(DateTimeAbi, ProductsWrapInThirtyTwoBits) {
    NQTime* clock = time(1000000, 0, 0, 0);
    EXPECT_EQ(clock->getDate(clock), -694967296.0);  // 3600000000 as a signed 32-bit integer
    release(clock);
}

// Days from one date to another, by the standard library's calendar.
double days_between(std::int32_t from_year, unsigned from_month, std::int32_t to_year,
                    unsigned to_month) {
    using namespace std::chrono;
    const auto first = [](std::int32_t y, unsigned m) {
        return sys_days{year{y} / static_cast<int>(m) / 1};
    };
    return static_cast<double>((first(to_year, to_month) - first(from_year, from_month)).count());
}

// The seconds of a calendar date of which `months` months count, by the rules: before 1960 the
// year itself is left out and the place in it counts away from the epoch.
double model_date(std::int32_t year, std::int32_t months, std::int32_t day) {
    double months_days = 0;
    for (int m = 1; m <= months; ++m) {
        months_days += m == 12 ? days_between(year, 12, year + 1, 1)
                               : days_between(year, static_cast<unsigned>(m), year,
                                              static_cast<unsigned>(m) + 1);
    }
    const double in_year = months_days + day - 1;
    const double days = year >= 1960 ? days_between(1960, 1, year, 1) + in_year
                                     : -(days_between(year + 1, 1, 1960, 1) + in_year);
    return days * 86400.0;
}

TEST(DateTimeModel, AgreesOnRandomDates) {
    CheckingHost host;
    host.load();
    NQStatus status = 0;
    auto* date = NQ_LIBRARY(nqInstanceCreateCalendarDate)(host.api(), host.pool(), &status);
    auto* both = NQ_LIBRARY(nqInstanceCreateCalendarDateTime)(host.api(), host.pool(), &status);
    auto* clock = NQ_LIBRARY(nqInstanceCreateTime)(host.api(), host.pool(), &status);
    std::mt19937_64 random = seeded_generator();
    const auto between = [&](std::int32_t low, std::int32_t high) {
        return std::uniform_int_distribution<std::int32_t>(low, high)(random);
    };
    const std::uint64_t rounds = setting("ITER", 100000);
    for (std::uint64_t i = 0; i < rounds; ++i) {
        const bool is_far = i % 50 == 0;
        date->year = both->year = is_far ? between(-30000, 30000) : between(1700, 2300);
        date->month = both->month = between(0, 12);
        date->day = both->day = between(-40, 400);
        both->hour = clock->hour = between(-30, 30);
        both->minute = clock->minute = between(-100, 100);
        both->second = clock->second = between(-100, 100);
        both->millisecond = clock->millisecond = between(-2000, 2000);
        both->zoneOffset = clock->zoneOffset = between(-86400, 86400) / 4.0;
        both->hasZoneOffset = clock->hasZoneOffset = static_cast<std::uint8_t>(between(0, 2));

        const double seconds = clock->hour * 3600 + clock->minute * 60 + clock->second;
        const double time = seconds + clock->millisecond / 1000.0;
        const double zone = both->hasZoneOffset == 1 ? both->zoneOffset : 0.0;
        const auto where = [&] {
            return testing::Message() << date->year << '-' << date->month << '-' << date->day;
        };
        ASSERT_EQ(date->getDate(date), model_date(date->year, date->month, date->day)) << where();
        ASSERT_EQ(clock->getDate(clock), time + zone) << where();
        ASSERT_EQ(both->getDate(both),
                  time + model_date(both->year, both->month - 1, both->day) + zone)
            << where();
    }
    release(date);
    release(both);
    release(clock);
}

TEST(DateTimeModel, AgreesOnEveryMonthOf800Years) {
    CheckingHost host;
    host.load();
    NQStatus status = 0;
    auto* date = NQ_LIBRARY(nqInstanceCreateCalendarDate)(host.api(), host.pool(), &status);
    for (date->year = 1560; date->year <= 2360; ++date->year) {
        for (date->month = 1; date->month <= 12; ++date->month) {
            for (const std::int32_t day : {1, 28, 31}) {
                date->day = day;
                ASSERT_EQ(NQ_LIBRARY(nqCalDateGetDate)(date),
                          model_date(date->year, date->month, day))
                    << date->year << '-' << date->month << '-' << day;
            }
        }
    }
    release(date);
}

}  // namespace
}  // namespace nq::test
