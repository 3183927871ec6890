// Numbers and keywords as values of each numeric kind, at the limits.
#include <cmath>

#include "tests/validate/validate_support.hpp"

namespace nq::test {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::int32_t kMin32 = INT32_MIN;
constexpr std::int64_t kMin64 = INT64_MIN;
constexpr std::uint64_t kTop = std::uint64_t{1} << 63;

class ConversionAbi : public ValidateTest {
  protected:
    // The value as which the instance is read; it is given back at once.
    template <class Value>
    Value read(NQStatus (*get)(InstanceHeader*, Value*) noexcept, InstanceHeader* instance) {
        Value value{};
        EXPECT_EQ(get(instance, &value), NQ_STATUS_OK);
        release(instance);
        return value;
    }
    template <class Value>
    void expect_refused(NQStatus (*get)(InstanceHeader*, Value*) noexcept,
                        InstanceHeader* instance) {
        Value value = 77;
        EXPECT_EQ(get(instance, &value), NQ_STATUS_NOT_CONVERTIBLE);
        EXPECT_EQ(value, Value{77});
        if (instance) release(instance);
    }

    std::int32_t to_int32(InstanceHeader* i) { return read(NQ_LIBRARY(nqInstanceGetInt32), i); }
    std::int64_t to_int64(InstanceHeader* i) { return read(NQ_LIBRARY(nqInstanceGetInt64), i); }
    std::uint32_t to_uint32(InstanceHeader* i) { return read(NQ_LIBRARY(nqInstanceGetUInt32), i); }
    std::uint64_t to_uint64(InstanceHeader* i) { return read(NQ_LIBRARY(nqInstanceGetUInt64), i); }
    double to_double(InstanceHeader* i) { return read(NQ_LIBRARY(nqInstanceGetDouble), i); }
};

TEST_F(ConversionAbi, Int32TakesTheLowBitsOfIntegers) {
    EXPECT_EQ(to_int32(int32(kMin32)), kMin32);
    EXPECT_EQ(to_int32(int32(INT32_MAX)), INT32_MAX);
    EXPECT_EQ(to_int32(int64(4294967296)), 0);
    EXPECT_EQ(to_int32(int64(kMin64)), 0);
    EXPECT_EQ(to_int32(int64(INT64_MAX)), -1);
    EXPECT_EQ(to_int32(int64(2147483648)), kMin32);
    EXPECT_EQ(to_int32(uint32(UINT32_MAX)), -1);
    EXPECT_EQ(to_int32(uint64(UINT64_MAX)), -1);
    EXPECT_EQ(to_int32(uint64(0x1234567880000001)), kMin32 + 1);
}

TEST_F(ConversionAbi, Int32TruncatesDoublesWithin32Bits) {
    EXPECT_EQ(to_int32(number(1.99)), 1);
    EXPECT_EQ(to_int32(number(-1.99)), -1);
    EXPECT_EQ(to_int32(number(-0.5)), 0);
    EXPECT_EQ(to_int32(number(2147483647.0)), INT32_MAX);
    EXPECT_EQ(to_int32(number(2147483647.999)), INT32_MAX);
    EXPECT_EQ(to_int32(number(-2147483648.0)), kMin32);
    EXPECT_EQ(to_int32(number(-2147483648.999)), kMin32);
    for (const double outside : {2147483648.0, -2147483649.0, 4294967296.0, 1e300, -1e300,
                                 kInfinity, -kInfinity, kNaN, -kNaN}) {
        EXPECT_EQ(to_int32(number(outside)), kMin32) << outside;
    }
}

TEST_F(ConversionAbi, UInt32TakesTheLowBitsOfIntegers) {
    EXPECT_EQ(to_uint32(int32(-1)), UINT32_MAX);
    EXPECT_EQ(to_uint32(int32(kMin32)), 0x80000000u);
    EXPECT_EQ(to_uint32(int64(0x100000002)), 2u);
    EXPECT_EQ(to_uint32(int64(kMin64)), 0u);
    EXPECT_EQ(to_uint32(uint32(UINT32_MAX)), UINT32_MAX);
    EXPECT_EQ(to_uint32(uint64(UINT64_MAX)), UINT32_MAX);
}

TEST_F(ConversionAbi, UInt32TakesTheLowBitsOfDoublesTruncatedTo64) {
    EXPECT_EQ(to_uint32(number(4294967295.9)), UINT32_MAX);
    EXPECT_EQ(to_uint32(number(4294967296.0)), 0u);
    EXPECT_EQ(to_uint32(number(4294967299.5)), 3u);
    EXPECT_EQ(to_uint32(number(-1.5)), UINT32_MAX);
    EXPECT_EQ(to_uint32(number(-0.9)), 0u);
    EXPECT_EQ(to_uint32(number(-4294967298.0)), static_cast<std::uint32_t>(-2));
    EXPECT_EQ(to_uint32(number(0x1p62 + 0x1p20)), 0x100000u);
    for (const double outside : {0x1p63, -0x1p64, 1e300, kInfinity, -kInfinity, kNaN}) {
        EXPECT_EQ(to_uint32(number(outside)), 0u) << outside;
    }
}

TEST_F(ConversionAbi, Int64ExtendsAndKeepsIntegers) {
    EXPECT_EQ(to_int64(int32(-1)), -1);
    EXPECT_EQ(to_int64(int32(kMin32)), kMin32);
    EXPECT_EQ(to_int64(uint32(UINT32_MAX)), std::int64_t{UINT32_MAX});
    EXPECT_EQ(to_int64(int64(kMin64)), kMin64);
    EXPECT_EQ(to_int64(uint64(UINT64_MAX)), -1);
    EXPECT_EQ(to_int64(uint64(kTop)), kMin64);
}

TEST_F(ConversionAbi, Int64TruncatesDoubles) {
    EXPECT_EQ(to_int64(number(-2.9)), -2);
    EXPECT_EQ(to_int64(number(2.9)), 2);
    EXPECT_EQ(to_int64(number(-0x1p63)), kMin64);
    const double largest = std::nextafter(0x1p63, 0);
    EXPECT_EQ(to_int64(number(largest)), INT64_MAX - 1023);
    for (const double outside : {0x1p63, std::nextafter(-0x1p63, -kInfinity), 1e300, -1e300,
                                 kInfinity, -kInfinity, kNaN}) {
        EXPECT_EQ(to_int64(number(outside)), kMin64) << outside;
    }
}

TEST_F(ConversionAbi, UInt64ExtendsBySignAndKeepsIntegers) {
    EXPECT_EQ(to_uint64(int32(-1)), UINT64_MAX);
    EXPECT_EQ(to_uint64(int32(7)), 7u);
    EXPECT_EQ(to_uint64(uint32(UINT32_MAX)), std::uint64_t{UINT32_MAX});
    EXPECT_EQ(to_uint64(int64(-1)), UINT64_MAX);
    EXPECT_EQ(to_uint64(uint64(UINT64_MAX)), UINT64_MAX);
}

TEST_F(ConversionAbi, UInt64TruncatesDoublesAndSetsTheTopBitFrom2To63) {
    EXPECT_EQ(to_uint64(number(2.9)), 2u);
    EXPECT_EQ(to_uint64(number(-1.5)), UINT64_MAX);
    EXPECT_EQ(to_uint64(number(-0.5)), 0u);
    EXPECT_EQ(to_uint64(number(std::nextafter(0x1p63, 0))), kTop - 1024);
    EXPECT_EQ(to_uint64(number(0x1p63)), kTop);
    EXPECT_EQ(to_uint64(number(0x1p63 + 2048)), kTop + 2048);
    EXPECT_EQ(to_uint64(number(std::nextafter(0x1p64, 0))), UINT64_MAX - 2047);
    EXPECT_EQ(to_uint64(number(-0x1p63)), kTop);
    for (const double outside : {0x1p64, 1e300, -1e300, kInfinity, -kInfinity, kNaN}) {
        EXPECT_EQ(to_uint64(number(outside)), kTop) << outside;
    }
}

TEST_F(ConversionAbi, DoubleTakesTheNearestToEachInteger) {
    EXPECT_EQ(to_double(int32(kMin32)), -2147483648.0);
    EXPECT_EQ(to_double(uint32(UINT32_MAX)), 4294967295.0);
    EXPECT_EQ(to_double(int64(kMin64)), -0x1p63);
    EXPECT_EQ(to_double(int64(INT64_MAX)), 0x1p63);
    EXPECT_EQ(to_double(int64(9007199254740993)), 9007199254740992.0);
    EXPECT_EQ(to_double(uint64(UINT64_MAX)), 0x1p64);
    EXPECT_EQ(to_double(uint64(kTop + 1)), 0x1p63);
    EXPECT_EQ(to_double(number(-0.125)), -0.125);
    EXPECT_TRUE(std::isnan(to_double(number(kNaN))));
    EXPECT_EQ(to_double(number(kInfinity)), kInfinity);
}

TEST_F(ConversionAbi, KeywordsOfBothStringKinds) {
    EXPECT_EQ(to_int32(text8("min")), kMin32);
    EXPECT_EQ(to_int32(text32(U"max")), INT32_MAX);
    EXPECT_EQ(to_uint32(text32(U"min")), 0u);
    EXPECT_EQ(to_uint32(text8("max")), UINT32_MAX);
    EXPECT_EQ(to_int64(text8("min")), kMin64);
    EXPECT_EQ(to_int64(text32(U"max")), INT64_MAX);
    EXPECT_EQ(to_double(text8("min")), 2.2250738585072014e-308);
    EXPECT_EQ(to_double(text32(U"min")), 2.2250738585072014e-308);
    EXPECT_EQ(to_double(text8("max")), 1.7976931348623157e308);
}

TEST_F(ConversionAbi, UInt64TakesNoKeyword) {
    for (const char* word : {"min", "max"}) {
        expect_refused(NQ_LIBRARY(nqInstanceGetUInt64), text8(word));
    }
    expect_refused(NQ_LIBRARY(nqInstanceGetUInt64), text32(U"max"));
}

TEST_F(ConversionAbi, OtherTextsAreRefused) {
    for (const char* text :
         {"", "m", "mi", "minimum", "Min", "MAX", "mix", "min ", " max", "123"}) {
        expect_refused(NQ_LIBRARY(nqInstanceGetInt32), text8(text));
        expect_refused(NQ_LIBRARY(nqInstanceGetUInt32), text8(text));
        expect_refused(NQ_LIBRARY(nqInstanceGetInt64), text8(text));
        expect_refused(NQ_LIBRARY(nqInstanceGetDouble), text8(text));
    }
    // Units that only look alike when they are cut to bytes.
    expect_refused(NQ_LIBRARY(nqInstanceGetInt32), text32(U"\u016Din"));
    expect_refused(NQ_LIBRARY(nqInstanceGetInt32), text32({U"min\0", 4}));
    expect_refused(NQ_LIBRARY(nqInstanceGetInt32), text32(U"max imum of a longer text"));
}

TEST_F(ConversionAbi, OtherKindsAreRefused) {
    NQStatus status;
    const std::array<InstanceHeader*, 9> others{
        nullptr,
        boolean(1),
        character('5'),
        handle(nullptr),
        &host.array()->header,
        &host.dictionary()->header,
        &api()->createDateTime(api(), pool(), 1.0, &status)->header,
        &api()->createSizedData(api(), pool(), 8, &status)->header,
        &api()->createTime(api(), pool(), &status)->header,
    };
    for (InstanceHeader* other : others) {
        for (const auto get : {NQ_LIBRARY(nqInstanceGetInt32)}) {
            std::int32_t value = 77;
            EXPECT_EQ(get(other, &value), NQ_STATUS_NOT_CONVERTIBLE);
            EXPECT_EQ(value, 77);
        }
        std::uint64_t value = 77;
        EXPECT_EQ(NQ_LIBRARY(nqInstanceGetUInt64)(other, &value), NQ_STATUS_NOT_CONVERTIBLE);
        expect_refused(NQ_LIBRARY(nqInstanceGetDouble), other);
    }
}

TEST_F(ConversionAbi, WrappedNumbersAreRead) {
    EXPECT_EQ(to_int32(handle(int64(0x100000005))), 5);
    EXPECT_EQ(to_int64(handle(text8("max"))), INT64_MAX);
    EXPECT_EQ(to_double(handle(number(2.5))), 2.5);
    EXPECT_EQ(to_uint32(handle(number(2.5))), 2u);
}

}  // namespace
}  // namespace nq::test
