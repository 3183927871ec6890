#include "standalone/text/unicode.hpp"

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include <array>
#include <thread>
#include <vector>

#include "nqinstance/host/status.h"
#include "standalone/text/language.hpp"

namespace {

constexpr std::uint32_t kLower = 1;
constexpr std::uint32_t kUpper = 2;

class Unicode : public testing::Test {
  protected:
    bool is_combining(std::uint32_t code_point) {
        return host->hasProperty(host, code_point, NQ_PROPERTY_COMBINING) != 0;
    }

    nq::UnicodeService service;
    HostUnicode* host = service.table();
};

}  // namespace

TEST_F(Unicode, TheTableIsAHandle) {
    EXPECT_EQ(host->handle.magic, NQ_MAGIC);
    EXPECT_STREQ(host->handle.name, "standalone unicode");
    EXPECT_EQ(host->handle.release(host), NQ_STATUS_OK);
    EXPECT_EQ(host->toUpper(host, 'a', 1), std::uint32_t{'A'}) << "still there after a release";
}

TEST_F(Unicode, SimpleMappingsGiveOneCodePoint) {
    constexpr std::array<std::array<std::uint32_t, 3>, 10> kRows{{
        // code point, upper, lower
        {'a', 'A', 'a'},
        {'Z', 'Z', 'z'},
        {0xdf, 0xdf, 0xdf},
        {0x130, 0x130, 'i'},
        {0x131, 'I', 0x131},
        {0x1c5, 0x1c4, 0x1c6},
        {0x3c2, 0x3a3, 0x3c2},
        {0x1e9e, 0x1e9e, 0xdf},
        {0x10400, 0x10400, 0x10428},
        {0x10428, 0x10400, 0x10428},
    }};
    for (const auto& [code_point, upper, lower] : kRows) {
        EXPECT_EQ(host->toUpper(host, code_point, 1), upper) << std::hex << code_point;
        EXPECT_EQ(host->toLower(host, code_point, 1), lower) << std::hex << code_point;
    }
}

TEST_F(Unicode, ValuesThatAreNoCodePointsHaveNoMappingAndNoProperty) {
    for (const std::uint32_t value : {0xd800u, 0xdfffu, 0x110000u, 0x7fffffffu, 0xffffffffu}) {
        EXPECT_EQ(host->toUpper(host, value, 1), value);
        EXPECT_EQ(host->toLower(host, value, 1), value);
        EXPECT_FALSE(is_combining(value));
    }
}

TEST_F(Unicode, MarksAndExtendersAreCombining) {
    for (const std::uint32_t yes : {
             0x300u,    // nonspacing
             0x20ddu,   // enclosing
             0x903u,    // spacing
             0xff9eu,   // a modifier letter that extends the cluster before it
             0xe0100u,  // variation selector
             0x1d165u,  // musical stem
         }) {
        EXPECT_TRUE(is_combining(yes)) << std::hex << yes;
    }
    for (const std::uint32_t no : {0x0u, 0x20u, 0x41u, 0xe9u, 0x2b0u, 0x200bu, 0x4e00u, 0x1f600u}) {
        EXPECT_FALSE(is_combining(no)) << std::hex << no;
    }
}

TEST_F(Unicode, EveryCharacterWithACombiningClassIsCombining) {
    for (std::uint32_t code_point = 0; code_point <= 0x10ffff; ++code_point) {
        if (u_getCombiningClass(static_cast<UChar32>(code_point))) {
            EXPECT_TRUE(is_combining(code_point)) << std::hex << code_point;
        }
    }
}

TEST_F(Unicode, OtherSelectorsHoldForNothing) {
    for (const std::uint32_t selector : {0u, 1u, 55u, 57u, 0xffffffffu}) {
        EXPECT_EQ(host->hasProperty(host, 0x300, selector), 0);
    }
}

TEST_F(Unicode, EveryLanguageHasSpecialCasing) {
    for (const char* language : {"tr", "az", "lt", "el", "en", "de", "fil"}) {
        EXPECT_EQ(host->hasSpecialCasing(host, nq::language_code(language)), 1) << language;
    }
    EXPECT_EQ(host->hasSpecialCasing(host, nq::kLanguageNone), 0);
}

TEST_F(Unicode, MapForLanguageWithoutContextTakesTheCodePointForTheText) {
    std::uint32_t out[NQ_CASE_MAPPING_UNITS] = {7, 7, 7};
    EXPECT_EQ(host->mapForLanguage(host, nq::kLanguageTurkish, 'I', out, kLower), 1);
    EXPECT_EQ(out[0], 0x131u);
    EXPECT_EQ(host->mapForLanguage(host, nq::kLanguageTurkish, 'i', out, kUpper), 1);
    EXPECT_EQ(out[0], 0x130u);
    EXPECT_EQ(host->mapForLanguage(host, nq::kLanguageGreek, 0x3a3, out, kLower), 0);
    EXPECT_EQ(host->mapForLanguage(host, nq::kLanguageTurkish, 'I', out, 0), 0);
    EXPECT_EQ(host->mapForLanguage(host, nq::kLanguageTurkish, 'I', out, 3), 0);
    EXPECT_EQ(out[0], 0x130u) << "without a mapping the output is left alone";
    EXPECT_EQ(out[1], 7u);
}

TEST_F(Unicode, AnUnknownLanguageHasTheCommonRules) {
    std::uint32_t out[NQ_CASE_MAPPING_UNITS];
    for (const std::uint32_t language : {0xffffffffu, 0x1u, 0x7400u, 0x54520000u}) {
        EXPECT_EQ(host->mapForLanguage(host, language, 0xdf, out, kUpper), 2);
        EXPECT_EQ(host->mapForLanguage(host, language, 'I', out, kLower), 0);
    }
}

TEST_F(Unicode, AContextServesOnlyTheMappingItWasOfferedFor) {
    const std::uint32_t language = nq::kLanguageGreek;
    const std::uint32_t text[] = {0x391, 0x3a3};
    std::uint32_t out[NQ_CASE_MAPPING_UNITS] = {};
    std::uint64_t count = 1;
    std::uint64_t state = 0;
    const auto offer_final_sigma = [&] {
        state = 0;
        EXPECT_NE(host->mapInContext(host, language, text, 2, out, &count, &state, 1), 0u);
        EXPECT_EQ(count, 0u);
        EXPECT_NE(host->mapInContext(host, language, text + 1, 1, out, &count, &state, 1), 0u);
        EXPECT_EQ(count, 0u);
    };
    const auto lower_sigma = [&](std::uint32_t code) {
        return host->mapForLanguage(host, code, 0x3a3, out, kLower);
    };
    offer_final_sigma();
    EXPECT_EQ(lower_sigma(language), 1);
    EXPECT_EQ(out[0], 0x3c2u);
    EXPECT_EQ(lower_sigma(language), 0) << "used up";
    offer_final_sigma();
    EXPECT_EQ(lower_sigma(nq::kLanguageTurkish), 0) << "another language";
    offer_final_sigma();
    EXPECT_EQ(host->mapForLanguage(host, language, 0x391, out, kLower), 0) << "another letter";
    offer_final_sigma();
    nq::UnicodeService other;
    EXPECT_EQ(other.table()->mapForLanguage(other.table(), language, 0x3a3, out, kLower), 0);
    offer_final_sigma();
    std::thread([&] { EXPECT_EQ(lower_sigma(language), 0) << "another thread"; }).join();
    EXPECT_EQ(lower_sigma(language), 1) << "still this thread's";
}

TEST_F(Unicode, MapInContextNeedsACodePoint) {
    std::uint64_t count = 7;
    std::uint64_t state = 5;
    EXPECT_EQ(host->mapInContext(host, nq::kLanguageGreek, nullptr, 0, nullptr, &count, &state, 1),
              NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(state, 5u);
}

TEST_F(Unicode, TheNormalizerIsMadeOnce) {
    EXPECT_EQ(host->normalizer, nullptr);
    HostNormalizer* first = nullptr;
    HostNormalizer* second = nullptr;
    ASSERT_EQ(host->createNormalizer(host, &first, 0), NQ_STATUS_OK);
    EXPECT_EQ(host->normalizer, first);
    ASSERT_EQ(host->createNormalizer(host, &second, 0), NQ_STATUS_OK);
    EXPECT_EQ(second, first);
    EXPECT_EQ(first->handle.magic, NQ_MAGIC);
    EXPECT_EQ(first->handle.release(first), NQ_STATUS_OK);
    EXPECT_EQ(host->normalizer, first) << "the service owns it";
}

TEST(UnicodeThreads, AllGetTheSameNormalizer) {
    for (int round = 0; round < 50; ++round) {
        nq::UnicodeService service;
        HostUnicode* host = service.table();
        std::array<HostNormalizer*, 8> made{};
        std::vector<std::thread> threads;
        for (HostNormalizer*& mine : made) {
            threads.emplace_back(
                [&mine, host] { EXPECT_EQ(host->createNormalizer(host, &mine, 0), NQ_STATUS_OK); });
        }
        for (std::thread& thread : threads) thread.join();
        for (const HostNormalizer* mine : made) EXPECT_EQ(mine, host->normalizer);
    }
}

// Each thread walks the same text; contexts and states of the others must not show.
TEST(UnicodeThreads, CaseOperationsDoNotMeet) {
    nq::UnicodeService service;
    HostUnicode* host = service.table();
    const auto walk = [host](std::uint32_t language, std::int32_t units_of_i) {
        const std::uint32_t text[] = {0x391, 0x3a3, 'I', 0x307, 0x3a3};
        constexpr std::size_t kLength = std::size(text);
        for (int round = 0; round < 2000; ++round) {
            std::uint64_t state = 0;
            std::uint32_t out[NQ_CASE_MAPPING_UNITS] = {};
            for (std::size_t i = 0; i < kLength; ++i) {
                std::uint64_t count = 0;
                host->mapInContext(host, language, text + i, i + 1 < kLength ? 2 : 1, out, &count,
                                   &state, 1);
                const std::int32_t made =
                    host->mapForLanguage(host, language, text[i], out, kLower);
                if (i == 1) {
                    EXPECT_EQ(made, 0) << "a sigma inside a word";
                }
                if (i == 2) {
                    EXPECT_EQ(made, units_of_i);
                }
                if (i == 4) {
                    EXPECT_EQ(made, 1);
                    EXPECT_EQ(out[0], 0x3c2u);
                }
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(walk, nq::kLanguageLithuanian, 2);
        threads.emplace_back(walk, nq::kLanguageGreek, 0);
    }
    for (std::thread& thread : threads) thread.join();
}

// Mappings are looked up in rows that are made when they are first needed, by whatever thread.
TEST_F(Unicode, ThreadsMayBeTheFirstToAskForTheSameMappings) {
    const auto walk = [this] {
        for (std::uint32_t code_point = 0; code_point < 0x30000; ++code_point) {
            const auto character = static_cast<UChar32>(code_point);
            ASSERT_EQ(host->toUpper(host, code_point, 1),
                      static_cast<std::uint32_t>(u_toupper(character)));
            ASSERT_EQ(host->toLower(host, code_point, 1),
                      static_cast<std::uint32_t>(u_tolower(character)));
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(walk);
    for (std::thread& thread : threads) thread.join();
    walk();
}
