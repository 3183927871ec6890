// The case mappings with the standalone host behind, against ICU.
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <string>
#include <string_view>

#include "nqinstance/host/status.h"
#include "nqinstance/text/case_mapping.h"
#include "standalone/host.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/library.hpp"
#include "tests/support/random.hpp"

namespace nq::test {
namespace {

icu::UnicodeString from_utf8(std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<int32_t>(text.size())});
}

std::string to_utf8(const icu::UnicodeString& text) {
    std::string result;
    return text.toUTF8String(result);
}

class CaseHost : public testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
    }

    // Measured, then mapped into exactly that much.
    template <class Map>
    static std::string mapped(Map map, std::string_view text, NQStatus expected = NQ_STATUS_OK) {
        std::uint64_t needed = 0;
        EXPECT_EQ(map(bytes_of(text), text.size(), nullptr, std::uint64_t{0}, &needed), expected);
        std::string target(needed, '?');
        std::uint64_t written = 0;
        EXPECT_EQ(map(bytes_of(text), text.size(), reinterpret_cast<std::uint8_t*>(target.data()),
                      needed, &written),
                  expected);
        EXPECT_EQ(written, needed);
        return target;
    }

    std::string lower(std::string_view tag, std::string_view text) {
        NQLocale* locale = host.locale(tag);
        EXPECT_TRUE(locale) << tag;
        return mapped(
            [locale](auto... arguments) {
                return NQ_LIBRARY(nqzsu8LocaleLower)(locale, arguments...);
            },
            text);
    }
    std::string upper(std::string_view tag, std::string_view text) {
        NQLocale* locale = host.locale(tag);
        EXPECT_TRUE(locale) << tag;
        return mapped(
            [locale](auto... arguments) {
                return NQ_LIBRARY(nqzsu8LocaleUpper)(locale, arguments...);
            },
            text);
    }

    Host host;
};

TEST_F(CaseHost, TurkishTellsDottedFromDotlessI) {
    EXPECT_EQ(lower("tr", "DİYARBAKIR"), "diyarbakır");
    EXPECT_EQ(upper("tr", "diyarbakır"), "DİYARBAKIR");
    EXPECT_EQ(lower("en", "ISTANBUL"), "istanbul");
}

TEST_F(CaseHost, LithuanianKeepsTheDotUnderAccents) {
    EXPECT_EQ(lower("lt", "\u00CCI\u0301"), "i\u0307\u0300i\u0307\u0301");
    EXPECT_EQ(upper("lt", "į\u00EC"), "Į\u00CC");
}

TEST_F(CaseHost, GreekSigmaIsFinalAtTheEndOfAWord) {
    EXPECT_EQ(lower("el", "ΟΔΥΣΣΕΥΣ ΣΑΣ"), "οδυσσευς σας");
    EXPECT_EQ(upper("el", "άνθρωπος"), "ΑΝΘΡΩΠΟΣ");
    // The plain mappings know no context.
    EXPECT_EQ(mapped(NQ_LIBRARY(nqzsu8Lower2), "ΣΑΣ"), "σασ");
}

TEST_F(CaseHost, LetterMayBecomeSeveral) {
    EXPECT_EQ(upper("de", "straße"), "STRASSE");
    EXPECT_EQ(mapped(NQ_LIBRARY(nqzsu8Upper2), "straße"), "STRAßE");
}

TEST_F(CaseHost, NullLocaleMapsPlainly) {
    const auto map = [](auto... arguments) {
        return NQ_LIBRARY(nqzsu8LocaleUpper)(nullptr, arguments...);
    };
    EXPECT_EQ(mapped(map, "straße", NQ_STATUS_NO_LOCALE), "STRAßE");
}

TEST_F(CaseHost, EveryCodePointIsMappedAsIcuDoes) {
    std::vector<NQChar> up;
    for (NQChar unit = 0; unit < 0x110000; ++unit) up.push_back(unit);
    std::vector<NQChar> low = up;
    const auto count = static_cast<std::int64_t>(up.size());
    NQ_LIBRARY(nqzstup)(up.data(), count);
    NQ_LIBRARY(nqzstlo)(low.data(), count);
    for (NQChar unit = 0; unit < 0x110000; ++unit) {
        const auto code_point = static_cast<UChar32>(unit);
        ASSERT_EQ(up[unit], static_cast<NQChar>(u_toupper(code_point))) << std::hex << unit;
        ASSERT_EQ(low[unit], static_cast<NQChar>(u_tolower(code_point))) << std::hex << unit;
    }
}

TEST_F(CaseHost, RandomTextsAreMappedCodePointByCodePoint) {
    std::mt19937_64 random = seeded_generator();
    const auto below = [&random](std::uint64_t bound) { return random() % bound; };
    for (std::uint64_t i = setting("ITER", 3000); i > 0; --i) {
        std::string text;
        std::string up;
        std::string low;
        bool keeps_sizes = true;
        const std::uint64_t range[] = {0x80, 0x250, 0x600, 0x3000, 0x10000, 0x20000, 0x110000};
        const std::uint64_t bound = range[below(std::size(range))];
        for (std::uint64_t length = below(200); length > 0; --length) {
            const auto code_point = static_cast<UChar32>(below(4) ? below(bound) : below(0x80));
            if (U_IS_SURROGATE(code_point)) continue;
            icu::UnicodeString(code_point).toUTF8String(text);
            icu::UnicodeString(u_toupper(code_point)).toUTF8String(up);
            icu::UnicodeString(u_tolower(code_point)).toUTF8String(low);
            keeps_sizes = keeps_sizes && text.size() == up.size();
        }
        ASSERT_EQ(mapped(NQ_LIBRARY(nqzsu8Upper2), text), up) << text;
        ASSERT_EQ(mapped(NQ_LIBRARY(nqzsu8Lower2), text), low) << text;
        if (!keeps_sizes) continue;
        NQ_LIBRARY(nqzsu8Upper)(reinterpret_cast<std::uint8_t*>(text.data()), text.size());
        ASSERT_EQ(text, up);
    }
}

// Whole texts of letters, blanks and punctuation whose mapping the next code point decides.
TEST_F(CaseHost, LanguagesMapTextsAsIcuDoes) {
    struct Language {
        const char* tag;
        std::vector<std::string> words;
    };
    const Language languages[] = {
        {"tr", {"I", "İ", "ı", "i", "Ğ", "ş", "Ç", "A", " ", ", ", "Diyarbakır", "ISPARTA"}},
        {"az", {"I", "İ", "ı", "i", "Ə", "ğ", " ", "! "}},
        {"lt", {"\u00CC", "\u00CD", "\u0128", "I", "J", "Į", "į", "ė", "Š", " ", "I\u0301", "j"}},
        {"el", {"ΣΑΣ", "Σ", "ς", "ά", "έ", "ΟΔΟΣ", "λόγος", " ", "μαΐου", "ώ", "ϋ"}},
        {"de", {"ß", "ä", "Ö", "straße", "GROẞ", " ", "ﬁ", "X"}},
        {"fr", {"é", "À", "œ", "Ÿ", "ç", " ", "l", "E"}},
    };
    std::mt19937_64 random = seeded_generator();
    const std::uint64_t rounds = setting("ITER", 5000);
    for (const Language& language : languages) {
        const icu::Locale locale(language.tag);
        for (std::uint64_t i = 0; i < rounds; ++i) {
            std::string text;
            for (std::uint64_t words = random() % 12; words > 0; --words) {
                text += language.words[random() % language.words.size()];
            }
            ASSERT_EQ(lower(language.tag, text), to_utf8(from_utf8(text).toLower(locale)))
                << language.tag << " of " << text;
            ASSERT_EQ(upper(language.tag, text), to_utf8(from_utf8(text).toUpper(locale)))
                << language.tag << " of " << text;
        }
    }
}

}  // namespace
}  // namespace nq::test
