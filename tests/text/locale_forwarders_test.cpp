#include "nqinstance/text/locale_forwarders.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <string>
#include <vector>

#include "nqinstance/host/status.h"
#include "tests/support/library.hpp"

namespace nq::test {
namespace {

struct Forwarder {
    const char* name;
    std::size_t word;
};

constexpr Forwarder kForwarders[] = {
    {"nqzsu8ToDouble", 4},        {"nqzsu8DoubleFormat", 7},    {"nqzsu8IntfastFormat", 8},
    {"nqzsu8IntmaxFormat", 9},    {"nqzsu8UintfastFormat", 10}, {"nqzsu8UintmaxFormat", 11},
    {"nqzsu8ToIntfast", 12},      {"nqzsu8ToIntmax", 13},       {"nqzsu8ToUintfast", 14},
    {"nqzsu8ToUintmax", 15},      {"nqzsu8IntFormat", 16},      {"nqzsu8UIntFormat", 17},
    {"nqzsu8ToInt", 18},          {"nqzsu8ToUInt", 19},         {"nqzsu8LongFormat", 20},
    {"nqzsu8ULongFormat", 21},    {"nqzsu8ToLong", 22},         {"nqzsu8ToULong", 23},
    {"nqzsu8DatetimeFormat", 28}, {"nqzsu8DateFormat", 29},     {"nqzsu8TimeFormat", 30},
    {"nqzsu8ToDatetime", 31},     {"nqzsu8ToDate", 32},         {"nqzsu8ToTime", 33},
};
static_assert(std::size(kForwarders) == 24);

// A locale as a caller passes it: 34 words.
class LocaleForwarder : public testing::TestWithParam<Forwarder> {
  protected:
    template <class Function>
    void set(std::size_t word, Function* function) {
        words_[word] = reinterpret_cast<void*>(function);
    }
    // The forwarder under test as the type of the operation.
    template <class Function>
    Function* forwarder(Function*) {
        return reinterpret_cast<Function*>(library_symbol(GetParam().name));
    }
    NQLocale* locale() { return reinterpret_cast<NQLocale*>(words_); }

    void* words_[34] = {};
};

NQLocale* called_with = nullptr;

template <std::size_t kWord>
std::uint64_t answer_word(NQLocale* locale) {
    called_with = locale;
    return 0xABCDEF0100000000 + kWord;
}

template <std::size_t... kWords>
void set_answers(void** words, std::index_sequence<kWords...>) {
    ((words[kWords] = reinterpret_cast<void*>(&answer_word<kWords>)), ...);
}

TEST_P(LocaleForwarder, CallsItsWordAndReturnsAllOfTheResult) {
    set_answers(words_, std::make_index_sequence<34>());
    called_with = nullptr;
    EXPECT_EQ(forwarder(&answer_word<0>)(locale()), 0xABCDEF0100000000 + GetParam().word);
    EXPECT_EQ(called_with, locale());
}

using Integers = std::vector<std::uint64_t>;
Integers seen_integers;
std::vector<double> seen_doubles;

double take_all(NQLocale*, std::uint64_t a, double p, std::uint64_t b, double q, std::uint64_t c,
                double r, std::uint64_t d, double s, std::uint64_t e, double t, std::uint64_t f,
                double u, std::uint64_t g, double v, std::uint64_t h, double w, double x,
                std::int32_t last) {
    seen_integers = {a, b, c, d, e, f, g, h, static_cast<std::uint64_t>(std::int64_t{last})};
    seen_doubles = {p, q, r, s, t, u, v, w, x};
    return 6.25;
}

TEST_P(LocaleForwarder, RegistersAndStackArriveAsTheyAre) {
    set(GetParam().word, &take_all);
    EXPECT_EQ(forwarder(&take_all)(locale(), 11, 1.5, 12, 2.5, 13, 3.5, 14, 4.5, 15, 5.5, 16, 6.5,
                                   17, 7.5, 18, 8.5, 9.5, -1),
              6.25);
    EXPECT_EQ(seen_integers, (Integers{11, 12, 13, 14, 15, 16, 17, 18, UINT64_MAX}));
    EXPECT_EQ(seen_doubles, (std::vector<double>{1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5}));
}

// Pairs of an integer and a double, as many as `count` says.
NQStatus take_variable(NQLocale*, int count, ...) {
    seen_integers.clear();
    seen_doubles.clear();
    va_list arguments;
    va_start(arguments, count);
    for (int i = 0; i < count; ++i) {
        seen_integers.push_back(va_arg(arguments, std::uint64_t));
        seen_doubles.push_back(va_arg(arguments, double));
    }
    va_end(arguments);
    return NQ_STATUS_BUFFER_TOO_SMALL;
}

TEST_P(LocaleForwarder, VariableArgumentsPass) {
    set(GetParam().word, &take_variable);
    const auto forward = forwarder(&take_variable);
    EXPECT_EQ(forward(locale(), 0), NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_TRUE(seen_integers.empty());
    EXPECT_EQ(forward(locale(), 2, std::uint64_t{1}, 0.5, ~std::uint64_t{0}, 1.5),
              NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(seen_integers, (Integers{1, UINT64_MAX}));
    EXPECT_EQ(seen_doubles, (std::vector<double>{0.5, 1.5}));
    using U = std::uint64_t;
    EXPECT_EQ(forward(locale(), 10, U{1}, .1, U{2}, .2, U{3}, .3, U{4}, .4, U{5}, .5, U{6}, .6,
                      U{7}, .7, U{8}, .8, U{9}, .9, U{10}, 1.),
              NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(seen_integers, (Integers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(seen_doubles, (std::vector<double>{.1, .2, .3, .4, .5, .6, .7, .8, .9, 1.}));
}

const void* return_address = nullptr;

[[gnu::noinline]] void keep_return_address(NQLocale*) {
    return_address = __builtin_return_address(0);
}

// The operation returns to the caller itself, so nothing can be left on the stack.
TEST_P(LocaleForwarder, LeavesNoFrame) {
    set(GetParam().word, &keep_return_address);
    const auto forward = forwarder(&keep_return_address);
    const auto* code = reinterpret_cast<const std::uint8_t*>(library_symbol(GetParam().name));
    forward(locale());
    const auto* returned_to = static_cast<const std::uint8_t*>(return_address);
    EXPECT_TRUE(returned_to < code || returned_to >= code + 16);
}

INSTANTIATE_TEST_SUITE_P(All, LocaleForwarder, testing::ValuesIn(kForwarders),
                         [](const auto& forwarder) { return std::string(forwarder.param.name); });

// --- With the types of the header ----------------------------------------------------------------

NQStatus format_double(NQLocale*, double value, std::uint8_t* out, std::uint64_t capacity,
                       std::uint64_t* length) {
    *out = static_cast<std::uint8_t>('0' + static_cast<int>(value));
    *length = capacity;
    return NQ_STATUS_MALFORMED;
}

NQStatus parse_unsigned(NQLocale*, const std::uint8_t* text, std::uint64_t length,
                        std::uint32_t* out) {
    *out = static_cast<std::uint32_t>(text[0] * 1000 + length);
    return 0;
}

TEST(LocaleOperation, FormatsAndParses) {
    NQLocale locale{};
    locale.DoubleFormat = reinterpret_cast<NQLocaleOperation>(format_double);
    locale.ToUInt = reinterpret_cast<NQLocaleOperation>(parse_unsigned);
    std::uint8_t out = 0;
    std::uint64_t length = 0;
    EXPECT_EQ(NQ_LIBRARY(nqzsu8DoubleFormat)(&locale, 7.0, &out, 33, &length), NQ_STATUS_MALFORMED);
    EXPECT_EQ(out, '7');
    EXPECT_EQ(length, 33u);
    std::uint32_t value = 0;
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ToUInt)(&locale, &out, 5, &value), 0u);
    EXPECT_EQ(value, '7' * 1000u + 5);
}

}  // namespace
}  // namespace nq::test
