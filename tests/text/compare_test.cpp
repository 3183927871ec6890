#include "nqinstance/text/compare.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "tests/text/compare_fixture.hpp"

namespace nq::test {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST_P(CompareBody, ExactOrderIsThatOfUnsignedBytes) {
    EXPECT_EQ(compare("abc", "abc"), 0);
    EXPECT_EQ(compare("abc", "abd"), -1);
    EXPECT_EQ(compare("b", "abc"), 1);
    EXPECT_EQ(compare("\x7F", "\x80"), -1);
    EXPECT_EQ(compare("\xFF", "\x01"), 1);
    EXPECT_EQ(compare("a", "A"), 1);
    EXPECT_EQ(compare("a\0b"sv, "a\0c"sv), -1);
}

TEST_P(CompareBody, ExactOrderPutsTheShorterFirst) {
    EXPECT_EQ(compare("ab", "abc"), -1);
    EXPECT_EQ(compare("abc", "ab"), 1);
    EXPECT_EQ(compare("ab", "ab "), -1) << "blanks count";
    EXPECT_EQ(compare("", ""), 0);
    EXPECT_EQ(compare({}, {}), 0);
    EXPECT_EQ(compare({}, "a"), -1);
    EXPECT_EQ(compare("\0"sv, {}), 1);
}

TEST_P(CompareBody, CaseAloneGivesOne) {
    EXPECT_EQ(norm_compare("abc", "ABC"), 1);
    EXPECT_EQ(norm_compare("ABC", "abc"), -1);
    EXPECT_EQ(norm_compare("abc", "abc"), 0);
    EXPECT_EQ(norm_compare("\u00E9", "\u00C9"), 1);
    EXPECT_EQ(norm_compare("\u0416", "\u0436"), -1);
    EXPECT_EQ(norm_compare("\U00010428", "\U00010400"), 1);
}

TEST_P(CompareBody, OtherLettersGiveTwo) {
    EXPECT_EQ(norm_compare("abc", "abd"), -2);
    EXPECT_EQ(norm_compare("abd", "abc"), 2);
    EXPECT_EQ(norm_compare("ABD", "abc"), 2);
    EXPECT_EQ(norm_compare("Z", "a"), 2) << "in lower case";
    EXPECT_EQ(norm_compare("_", "A"), -2) << "between the two cases";
    EXPECT_EQ(norm_compare("@", "`"), -2) << "32 apart, no letters";
    EXPECT_EQ(norm_compare("[", "{"), -2);
    EXPECT_EQ(norm_compare("a", "\u00E9"), -2);
    EXPECT_EQ(norm_compare("\uFFFF", "\U00010000"), -2);
    EXPECT_EQ(norm_compare("\u00E9", "\u00CA"), -2);
}

TEST_P(CompareBody, TheFirstDifferenceOfCaseIsRemembered) {
    EXPECT_EQ(norm_compare("xAby", "xaBy"), -1);
    EXPECT_EQ(norm_compare("xaBy", "xAby"), 1);
    EXPECT_EQ(norm_compare("\u00E9A", "\u00C9a"), 1);
    EXPECT_EQ(norm_compare("A\u00E9", "a\u00C9"), -1);
    EXPECT_EQ(norm_compare("abC1", "aBc2"), -2) << "a difference is more than one of case";
    const std::string far(100, 'x');
    EXPECT_EQ(norm_compare("a" + far + "B", "A" + far + "b"), 1);
    EXPECT_EQ(norm_compare(far + "a" + far + "B", far + "A" + far + "b"), 1);
    EXPECT_EQ(norm_compare(far + "Ab", far + "aB"), -1);
}

TEST_P(CompareBody, TrailingBlanksAreIgnored) {
    EXPECT_EQ(norm_compare("ab", "AB  "), 1);
    EXPECT_EQ(norm_compare("AB  ", "ab"), -1);
    EXPECT_EQ(norm_compare("ab", "ab   "), 0);
    EXPECT_EQ(norm_compare("ab   ", "ab"), 0);
    EXPECT_EQ(norm_compare("", "   "), 0);
    EXPECT_EQ(norm_compare(std::string(200, ' '), ""), 0);
    EXPECT_EQ(norm_compare("\u00E9  ", "\u00C9"), 1);
}

TEST_P(CompareBody, FurtherTextDecides) {
    EXPECT_EQ(norm_compare("ab", "abc"), -2);
    EXPECT_EQ(norm_compare("abc", "ab"), 2);
    EXPECT_EQ(norm_compare("ab", "AB  c"), -2);
    EXPECT_EQ(norm_compare("AB  c", "ab"), 2);
    EXPECT_EQ(norm_compare("ab", "ab\t"), -2) << "a tab is no blank";
    EXPECT_EQ(norm_compare("ab", "ab\u00A0"), -2);
    EXPECT_EQ(norm_compare("ab", "ab\0"sv), -2);
    EXPECT_EQ(norm_compare("", ""), 0);
    EXPECT_EQ(norm_compare({}, {}), 0);
    EXPECT_EQ(norm_compare({}, "x"), -2);
    EXPECT_EQ(norm_compare("x", {}), 2);
}

TEST_P(CompareBody, BlanksInsideAreText) {
    EXPECT_EQ(norm_compare("ab  ", "ab c"), -2);
    EXPECT_EQ(norm_compare("ab \x01", "ab  "), -2);
    EXPECT_EQ(norm_compare("a b", "ab"), -2);
}

// The Kelvin sign takes three bytes and is a k in lower case.
TEST_P(CompareBody, AsciiMeetsOtherCharacters) {
    EXPECT_EQ(norm_compare("\u212A", "k"), 1);
    EXPECT_EQ(norm_compare("K  ", "\u212A"), -1);
    EXPECT_EQ(norm_equal("\u212A", "k"), 1);
    EXPECT_EQ(norm_equal("K", "\u212A"), 1);
    EXPECT_EQ(norm_equal("K ", "\u212A"), 0);
    EXPECT_EQ(norm_equal("xk\u00E9", "X\u212A\u00C9"), 1);
    EXPECT_EQ(norm_compare("k", "\u212A"), -1);
}

// U+2C65 takes three bytes, its upper case U+023A two.
TEST_P(CompareBody, PositionsInBothTextsMayDiffer) {
    EXPECT_EQ(norm_compare("\u2C65\u2C65", "\u023A\u023A"), 1);
    EXPECT_EQ(norm_compare("\u023A\u023A", "\u2C65\u2C65"), -1);
    EXPECT_EQ(norm_compare("\u023Ax", "\u2C65y"), -2);
    EXPECT_EQ(norm_equal("\u023Ax", "\u2C65X"), 1);
    EXPECT_EQ(norm_equal("\u2C65", "\u023A "), 0);
}

TEST_P(CompareBody, TheOtherTextMayEndFirst) {
    EXPECT_EQ(norm_compare("\u023A\u023A\u023A", "\u2C65\u2C65"), 2);
    EXPECT_EQ(norm_compare("\u2C65\u2C65", "\u023A\u023A\u023A"), -2);
    EXPECT_EQ(norm_compare("\u023A\u023A  ", "\u2C65\u2C65"), -1) << "and blanks are left";
    EXPECT_EQ(norm_compare("\u023A\u023A x", "\u2C65\u2C65"), 2);
}

// Only what begins within the bytes of the shorter text is looked at; then lengths decide. These
// are the known texts for which an exchange changes more than the sign.
TEST_P(CompareBody, LengthsDecideAfterTheShorterText) {
    EXPECT_EQ(norm_compare("\u2C65\u2C65\u2C65", "\u023A\u023A\u023A"), 2);
    EXPECT_EQ(norm_compare("\u023A\u023A\u023A", "\u2C65\u2C65\u2C65"), -1);
    EXPECT_EQ(norm_compare("\u2C65b", "\u023Ac"), 1) << "one byte is left on both sides";
    EXPECT_EQ(norm_compare("\u023Ac", "\u2C65b"), 2);
    EXPECT_EQ(norm_compare("\u212Ax", "ky"), 1) << "the same after the longer Kelvin sign";
    EXPECT_EQ(norm_compare("ky", "\u212Ax"), 2);
}

TEST_P(CompareBody, MalformedCharactersAreReplacements) {
    EXPECT_EQ(norm_compare("\x80", "\x80"), 0) << "the same bytes";
    EXPECT_EQ(norm_compare("\x80", "\xFF"), 1) << "the same character, other bytes";
    EXPECT_EQ(norm_compare("\xFF", "\x80"), 1);
    EXPECT_EQ(norm_compare("\xFF", "\uFFFD"), 1);
    EXPECT_EQ(norm_equal("\xFF", "\uFFFD"), 1);
    EXPECT_EQ(norm_equal("\x80", "\xC0\x80"), 1);
    EXPECT_EQ(norm_compare("\xFF", "\U00010000"), -2);
    EXPECT_EQ(norm_compare("\xFF", "z"), 2);
    EXPECT_EQ(norm_compare("z\xFF", "Z\xFE"), 1);
    EXPECT_EQ(norm_compare("Z\xFF", "z\xFE"), -1) << "the first difference was one of case";
    EXPECT_EQ(norm_compare("\xFFy", "\xFEz"), -2) << "one byte is one character";
}

// Decoding judges the lead byte alone.
TEST_P(CompareBody, LenientlyDecodedCharactersHaveTheirValue) {
    EXPECT_EQ(norm_compare("\xE0\x81\x81", "a"), -1) << "U+0041 in three bytes";
    EXPECT_EQ(norm_equal("\xE0\x81\x81", "a"), 1);
    EXPECT_EQ(norm_compare("\xC3\x29", "\u00C9"), 1) << "U+00E9 with a wrong continuation";
    EXPECT_EQ(norm_equal("\xED\xA0\x80", "\xED\xA0\x81"), 0) << "surrogates";
    EXPECT_EQ(norm_compare("\xED\xA0\x80", "\xED\xA0\x81"), -2);
    EXPECT_EQ(norm_compare("\xF4\x90\x80\x80", "\U0010FFFF"), 2);
}

TEST_P(CompareBody, EqualLeadsCompareTheWholeCharacter) {
    EXPECT_EQ(norm_compare("\xC3\xA9", "\xC3\xA8"), 2);
    EXPECT_EQ(norm_compare("\xC3\x41", "\xC3\x41"), 0);
    EXPECT_EQ(norm_compare("\xC3\x41", "\xC3\x61"), -1) << "not letters, but U+00C1 and U+00E1";
    EXPECT_EQ(norm_compare("\xC3\x6B", "\xC3\x4C"), -2) << "U+00EB and U+00CC";
    EXPECT_EQ(norm_compare("\xFC\x41\x42\x43\x44\x45\xA9", "\xFC\x41\x42\x43\x44\x45\x89"), 1)
        << "six bytes are skipped";
    for (const auto& [x, y] : {std::pair("\xA9"s, "\x89"s), std::pair("\x89"s, "\xA9"s)}) {
        EXPECT_EQ(norm_compare("\xFC\x41\x42\x43\x44\xC3" + x, "\xFC\x41\x42\x43\x44\xC3" + y), 1)
            << "the C3 is one of them, so that two strays are left";
    }
    EXPECT_EQ(norm_compare("\xFC\x41\x42\x43\x44\x45", "\xFC\x41\x42\x43\x44\x65"), 1)
        << "they differ: the lead alone is a character";
}

TEST_P(CompareBody, CutOffCharactersAreWhatIsThere) {
    EXPECT_EQ(norm_compare("a\xC3", "a\xC3"), 0);
    EXPECT_EQ(norm_compare("a\xE4\xB8", "a\xE4\xB8"), 0);
    EXPECT_EQ(norm_equal("a\xE4\xB8", "A\xE4\xB8"), 1);
    EXPECT_EQ(norm_compare("\xE4\xB8", "\xE4"), 1) << "both are U+FFFD";
    EXPECT_EQ(norm_compare("\xE4", "\xE4\xB8"), 1);
    EXPECT_EQ(norm_equal("\xE4", "\xE4\xB8"), 1);
    EXPECT_EQ(norm_compare("\xC3", "\u00E9"), 2) << "U+FFFD and U+00E9";
    EXPECT_EQ(norm_compare("\u00E9", "\xC3"), -2);
    EXPECT_EQ(norm_equal("\xC3", "\u00E9"), 0);
    EXPECT_EQ(norm_compare("\xE4\xB8\xAD", "\xE4\xB8"), -2);
    EXPECT_EQ(norm_compare("\xF0\x9F\x98\x80", "\xF0\x9F\x98 "), -2) << "U+1F620";
    EXPECT_EQ(norm_compare("\xF0", "\xF0   "), -2) << "U+20820";
}

TEST_P(CompareBody, LastCharacterMayReachPastTheShorterText) {
    EXPECT_EQ(norm_compare("ab\xC3\xA9", "ab\xC3"), -2) << "U+00E9 and U+FFFD";
    EXPECT_EQ(norm_compare("ab\xC3", "ab\xC3\xA9"), 2);
    EXPECT_EQ(norm_compare("ab\xFF\xC3\xA9", "ab\xFF\xC3"), -2);
    EXPECT_EQ(norm_compare("\xC3\xA9   ", "\xE4"), -2);
    // The letter begins with the last of five bytes and is whole on both sides.
    EXPECT_EQ(norm_compare("\u212Ak\u00E9", "k\u212A\u00E9"), 1);
    EXPECT_EQ(norm_compare("\u212A\u00E9", "kx\u00E9"), 2);
}

TEST_P(CompareBody, EqualityCountsTrailingBlanks) {
    EXPECT_EQ(norm_equal("ab", "ab "), 0);
    EXPECT_EQ(norm_equal("ab ", "ab"), 0);
    EXPECT_EQ(norm_equal("ab", "AB"), 1);
    EXPECT_EQ(norm_equal("ab", "abc"), 0);
    EXPECT_EQ(norm_equal("\u00E9x", "\u00C9X"), 1);
    EXPECT_EQ(norm_equal("\U00010400", "\U00010428"), 1);
    EXPECT_EQ(norm_equal("\u00DF", "ss"), 0) << "one character is one character";
    EXPECT_EQ(norm_equal("", ""), 1);
    EXPECT_EQ(norm_equal({}, {}), 1);
    EXPECT_EQ(norm_equal({}, "a"), 0);
    EXPECT_EQ(norm_equal("a", {}), 0);
}

TEST_P(CompareBody, AsciiEqualityFoldsAsciiAlone) {
    EXPECT_EQ(ascii_equal("\u00E9", "\u00C9"), 0);
    EXPECT_EQ(ascii_equal("\u00E9x", "\u00E9X"), 1);
    EXPECT_EQ(ascii_equal("abc", "aBC"), 1);
    EXPECT_EQ(ascii_equal("abc", "aBC "), 0);
    EXPECT_EQ(ascii_equal("@", "`"), 0);
    EXPECT_EQ(ascii_equal("[", "{"), 0);
    EXPECT_EQ(ascii_equal("\xC1", "\xE1"), 0);
    EXPECT_EQ(ascii_equal("\xC3\x41", "\xC3\x61"), 1) << "byte by byte";
    EXPECT_EQ(ascii_equal("", ""), 1);
    EXPECT_EQ(ascii_equal({}, {}), 1);
}

TEST_P(CompareBody, TextFormsIgnoreTheEncoding) {
    struct {
        std::string_view a, b;
    } const pairs[] = {{"abc", "ABC"}, {"ABC", "abc "},       {"abc", "abd"},
                       {"b", "a"},     {"\u00E9", "\u00C9 "}, {"", ""}};
    for (const auto& pair : pairs) {
        const std::string_view a = pair.a;
        const std::string_view b = pair.b;
        for (const std::uint32_t encoding : {0u, 20u, 27u, 0xFFFFFFFFu}) {
            const auto with = [&](auto text_form) {
                return text_form(bytes_of(a), a.size(), bytes_of(b), b.size(), encoding);
            };
            EXPECT_EQ(with(NQ_UNDER_TEST(nqzsu8CompareText)), compare(a, b));
            EXPECT_EQ(with(NQ_UNDER_TEST(nqzsu8NormCompareText)), norm_compare(a, b));
            EXPECT_EQ(with(NQ_UNDER_TEST(nqzsu8NormEqualText)), norm_equal(a, b));
        }
    }
}

TEST_P(CompareBody, HostLowersWhatIsNotAscii) {
    LoweringHost host([](NQChar code_point) { return code_point == 'q' ? 0x4E2Du : code_point; });
    served_by(host.kernel());
    EXPECT_EQ(norm_compare("abc", "ABC"), 1);
    EXPECT_EQ(norm_compare("q", "r"), -2);
    EXPECT_TRUE(host.asked().empty()) << "ASCII has rules of its own";
    EXPECT_EQ(norm_compare("\u00E9", "\u00E9"), 0);
    EXPECT_TRUE(host.asked().empty()) << "the same is not lowered";
    EXPECT_EQ(norm_compare("\u00E9", "\u00C9"), 2) << "not for this host";
    EXPECT_EQ(host.asked().size(), 2u);
    EXPECT_EQ(norm_compare("q", "\u4E2D"), -1) << "the host lowers ASCII against other characters";
    EXPECT_EQ(norm_equal("q", "\u4E2D"), 0) << "except for equality";
}

TEST_P(CompareBody, HostLowersReplacementsOfTheLowestByteBeyondAscii) {
    LoweringHost host([](NQChar code_point) { return code_point == 0xFFFD ? 0u : code_point; });
    served_by(host.kernel());
    EXPECT_EQ(norm_compare("\x80", {"\0", 1}), 1);
    EXPECT_EQ(norm_compare({"\0", 1}, "\x80"), -1);
    EXPECT_EQ(norm_equal("\x80", {"\0", 1}), 1);
}

TEST_P(CompareBody, LoweredValuesAreSigned) {
    LoweringHost host(
        [](NQChar code_point) { return code_point == 0xE9 ? 0x80000000u : code_point; });
    served_by(host.kernel());
    EXPECT_EQ(norm_compare("\u00E9", "\u00EA"), -2);
    EXPECT_EQ(norm_compare("\u00EA", "\u00E9"), 2);
}

TEST_P(CompareBody, EqualityAsksTheHostAbovePlaneZeroToo) {
    LoweringHost host([](NQChar code_point) {
        return code_point == 0x1F600 ? 0x1F601u : code_point == 0x4E2D ? 0x4E2Eu : code_point;
    });
    served_by(host.kernel());
    EXPECT_EQ(norm_equal("\U0001F600\u4E2D", "\U0001F601\u4E2E"), 1);
    EXPECT_EQ(norm_equal("\U0001F600", "\U0001F602"), 0);
}

// Long enough for the answers to be kept, with letters that share a place.
TEST_P(CompareBody, HostIsRightHoweverLongTheText) {
    std::string lower;
    std::string upper;
    for (int round = 0; round < 20; ++round) {
        lower += "\u0436\u044F\u00E9\u03C9 \u0451\u0434\u1E01\u0465x\u0561\U00010428";
        upper += "\u0416\u042F\u00C9\u03A9 \u0401\u0414\u1E00\u0464X\u0531\U00010400";
    }
    EXPECT_EQ(norm_compare(lower, upper), 1);
    EXPECT_EQ(norm_compare(upper, lower + "  "), -1);
    EXPECT_EQ(norm_equal(lower, upper), 1);
    EXPECT_EQ(norm_compare(lower + "\u0436", upper + "\u042F"), -2);
    EXPECT_EQ(norm_equal(lower + "\u0436", upper + "\u042F"), 0);
}

TEST_P(CompareBody, BuiltInTableServesWithoutAHost) {
    HostKernel without_unicode{};
    for (HostKernel* kernel : {static_cast<HostKernel*>(nullptr), &without_unicode}) {
        served_by(kernel);
        EXPECT_EQ(norm_compare("abc", "ABC"), 1);
        EXPECT_EQ(norm_compare("\u00E9", "\u00C9"), 1);
        EXPECT_EQ(norm_equal("\u0416", "\u0436"), 1);
        EXPECT_EQ(norm_equal("\u0181", "\u0253"), 1) << "from the list of far pairs";
        EXPECT_EQ(norm_equal("\U00010400", "\U00010428"), 0) << "beyond the table";
        EXPECT_EQ(norm_compare("\U00010400", "\U00010428"), -2);
        EXPECT_EQ(norm_equal("\u212A", "k"), 0) << "not in the table";
        EXPECT_EQ(norm_compare("\u212A", "k"), 2);
    }
}

TEST_P(CompareBody, UnitsHaveTheFiveResults) {
    EXPECT_EQ(units_compare(U"a", U"A"), 1);
    EXPECT_EQ(units_compare(U"A", U"a"), -1);
    EXPECT_EQ(units_compare(U"a", U"B"), -2);
    EXPECT_EQ(units_compare(U"b", U"A"), 2);
    EXPECT_EQ(units_compare(U"ab", U"ab"), 0);
    EXPECT_EQ(units_compare(U"Ab", U"aB"), -1);
    EXPECT_EQ(units_compare(U"\u00E9", U"\u00C9"), 1);
    EXPECT_EQ(units_compare(U"\u0181", U"\u0253"), -1) << "from the list of far pairs";
    EXPECT_EQ(units_compare(U"\U00010400", U"\U00010428"), -2) << "beyond the table";
    EXPECT_EQ(units_compare(U"\u212A", U"k"), 2) << "not in the table";
    EXPECT_EQ(units_compare(U"@", U"`"), -2);
}

TEST_P(CompareBody, UnitsIgnoreTrailingBlanks) {
    EXPECT_EQ(units_compare(U"ab", U"AB  "), 1);
    EXPECT_EQ(units_compare(U"AB  ", U"ab"), -1);
    EXPECT_EQ(units_compare(U"ab", U"ab "), 0);
    EXPECT_EQ(units_compare(U"ab", U"ab c"), -2);
    EXPECT_EQ(units_compare(U"ab c", U"ab"), 2);
    EXPECT_EQ(units_compare(U"ab\t", U"ab"), 2);
    EXPECT_EQ(units_compare(U"", U""), 0);
    EXPECT_EQ(units_compare(U"", U"  "), 0);
    EXPECT_EQ(units_compare(U"x", U""), 2);
}

TEST_P(CompareBody, UnitsAreSigned) {
    const Units negative(1, 0x80000000);
    EXPECT_EQ(units_compare(negative, units(U"a")), -2);
    EXPECT_EQ(units_compare(units(U"a"), negative), 2);
    EXPECT_EQ(units_compare(Units(1, 0xFFFFFFFF), Units(1, 0x7FFFFFFF)), -2);
    EXPECT_EQ(units_compare(Units(1, 0xFFFFFFFF), negative), 2);
}

TEST_P(CompareBody, NegativeCountsAreEmpty) {
    const auto compare_units = NQ_UNDER_TEST(nqzsncmp);
    const NQChar letter = 'a';
    const NQChar blank = ' ';
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(compare_units(nullptr, -1, nullptr, kLeast), 0);
    EXPECT_EQ(compare_units(&letter, 1, nullptr, -1), 2);
    EXPECT_EQ(compare_units(nullptr, kLeast, &letter, 1), -2);
    EXPECT_EQ(compare_units(nullptr, 0, &blank, 1), 0);
}

TEST_P(CompareBody, UnitsAreEqualInLowerCase) {
    EXPECT_EQ(units_equal(U"abc", U"ABC"), 1);
    EXPECT_EQ(units_equal(U"abc", U"abd"), 0);
    EXPECT_EQ(units_equal(U"ab", U"ab "), 0);
    EXPECT_EQ(units_equal(U"\u00E9\u0416", U"\u00C9\u0436"), 1);
    EXPECT_EQ(units_equal(U"\u0181", U"\u0253"), 1);
    EXPECT_EQ(units_equal(U"\U00010400", U"\U00010428"), 0);
    EXPECT_EQ(units_equal(U"@", U"`"), 0);
    EXPECT_EQ(units_equal(U"", U""), 1);
    EXPECT_EQ(NQ_UNDER_TEST(nqzseqn)(nullptr, 0, nullptr, 0), 1);
    EXPECT_EQ(units_equal(Units(1, 0xFFFFFFFF), Units(1, 0xFFFFFFFF)), 1);
}

TEST_P(CompareBody, UnitsAreComparedWithoutTheHost) {
    LoweringHost host([](NQChar) { return NQChar{'x'}; });
    served_by(host.kernel());
    EXPECT_EQ(units_equal(U"\u00E9", U"\u0416"), 0);
    EXPECT_EQ(units_compare(U"\u00E9", U"\u00C9"), 1);
    EXPECT_TRUE(host.asked().empty());
}

NQ_FOR_EACH_BODY(CompareBody);

}  // namespace
}  // namespace nq::test
