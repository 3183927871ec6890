#include "standalone/text/normalizer.hpp"

#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/normlzr.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "nqinstance/host/status.h"
#include "standalone/text/unicode.hpp"
#include "tests/support/random.hpp"

namespace {

constexpr std::uint32_t kForms[] = {nq::kNormalFormC, nq::kNormalFormD, nq::kNormalFormKC,
                                    nq::kNormalFormKD, nq::kNormalFormKCCasefolded};

struct Normalized {
    NQStatus status;
    std::string text;
};

class Normalization : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(service.table()->createNormalizer(service.table(), &host, 0), NQ_STATUS_OK);
    }

    // Into a buffer of exactly the size that measuring gave.
    Normalized normalize(std::string_view text, std::uint32_t form, std::uint32_t options = 0) {
        // An allocation of exactly the text's size, so that an over-read shows.
        const auto source = std::make_unique<std::uint8_t[]>(text.size());
        std::copy(text.begin(), text.end(), source.get());
        std::uint64_t needed = 0;
        const NQStatus measured =
            host->normalize(host, source.get(), text.size(), form, options, nullptr, 0, &needed);
        if (needed) {
            EXPECT_EQ(measured, NQ_STATUS_BUFFER_TOO_SMALL);
        }
        const auto target = std::make_unique<std::uint8_t[]>(needed);
        std::uint64_t length = ~needed;
        const NQStatus status = host->normalize(host, source.get(), text.size(), form, options,
                                                target.get(), needed, &length);
        EXPECT_EQ(length, needed);
        return {status, std::string(reinterpret_cast<const char*>(target.get()), needed)};
    }

    int compare(std::string_view a, std::string_view b, std::uint32_t options = 0) {
        std::int32_t result = 99;
        EXPECT_EQ(host->compare(host, reinterpret_cast<const std::uint8_t*>(a.data()), a.size(),
                                reinterpret_cast<const std::uint8_t*>(b.data()), b.size(), options,
                                &result),
                  NQ_STATUS_OK);
        return result < 0 ? -1 : result > 0;
    }

    nq::UnicodeService service;
    HostNormalizer* host = nullptr;
};

const icu::Normalizer2* icu_form(std::uint32_t form) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* result = nullptr;
    switch (form) {
        case nq::kNormalFormC:
            result = icu::Normalizer2::getNFCInstance(status);
            break;
        case nq::kNormalFormD:
            result = icu::Normalizer2::getNFDInstance(status);
            break;
        case nq::kNormalFormKC:
            result = icu::Normalizer2::getNFKCInstance(status);
            break;
        case nq::kNormalFormKD:
            result = icu::Normalizer2::getNFKDInstance(status);
            break;
        default:
            result = icu::Normalizer2::getNFKCCasefoldInstance(status);
    }
    EXPECT_TRUE(U_SUCCESS(status));
    return result;
}

// Letters, marks, Hangul, ligatures and widths that the forms treat differently.
constexpr char32_t kAlphabet[] = {
    U'a',      U'A',      U'\u00e9', U'\u0301', U'\u0323',     U'\u0327',     U'\u00c5',
    U'\u212b', U'\ufb01', U'\u1100', U'\u1161', U'\u11a8',     U'\uac01',     U'\u00df',
    U'\u1e9e', U'\uff21', U'\u2460', U'\u0130', U'\u0345',     U'\u03b1',     U'\u1fb3',
    U'\u1fbc', U'\u03a3', U'\u03c2', U'\u00ad', U'\U0001d400', U'\U0001d15e', U'\u0f73',
    U'\u2126', U' ',      U'\u00a0', U'\u0149', U'\u1f80',     U'\u0344'};

icu::UnicodeString random_text(nq::test::SeededRandom& random) {
    icu::UnicodeString text;
    for (std::uint64_t left = random.below(9); left; --left) {
        text.append(static_cast<UChar32>(random.pick(kAlphabet)));
    }
    return text;
}

std::string utf8(const icu::UnicodeString& text) {
    std::string result;
    return text.toUTF8String(result);
}

}  // namespace

TEST_F(Normalization, FormsDiffer) {
    const std::string_view text = "\u00c5\ufb01";
    EXPECT_EQ(normalize(text, nq::kNormalFormC).text, "\u00c5\ufb01");
    EXPECT_EQ(normalize(text, nq::kNormalFormD).text, "A\u030a\ufb01");
    EXPECT_EQ(normalize(text, nq::kNormalFormKC).text, "\u00c5fi");
    EXPECT_EQ(normalize(text, nq::kNormalFormKD).text, "A\u030afi");
    EXPECT_EQ(normalize(text, nq::kNormalFormKCCasefolded).text, "\u00e5fi");
}

TEST_F(Normalization, UnknownFormsAreRefused) {
    for (const std::uint32_t form : {0u, nq::kNormalFormLast + 1, 0xffffffffu}) {
        std::uint64_t length = 77;
        std::uint8_t target[4] = {1, 2, 3, 4};
        EXPECT_EQ(host->normalize(host, target, 1, form, 0, target, 4, &length),
                  NQ_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(length, 77u);
        EXPECT_EQ(target[0], 1);
    }
}

TEST_F(Normalization, IgnoringCaseFoldsThenNormalizes) {
    EXPECT_EQ(normalize("\u00c5\u00df", nq::kNormalFormD, nq::kNormalizeIgnoreCase).text,
              "a\u030ass");
    EXPECT_EQ(normalize("\u00c5\u00df", nq::kNormalFormC, nq::kNormalizeIgnoreCase).text,
              "\u00e5ss");
    EXPECT_EQ(normalize("\u00c5", nq::kNormalFormC, ~nq::kNormalizeIgnoreCase).text, "\u00c5")
        << "other bits mean nothing";
}

TEST_F(Normalization, EmptyTextNeedsNothing) {
    for (const std::uint32_t form : kForms) {
        std::uint64_t length = 5;
        EXPECT_EQ(host->normalize(host, nullptr, 0, form, 0, nullptr, 0, &length), NQ_STATUS_OK);
        EXPECT_EQ(length, 0u);
    }
}

TEST_F(Normalization, TheLengthIsOptional) {
    std::uint8_t target[2];
    const std::uint8_t text[] = {'x'};
    EXPECT_EQ(host->normalize(host, text, 1, nq::kNormalFormC, 0, target, 2, nullptr),
              NQ_STATUS_OK);
    EXPECT_EQ(target[0], 'x');
}

TEST_F(Normalization, ATooSmallTargetIsUnchanged) {
    const std::string text = "\u00c5\u00c5";  // 6 bytes decomposed
    for (std::uint64_t capacity = 0; capacity < 6; ++capacity) {
        std::vector<std::uint8_t> target(capacity, 0xa5);
        std::uint64_t length = 0;
        EXPECT_EQ(
            host->normalize(host, reinterpret_cast<const std::uint8_t*>(text.data()), text.size(),
                            nq::kNormalFormD, 0, target.data(), capacity, &length),
            NQ_STATUS_BUFFER_TOO_SMALL);
        EXPECT_EQ(length, 6u);
        EXPECT_EQ(target, std::vector<std::uint8_t>(capacity, 0xa5));
    }
    std::uint8_t target[7];
    target[6] = 0xa5;
    std::uint64_t length = 0;
    EXPECT_EQ(host->normalize(host, reinterpret_cast<const std::uint8_t*>(text.data()), text.size(),
                              nq::kNormalFormD, 0, target, 7, &length),
              NQ_STATUS_OK);
    EXPECT_EQ(length, 6u);
    EXPECT_EQ(target[6], 0xa5) << "no terminator";
}

TEST_F(Normalization, MalformedTextIsReplaced) {
    struct {
        std::string_view text;
        std::string_view result;
    } const cases[] = {
        {"a\x80z", "a\ufffdz"},                            // stray continuation byte
        {"\xc3", "\ufffd"},                                // ends inside a character
        {"\xe2\x82", "\ufffd"},                            //
        {"\xff\xfe", "\ufffd\ufffd"},                      // never in UTF-8
        {"\xed\xa0\x80", "\ufffd\ufffd\ufffd"},            // surrogate
        {"\xc0\x80", "\ufffd\ufffd"},                      // overlong
        {"\xf4\x90\x80\x80", "\ufffd\ufffd\ufffd\ufffd"},  // beyond the last code point
    };
    for (const auto& [text, result] : cases) {
        for (const std::uint32_t form : kForms) {
            const Normalized made = normalize(text, form);
            EXPECT_EQ(made.status, NQ_STATUS_MALFORMED);
            EXPECT_EQ(made.text, result);
        }
        EXPECT_EQ(compare(text, result), 0);
    }
    EXPECT_EQ(normalize("\ufffd", nq::kNormalFormC).status, NQ_STATUS_OK) << "asked for";
}

TEST_F(Normalization, TextsWithZeroBytesAreCounted) {
    const std::string_view text("a\0\u00e9", 4);
    EXPECT_EQ(normalize(text, nq::kNormalFormD).text, std::string_view("a\0e\u0301", 5));
    EXPECT_EQ(compare({"a\0b", 3}, {"a\0c", 3}), -1);
}

TEST_F(Normalization, RandomTextsAreNormalizedAsIcuDoes) {
    nq::test::SeededRandom random(20000);
    for (std::uint64_t round = 0; round < random.rounds(); ++round) {
        const icu::UnicodeString text = random_text(random);
        for (const std::uint32_t form : kForms) {
            UErrorCode status = U_ZERO_ERROR;
            const std::string expected = utf8(icu_form(form)->normalize(text, status));
            ASSERT_TRUE(U_SUCCESS(status));
            const Normalized made = normalize(utf8(text), form);
            ASSERT_EQ(made.status, NQ_STATUS_OK);
            ASSERT_EQ(made.text, expected) << utf8(text) << " form " << form;
            ASSERT_EQ(normalize(made.text, form).text, expected) << "stable";
        }
    }
}

TEST_F(Normalization, CompareFindsEquivalents) {
    EXPECT_EQ(compare("\u00c5", "A\u030a"), 0);
    EXPECT_EQ(compare("\u212b", "\u00c5"), 0);
    EXPECT_EQ(compare("a\u0323\u0301", "a\u0301\u0323"), 0);
    EXPECT_EQ(compare("", ""), 0);
    EXPECT_EQ(compare("", "a"), -1);
    EXPECT_EQ(compare("b", "a"), 1);
    EXPECT_EQ(compare("a", "a "), -1) << "blanks count";
    EXPECT_EQ(compare("\U00010000", "\uffff"), 1) << "code points, not UTF-16 units";
}

TEST_F(Normalization, CompareTakesOptions) {
    EXPECT_NE(compare("\u00df", "SS"), 0);
    EXPECT_EQ(compare("\u00df", "SS", nq::kNormalizeIgnoreCase), 0);
    EXPECT_EQ(compare("A\u030aB", "\u00e5b", nq::kNormalizeIgnoreCase), 0);
    EXPECT_NE(compare("\ufb01", "fi"), 0);
    EXPECT_EQ(compare("\ufb01", "fi", nq::kCompareCompatibility), 0);
    EXPECT_NE(compare("\ufb01", "FI", nq::kCompareCompatibility), 0);
    EXPECT_EQ(compare("\ufb01", "FI", nq::kCompareCompatibility | nq::kNormalizeIgnoreCase), 0);
    EXPECT_EQ(compare("\u03a3\u03c2", "\u03c3\u03c3", nq::kNormalizeIgnoreCase), 0);
}

TEST_F(Normalization, RandomTextsCompareAsIcuDoes) {
    nq::test::SeededRandom random(50000);
    for (std::uint64_t round = 0; round < random.rounds(); ++round) {
        const icu::UnicodeString a = random_text(random);
        icu::UnicodeString b = random_text(random);
        if (round % 2) {
            UErrorCode status = U_ZERO_ERROR;
            b = icu_form(random.pick(kForms))->normalize(a, status);
        }
        for (const bool ignores_case : {false, true}) {
            UErrorCode status = U_ZERO_ERROR;
            const int32_t expected = icu::Normalizer::compare(
                a, b, U_COMPARE_CODE_POINT_ORDER | (ignores_case ? U_COMPARE_IGNORE_CASE : 0u),
                status);
            ASSERT_TRUE(U_SUCCESS(status));
            const int made = compare(utf8(a), utf8(b), ignores_case ? nq::kNormalizeIgnoreCase : 0);
            ASSERT_EQ(made, expected < 0 ? -1 : expected > 0) << utf8(a) << " and " << utf8(b);
        }
    }
}

TEST_F(Normalization, ThreadsShareIt) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([this] {
            for (int round = 0; round < 1000; ++round) {
                EXPECT_EQ(normalize("\u00c5\u00df", nq::kNormalFormKCCasefolded).text, "\u00e5ss");
                EXPECT_EQ(compare("\u00c5", "A\u030a"), 0);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}
