// Bounds, accepted values and messages of the five numeric kinds.
#include <cmath>

#include "tests/support/statuses.hpp"
#include "tests/validate/validate_support.hpp"

namespace nq::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Member {
    const char* type;
    InstanceHeader* (*make)(InstanceApi* api, HostPool* pool, int value);
    NQStatus below;
    NQStatus above;
    NQStatus not_accepted;
};

template <class Instance, class Value>
InstanceHeader* make_small(Instance* (*InstanceApi::*create)(InstanceApi*, HostPool*, Value,
                                                             NQStatus*) noexcept,
                           InstanceApi* api, HostPool* pool, int value) {
    NQStatus status;
    return &(api->*create)(api, pool, static_cast<Value>(value), &status)->header;
}

#define NQ_MAKER(slot)                                           \
    [](InstanceApi* api, HostPool* pool, int value) {            \
        return make_small(&InstanceApi::slot, api, pool, value); \
    }
// Each member with a way to make a small value of it, and its messages.
constexpr std::array<Member, 5> kMembers{{
    {"NQInt32Instance", NQ_MAKER(createInt32), NQ_MESSAGE_SIGNED_BELOW_MIN,
     NQ_MESSAGE_SIGNED_ABOVE_MAX, NQ_MESSAGE_SIGNED_NOT_ACCEPTED},
    {"NQUInt32Instance", NQ_MAKER(createUInt32), NQ_MESSAGE_UNSIGNED_BELOW_MIN,
     NQ_MESSAGE_UNSIGNED_ABOVE_MAX, NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED},
    {"NQInt64Instance", NQ_MAKER(createInt64), NQ_MESSAGE_SIGNED_BELOW_MIN,
     NQ_MESSAGE_SIGNED_ABOVE_MAX, NQ_MESSAGE_SIGNED_NOT_ACCEPTED},
    {"NQUInt64Instance", NQ_MAKER(createUInt64), NQ_MESSAGE_UNSIGNED_BELOW_MIN,
     NQ_MESSAGE_UNSIGNED_ABOVE_MAX, NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED},
    {"NQDoubleInstance", NQ_MAKER(createDouble), NQ_MESSAGE_DOUBLE_BELOW_MIN,
     NQ_MESSAGE_DOUBLE_ABOVE_MAX, NQ_MESSAGE_DOUBLE_NOT_ACCEPTED},
}};
#undef NQ_MAKER

class NumericAbi : public ValidateTest {};

TEST_F(NumericAbi, EachMemberChecksItsBoundsWhichAreInclusive) {
    for (const Member& member : kMembers) {
        SCOPED_TRACE(member.type);
        const auto value = [&](int v) { return member.make(api(), pool(), v); };
        NQDictionary* both = definition({{"min", value(5)}, {"max", value(9)}});
        EXPECT_EQ(check(value(5), both), kValid);
        EXPECT_EQ(check(value(9), both), kValid);
        EXPECT_EQ(check(value(4), both), verdict(NQ_STATUS_OUT_OF_BOUNDS));
        EXPECT_EQ(check(value(10), both), verdict(NQ_STATUS_OUT_OF_BOUNDS));
        NQDictionary* one = definition({{"min", value(5)}, {"max", value(5)}});
        EXPECT_EQ(check(value(5), one), kValid);
        EXPECT_EQ(check(value(5), definition({})), kValid);
    }
}

TEST_F(NumericAbi, EachMemberChecksItsValues) {
    for (const Member& member : kMembers) {
        SCOPED_TRACE(member.type);
        const auto value = [&](int v) { return member.make(api(), pool(), v); };
        NQDictionary* list = definition(
            {{"values", host.array({value(3), range(value(10), value(20)), value(30)})}});
        for (const int accepted : {3, 10, 15, 20, 30})
            EXPECT_EQ(check(value(accepted), list), kValid);
        for (const int other : {0, 4, 9, 21, 31}) {
            EXPECT_EQ(check(value(other), list), verdict(NQ_STATUS_NOT_ACCEPTED));
        }
        NQDictionary* nothing = definition({{"values", host.array()}});
        EXPECT_EQ(check(value(3), nothing), verdict(NQ_STATUS_NOT_ACCEPTED));
    }
}

TEST_F(NumericAbi, EachMemberHasItsMessages) {
    for (const Member& member : kMembers) {
        SCOPED_TRACE(member.type);
        const auto value = [&](int v) { return member.make(api(), pool(), v); };
        NQDictionary* given =
            definition({{"min", value(5)}, {"max", value(9)}, {"values", host.array({value(6)})}});
        int data = 0;
        const std::size_t before = host.strings.messages().size();
        ValidationRun* run = start_run(&data);
        EXPECT_EQ(check(value(4), given, run), verdict(NQ_STATUS_OUT_OF_BOUNDS));
        EXPECT_EQ(check(value(10), given, run), verdict(NQ_STATUS_OUT_OF_BOUNDS));
        EXPECT_EQ(check(value(7), given, run), verdict(NQ_STATUS_NOT_ACCEPTED));
        EXPECT_EQ(check(value(6), given, run), kValid);
        const auto& messages = host.strings.messages();
        ASSERT_EQ(messages.size(), before + 3);
        const std::array<FormattedMessage, 3> expected{{{&data, member.below, "4, 5"},
                                                        {&data, member.above, "10, 9"},
                                                        {&data, member.not_accepted, "7"}}};
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(messages[before + i].user_data, &data);
            EXPECT_EQ(messages[before + i].code, expected[i].code);
            EXPECT_EQ(messages[before + i].arguments, expected[i].arguments);
        }
        EXPECT_EQ(messages_of(run).size(), 3u);
        run->finish(run);
    }
}

TEST_F(NumericAbi, MessagesCarryTheWholeValue) {
    ValidationRun* run = start_run();
    check(int32(INT32_MIN), definition({{"min", int32(-5)}}), run);
    check(uint32(UINT32_MAX), definition({{"max", uint32(5)}}), run);
    check(int64(INT64_MIN), definition({{"min", int64(INT64_MAX)}}), run);
    check(uint64(UINT64_MAX), definition({{"max", uint64(UINT64_MAX - 1)}}), run);
    check(number(-0.125), definition({{"min", number(0.5)}}), run);
    const auto& messages = host.strings.messages();
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[0].arguments, "-2147483648, -5");
    EXPECT_EQ(messages[1].arguments, "4294967295, 5");
    EXPECT_EQ(messages[2].arguments, "-9223372036854775808, 9223372036854775807");
    EXPECT_EQ(messages[3].arguments, "18446744073709551615, 18446744073709551614");
    EXPECT_EQ(messages[4].arguments, "-0.125, 0.5");
    run->finish(run);
}

TEST_F(NumericAbi, OnlyTheMembersOwnKindIsChecked) {
    const std::array<decltype(InstanceHeader::validate), 5> validators{
        NQ_LIBRARY(nqInstanceValidateInt32), NQ_LIBRARY(nqInstanceValidateUInt32),
        NQ_LIBRARY(nqInstanceValidateInt64), NQ_LIBRARY(nqInstanceValidateUInt64),
        NQ_LIBRARY(nqInstanceValidateDouble)};
    // A definition that nothing satisfies and that would fail the call.
    NQDictionary* given = definition({{"min", text8("nothing")}});
    for (std::size_t v = 0; v < validators.size(); ++v) {
        for (std::size_t m = 0; m < kMembers.size(); ++m) {
            InstanceHeader* instance = kMembers[m].make(api(), pool(), 5);
            Answer answer{0, kUntouched};
            answer.status = validators[v](instance, given, &answer.verdict, nullptr);
            release(instance);
            EXPECT_EQ(answer,
                      v == m ? refused(NQ_STATUS_NOT_CONVERTIBLE) : verdict(NQ_STATUS_WRONG_TYPE))
                << v << ' ' << m;
        }
        for (InstanceHeader* other : {boolean(1), character('1'), text8("1"), handle(nullptr)}) {
            Answer answer{0, kUntouched};
            answer.status = validators[v](other, given, &answer.verdict, nullptr);
            release(other);
            EXPECT_EQ(answer, verdict(NQ_STATUS_WRONG_TYPE));
        }
    }
}

TEST_F(NumericAbi, BoundsAreConvertedWithoutACheck) {
    // 2^32 as Int32 is 0.
    NQDictionary* wrapped = definition({{"min", int64(4294967296)}});
    EXPECT_EQ(check(int32(0), wrapped), kValid);
    EXPECT_EQ(check(int32(-1), wrapped), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    // -1 as UInt64 is the largest value, and a double is truncated.
    EXPECT_EQ(check(uint64(UINT64_MAX - 1), definition({{"min", int32(-1)}})),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(int32(5), definition({{"max", number(5.9)}})), kValid);
    EXPECT_EQ(check(int32(6), definition({{"max", number(5.9)}})),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(int64(-1), definition({{"max", number(kNaN)}})),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(number(0.5), definition({{"max", uint64(UINT64_MAX)}})), kValid);
}

TEST_F(NumericAbi, SignedAndUnsignedValuesAreComparedAsSuch) {
    EXPECT_EQ(check(uint32(0x80000000), definition({{"min", uint32(1)}})), kValid);
    EXPECT_EQ(check(int32(INT32_MIN), definition({{"min", int32(1)}})),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(uint64(std::uint64_t{1} << 63), definition({{"min", uint64(1)}})), kValid);
    EXPECT_EQ(check(int64(INT64_MIN), definition({{"min", int64(1)}})),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
}

TEST_F(NumericAbi, KeywordsStandForTheLimits) {
    NQDictionary* all = definition({{"min", text8("min")}, {"max", text32(U"max")}});
    EXPECT_EQ(check(int32(INT32_MIN), all), kValid);
    EXPECT_EQ(check(int32(INT32_MAX), all), kValid);
    EXPECT_EQ(check(uint32(0), all), kValid);
    EXPECT_EQ(check(int64(INT64_MIN), all), kValid);
    EXPECT_EQ(check(number(1e308), all), kValid);
    EXPECT_EQ(check(int32(1), definition({{"max", text8("min")}})),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(int32(1), definition({{"min", text8("minimum")}})),
              refused(NQ_STATUS_NOT_CONVERTIBLE));
    NQDictionary* list = definition({{"values", host.array({text8("max")})}});
    EXPECT_EQ(check(int32(INT32_MAX), list), kValid);
    EXPECT_EQ(check(int64(INT32_MAX), list), verdict(NQ_STATUS_NOT_ACCEPTED));
}

TEST_F(NumericAbi, TheDoublesSmallestValueIsItsSmallestPositiveNormalOne) {
    NQDictionary* from_min = definition({{"min", text8("min")}});
    EXPECT_EQ(check(number(0.0), from_min), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(number(-1e300), from_min), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(number(std::numeric_limits<double>::denorm_min()), from_min),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(number(2.2250738585072014e-308), from_min), kValid);
}

TEST_F(NumericAbi, UInt64TakesNoKeywords) {
    EXPECT_EQ(check(uint64(1), definition({{"max", text8("max")}})),
              refused(NQ_STATUS_NOT_CONVERTIBLE));
    EXPECT_EQ(check(uint64(1), definition({{"min", text32(U"min")}})),
              refused(NQ_STATUS_NOT_CONVERTIBLE));
    NQDictionary* list = definition({{"values", host.array({range(uint64(0), text8("max"))})}});
    EXPECT_EQ(check(uint64(1), list), refused(NQ_STATUS_NOT_CONVERTIBLE));
}

TEST_F(NumericAbi, ANaNPassesBoundsAndIsNeverAccepted) {
    EXPECT_EQ(check(number(kNaN), definition({{"min", number(1)}, {"max", number(2)}})), kValid);
    EXPECT_EQ(check(number(kNaN), definition({{"values", host.array({number(kNaN)})}})),
              verdict(NQ_STATUS_NOT_ACCEPTED));
    NQDictionary* everything =
        definition({{"values", host.array({range(number(-INFINITY), number(INFINITY))})}});
    EXPECT_EQ(check(number(kNaN), everything), verdict(NQ_STATUS_NOT_ACCEPTED));
    EXPECT_EQ(check(number(5), everything), kValid);
    EXPECT_EQ(check(number(5), definition({{"min", number(kNaN)}, {"max", number(kNaN)}})), kValid);
    EXPECT_EQ(check(number(0.0), definition({{"values", host.array({number(-0.0)})}})), kValid);
}

TEST_F(NumericAbi, ValuesThatAreNoArrayFailTheCall) {
    for (InstanceHeader* values : {&host.dictionary()->header, text8("3"), int32(3),
                                   static_cast<InstanceHeader*>(nullptr)}) {
        EXPECT_EQ(check(int32(3), definition({{"values", values}})),
                  refused(NQ_STATUS_VALUES_NOT_ARRAY));
    }
}

TEST_F(NumericAbi, RangesNeedBothEnds) {
    const auto list_of = [&](NQDictionary* entry) {
        return definition({{"values", host.array({entry})}});
    };
    EXPECT_EQ(check(int32(3), list_of(host.dictionary())), refused(NQ_STATUS_RANGE_WITHOUT_MIN));
    EXPECT_EQ(check(int32(3), list_of(host.dictionary({{"max", int32(5)}}))),
              refused(NQ_STATUS_RANGE_WITHOUT_MIN));
    EXPECT_EQ(check(int32(3), list_of(host.dictionary({{"min", int32(1)}}))),
              refused(NQ_STATUS_RANGE_WITHOUT_MAX));
    // That both are there is looked at before either is read.
    EXPECT_EQ(check(int32(3), list_of(host.dictionary({{"min", boolean(1)}}))),
              refused(NQ_STATUS_RANGE_WITHOUT_MAX));
    EXPECT_EQ(check(int32(3), list_of(range(boolean(1), int32(5)))),
              refused(NQ_STATUS_NOT_CONVERTIBLE));
    EXPECT_EQ(check(int32(3), list_of(range(int32(1), boolean(1)))),
              refused(NQ_STATUS_NOT_CONVERTIBLE));
    EXPECT_EQ(check(int32(3), list_of(range(int32(5), int32(1)))), verdict(NQ_STATUS_NOT_ACCEPTED));
}

TEST_F(NumericAbi, AMatchEndsTheList) {
    NQDictionary* broken_behind =
        definition({{"values", host.array({int32(3), boolean(1), host.dictionary()})}});
    EXPECT_EQ(check(int32(3), broken_behind), kValid);
    EXPECT_EQ(check(int32(4), broken_behind), refused(NQ_STATUS_NOT_CONVERTIBLE));
    NQDictionary* null_behind = definition({{"values", host.array({int32(3), nullptr})}});
    EXPECT_EQ(check(int32(3), null_behind), kValid);
    EXPECT_EQ(check(int32(4), null_behind), refused(NQ_STATUS_NOT_CONVERTIBLE));
}

TEST_F(NumericAbi, LaterChecksAreNotMade) {
    NQDictionary* given =
        definition({{"min", int32(5)}, {"max", boolean(1)}, {"values", boolean(1)}});
    EXPECT_EQ(check(int32(4), given), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(int32(5), given), refused(NQ_STATUS_NOT_CONVERTIBLE));
    NQDictionary* upper = definition({{"max", int32(5)}, {"values", boolean(1)}});
    EXPECT_EQ(check(int32(6), upper), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(int32(5), upper), refused(NQ_STATUS_VALUES_NOT_ARRAY));
}

TEST_F(NumericAbi, BoundsAndValuesMustBothHold) {
    NQDictionary* given =
        definition({{"min", int32(5)}, {"values", host.array({int32(3), int32(7)})}});
    EXPECT_EQ(check(int32(3), given), verdict(NQ_STATUS_OUT_OF_BOUNDS));
    EXPECT_EQ(check(int32(7), given), kValid);
    EXPECT_EQ(check(int32(8), given), verdict(NQ_STATUS_NOT_ACCEPTED));
}

TEST_F(NumericAbi, NullBoundsAreRefused) {
    EXPECT_EQ(check(int32(3), definition({{"min", nullptr}})), refused(NQ_STATUS_NOT_CONVERTIBLE));
    EXPECT_EQ(check(int32(3), definition({{"max", nullptr}})), refused(NQ_STATUS_NOT_CONVERTIBLE));
}

TEST_F(NumericAbi, MissingArgumentsAreRefused) {
    InstanceHeader* value = int32(3);
    NQDictionary* given = definition({});
    EXPECT_EQ(value->validate(value, given, nullptr, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    std::uint32_t untouched = kUntouched;
    EXPECT_EQ(value->validate(value, nullptr, &untouched, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(untouched, kUntouched);
    release(value);
}

TEST_F(NumericAbi, AMessageThatFailsIsReportedWithTheVerdict) {
    NQDictionary* given = definition({{"max", int32(2)}});
    ValidationRun* run = start_run();
    const auto fail = [&](Call call, NQStatus status) {
        host.plan().clear();
        host.plan().fail(call, 0, status);
        return check(int32(3), given, run);
    };
    EXPECT_EQ(fail(Call::kNewString, kHostRefusal),
              (Answer{NQ_STATUS_NO_MEMORY, NQ_STATUS_OUT_OF_BOUNDS}));
    EXPECT_EQ(fail(Call::kArrayAppend, kHostRefusal),
              (Answer{kHostRefusal, NQ_STATUS_OUT_OF_BOUNDS}));
    EXPECT_EQ(run->messages->count, 0u);
    EXPECT_EQ(fail(Call::kFormatMessage, kHostRefusal),
              (Answer{kHostRefusal, NQ_STATUS_OUT_OF_BOUNDS}));
    EXPECT_EQ(messages_of(run), (std::vector<std::string>{""}));
    run->finish(run);
}

TEST_F(NumericAbi, AWrappedDefinitionPartIsRead) {
    NQDictionary* given =
        definition({{"min", handle(int32(3))},
                    {"values", handle(host.array({handle(range(int32(3), int32(4)))}))}});
    EXPECT_EQ(check(int32(4), given), kValid);
    EXPECT_EQ(check(int32(5), given), verdict(NQ_STATUS_NOT_ACCEPTED));
    EXPECT_EQ(check(int32(2), given), verdict(NQ_STATUS_OUT_OF_BOUNDS));
}

TEST_F(NumericAbi, AClonedNumberValidatesLikeItsSource) {
    InstanceHeader* source = int64(7);
    InstanceHeader* clone = nullptr;
    ASSERT_EQ(source->clone(source, nullptr, 0, &clone), NQ_STATUS_OK);
    release(source);
    EXPECT_EQ(check(clone, definition({{"max", int32(6)}})), verdict(NQ_STATUS_OUT_OF_BOUNDS));
}

}  // namespace
}  // namespace nq::test
