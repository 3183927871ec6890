// The case mappings behind a host whose answers the test writes.
#include "nqinstance/text/case_mapping.h"
#include "nqinstance/host/status.h"
#include "tests/support/bytes.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/guard_pages.hpp"
#include "tests/text/case_support.hpp"

namespace nq::test {
namespace {

using namespace std::string_literals;

constexpr NQStatus kOk = 0;
constexpr NQStatus kTooSmall = NQ_STATUS_BUFFER_TOO_SMALL;
constexpr NQStatus kNoLocale = NQ_STATUS_NO_LOCALE;

struct Written {
    NQStatus status;
    std::string bytes;  // as far as the target was changed
    std::uint64_t written;
    bool operator==(const Written&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Written& written) {
    return out << std::hex << "status " << written.status << " bytes "
               << testing::PrintToString(written.bytes) << " counted " << std::dec
               << written.written;
}

class CaseMappingBody : public CaseBody {
  protected:
    void SetUp() override {
        CaseBody::SetUp();
        unicode.upper = {{0xE9, 0xC9},    {0x101, 0x100},  {0x17F, 'S'},
                         {0x131, 'I'},    {0x1F600, 0x80}, {0x250, 0x2C6F},
                         {0x23F, 0x2C7E}, {0x2C6F, 0x250}, {0x20AC, 0x10400}};
        unicode.lower = {{0xC9, 0xE9},    {0x100, 0x101},  {0x212A, 'k'},     {0x130, 'i'},
                         {0x23A, 0x2C65}, {0x2C65, 0x23A}, {0x20AC, 0x10428}, {0x1E9E, 0xDF}};
        locale.language = ScriptedUnicode::kLanguage;
    }

    using InPlace = decltype(&nqzsu8Upper);
    using Copy = decltype(&nqzsu8Upper2);

    // The text ends at a protected page.
    std::string in_place(InPlace map, std::string_view text) {
        const auto bytes = text_.last(text.size());
        std::ranges::copy(text, bytes.begin());
        map(bytes.data(), bytes.size());
        return {bytes.begin(), bytes.end()};
    }
    std::string upper(std::string_view text) { return in_place(NQ_UNDER_TEST(nqzsu8Upper), text); }
    std::string lower(std::string_view text) { return in_place(NQ_UNDER_TEST(nqzsu8Lower), text); }

    // Source and target end at protected pages.
    template <class Map>
    Written copy(Map map, std::string_view text, std::uint64_t capacity) {
        const auto source = text_.last(text.size());
        std::ranges::copy(text, source.begin());
        const auto target = target_.last(capacity);
        std::ranges::fill(target, std::uint8_t{0xA5});
        std::uint64_t written = 99;
        const NQStatus status =
            map(source.data(), source.size(), target.data(), capacity, &written);
        std::string bytes(target.begin(), target.end());
        return {status, bytes.substr(0, bytes.find_last_not_of('\xA5') + 1), written};
    }
    Written upper2(std::string_view text, std::uint64_t capacity) {
        return copy(NQ_UNDER_TEST(nqzsu8Upper2), text, capacity);
    }
    Written lower2(std::string_view text, std::uint64_t capacity) {
        return copy(NQ_UNDER_TEST(nqzsu8Lower2), text, capacity);
    }
    Written locale_upper(std::string_view text, std::uint64_t capacity) {
        return copy(
            [this](auto... arguments) {
                return NQ_UNDER_TEST(nqzsu8LocaleUpper)(&locale, arguments...);
            },
            text, capacity);
    }
    Written locale_lower(std::string_view text, std::uint64_t capacity) {
        return copy(
            [this](auto... arguments) {
                return NQ_UNDER_TEST(nqzsu8LocaleLower)(&locale, arguments...);
            },
            text, capacity);
    }
    std::uint64_t measured(Copy map, std::string_view text) {
        std::uint64_t needed = 99;
        EXPECT_EQ(map(bytes_of(text), text.size(), nullptr, 0, &needed), kOk);
        return needed;
    }

    Units up(Units units) { return mapped(NQ_UNDER_TEST(nqzstup), units); }
    Units low(Units units) { return mapped(NQ_UNDER_TEST(nqzstlo), units); }
    Units min(Units units) { return mapped(NQ_UNDER_TEST(nqzstmin), units); }
    Units max(Units units) { return mapped(NQ_UNDER_TEST(nqzstmax), units); }
    template <class Map>
    static Units mapped(Map map, Units& units) {
        map(units.data(), static_cast<std::int64_t>(units.size()));
        return units;
    }

    void without_service() { kernel.unicode = nullptr; }

    NQLocale locale{};

  private:
    GuardPages text_{1 << 12};
    GuardPages target_{1 << 12};
};

// --- Units ---------------------------------------------------------------------------------------

TEST_P(CaseMappingBody, UnitsBelow80AreMappedByTablesAndOthersByTheHost) {
    unicode.upper['a'] = 'x';
    unicode.lower['A'] = 'x';
    unicode.upper[0x7F] = 'x';
    unicode.upper[0x80] = 'y';
    EXPECT_EQ(up({'a', 0x7F, 0x80, 0xE9, 'Z', 0x10428}),
              (Units{'A', 0x7F, 'y', 0xC9, 'Z', 0x10428}));
    EXPECT_EQ(unicode.asked_simply, (std::vector<NQChar>{0x80, 0xE9, 0x10428}));
    EXPECT_EQ(low({'A', 0xC9, 'z', 0x110000, 0xFFFFFFFF}),
              (Units{'a', 0xE9, 'z', 0x110000, 0xFFFFFFFF}));
}

TEST_P(CaseMappingBody, HostMayMapUnitsToAnything) {
    unicode.upper[0xE9] = 0xFFFFFFFF;
    unicode.upper[0xFFFFFFFF] = 0;
    EXPECT_EQ(up({0xE9, 0xFFFFFFFF, 0xE9}), (Units{0xFFFFFFFF, 0, 0xFFFFFFFF}));
}

TEST_P(CaseMappingBody, UnitsWithoutServiceAreMappedByTables) {
    without_service();
    EXPECT_EQ(low({0x41, 0x181, 0x10400}), (Units{0x61, 0x253, 0x10400}));
    EXPECT_EQ(up({0x17F, 0x61, 0xFF, 0x10428}), (Units{0x53, 0x41, 0x178, 0x10428}));
    set_kernel(nullptr);
    EXPECT_EQ(low({0x41, 0x181, 0x10400}), (Units{0x61, 0x253, 0x10400}));
}

TEST_P(CaseMappingBody, WideTablesDoNotAskTheHost) {
    EXPECT_EQ(min({0x131, 0x17F, 0xE9, 0xFF41, 0xDF, 0x10428, 'a'}),
              (Units{0x49, 0x53, 0xC9, 0xFF21, 0xDF, 0x10428, 'A'}));
    EXPECT_EQ(max({0x131, 0x17F, 0xC9, 0x391, 'K', 's', 'I', 'A', 0x10400}),
              (Units{0x131, 0x17F, 0xE9, 0x3B1, 0x212A, 0x17F, 0x131, 'a', 0x10400}));
    EXPECT_TRUE(unicode.asked_simply.empty());
}

TEST_P(CaseMappingBody, CountsOf0OrLessChangeNothing) {
    for (const std::int64_t count : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
        NQChar unit = 'a';
        NQ_UNDER_TEST(nqzstup)(&unit, count);
        NQ_UNDER_TEST(nqzstmin)(&unit, count);
        EXPECT_EQ(unit, NQChar{'a'});
        unit = 'A';
        NQ_UNDER_TEST(nqzstlo)(&unit, count);
        NQ_UNDER_TEST(nqzstmax)(&unit, count);
        EXPECT_EQ(unit, NQChar{'A'});
        NQ_UNDER_TEST(nqzstup)(nullptr, count);
        NQ_UNDER_TEST(nqzstmin)(nullptr, count);
    }
}

TEST_P(CaseMappingBody, UnitsAtEachPlaceOfEachCount) {
    const GuardPages pages(4096);
    for (std::size_t count = 0; count <= 70; ++count) {
        for (std::size_t at = 0; at <= count; ++at) {
            const auto bytes = pages.last(4 * count);
            auto* units = reinterpret_cast<NQChar*>(bytes.data());
            for (std::size_t i = 0; i < count; ++i) units[i] = '@' + static_cast<NQChar>(i % 60);
            if (at < count) units[at] = 0xC9;
            NQ_UNDER_TEST(nqzstlo)(units, static_cast<std::int64_t>(count));
            for (std::size_t i = 0; i < count; ++i) {
                const auto was = '@' + static_cast<NQChar>(i % 60);
                const NQChar expected = i == at ? 0xE9 : was >= 'A' && was <= 'Z' ? was + 32 : was;
                ASSERT_EQ(units[i], expected) << count << ' ' << at << ' ' << i;
            }
        }
    }
}

// --- UTF-8 in place ------------------------------------------------------------------------------

TEST_P(CaseMappingBody, InPlaceKeepsTheLength) {
    EXPECT_EQ(upper("a\u00E9z"), "A\u00C9Z");
    EXPECT_EQ(lower("A\u00C9Z\u0100\u20ACx"), "a\u00E9z\u0101\U00010428");
    EXPECT_EQ(upper(""), "");
    NQ_UNDER_TEST(nqzsu8Upper)(nullptr, 0);
    NQ_UNDER_TEST(nqzsu8Lower)(nullptr, 0);
}

TEST_P(CaseMappingBody, InPlaceAsciiNeverAsksTheHost) {
    EXPECT_EQ(lower("ABC[\x7F\x80\xBF"s), "abc[\x7F\x80\xBF"s);
    EXPECT_EQ(upper("abc{\0z\x80"s), "ABC{\0Z\x80"s);
    EXPECT_TRUE(unicode.asked_simply.empty());
}

TEST_P(CaseMappingBody, LowerMovesUpAfterShrinking) {
    // U+212A takes 3 bytes, its mapping 1.
    EXPECT_EQ(lower("\u212AABC"), "kabc  ");
    EXPECT_EQ(lower("x\u212A\u00C9\u0100Z"), "xk\u00E9\u0101z  ");
}

TEST_P(CaseMappingBody, UpperLeavesSingleBytesWhereTheyWereAfterShrinking) {
    // U+017F takes 2 bytes, its mapping 1: "a" is mapped where it stands, and the blank at the end
    // takes the place of the last byte.
    EXPECT_EQ(upper("\u017Fab"),
              "S\xBF"
              "A ");
    EXPECT_EQ(upper("\u017Fa"), "S\xBF ");
    // A character of more bytes goes behind what counts as written.
    EXPECT_EQ(upper("\u017Fa\u00E9"), "S\xBF\u00C9 ");
    EXPECT_EQ(upper("\u017F\u00E9"), "S\u00C9 ");
}

TEST_P(CaseMappingBody, GrowthRunsOverBytesNotYetRead) {
    // U+023A (C8 BA) becomes U+2C65 (E2 B1 A5): A5 takes the place of "A", is read as a single
    // byte and put one further on.
    EXPECT_EQ(lower("\u023A"
                    "ABC"),
              "\u2C65\xA5\xA5"s);
    EXPECT_EQ(lower("\u023A"
                    "AB"),
              "\u2C65\xA5"s);
    // Upper puts single bytes back where they were read.
    EXPECT_EQ(upper("\u0250"
                    "abc"),
              "\u2C6F"
              "BC"s);
}

TEST_P(CaseMappingBody, GrowthPastTheEndIsDropped) {
    EXPECT_EQ(lower("A\u023A"), "a\xE2\xB1");
    EXPECT_EQ(lower("\u20AC\u20AC\u20AC").size(), 9u);
    EXPECT_EQ(lower("ABCD\u023A"), "abcd\xE2\xB1");
}

TEST_P(CaseMappingBody, MappingLongerThanTheWholeTextIsDroppedWhole) {
    EXPECT_EQ(lower("\u023A"), "  ");
    EXPECT_EQ(lower("\u20AC"), "   ");
    EXPECT_EQ(upper("\u20AC"), "   ");
}

TEST_P(CaseMappingBody, CharacterCutOffByTheEndStays) {
    EXPECT_EQ(lower("A\xC3"), "a\xC3");
    EXPECT_EQ(lower("\xC3"), "\xC3");
    EXPECT_EQ(upper("a\xE2\x84"), "A\xE2\x84");
    EXPECT_EQ(upper("\xF0\x9F\x98"), "\xF0\x9F\x98");
    EXPECT_EQ(lower("\xFF\x80\x80"), "\xFF\x80\x80");
    EXPECT_TRUE(unicode.asked_simply.empty());
    // Behind a character that shrank it moves up as any other does.
    EXPECT_EQ(lower("\u212A\xC3"), "k\xC3  ");
    EXPECT_EQ(upper("\u017F\xE2\x84"), "S\xE2\x84 ");
}

TEST_P(CaseMappingBody, MalformedTextInPlaceStays) {
    // As many bytes as the lead announces are passed over, letters too.
    EXPECT_EQ(lower("\xC0"
                    "ABC"),
              "\xC0"
              "Abc");
    EXPECT_EQ(lower("\xF5"
                    "ABCD"),
              "\xF5"
              "ABCd");
    EXPECT_EQ(upper("\xFC"
                    "abcdef"),
              "\xFC"
              "abcdeF");
    EXPECT_EQ(upper("\xFB"
                    "abcdef"),
              "\xFB"
              "abcdEF");
    // The bytes behind a valid lead are not judged: C3 29 is U+00E9 as well.
    EXPECT_EQ(upper("\xC3\x29"), "\u00C9");
    EXPECT_EQ(upper("\xC3\x28"), "\xC3\x28");
    // U+FFFD is what the host is asked for.
    unicode.asked_simply.clear();
    upper("\xC1\x80");
    EXPECT_EQ(unicode.asked_simply, std::vector<NQChar>{0xFFFD});
}

TEST_P(CaseMappingBody, InPlaceWithoutServiceUsesTheTables) {
    without_service();
    EXPECT_EQ(upper("a\u00E9\u0253z\U00010428\u017F"), "A\u00C9\u0181Z\U00010428S ");
    EXPECT_EQ(lower("\u00C9\u0391\u0130"), "\u00E9\u03B1\u0130");
    set_kernel(nullptr);
    EXPECT_EQ(upper("a\u00E9"), "A\u00C9");
}

// --- UTF-8 to another place ----------------------------------------------------------------------

TEST_P(CaseMappingBody, MeasuringWithoutACountDoesNotReadTheText) {
    const auto* nowhere = reinterpret_cast<const std::uint8_t*>(std::uintptr_t{1});
    std::uint8_t target = 7;
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8Upper2)(nowhere, 100, nullptr, 0, nullptr), kOk);
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8Lower2)(nowhere, 100, nullptr, 50, nullptr), kOk);
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8Lower2)(nowhere, 100, &target, 0, nullptr), kOk);
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8LocaleLower)(&locale, nowhere, 100, nullptr, 0, nullptr), kOk);
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8LocaleUpper)(nullptr, nowhere, 100, nullptr, 0, nullptr),
              kNoLocale);
    EXPECT_EQ(target, 7);
}

TEST_P(CaseMappingBody, MeasuredSizeFitsExactly) {
    const std::string text = "Stra\u00DFe \u00E9\u017F\u0131\u0250\u2C6F\u20AC";
    const std::string mapped = "STRA\u00DFE \u00C9SI\u2C6F\u0250\U00010400";
    EXPECT_EQ(measured(NQ_UNDER_TEST(nqzsu8Upper2), text), mapped.size());
    EXPECT_EQ(upper2(text, mapped.size()), (Written{kOk, mapped, mapped.size()}));
    EXPECT_EQ(upper2(text, mapped.size() + 9), (Written{kOk, mapped, mapped.size()}));
}

TEST_P(CaseMappingBody, CapacityOf0MeasuresWithATarget) {
    std::uint8_t target = 7;
    std::uint64_t needed = 99;
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8Lower2)(bytes_of("\u212A\u20ACA"), 7, &target, 0, &needed), kOk);
    EXPECT_EQ(needed, 6u);
    EXPECT_EQ(target, 7);
}

TEST_P(CaseMappingBody, NullTargetMeasuresWhateverTheCapacity) {
    std::uint64_t needed = 99;
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8Lower2)(bytes_of("AB"), 2, nullptr, 1, &needed), kOk);
    EXPECT_EQ(needed, 2u);
}

TEST_P(CaseMappingBody, OneByteTooSmallReportsWhatWasWritten) {
    EXPECT_EQ(upper2("ab", 1), (Written{kTooSmall, "A", 1}));
    EXPECT_EQ(upper2("a\u00E9", 2), (Written{kTooSmall, "A", 1}));
    EXPECT_EQ(lower2("x\u20AC", 4), (Written{kTooSmall, "x", 1}));
    EXPECT_EQ(lower2("x\u023Ax", 3), (Written{kTooSmall, "x", 1}));
    EXPECT_EQ(upper2("\u4E00\u4E00", 5), (Written{kTooSmall, "\u4E00", 3}));
    std::uint8_t target[1];
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8Upper2)(bytes_of("ab"), 2, target, 1, nullptr), kTooSmall);
    EXPECT_EQ(target[0], 'A');
}

TEST_P(CaseMappingBody, EmptyTextIsMappedToNothing) {
    EXPECT_EQ(upper2("", 5), (Written{kOk, "", 0}));
    EXPECT_EQ(measured(NQ_UNDER_TEST(nqzsu8Lower2), ""), 0u);
    EXPECT_EQ(locale_upper("", 5), (Written{kOk, "", 0}));
    EXPECT_EQ(locale_lower("", 0), (Written{kOk, "", 0}));
}

TEST_P(CaseMappingBody, MalformedTextIsCopiedAsFarAsItCounts) {
    // Passed over by what the lead announces, copied as many bytes as decoding takes.
    EXPECT_EQ(lower2("\xC0"
                     "AB",
                     9),
              (Written{kOk,
                       "\xC0"
                       "b",
                       2}));
    EXPECT_EQ(lower2("\xC0\x80"
                     "AB",
                     9),
              (Written{kOk,
                       "\xC0\x80"
                       "ab",
                       4}));
    EXPECT_EQ(lower2("\xF5\x80"
                     "ABC",
                     9),
              (Written{kOk,
                       "\xF5\x80"
                       "c",
                       3}));
    EXPECT_EQ(upper2("\xFF\x80\x80\x80\x80\x80"
                     "a",
                     9),
              (Written{kOk,
                       "\xFF\x80\x80\x80\x80\x80"
                       "A",
                       7}));
    EXPECT_EQ(upper2("\xFF\x80\x80\x80\x80\x80"
                     "a",
                     5),
              (Written{kTooSmall, "", 0}));
    EXPECT_EQ(upper2("\x80"
                     "a",
                     9),
              (Written{kOk,
                       "\x80"
                       "A",
                       2}));
    EXPECT_EQ(upper2("a\xE2\x84", 9), (Written{kOk, "A\xE2\x84", 3}));
    EXPECT_EQ(upper2("\xC3\x28", 9), (Written{kOk, "\xC3\x28", 2}));
    EXPECT_EQ(upper2("\xC3\x29", 9), (Written{kOk, "\u00C9", 2}));
    // An overlong form that is unchanged keeps its bytes.
    EXPECT_EQ(upper2("\xE0\x80\x80", 9), (Written{kOk, "\xE0\x80\x80", 3}));
    for (const char* text : {"\xC0"
                             "AB",
                             "\xF5\x80"
                             "ABC",
                             "a\xE2\x84", "\xFF\x80"}) {
        EXPECT_EQ(measured(NQ_UNDER_TEST(nqzsu8Lower2), text), lower2(text, 9).written);
    }
}

TEST_P(CaseMappingBody, HostMayMapToAnyValue) {
    unicode.upper = {{0xE9, 0x200041}, {0xEA, 0}, {0xFFFD, 'x'}};
    EXPECT_EQ(upper2("\u00E9\u00EA\xC0\x80", 9), (Written{kOk, "\xF8\x80\x81\x81\0x"s, 6}));
}

TEST_P(CaseMappingBody, CopyWithoutServiceUsesTheTables) {
    without_service();
    EXPECT_EQ(upper2("a\u00E9\u0253\u017Fz\U00010428", 20).bytes, "A\u00C9\u0181SZ\U00010428");
    EXPECT_EQ(locale_lower("A\u00C9", 9), (Written{kOk, "a\u00E9", 3}));
    set_kernel(nullptr);
    EXPECT_EQ(locale_lower("A\u00C9", 9), (Written{kOk, "a\u00E9", 3}));
}

// --- By language ---------------------------------------------------------------------------------

TEST_P(CaseMappingBody, NullLocaleMapsPlainlyAndSaysSo) {
    unicode.by_language[{2, 'a'}] = {'x'};
    const auto map = [](auto... arguments) {
        return NQ_UNDER_TEST(nqzsu8LocaleUpper)(nullptr, arguments...);
    };
    EXPECT_EQ(copy(map, "a\u00E9", 9), (Written{kNoLocale, "A\u00C9", 3}));
    EXPECT_EQ(copy(map, "a\u00E9", 2), (Written{kTooSmall, "A", 1}));
    std::uint64_t needed = 99;
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8LocaleLower)(nullptr, bytes_of("\u212A"), 3, nullptr, 0, &needed),
              kNoLocale);
    EXPECT_EQ(needed, 1u);
    EXPECT_TRUE(unicode.languages.empty());
}

TEST_P(CaseMappingBody, LanguageWithoutRulesMapsPlainly) {
    unicode.has_rules = false;
    unicode.by_language[{2, 'a'}] = {'x'};
    EXPECT_EQ(locale_upper("a\u00E9", 9), (Written{kOk, "A\u00C9", 3}));
    EXPECT_EQ(unicode.languages, std::vector<std::uint32_t>{ScriptedUnicode::kLanguage});
    EXPECT_TRUE(unicode.contexts.empty());
}

TEST_P(CaseMappingBody, LanguageMapsAsciiToo) {
    unicode.by_language[{1, 'I'}] = {0x131};
    unicode.by_language[{2, 'i'}] = {0x130};
    EXPECT_EQ(locale_lower("HI", 9), (Written{kOk, "h\u0131", 3}));
    EXPECT_EQ(locale_upper("hi", 9), (Written{kOk, "H\u0130", 3}));
    for (const std::uint32_t language : unicode.languages) {
        EXPECT_EQ(language, ScriptedUnicode::kLanguage);
    }
}

TEST_P(CaseMappingBody, ContextIsEachCharacterWithTheNext) {
    locale_lower("A\u00C9\xC0", 9);
    EXPECT_EQ(unicode.contexts, (std::vector<ScriptedUnicode::Context>{
                                    {{'A', 0xC9}, 0}, {{0xC9, 0xFFFD}, 0}, {{0xFFFD}, 0}}));
}

TEST_P(CaseMappingBody, StateLivesForTheWholeCall) {
    unicode.in_context = [](const auto&, Units&, std::uint64_t& state) {
        state = state * 10 + 7;
        return NQStatus{NQ_STATUS_UNSUPPORTED};
    };
    EXPECT_EQ(locale_lower("ABC", 9).bytes, "abc");
    locale_lower("D", 9);
    EXPECT_EQ(unicode.contexts, (std::vector<ScriptedUnicode::Context>{
                                    {{'A', 'B'}, 0}, {{'B', 'C'}, 7}, {{'C'}, 77}, {{'D'}, 0}}));
}

TEST_P(CaseMappingBody, ContextGoesBeforeLanguageAndThatBeforeTheSimpleMapping) {
    unicode.in_context = [](const auto& context, Units& out, std::uint64_t&) -> NQStatus {
        if (context.code_points[0] == 'a') out = {'1', 0xE9, 0x20AC};
        if (context.code_points[0] == 'b') {
            out = {'9'};
            return NQ_STATUS_UNSUPPORTED;
        }
        return NQ_STATUS_OK;
    };
    unicode.by_language[{2, 'a'}] = {'x'};
    unicode.by_language[{2, 'b'}] = {'2', '3'};
    unicode.by_language[{2, 'c'}] = {'4'};
    const std::string expected =
        "1\u00E9\u20AC"
        "234DX\u00C9";
    EXPECT_EQ(locale_upper("abcdx\u00E9", 30), (Written{kOk, expected, expected.size()}));
}

TEST_P(CaseMappingBody, NoCodePointsAreNoMapping) {
    unicode.in_context = [](const auto&, Units&, std::uint64_t&) { return NQStatus{NQ_STATUS_OK}; };
    unicode.by_language[{2, 'a'}] = {};
    EXPECT_EQ(locale_upper("ab", 30), (Written{kOk, "AB", 2}));
}

TEST_P(CaseMappingBody, MappingsOf16CodePointsAreWrittenWhole) {
    unicode.by_language[{2, 'a'}] = Units(16, 0x20AC);
    std::string expected;
    for (int i = 0; i < 16; ++i) expected += "\u20AC";
    EXPECT_EQ(locale_upper("a", 48), (Written{kOk, expected, 48}));
    // A host that announces more than there is room for is not believed.
    unicode.by_language[{2, 'a'}] = Units(500, 0x20AC);
    EXPECT_EQ(locale_upper("a", 90), (Written{kOk, expected, 48}));
    unicode.in_context = [](const auto&, Units& out, std::uint64_t&) {
        out = Units(17, 0x20AC);
        return NQStatus{NQ_STATUS_OK};
    };
    EXPECT_EQ(locale_upper("a", 90), (Written{kOk, expected, 48}));
}

TEST_P(CaseMappingBody, LanguageMappingThatDoesNotFitIsCutBetweenCodePoints) {
    unicode.by_language[{2, 'a'}] = {'1', 0xE9, 0x20AC};
    std::uint64_t needed = 99;
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8LocaleUpper)(&locale, bytes_of("ba"), 2, nullptr, 0, &needed),
              kOk);
    EXPECT_EQ(needed, 7u);
    EXPECT_EQ(locale_upper("ba", 7), (Written{kOk, "B1\u00E9\u20AC", 7}));
    EXPECT_EQ(locale_upper("ba", 6), (Written{kTooSmall, "B1\u00E9", 4}));
    EXPECT_EQ(locale_upper("ba", 3), (Written{kTooSmall, "B1", 2}));
    EXPECT_EQ(locale_upper("ba", 1), (Written{kTooSmall, "B", 1}));
}

TEST_P(CaseMappingBody, LanguageIsAskedForMalformedTextAsU_FFFD) {
    unicode.by_language[{1, 0xFFFD}] = {'?'};
    EXPECT_EQ(locale_lower("\x80"
                           "A\xC0\x80"
                           "B",
                           9),
              (Written{kOk, "?a?b", 4}));
}

NQ_FOR_EACH_BODY(CaseMappingBody);

// --- ASCII of each length around another letter --------------------------------------------------

const DemandedChecks kDemanded{
    "nqzsu8Upper",       "nqzsu8Lower",       "nqzsu8Upper2", "nqzsu8Lower2",
    "nqzsu8LocaleUpper", "nqzsu8LocaleLower", "nqzstup",      "nqzstlo"};

// The runs of ASCII, which have the bodies, at each length and start, against a loop.
class CaseEdgeBody : public CaseMappingBody {
  protected:
    static constexpr std::size_t kMargin = 64;  // bytes around a range that are watched

    static std::vector<std::size_t> lengths() {
        std::vector<std::size_t> all;
        for (std::size_t length = 0; length <= 300; ++length) all.push_back(length);
        for (const std::size_t near : {511u, 1023u, 4095u, 65535u}) {
            for (std::size_t length = near - 1; length <= near + 1; ++length) all.push_back(length);
        }
        return all;
    }
    // Each of a short text; `length` itself stands for none.
    static std::vector<std::size_t> places(std::size_t length, std::size_t all_up_to) {
        std::vector<std::size_t> all{length};
        if (length <= all_up_to) {
            for (std::size_t i = 0; i < length; ++i) all.push_back(i);
        } else {
            for (const std::size_t i : {std::size_t{0}, std::size_t{17}, std::size_t{48},
                                        length / 2, length - 33, length - 1}) {
                all.push_back(i);
            }
        }
        return all;
    }

    template <class Element>
    static Element mapped_ascii(bool is_upper, Element element) {
        const Element first = is_upper ? 'a' : 'A';
        return element >= first && element < first + 26 ? element ^ 0x20 : element;
    }

    // Calls check(start) for a range that starts at every offset of a 64-byte line, the first of
    // them flush after a protected page, then for one that is flush before one.
    template <class Check>
    static void at_each_place(const GuardPages& pages, std::size_t bytes, std::size_t step,
                              Check check) {
        for (std::size_t offset = 0; offset < 64; offset += step) {
            check(pages.all().data() + offset);
        }
        check(pages.last(bytes).data());
    }

    // The range with what is watched on both sides of it, as far as there are pages.
    static std::span<std::uint8_t> around(const GuardPages& pages, std::uint8_t* start,
                                          std::size_t bytes) {
        const auto all = pages.all();
        const auto before = std::min(static_cast<std::size_t>(start - all.data()), kMargin);
        const auto from = static_cast<std::size_t>(start - all.data()) - before;
        return all.subspan(from, std::min(before + bytes + kMargin, all.size() - from));
    }

    // Letters and their neighbours, and at `place` a letter of two bytes, if it is whole.
    static std::string text_of(std::size_t length, std::size_t place, const char* letter) {
        std::string text(length, 0);
        for (std::size_t i = 0; i < length; ++i) text[i] = "aZ@[`{mA\x7Fz"[(i + place) % 10];
        if (place + 1 < length) text.replace(place, 2, letter);
        return text;
    }
    static std::string expected_of(bool is_upper, std::string text, std::size_t place,
                                   const char* letter) {
        for (char& byte : text)
            byte = static_cast<char>(mapped_ascii(is_upper, static_cast<std::uint8_t>(byte)));
        if (place + 1 < text.size()) text.replace(place, 2, letter);
        return text;
    }

    // `map` changes a text from `source` to one at `target`, which may be the same.
    template <class Map>
    void check_bytes(const Checks& checks, bool is_upper, bool is_in_place, Map map) {
        const char* const letter = is_upper ? "\u00E9" : "\u00C9";
        const char* const other = is_upper ? "\u00C9" : "\u00E9";
        std::size_t round = 0;
        std::vector<std::uint8_t> expected;
        for (const std::size_t length : lengths()) {
            for (const std::size_t place : places(length, 120)) {
                const std::string text = text_of(length, place, letter);
                const std::string mapped = expected_of(is_upper, text, place, other);
                at_each_place(pages_, length, 1, [&](std::uint8_t* start) {
                    const auto window = around(pages_, start, length);
                    // Letters and what continues a character, neither of them to be touched.
                    const std::uint8_t outside = ++round % 2 ? (is_upper ? 'q' : 'Q') : 0xA9;
                    std::ranges::fill(window, outside);
                    expected.assign(window.begin(), window.end());
                    std::ranges::copy(mapped, expected.begin() + (start - window.data()));
                    std::uint8_t* source = start;
                    if (!is_in_place) {
                        source = round % 4 ? source_.all().data() + round % 64
                                           : source_.last(length).data();
                    }
                    std::ranges::copy(text, source);
                    map(source, start, length);
                    ASSERT_TRUE(checks.counted(std::ranges::equal(window, expected)))
                        << length << ' ' << place << ' ' << (start - pages_.all().data());
                });
                unicode.asked_simply.clear();
                if (HasFatalFailure()) return;
            }
        }
    }
    void check_in_place(const char* routine, bool is_upper, InPlace map) {
        check_bytes(
            checks_of(routine), is_upper, true,
            [map](std::uint8_t*, std::uint8_t* text, std::size_t length) { map(text, length); });
    }
    template <class Map>
    void check_copy(const char* routine, bool is_upper, Map map) {
        check_bytes(checks_of(routine), is_upper, false,
                    [map](std::uint8_t* source, std::uint8_t* target, std::size_t length) {
                        std::uint64_t written = 99;
                        ASSERT_EQ(map(source, length, target, length, &written), kOk);
                        ASSERT_EQ(written, length);
                    });
    }
    void check_units(const char* routine, bool is_upper, decltype(&nqzstup) map) {
        const Checks checks = checks_of(routine);
        const NQChar letter = is_upper ? 0xE9 : 0xC9;
        const NQChar other = letter ^ 0x20;
        std::vector<std::uint8_t> expected;
        for (const std::size_t count : lengths()) {
            const std::size_t bytes = count * sizeof(NQChar);
            for (const std::size_t place : places(count, 250)) {
                Units units(count);
                for (std::size_t i = 0; i < count; ++i)
                    units[i] = '@' + static_cast<NQChar>((i + place) % 62);
                Units mapped = units;
                for (NQChar& unit : mapped) unit = mapped_ascii(is_upper, unit);
                if (place < count) units[place] = letter, mapped[place] = other;
                at_each_place(pages_, bytes, sizeof(NQChar), [&](std::uint8_t* start) {
                    const auto window = around(pages_, start, bytes);
                    std::ranges::fill(window, std::uint8_t{0});
                    for (std::size_t i = 0; i < window.size(); i += 4) {
                        window[i] = is_upper ? 'q' : 'Q';
                    }
                    expected.assign(window.begin(), window.end());
                    if (bytes > 0) {
                        std::memcpy(expected.data() + (start - window.data()), mapped.data(),
                                    bytes);
                        std::memcpy(start, units.data(), bytes);
                    }
                    map(reinterpret_cast<NQChar*>(start), static_cast<std::int64_t>(count));
                    ASSERT_TRUE(checks.counted(std::ranges::equal(window, expected)))
                        << count << ' ' << place << ' ' << (start - pages_.all().data());
                });
                unicode.asked_simply.clear();
                if (HasFatalFailure()) return;
            }
        }
    }

    GuardPages pages_{(1 << 18) + 4096};
    GuardPages source_{(1 << 16) + 4096};
};

TEST_P(CaseEdgeBody, InPlace) {
    check_in_place("nqzsu8Upper", true, NQ_UNDER_TEST(nqzsu8Upper));
    check_in_place("nqzsu8Lower", false, NQ_UNDER_TEST(nqzsu8Lower));
}

TEST_P(CaseEdgeBody, Copies) {
    check_copy("nqzsu8Upper2", true, NQ_UNDER_TEST(nqzsu8Upper2));
    check_copy("nqzsu8Lower2", false, NQ_UNDER_TEST(nqzsu8Lower2));
}

// Without rules of the language, as the mapping by its rules has no run of ASCII.
TEST_P(CaseEdgeBody, CopiesForALocale) {
    unicode.has_rules = false;
    const auto with_locale = [this](auto map) {
        return [map, this](auto... arguments) {
            unicode.languages.clear();
            return map(&locale, arguments...);
        };
    };
    check_copy("nqzsu8LocaleUpper", true, with_locale(NQ_UNDER_TEST(nqzsu8LocaleUpper)));
    check_copy("nqzsu8LocaleLower", false, with_locale(NQ_UNDER_TEST(nqzsu8LocaleLower)));
}

TEST_P(CaseEdgeBody, UnitsInPlace) {
    check_units("nqzstup", true, NQ_UNDER_TEST(nqzstup));
    check_units("nqzstlo", false, NQ_UNDER_TEST(nqzstlo));
}

NQ_FOR_EACH_BODY(CaseEdgeBody);

}  // namespace
}  // namespace nq::test
