#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "nqinstance/host/status.h"
#include "standalone/text/language.hpp"
#include "standalone/text/unicode.hpp"
#include "tests/support/random.hpp"

namespace {

constexpr std::uint32_t kLower = 1;
constexpr std::uint32_t kUpper = 2;

// Maps a text the way the library's locale case operations do: each code point with its follower
// goes to mapInContext, then to mapForLanguage, then to the simple mapping.
std::u32string map_text(std::string_view language, std::u32string_view text, std::uint32_t mode) {
    static nq::UnicodeService service;
    HostUnicode* host = service.table();
    const std::uint32_t code = nq::language_code(language);
    const auto simple = mode == kLower ? host->toLower : host->toUpper;
    std::u32string mapped;
    std::uint64_t state = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::uint32_t window[] = {text[i], i + 1 < text.size() ? text[i + 1] : 0};
        if (host->hasSpecialCasing(host, code)) {
            std::uint32_t out[NQ_CASE_MAPPING_UNITS] = {};
            std::uint64_t count = 0;
            const std::uint64_t given = std::min<std::size_t>(text.size() - i, 2);
            const NQStatus status =
                host->mapInContext(host, code, window, given, out, &count, &state, 1);
            if (status != NQ_STATUS_OK || count == 0) {
                const std::int32_t made = host->mapForLanguage(host, code, window[0], out, mode);
                count = static_cast<std::uint64_t>(made);
            }
            mapped.append(out, out + count);
            if (count) continue;
        }
        mapped += static_cast<char32_t>(simple(host, window[0], 1));
    }
    return mapped;
}

std::u32string lower(std::string_view language, std::u32string_view text) {
    return map_text(language, text, kLower);
}

std::u32string upper(std::string_view language, std::u32string_view text) {
    return map_text(language, text, kUpper);
}

icu::UnicodeString to_icu(std::u32string_view text) {
    icu::UnicodeString result;
    for (const char32_t unit : text) result.append(static_cast<UChar32>(unit));
    return result;
}

std::u32string from_icu(const icu::UnicodeString& text) {
    std::u32string result(static_cast<std::size_t>(text.countChar32()), U'\0');
    UErrorCode status = U_ZERO_ERROR;
    text.toUTF32(reinterpret_cast<UChar32*>(result.data()), static_cast<int32_t>(result.size()),
                 status);
    EXPECT_TRUE(U_SUCCESS(status));
    return result;
}

std::u32string icu_case(std::string_view language, std::u32string_view text, std::uint32_t mode) {
    const icu::Locale locale(std::string(language).c_str());
    icu::UnicodeString mapped = to_icu(text);
    return from_icu(mode == kLower ? mapped.toLower(locale) : mapped.toUpper(locale));
}

std::u32string decomposed(std::u32string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const auto* form = icu::Normalizer2::getNFDInstance(status);
    return from_icu(form->normalize(to_icu(text), status));
}

std::string code_points(std::u32string_view text) {
    std::string result;
    char buffer[16];
    for (const char32_t unit : text) {
        std::snprintf(buffer, sizeof buffer, "%04X ", static_cast<unsigned>(unit));
        result += buffer;
    }
    return result;
}

struct Case {
    const char* language;
    std::uint32_t mode;
    std::u32string_view text;
    std::u32string_view mapped;
};

void expect_cases(std::initializer_list<Case> cases) {
    for (const Case& expected : cases) {
        EXPECT_EQ(code_points(map_text(expected.language, expected.text, expected.mode)),
                  code_points(expected.mapped))
            << expected.language << " mode " << expected.mode << " of "
            << code_points(expected.text);
    }
}

}  // namespace

// The unconditional mappings of the Unicode Standard's SpecialCasing data.
TEST(SpecialCasing, OneCodePointBecomesSeveralInEveryLanguage) {
    for (const char* language : {"en", "de", "tr", "lt", "fil"}) {
        const Case cases[] = {
            {language, kUpper, U"stra\u00dfe", U"STRASSE"},
            {language, kUpper, U"\ufb00\ufb03\ufb05", U"FFFFIST"},
            {language, kUpper, U"\u0587", U"\u0535\u0552"},
            {language, kUpper, U"\ufb13", U"\u0544\u0546"},
            {language, kUpper, U"\u0149", U"\u02bcN"},
            {language, kUpper, U"\u0390", U"\u0399\u0308\u0301"},
            {language, kUpper, U"\u01f0\u1e96\u1e9a", U"J\u030cH\u0331A\u02be"},
            {language, kUpper, U"\u1f50\u1f56", U"\u03a5\u0313\u03a5\u0313\u0342"},
            {language, kUpper, U"\u1fb7", U"\u0391\u0342\u0399"},
            {language, kUpper, U"\u1f80\u1f88", U"\u1f08\u0399\u1f08\u0399"},
            {language, kUpper, U"\u1fb3\u1fbc", U"\u0391\u0399\u0391\u0399"},
            {language, kLower, U"\u00df\u1e9e\ufb00", U"\u00df\u00df\ufb00"},
        };
        for (const Case& one : cases) expect_cases({one});
    }
    expect_cases({{"en", kLower, U"\u0130", U"i\u0307"}, {"lt", kLower, U"\u0130", U"i\u0307"}});
}

TEST(SpecialCasing, WithoutALanguageEveryMappingIsSimple) {
    expect_cases({
        {"", kUpper, U"stra\u00dfe", U"STRA\u00dfE"},
        {"", kLower, U"\u0391\u03a3", U"\u03b1\u03c3"},
        {"", kLower, U"\u0130I", U"ii"},
    });
}

TEST(SpecialCasing, TurkishAndAzeriTellDottedFromDotlessI) {
    for (const char* language : {"tr", "az"}) {
        expect_cases({
            {language, kUpper, U"i\u0131", U"\u0130I"},
            {language, kLower, U"I\u0130", U"\u0131i"},
            {language, kUpper, U"diyarbak\u0131r", U"D\u0130YARBAKIR"},
            {language, kLower, U"D\u0130YARBAKIR", U"diyarbak\u0131r"},
            {language, kUpper, U"I\u0307\u0130", U"I\u0307\u0130"},
            {language, kLower, U"\u0131\u0307i", U"\u0131\u0307i"},
            {language, kLower, U"I\u0301", U"\u0131\u0301"},
        });
    }
    expect_cases({{"en", kUpper, U"i\u0131", U"II"}, {"en", kLower, U"I", U"i"}});
}

// A mapping to nothing cannot be said, so the mark that the dotted i makes needless stays.
TEST(SpecialCasing, TurkishDecomposedDottedIKeepsItsDot) {
    expect_cases({
        {"tr", kLower, U"I\u0307", U"i\u0307"},
        {"az", kLower, U"xI\u0307x", U"xi\u0307x"},
        // The dot is out of sight behind another mark.
        {"tr", kLower, U"I\u0323\u0307", U"\u0131\u0323\u0307"},
    });
}

TEST(SpecialCasing, LithuanianKeepsTheDotUnderAccents) {
    expect_cases({
        {"lt", kLower, U"I\u0301", U"i\u0307\u0301"},
        {"lt", kLower, U"J\u0303", U"j\u0307\u0303"},
        {"lt", kLower, U"\u012e\u0300", U"\u012f\u0307\u0300"},
        {"lt", kLower, U"\u00cc\u00cd\u0128", U"i\u0307\u0300i\u0307\u0301i\u0307\u0303"},
        {"lt", kLower, U"IJ\u012e", U"ij\u012f"},
        {"lt", kLower, U"A\u0301I", U"a\u0301i"},
        {"lt", kLower, U"I\u0328I", U"i\u0328i"},
        {"lt", kLower, U"I\u0328a\u0301", U"i\u0328a\u0301"},
        {"lt", kUpper, U"ij\u012f\u00ec", U"IJ\u012e\u00cc"},
        {"en", kLower, U"I\u0301", U"i\u0301"},
    });
}

// With marks between letter and accent the dot comes right before the accent.
TEST(SpecialCasing, LithuanianDotAfterOtherMarks) {
    expect_cases({
        {"lt", kLower, U"I\u0328\u0301", U"i\u0328\u0307\u0301"},
        {"lt", kLower, U"J\u0323\u0328\u0303\u0301", U"j\u0323\u0328\u0307\u0303\u0301"},
    });
}

TEST(SpecialCasing, LithuanianCapitalsKeepTheDot) {
    expect_cases({{"lt", kUpper, U"i\u0307\u0301", U"I\u0307\u0301"}});
}

TEST(SpecialCasing, SigmaIsFinalAtTheEndOfAWord) {
    for (const char* language : {"el", "en", "tr"}) {
        expect_cases({
            {language, kLower, U"\u039f\u0394\u039f\u03a3", U"\u03bf\u03b4\u03bf\u03c2"},
            {language, kLower, U"\u03a3\u0391\u03a3 \u03a3", U"\u03c3\u03b1\u03c2 \u03c3"},
            {language, kLower, U"\u03a3", U"\u03c3"},
            {language, kLower, U"1\u03a3", U"1\u03c3"},
            {language, kLower, U"\u0391\u03a3\u03a3", U"\u03b1\u03c3\u03c2"},
            // Characters that case rules pass over before it.
            {language, kLower, U"\u0391\u0301.'\u03a3", U"\u03b1\u0301.'\u03c2"},
            {language, kLower, U"\u0391 \u0301\u03a3", U"\u03b1 \u0301\u03c3"},
            {language, kUpper, U"\u03b1\u03c3\u03c2\u03a3", U"\u0391\u03a3\u03a3\u03a3"},
        });
    }
}

// What follows such a character is out of sight.
TEST(SpecialCasing, SigmaBeforeAPassedOverCharacter) {
    expect_cases({
        // A full stop or an apostrophe counts as the end of the word...
        {"el", kLower, U"\u0391\u03a3.", U"\u03b1\u03c2."},
        {"el", kLower, U"\u0391\u03a3.\u0391", U"\u03b1\u03c2.\u03b1"},
        {"el", kLower, U"\u0391\u03a3\u2019", U"\u03b1\u03c2\u2019"},
        // ...a soft hyphen or a mark does not.
        {"el", kLower, U"\u0391\u03a3\u00ad\u0391", U"\u03b1\u03c3\u00ad\u03b1"},
        {"el", kLower, U"\u0391\u03a3\u00ad", U"\u03b1\u03c3\u00ad"},
        {"el", kLower, U"\u0391\u03a3\u0301", U"\u03b1\u03c3\u0301"},
    });
}

TEST(SpecialCasing, GreekCapitalsDropAccents) {
    expect_cases({
        {"el", kUpper,
         U"\u03ac\u03b4\u03ad\u03b4\u03ae\u03b4\u03af\u03b4\u03cc\u03b4\u03cd\u03b4\u03ce",
         U"\u0391\u0394\u0395\u0394\u0397\u0394\u0399\u0394\u039f\u0394\u03a5\u0394\u03a9"},
        {"el", kUpper, U"\u1f04\u03bd\u03b8\u03c1\u03c9\u03c0\u03bf\u03c2",
         U"\u0391\u039d\u0398\u03a1\u03a9\u03a0\u039f\u03a3"},
        // The word "or" keeps its accent, other words with that letter do not.
        {"el", kUpper, U"\u03ae", U"\u0397\u0301"},
        {"el", kUpper, U" \u03ae ", U" \u0397\u0301 "},
        {"el", kUpper, U"\u03ae\u03b4\u03b7", U"\u0397\u0394\u0397"},
        {"el", kUpper, U"\u03bc\u03ae", U"\u039c\u0397"},
        // A diaeresis takes over where the accent kept two vowels apart.
        {"el", kUpper, U"\u03ac\u03c5\u03bb\u03bf\u03c2", U"\u0391\u03ab\u039b\u039f\u03a3"},
        {"el", kUpper, U"\u03bc\u03ac\u03b9\u03bf\u03c2", U"\u039c\u0391\u03aa\u039f\u03a3"},
        {"el", kUpper, U"\u03b1\u03c5\u03bb\u03cc\u03c2", U"\u0391\u03a5\u039b\u039f\u03a3"},
        {"el", kUpper, U"\u0390\u03cb", U"\u03aa\u03ab"},
        {"en", kUpper, U"\u03ac", U"\u0386"},
    });
}

TEST(SpecialCasing, GreekCapitalsKeepAccentsThatAreMarks) {
    expect_cases({{"el", kUpper, U"\u03b1\u0301\u03b9", U"\u0391\u0301\u0399"}});
}

TEST(SpecialCasing, ValuesThatAreNoCharactersStay) {
    const std::u32string odd = {0xd800, 0x110000, 0x7fffffff, 0xffffffff, U'I', 0xdfff};
    for (const char* language : {"tr", "lt", "el"}) {
        std::u32string lowered = odd;
        lowered[4] = language[0] == 't' ? U'\u0131' : U'i';
        EXPECT_EQ(code_points(lower(language, odd)), code_points(lowered)) << language;
        EXPECT_EQ(code_points(upper(language, odd)), code_points(odd)) << language;
    }
}

TEST(SpecialCasing, EveryCodePointAloneIsMappedAsIcuDoes) {
    for (const char* language : {"en", "tr", "az", "lt", "el", "hy"}) {
        for (char32_t code_point = 0; code_point <= 0x10ffff; ++code_point) {
            if (U_IS_SURROGATE(code_point)) continue;
            // Unassigned planes have nothing to map.
            if (code_point == 0x20000) code_point = 0xe0000;
            const std::u32string_view text(&code_point, 1);
            for (const std::uint32_t mode : {kLower, kUpper}) {
                ASSERT_EQ(map_text(language, text, mode), icu_case(language, text, mode))
                    << language << " mode " << mode << " of " << code_points(text);
            }
        }
    }
}

namespace {

// The letters and marks that rules speak of, with plain ones between them.
constexpr std::u32string_view kAlphabet =
    U"IiIiIi\u0130\u0131JjAaXx1 -.'\u2019:\u00ad\u200d"
    U"\u0307\u0307\u0301\u0300\u0303\u0323\u0328\u0345\u012e\u012f\u00cc\u00ec\u0128\u0129"
    U"\u03a3\u03a3\u03c3\u03c2\u0391\u03b1\u03ac\u0386\u03ae\u0389\u03b7\u03b9\u03af\u03ca\u0390"
    U"\u03c5\u03cd\u03cb\u03b0\u1fc6\u1fc3\u1f00\u1f04\u1fbe\u03b4\u0394\u00df\ufb01\u01c5\u0149"
    U"\u02b0\u037a\u10d0\u1c90\U00010400\U0001f600\u1e9e\u0587";

// Whether the mapping of `text` needs no more than the code point that follows: the cases left
// out are those that special_casing.hpp names, and they have tests of their own above.
bool window_decides(std::string_view language, std::u32string_view text, std::uint32_t mode) {
    const auto has = [](char32_t code_point, UProperty property) {
        return u_hasBinaryProperty(static_cast<UChar32>(code_point), property) != 0;
    };
    const auto combining = [](char32_t code_point) {
        return u_getCombiningClass(static_cast<UChar32>(code_point));
    };
    const bool is_turkic = language == "tr" || language == "az";
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        const char32_t next = text[i + 1];
        const bool is_sigma = text[i] == U'\u03a3';
        const char32_t base = decomposed({&text[i], 1})[0];
        const bool is_eta = language == "el" && (base == U'\u0397' || base == U'\u03b7');
        if (mode == kLower && is_sigma && has(next, UCHAR_CASE_IGNORABLE)) return false;
        if (mode == kUpper && is_eta && has(next, UCHAR_CASE_IGNORABLE)) return false;
        if (mode == kLower && is_turkic && text[i] == U'I') {
            // Any dot above that belongs to the I would be dropped.
            for (std::size_t j = i + 1; j < text.size() && combining(text[j]) != 0; ++j) {
                if (text[j] == U'\u0307') return false;
            }
        }
        if (mode == kUpper && language == "lt" && has(text[i], UCHAR_SOFT_DOTTED)) {
            for (std::size_t j = i + 1; j < text.size() && combining(text[j]) != 0; ++j) {
                if (text[j] == U'\u0307') return false;
            }
        }
        // Marks of a Greek letter would be dropped or composed with it.
        const bool is_greek =
            u_hasBinaryProperty(static_cast<UChar32>(text[i]), UCHAR_CASED) &&
            ((text[i] >= 0x370 && text[i] < 0x400) || (text[i] >= 0x1f00 && text[i] < 0x2000));
        if (mode == kUpper && language == "el" && is_greek && combining(next) != 0) return false;
    }
    return true;
}

}  // namespace

TEST(SpecialCasing, RandomTextsAreMappedAsIcuDoes) {
    nq::test::SeededRandom random(300000);
    constexpr const char* kLanguages[] = {"en", "de", "tr", "az", "lt", "el"};
    std::uint64_t compared[2][std::size(kLanguages)] = {};
    for (std::uint64_t round = 0; round < random.rounds(); ++round) {
        std::u32string text(1 + random.below(10), U'\0');
        for (char32_t& unit : text) unit = random.pick(kAlphabet);
        const std::size_t language = random.below(std::size(kLanguages));
        const std::uint32_t mode = random.below(2) ? kLower : kUpper;
        if (!window_decides(kLanguages[language], text, mode)) continue;
        ++compared[mode - 1][language];
        std::u32string mapped = map_text(kLanguages[language], text, mode);
        std::u32string expected = icu_case(kLanguages[language], text, mode);
        if (language == 4 && mode == kLower) {
            // The Lithuanian dot may stand elsewhere in the same cluster.
            mapped = decomposed(mapped);
            expected = decomposed(expected);
        }
        ASSERT_EQ(code_points(mapped), code_points(expected))
            << kLanguages[language] << " mode " << mode << " of " << code_points(text);
    }
    if (random.rounds() < 1000) return;
    for (const auto& mode : compared) {
        for (const std::uint64_t count : mode) EXPECT_GT(count, random.rounds() / 100);
    }
}
