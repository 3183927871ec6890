#include "nqinstance/datefmt/year_walk.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "nqinstance/datefmt/dates.h"
#include "tests/support/check_counter.hpp"
#include "tests/support/library.hpp"
#include "tests/support/random.hpp"

namespace {

// The written rule on the year as it stands after wrapping.
int length_of(std::int32_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 366 : 365;
}

std::int32_t year_after(std::int32_t year) { return year == INT_MAX ? INT_MIN : year + 1; }

const nq::test::DemandedChecks kDemanded{"year_walk", "nqzdmdy"};

class YearWalkBody : public testing::TestWithParam<const nq::YearWalkBody*> {};

// Each number of days up to `limit` from the first of `start`, against a counter of days.
void check_all_days(const nq::YearWalkBody& body, std::int32_t start, std::int64_t limit) {
    const nq::test::Checks checks("year_walk", body.name);
    std::int32_t year = start;
    std::int64_t left = 0;
    for (std::int64_t days = 0; days < limit; ++days) {
        const nq::YearWalk end = nq::finish_walk(body.walk({.days_left = days, .year = start}));
        ASSERT_EQ(checks.counted(end.year), year)
            << body.name << ": " << days << " days from " << start;
        ASSERT_EQ(end.days_left, left) << body.name << ": " << days << " days from " << start;
        if (++left == length_of(year)) {
            left = 0;
            year = year_after(year);
        }
    }
}

}  // namespace

TEST_P(YearWalkBody, EveryDayFromTheEpoch) { check_all_days(*GetParam(), 1960, 200000); }

TEST_P(YearWalkBody, EveryStartWithinACycle) {
    for (std::int32_t start = 1600; start < 2000; ++start) check_all_days(*GetParam(), start, 3000);
}

TEST_P(YearWalkBody, YearsWrapAndAreJudgedAsTheyStand) {
    for (std::int32_t start = INT_MAX - 40; start > 0; start = year_after(start)) {
        check_all_days(*GetParam(), start, 20000);
    }
    check_all_days(*GetParam(), INT_MIN, 150000);
    check_all_days(*GetParam(), -900, 400000);
}

TEST_P(YearWalkBody, DaysBeforeTheStartStayThere) {
    for (const std::int64_t days : {INT64_MIN, INT64_C(-4294967296), INT64_C(-366), INT64_C(-1)}) {
        const nq::YearWalk end = nq::finish_walk(GetParam()->walk({.days_left = days, .year = 7}));
        EXPECT_EQ(end.year, 7);
        EXPECT_EQ(end.days_left, days);
    }
}

TEST_P(YearWalkBody, RandomStartsMatchTheRule) {
    std::mt19937_64 random = nq::test::seeded_generator();
    std::uniform_int_distribution<std::int32_t> any_year(INT_MIN, INT_MAX);
    for (int i = 0; i < 60; ++i) check_all_days(*GetParam(), any_year(random), 12000);
}

INSTANTIATE_TEST_SUITE_P(, YearWalkBody,
                         testing::ValuesIn(nq::year_walk_bodies().begin(),
                                           nq::year_walk_bodies().end()),
                         [](const auto& body) { return std::string(body.param->name); });

namespace {

// The exported routine with each body, and in the delivered library, which has chosen its own: the
// parameter is the body, null for the library.
class DateBody : public testing::TestWithParam<const nq::YearWalkBody*> {
  protected:
    void SetUp() override { nq::year_walk_in_use = GetParam(); }
    void TearDown() override { nq::year_walk_in_use = nullptr; }
};

std::vector<const nq::YearWalkBody*> ways_to_split_dates() {
    const auto bodies = nq::year_walk_bodies();
    std::vector<const nq::YearWalkBody*> ways(bodies.begin(), bodies.end());
    ways.push_back(nullptr);
    return ways;
}

}  // namespace

TEST_P(DateBody, EveryDayFromTheEpoch) {
    const auto split = GetParam() ? &::nqzdmdy : NQ_LIBRARY(nqzdmdy);
    const nq::test::Checks checks("nqzdmdy", GetParam() ? GetParam()->name : "library");
    std::int32_t year = 1960;
    std::int32_t day_of_year = 0;
    for (std::int32_t days = 0; days < 350000; ++days) {
        std::int32_t month = 0, day = 0, found_year = 0, weekday = 0;
        split(days * 86400.0, &month, &day, &found_year, &weekday);
        ASSERT_EQ(checks.counted(found_year), year) << days;
        ASSERT_EQ(month == 1 && day == 1, day_of_year == 0) << days;
        ASSERT_EQ(month == 12 && day == 31, day_of_year == length_of(year) - 1) << days;
        ASSERT_EQ(weekday, (5 + days) % 7) << days;
        if (++day_of_year == length_of(year)) {
            day_of_year = 0;
            year = year_after(year);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, DateBody, testing::ValuesIn(ways_to_split_dates()),
                         [](const auto& body) {
                             return std::string(body.param ? body.param->name : "library");
                         });

TEST(YearWalkChoice, DatesUseTheBodyThatATestPutsIntoUse) {
    static int walks = 0;
    static constexpr nq::YearWalkBody kCounting{"counting", [](nq::YearWalk from) noexcept {
                                                    ++walks;
                                                    return nq::year_walk_generic.walk(from);
                                                }};
    std::int32_t year = 0;
    nq::year_walk_in_use = &kCounting;
    nqzdmdy(366 * 86400.0, nullptr, nullptr, &year, nullptr);
    EXPECT_EQ(walks, 1);
    EXPECT_EQ(year, 1961);
    nq::year_walk_in_use = nullptr;
    nqzdmdy(366 * 86400.0, nullptr, nullptr, &year, nullptr);
    EXPECT_EQ(walks, 1);
    EXPECT_EQ(nq::year_walk_in_use.in_use(), nq::year_walk_bodies().front());
}
