#include "standalone/text/format.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/random.hpp"

namespace nq {
namespace {

using test::SeededRandom;
using namespace std::string_view_literals;

struct Result {
    NQStatus status;
    std::u32string text;
};

// Formats into a buffer of exactly `capacity` units.
Result format_list(std::u32string_view format, uint64_t capacity, va_list arguments) {
    const std::vector<NQChar> units(format.begin(), format.end());
    const auto buffer = std::make_unique<NQChar[]>(capacity);
    uint64_t length = UINT64_MAX;
    Result result;
    result.status =
        format_units(units.data(), units.size(), buffer.get(), capacity, &length, arguments);
    EXPECT_LE(length, capacity);
    result.text.assign(buffer.get(), buffer.get() + std::min(length, capacity));
    return result;
}

Result units(const char32_t* format, uint64_t capacity, ...) {
    va_list arguments;
    va_start(arguments, capacity);
    Result result = format_list(format, capacity, arguments);
    va_end(arguments);
    return result;
}

// The text of an ASCII format from both variants, which must agree; "!" when they refuse it.
std::string text(const char* format, ...) {
    constexpr uint64_t kCapacity = 8000;
    va_list arguments;
    va_start(arguments, format);
    std::string utf8;
    const NQStatus status = format_utf8(format, arguments, utf8);
    va_end(arguments);
    va_start(arguments, format);
    const std::string_view format_text(format);
    const Result wide =
        format_list(std::u32string(format_text.begin(), format_text.end()), kCapacity, arguments);
    va_end(arguments);
    EXPECT_EQ(status, wide.status) << format;
    EXPECT_EQ(std::u32string(utf8.begin(), utf8.end()), wide.text) << format;
    if (status == NQ_STATUS_INVALID_ARGUMENT) return "!";
    EXPECT_EQ(status, NQ_STATUS_OK) << format;
    return utf8;
}

// What the C library makes of it.
std::string expected(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string result(8000, '\0');
    const int length = vsnprintf(result.data(), result.size(), format, arguments);
    va_end(arguments);
    result.resize(static_cast<std::size_t>(length));
    return result;
}

template <class Value>
constexpr int64_t wide(Value value) {
    return static_cast<int64_t>(value);
}

TEST(Format, DirectivesOfTheLibrary) {
    EXPECT_EQ(text("%d", wide(-7)), "-7");
    EXPECT_EQ(text("%d", INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(text("%u", wide(UINT32_MAX)), "4294967295");
    EXPECT_EQ(text("%u", wide(-1)), "18446744073709551615");
    EXPECT_EQ(text("%lld", INT64_MAX), "9223372036854775807");
    EXPECT_EQ(text("%llu", UINT64_MAX), "18446744073709551615");
    EXPECT_EQ(text("%f", 1.5), "1.500000");
    EXPECT_EQ(text("%02d:%02d:%02d.%03d%c%02d%02d", wide(1), wide(2), wide(33), wide(4), wide('+'),
                   wide(5), wide(30)),
              "01:02:33.004+0530");
    EXPECT_EQ(text("\"%d-%02d-%02d\"", wide(1960), wide(1), wide(12)), "\"1960-01-12\"");
    EXPECT_EQ(text("%02d", wide(-5)), "-5");
    EXPECT_EQ(text("%03d", wide(-5)), "-05");
    EXPECT_EQ(text(""), "");
    EXPECT_EQ(text("100%% of %%d"), "100% of %d");
}

TEST(Format, DoublesThatAreNoNumbers) {
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(text("%f", kNan), "nan");
    EXPECT_EQ(text("%f", -kNan), "nan");
    EXPECT_EQ(text("%f", INFINITY), "inf");
    EXPECT_EQ(text("%f", -INFINITY), "-inf");
    EXPECT_EQ(text("%+.3F|%06E|%-6G|%6A", INFINITY, -INFINITY, INFINITY, kNan),
              "+INF|  -INF|INF   |   NAN");
}

TEST(Format, GreatestDoubleIsWrittenInFull) {
    EXPECT_EQ(text("%f", DBL_MAX), expected("%f", DBL_MAX));
    EXPECT_EQ(text("%f", 1e308).size(), 316u);
    EXPECT_EQ(units(U"%f", 315, 1e308).status, NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(units(U"%f", 316, 1e308).status, NQ_STATUS_OK);
}

TEST(Format, PrecisionBeyondTheDigitsOfADoubleGivesZeros) {
    for (const double value : {0.0, 1.0, -0.1, 5e-324, DBL_MAX, DBL_MIN, 1.0 / 3}) {
        for (const char* format :
             {"%.1099f", "%.1100f", "%.1101f", "%.2000f", "%.2000e", "%#.2000g", "%.2000g",
              "%.2000a", "%-3000.1500f|", "%+03000.1500E|"})
            EXPECT_EQ(text(format, value), expected(format, value)) << format << " " << value;
    }
}

TEST(Format, TextIsTakenAsUtf8OrUnits) {
    constexpr NQChar kUnits[] = {'a', 0x20ac, 0x1f600, 0};
    const char* const utf8 = "a\xe2\x82\xac\xf0\x9f\x98\x80";
    EXPECT_EQ(units(U"<%s>", 99, utf8).text, U"<a\u20ac\U0001f600>");
    EXPECT_EQ(units(U"<%ls>%S", 99, kUnits, kUnits).text, U"<a\u20ac\U0001f600>a\u20ac\U0001f600");
    EXPECT_EQ(units(U"<%5s>", 99, utf8).text, U"<  a\u20ac\U0001f600>");
    EXPECT_EQ(units(U"<%-5s>", 99, utf8).text, U"<a\u20ac\U0001f600  >");
    EXPECT_EQ(units(U"<%.2s>", 99, utf8).text, U"<a\u20ac>");
    EXPECT_EQ(units(U"<%4.2ls>", 99, kUnits).text, U"<  a\u20ac>");
    EXPECT_EQ(units(U"\u20ac%c%c", 99, wide('x'), wide(0x1f600)).text, U"\u20acx\U0001f600");
    EXPECT_EQ(units(U"%3c|%-3c|", 99, wide('x'), wide('y')).text, U"  x|y  |");
    EXPECT_EQ(text("%s|%8ls|%.3s", nullptr, nullptr, nullptr), "(null)|  (null)|(nu");
}

TEST(Format, MalformedTextIsReplaced) {
    EXPECT_EQ(units(U"%s", 99,
                    "a\xff"
                    "b")
                  .text,
              U"a\ufffdb");
    EXPECT_EQ(units(U"%s", 99, "a\xe2\x82").text, U"a\ufffd");
    EXPECT_EQ(units(U"%s", 99,
                    "\xe2\x82"
                    "b")
                  .text,
              U"\ufffdb");
    EXPECT_EQ(units(U"%.1s", 99,
                    "\xe2\x82"
                    "b")
                  .text,
              U"\ufffd");
}

TEST(Format, PrecisionBoundsWhatIsRead) {
    const auto bytes = std::make_unique<char[]>(3);
    std::string("\xe2\x82\xac").copy(bytes.get(), 3);
    EXPECT_EQ(units(U"%.1s|%9.1s", 99, bytes.get(), bytes.get()).text, U"\u20ac|        \u20ac");
    const auto characters = std::make_unique<NQChar[]>(1);
    characters[0] = 'z';
    EXPECT_EQ(units(U"%.1ls", 99, characters.get()).text, U"z");
    EXPECT_EQ(units(U"%.0s", 99, bytes.get() + 3).text, U"");
}

TEST(FormatUtf8, KeepsTheFormatsOwnTextAndEncodesArguments) {
    const auto utf8 = [](const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        std::string out = "old";
        EXPECT_EQ(format_utf8(format, arguments, out), NQ_STATUS_OK);
        va_end(arguments);
        return out;
    };
    constexpr NQChar kUnits[] = {0xe4, 0x20ac, 0x1f600, 0x110000, 0xd800, 0};
    EXPECT_EQ(utf8("\xe2\x82\xac%ls", kUnits),
              "\xe2\x82\xac\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(utf8("%4.1ls|%-3.1ls|", kUnits, kUnits), "   \xc3\xa4|\xc3\xa4  |");
    EXPECT_EQ(utf8("%5s|", "\xc3\xa4\xff"), "   \xc3\xa4\xef\xbf\xbd|");
    EXPECT_EQ(utf8("%c%c", wide(0x20ac), wide('x')), "\xe2\x82\xacx");
    EXPECT_EQ(utf8(""), "");
}

TEST(Format, NarrowSizesCutTheValue) {
    EXPECT_EQ(text("%hhd %hhu %hhx", wide(0x1ff), wide(0x1ff), wide(-1)), "-1 255 ff");
    EXPECT_EQ(text("%hd %hu %ho", wide(0x18000), wide(0x18000), wide(-1)), "-32768 32768 177777");
    EXPECT_EQ(text("%jd %zu %td %Lf", wide(-1), UINT64_MAX, INT64_MIN, 0.5),
              "-1 18446744073709551615 -9223372036854775808 0.500000");
}

TEST(Format, StarsTakeArguments) {
    EXPECT_EQ(text("%*d|%-*d|%*d|", wide(4), wide(1), wide(4), wide(2), wide(-4), wide(3)),
              "   1|2   |3   |");
    EXPECT_EQ(text("%.*f|%.*f|%*.*d", wide(1), 2.25, wide(-1), 2.25, wide(5), wide(3), wide(7)),
              "2.2|2.250000|  007");
}

TEST(Format, UnknownDirectivesAreRefusedAfterWhatStoodBefore) {
    for (const char* format : {"%",
                               "%5",
                               "%l",
                               "%.",
                               "%y",
                               "%n",
                               "%k",
                               "%5%",
                               "%'d",
                               "%-",
                               "%\x7f",
                               "%2147483648d",
                               "%.2147483648d",
                               "%99999999999999999999d",
                               "%\x01",
                               "%C",
                               "%D",
                               "%b",
                               "%B",
                               "%1$d"})
        EXPECT_EQ(text(format, wide(1), wide(1)), "!") << format;
    EXPECT_EQ(text("%*d", wide(INT64_MIN), wide(1)), "!");
    EXPECT_EQ(text("%.*d", wide(INT64_MAX), wide(1)), "!");
    // A unit whose low byte is that of a conversion, and one outside of all characters.
    EXPECT_EQ(units(U"%\u0164", 9, wide(1)).status, NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(units(U"%\xffffffff", 9, wide(1)).status, NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(units(U"%\uff15d", 9, wide(1)).status, NQ_STATUS_INVALID_ARGUMENT);
    const Result result = units(U"%d and %y", 99, wide(1));
    EXPECT_EQ(result.status, NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(result.text, U"1 and ");
}

TEST(Format, OutputIsCutAtEveryCapacity) {
    const auto check = [](const char32_t* format, auto... arguments) {
        const std::u32string whole = units(format, 999, arguments...).text;
        for (uint64_t capacity = 0; capacity <= whole.size() + 1; ++capacity) {
            const Result result = units(format, capacity, arguments...);
            EXPECT_EQ(result.status,
                      capacity < whole.size() ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK);
            EXPECT_EQ(result.text, whole.substr(0, capacity));
        }
    };
    check(U"");
    check(U"literal");
    check(U"a%%b%%");
    check(U"<%d>%12lld|%-12llu|%+08d", wide(42), wide(-7), wide(9), wide(3));
    check(U"%20.10f|%-20e|%g|%a|%.30f", 1.5, 2.5, 3.5, 4.5, 5.5);
    check(U"%s|%10s|%-10s|%c", "abc", "\xe2\x82\xac", "x", wide('y'));
    check(U"%#x|%#o|%p|%p", wide(255), wide(8), reinterpret_cast<void*>(0x1234), nullptr);
    check(U"%.50d|%50d|%050d", wide(1), wide(2), wide(3));
    // What is asked for may be far more than there is room.
    EXPECT_EQ(units(U"%2147483647d", 10, wide(1)).text, U"          ");
    EXPECT_EQ(units(U"%.2147483647f", 10, 1.0).text, U"1.00000000");
    EXPECT_EQ(units(U"%d", 0, wide(1)).text, U"");
}

// A directive of random parts. `allowed` are the flags that C defines for the conversion.
struct Directive {
    std::string text;
    std::vector<int> stars;
};
Directive random_directive(SeededRandom& random, std::string_view allowed, bool has_precision) {
    Directive directive{"%", {}};
    for (uint64_t i = random.below(4); i != 0 && !allowed.empty(); --i)
        directive.text += random.pick(allowed);
    const auto number = [&](uint64_t limit) {
        const auto value = static_cast<int>(random.below(limit));
        if (random.below(4) != 0) {
            directive.text += std::to_string(value);
            return;
        }
        directive.text += '*';
        directive.stars.push_back(random.below(2) == 0 ? value : -value);
    };
    if (random.below(2) == 0) number(random.below(10) == 0 ? 400 : 30);
    if (has_precision && random.below(2) == 0) {
        directive.text += '.';
        if (random.below(8) != 0) number(random.below(10) == 0 ? 350 : 25);
    }
    return directive;
}

template <class Ours, class Theirs>
void compare(const Directive& directive, Ours ours, Theirs theirs) {
    const std::string format = "[" + directive.text + "]";
    const char* const f = format.c_str();
    const auto& s = directive.stars;
    std::string actual;
    std::string wanted;
    if (s.empty()) {
        actual = text(f, ours);
        wanted = expected(f, theirs);
    } else if (s.size() == 1) {
        actual = text(f, wide(s[0]), ours);
        wanted = expected(f, s[0], theirs);
    } else {
        actual = text(f, wide(s[0]), wide(s[1]), ours);
        wanted = expected(f, s[0], s[1], theirs);
    }
    ASSERT_EQ(actual, wanted) << format;
}

uint64_t random_integer(SeededRandom& random) {
    switch (random.below(4)) {
        case 0:
            return random.bits();
        case 1:
            return random.below(2) == 0 ? UINT64_MAX : random.below(2);
        case 2:
            return (uint64_t{1} << random.below(64)) - random.below(2);
        default:
            return random.bits() >> random.below(64);
    }
}

double random_double(SeededRandom& random) {
    switch (random.below(5)) {
        case 0: {
            const double value = std::bit_cast<double>(random.bits());
            return std::isnan(value) ? INFINITY : value;
        }
        case 1:
            return static_cast<double>(static_cast<int64_t>(random_integer(random)));
        case 2:
            // Halves and powers of ten: the cases where rounding and the choice of %g turn.
            return static_cast<double>(random.below(2000)) / 8 - 100;
        case 3:
            return std::pow(10, static_cast<double>(random.below(40)) - 20) *
                   (random.below(2) == 0 ? 1 : 9.9999995);
        default: {
            constexpr double kEdges[] = {0.0,    -0.0, DBL_MIN,     DBL_MAX,      5e-324,
                                         0.5,    1.5,  2.5,         0.1,          999999.5,
                                         9.5e-5, 1e15, -INFINITY,   INFINITY,     DBL_EPSILON,
                                         1e21,   1e22, DBL_MIN / 2, 0.00099999999};
            return random.pick(kEdges);
        }
    }
}

TEST(FormatModel, IntegersAgreeWithTheCLibrary) {
    SeededRandom random(60000);
    constexpr std::string_view kConversions = "diuoxX";
    constexpr const char* kWideSizes[] = {"l", "ll", "j", "z", "t"};
    constexpr const char* kNarrowSizes[] = {"", "h", "hh"};
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        const char conversion = random.pick(kConversions);
        const bool is_signed = conversion == 'd' || conversion == 'i';
        const bool is_decimal = is_signed || conversion == 'u';
        Directive directive = random_directive(random,
                                               is_signed    ? "-+ 0"
                                               : is_decimal ? "-0"
                                                            : "-0#",
                                               true);
        const uint64_t value = random_integer(random);
        if (random.below(2) == 0) {
            directive.text += random.pick(kWideSizes);
            directive.text += conversion;
            compare(directive, static_cast<int64_t>(value), static_cast<long long>(value));
        } else {
            directive.text += random.pick(kNarrowSizes);
            directive.text += conversion;
            if (is_signed) {
                compare(directive, wide(static_cast<int32_t>(value)), static_cast<int>(value));
            } else {
                compare(directive, wide(static_cast<uint32_t>(value)),
                        static_cast<unsigned>(value));
            }
        }
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(FormatModel, DoublesAgreeWithTheCLibrary) {
    SeededRandom random(60000);
    constexpr std::string_view kConversions = "fFeEgGaA";
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        const char conversion = random.pick(kConversions);
        const bool is_general = conversion == 'g' || conversion == 'G';
        Directive directive = random_directive(random, is_general ? "-+ 0" : "-+ 0#", true);
        directive.text += conversion;
        const double value = random_double(random);
        compare(directive, value, value);
        if (testing::Test::HasFatalFailure()) return;
    }
}

// Some C libraries drop the zeros of %#g when rounding adds a digit, so what it must be is composed
// as its definition says: by %e or %f, whichever the exponent of %e asks for.
TEST(FormatModel, AlternateGeneralKeepsTheZeros) {
    EXPECT_EQ(text("%#g|%#g|%#.1g|%#.0g", 999999.5, 1e5, 1.0, 9.9),
              "1.00000e+06|100000.|1.|1.e+01");
    SeededRandom random(20000);
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        const double value = random_double(random);
        const auto digits = static_cast<int>(random.below(30));
        const int significant = std::max(digits, 1);
        const std::string scientific = expected("%.*e", significant - 1, value);
        const std::size_t mark = scientific.find('e');
        const int exponent = mark == scientific.npos ? 0 : std::atoi(scientific.c_str() + mark + 1);
        const bool is_fixed = exponent >= -4 && exponent < significant;
        const int precision = is_fixed ? significant - 1 - exponent : significant - 1;
        std::string start = "%#";
        for (uint64_t i = random.below(4); i != 0; --i) start += random.pick("-+ 0"sv);
        start += std::to_string(1 + random.below(40)) + ".";
        const std::string ours = start + std::to_string(digits) + "g";
        const std::string theirs = start + std::to_string(precision) + (is_fixed ? "f" : "e");
        ASSERT_EQ(text(ours.c_str(), value), expected(theirs.c_str(), value)) << ours;
    }
}

TEST(FormatModel, TextCharactersAndPointersAgreeWithTheCLibrary) {
    SeededRandom random(20000);
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        Directive directive = random_directive(random, "-", true);
        directive.text += 's';
        const std::string value(random.below(40), static_cast<char>('a' + random.below(26)));
        compare(directive, value.c_str(), value.c_str());
        directive = random_directive(random, "-", false);
        directive.text += 'c';
        const auto character = static_cast<int>('!' + random.below(90));
        compare(directive, wide(character), character);
        directive = random_directive(random, "-", false);
        directive.text += 'p';
        void* const pointer = reinterpret_cast<void*>(random_integer(random));
        compare(directive, pointer, pointer);
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(FormatModel, RandomFormatsNeverLeaveTheBuffer) {
    SeededRandom random(100000);
    constexpr std::u32string_view kUnits = U"%%%%%d0123*.-+ #lhjztLcfgexap\u20ac";
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        std::u32string format;
        for (uint64_t i = random.below(12); i != 0; --i) format += random.pick(kUnits);
        const uint64_t capacity = random.below(40);
        const Result result =
            units(format.c_str(), capacity, wide(1), wide(2), wide(3), wide(4), wide(5), wide(6),
                  wide(7), wide(8), wide(9), wide(10), 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0);
        ASSERT_TRUE(result.status == NQ_STATUS_OK || result.status == NQ_STATUS_INVALID_ARGUMENT ||
                    result.status == NQ_STATUS_BUFFER_TOO_SMALL);
        ASSERT_LE(result.text.size(), capacity);
    }
}

}  // namespace
}  // namespace nq
