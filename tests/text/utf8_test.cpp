#include "nqinstance/text/utf8.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>

#include "nqinstance/host/kernel.h"
#include "nqinstance/text/utf.h"
#include "tests/support/guard_pages.hpp"
#include "tests/support/library.hpp"
#include "tests/support/random.hpp"
#include "tests/text/utf8_model.hpp"

namespace nq::test {
namespace {

using namespace std::string_view_literals;

// The text flush on a protected page.
class Placed {
  public:
    explicit Placed(std::string_view text) : text_(pages().last(text.size())) {
        std::ranges::copy(text, text_.begin());
    }
    const std::uint8_t* data() const { return text_.data(); }
    std::uint64_t size() const { return text_.size(); }

  private:
    static const GuardPages& pages() {
        static const GuardPages instance(1);
        return instance;
    }
    std::span<std::uint8_t> text_;
};

std::uint64_t char_size(std::string_view text) {
    return NQ_LIBRARY(_U8CharSize)(Placed(text).data());
}

model::Sized valid_char_size(std::string_view text) {
    std::uint8_t flag = 99;
    const std::uint64_t size = NQ_LIBRARY(_U8ValidCharSize)(Placed(text).data(), &flag);
    EXPECT_LE(flag, 1);
    return {size, flag == 1};
}

constexpr bool kValid = true;
constexpr bool kInvalid = false;

// --- Sizes with a verdict ------------------------------------------------------------------------

TEST(Utf8ValidCharSize, WellFormedCharacters) {
    EXPECT_EQ(valid_char_size("A"), (model::Sized{1, kValid}));
    EXPECT_EQ(valid_char_size("\0"sv), (model::Sized{1, kValid}));
    EXPECT_EQ(valid_char_size("\xC3\xA9"), (model::Sized{2, kValid}));
    EXPECT_EQ(valid_char_size("\xE0\xA0\x80"), (model::Sized{3, kValid}));
    EXPECT_EQ(valid_char_size("\xE4\xB8\x80"), (model::Sized{3, kValid}));
    EXPECT_EQ(valid_char_size("\xED\x9F\xBF"), (model::Sized{3, kValid}));
    EXPECT_EQ(valid_char_size("\xF0\x90\x80\x80"), (model::Sized{4, kValid}));
}

TEST(Utf8ValidCharSize, NoLimitBehindF4) {
    EXPECT_EQ(valid_char_size("\xF4\x90\x80\x80"), (model::Sized{4, kValid}));
}

TEST(Utf8ValidCharSize, OverlongFormsAndSurrogatesAreWholeAndInvalid) {
    EXPECT_EQ(valid_char_size("\xE0\x80\x80"), (model::Sized{3, kInvalid}));
    EXPECT_EQ(valid_char_size("\xE0\x9F\xBF"), (model::Sized{3, kInvalid}));
    EXPECT_EQ(valid_char_size("\xED\xA0\x80"), (model::Sized{3, kInvalid}));
    EXPECT_EQ(valid_char_size("\xF0\x80\x80\x80"), (model::Sized{4, kInvalid}));
    EXPECT_EQ(valid_char_size("\xC0\x80"), (model::Sized{2, kInvalid}));
}

TEST(Utf8ValidCharSize, StrayAndAbandonedBytes) {
    EXPECT_EQ(valid_char_size("\x80"), (model::Sized{1, kInvalid}));
    EXPECT_EQ(valid_char_size("\xBF"), (model::Sized{1, kInvalid}));
    EXPECT_EQ(valid_char_size("\xF5\x80\x80\x80"), (model::Sized{4, kInvalid}));
    EXPECT_EQ(valid_char_size("\xF8\x80\x80\x80\x80"), (model::Sized{5, kInvalid}));
    EXPECT_EQ(valid_char_size("\xFF\x80\x80\x80\x80\x80"), (model::Sized{6, kInvalid}));
}

TEST(Utf8ValidCharSize, CutOffCharactersCountWhatIsThere) {
    EXPECT_EQ(valid_char_size("\xC3"
                              "A"),
              (model::Sized{1, kInvalid}));
    EXPECT_EQ(valid_char_size("\xE4\xB8"
                              "A"),
              (model::Sized{2, kInvalid}));
    EXPECT_EQ(valid_char_size("\xF1\x80\x80"
                              "A"),
              (model::Sized{3, kInvalid}));
}

TEST(Utf8ValidCharSize, LimitedLeadsTakeTheirSecondByteWhateverItIs) {
    EXPECT_EQ(valid_char_size("\xE0"
                              "AB"),
              (model::Sized{2, kInvalid}));
    EXPECT_EQ(valid_char_size("\xE0"
                              "A\x80"),
              (model::Sized{3, kInvalid}));
    EXPECT_EQ(valid_char_size("\xED"
                              "AB"),
              (model::Sized{2, kInvalid}));
    EXPECT_EQ(valid_char_size("\xF0"
                              "A\x80"
                              "B"),
              (model::Sized{3, kInvalid}));
}

// --- Sizes without a verdict ---------------------------------------------------------------------

TEST(Utf8CharSize, PlainLeads) {
    EXPECT_EQ(char_size("A"), 1u);
    EXPECT_EQ(char_size("\x80"), 1u);
    EXPECT_EQ(char_size("\xC3\xA9"), 2u);
    EXPECT_EQ(char_size("\xC3"
                        "A"),
              1u);
    EXPECT_EQ(char_size("\xE4\xB8\x80"), 3u);
    EXPECT_EQ(char_size("\xE4\xB8"
                        "A"),
              2u);
    EXPECT_EQ(char_size("\xF1\x80\x80\x80"), 4u);
    EXPECT_EQ(char_size("\xFC\x80\x80\x80\x80\x80"), 6u);
}

TEST(Utf8CharSize, SecondByteCountsTwiceBehindLimitedLeads) {
    EXPECT_EQ(char_size("\xE0\xA0\x80"), 4u);
    EXPECT_EQ(char_size("\xED\x9F\xBF"), 4u);
    EXPECT_EQ(char_size("\xF0\x90\x80\x80"), 5u);
}

TEST(Utf8CharSize, SecondByteOutsideItsRange) {
    EXPECT_EQ(char_size("\xE0\x80\x80"), 3u);
    EXPECT_EQ(char_size("\xE0\x80"), 3u);
    EXPECT_EQ(char_size("\xE0"
                        "A"),
              2u);
    EXPECT_EQ(char_size("\xED\xA0\x80"), 3u);
    EXPECT_EQ(char_size("\xED\xA0"
                        "A"),
              2u);
    EXPECT_EQ(char_size("\xED"
                        "A\x80"),
              3u);
    EXPECT_EQ(char_size("\xF0\x80\x80\x80"), 4u);
    EXPECT_EQ(char_size("\xF0"
                        "A\x80\x80"),
              4u);
    EXPECT_EQ(char_size("\xF0"
                        "AB"),
              2u);
}

TEST(Utf8CharSize, FlagChoosesTheRule) {
    for (const std::string_view text : {"A"sv, "\xE0\xA0\x80"sv, "\xF0\x90\x80\x80"sv, "\x80"sv}) {
        const Placed placed(text);
        std::uint8_t flag = 99;
        const model::Sized expected = model::valid_char_size(placed.data());
        EXPECT_EQ(NQ_LIBRARY(nqzsu8CharSize)(placed.data(), &flag), expected.size);
        EXPECT_EQ(flag, expected.is_valid);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8CharSize)(placed.data(), nullptr), char_size(text));
        EXPECT_EQ(NQ_LIBRARY(nqzsu8CharSize2)(placed.data()), char_size(text));
    }
}

TEST(Utf8CharSize, NextIsBehindTheSizeWithoutVerdict) {
    const std::uint8_t text[] = {0xE0, 0xA0, 0x80, 'A', 'B'};
    EXPECT_EQ(NQ_LIBRARY(nqzsu8NextChar)(text), text + 4);
    EXPECT_EQ(NQ_LIBRARY(nqzsu8NextChar)(text + 3), text + 4);
}

// Every string of three bytes, with three further bytes of either kind. Sanitized, a part of them.
TEST(Utf8CharSize, AllStringsOfThreeBytes) {
    const std::uint32_t step = model::kSlowdown > 1 ? 61 : 1;
    constexpr std::uint8_t kBehind[] = {0x00, 0x80};
    const auto size = NQ_LIBRARY(_U8CharSize);
    const auto size2 = NQ_LIBRARY(nqzsu8CharSize2);
    const auto valid_size = NQ_LIBRARY(_U8ValidCharSize);
    const auto next = NQ_LIBRARY(nqzsu8NextChar);
    const auto either_size = NQ_LIBRARY(nqzsu8CharSize);
    const auto slenb = NQ_LIBRARY(UTF8_SLENB);
    const auto blenb = NQ_LIBRARY(UTF8_BLENB);
    const auto slen = NQ_LIBRARY(UTF8_SLEN);
    const auto blen = NQ_LIBRARY(UTF8_BLEN);
    for (std::uint32_t bits = 0; bits < 1u << 24; bits += step) {
        for (const std::uint8_t behind : kBehind) {
            const std::uint8_t text[9] = {static_cast<std::uint8_t>(bits >> 16),
                                          static_cast<std::uint8_t>(bits >> 8),
                                          static_cast<std::uint8_t>(bits),
                                          behind,
                                          behind,
                                          behind,
                                          0,
                                          0,
                                          0};
            const std::uint64_t expected = model::char_size(text);
            const model::Sized verdict = model::valid_char_size(text);
            std::uint8_t flag = 99;
            bool is_right = size(text) == expected && size2(text) == expected &&
                            next(text) == text + expected &&
                            either_size(text, nullptr) == expected &&
                            valid_size(text, &flag) == verdict.size && flag == verdict.is_valid &&
                            either_size(text, &flag) == verdict.size;
            const model::Text three(text, 3);
            const auto length = static_cast<std::size_t>(std::ranges::find(text, 0) - text);
            is_right = is_right && slenb(text, 3) == model::slenb(three) &&
                       blenb(text, 3) == model::blenb(three) &&
                       blen(text) == model::blenb({text, length}) &&
                       slen(text + 2) == model::slen(text + 2);
            ASSERT_TRUE(is_right) << std::hex << bits << " then " << int{behind};
        }
    }
}

// --- Text ----------------------------------------------------------------------------------------

std::uint64_t blenb(std::string_view text) {
    const Placed placed(text);
    return NQ_LIBRARY(UTF8_BLENB)(placed.data(), placed.size());
}

std::uint64_t blen(std::string_view text) {
    return NQ_LIBRARY(UTF8_BLEN)(Placed(std::string(text) + '\0').data());
}

TEST(Utf8Length, CharactersOfTerminatedText) {
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(nullptr), 0u);
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(Placed("\0"sv).data()), 0u);
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(Placed("\xC3\xA9"
                                           "A\0"sv)
                                        .data()),
              2u);
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(Placed("\x80\x80\0"sv).data()), 2u);
}

TEST(Utf8Length, LeadByteBeforeTheTerminatorLeadsPastIt) {
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(Placed("\xC3\0\0"sv).data()), 1u);
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLEN)(Placed("\xE4\0"
                                           "ABC\0"sv)
                                        .data()),
              3u);
}

TEST(Utf8Length, CharactersThatBeginWithinTheLength) {
    const auto slenb = [](std::string_view text) {
        const Placed placed(text);
        return NQ_LIBRARY(UTF8_SLENB)(placed.data(), placed.size());
    };
    EXPECT_EQ(slenb(""), 0u);
    EXPECT_EQ(NQ_LIBRARY(UTF8_SLENB)(nullptr, 0), 0u);
    EXPECT_EQ(slenb("\xC3\xA9"
                    "A"),
              2u);
    EXPECT_EQ(slenb("A\xF0"), 2u);
    EXPECT_EQ(slenb("\xC3"
                    "A"),
              1u);
    EXPECT_EQ(slenb("\0\0"sv), 2u);
    EXPECT_EQ(slenb("\xFF"
                    "ABCDEF"),
              2u);
}

TEST(Utf8Length, CutBackToWholeCharacters) {
    EXPECT_EQ(blenb("A\xC3"), 1u);
    EXPECT_EQ(blenb("\xC3\xA9\xA9"), 2u);
    EXPECT_EQ(blenb("\x80\x80"), 0u);
    EXPECT_EQ(blenb("\xFF\x80"), 0u);
    EXPECT_EQ(blenb("AB"), 2u);
    EXPECT_EQ(blenb(""), 0u);
    EXPECT_EQ(blenb("AB\xF0\x9F\x98"), 2u);
    EXPECT_EQ(blenb("AB\xF0\x9F\x98\x80"), 6u);
    EXPECT_EQ(blenb("\x80"
                    "A\x80"),
              2u);
    EXPECT_EQ(blenb("A\xC0\x80"), 0u);
    EXPECT_EQ(NQ_LIBRARY(UTF8_BLENB)(nullptr, 0), 0u);
}

TEST(Utf8Length, TerminatedTextIsCutBackAlike) {
    EXPECT_EQ(NQ_LIBRARY(UTF8_BLEN)(nullptr), 0u);
    EXPECT_EQ(blen(""), 0u);
    EXPECT_EQ(blen("A\xC3"), 1u);
    EXPECT_EQ(blen("\xC3\xA9\xA9"), 2u);
    EXPECT_EQ(blen("\x80\x80"), 0u);
    EXPECT_EQ(blen("AB"), 2u);
}

TEST(Utf8Length, RandomTextsAreCutBackAsTheModelSays) {
    std::mt19937_64 random = seeded_generator();
    const std::uint64_t rounds = setting("ITER", 200000);
    for (std::uint64_t i = 0; i < rounds; ++i) {
        const model::Bytes text = model::random_text(random, random() % 40, random() % 100);
        const Placed placed({reinterpret_cast<const char*>(text.data()), text.size()});
        ASSERT_EQ(NQ_LIBRARY(UTF8_BLENB)(placed.data(), placed.size()), model::blenb(text));
    }
}

// --- Classes of characters -----------------------------------------------------------------------

NQChar asked = 0;

int32_t ask_predicate(NQChar code_point) noexcept {
    asked = code_point;
    return -7;
}

TEST(Utf8Class, PredicateGetsTheCodePointAndItsAnswerIsReturned) {
    const auto code_point_of = [](std::string_view text) {
        EXPECT_EQ(NQ_LIBRARY(_NQZSU8IsFunct)(Placed(text).data(), ask_predicate), -7);
        return asked;
    };
    EXPECT_EQ(code_point_of("A"), 0x41u);
    EXPECT_EQ(code_point_of("\xC3\xA9"), 0xE9u);
    EXPECT_EQ(code_point_of("\xE2\x82\xAC"), 0x20ACu);
    EXPECT_EQ(code_point_of("\xF0\x9F\x98\x80"), 0x1F600u);
    EXPECT_EQ(code_point_of("\xED\xA0\x80"), 0xD800u);
    EXPECT_EQ(code_point_of("\x80"), 0xFFFDu);
    EXPECT_EQ(code_point_of("\xC0\x80"), 0xFFFDu);
    EXPECT_EQ(code_point_of("\xFF"
                            "A"),
              0xFFFDu);
}

// A host that has nothing but a Unicode service, which keeps what it was asked.
class Utf8Combining : public testing::Test {
  protected:
    void SetUp() override {
        unicode_.hasProperty = has_property;
        kernel_.unicode = &unicode_;
        host() = &kernel_;
        questions_.clear();
    }
    void TearDown() override { host() = nullptr; }

    static HostKernel*& host() {
        return *static_cast<HostKernel**>(library_symbol("Exported_NQHandle"));
    }

    static std::int32_t has_property(HostUnicode*, std::uint32_t code_point,
                                     std::uint32_t selector) noexcept {
        questions_.push_back({code_point, selector});
        return 42;
    }

    static std::int32_t is_combining(std::string_view text) {
        return NQ_LIBRARY(nqzsu8IsCombining)(Placed(text).data());
    }

    using Questions = std::vector<std::array<std::uint32_t, 2>>;
    static inline Questions questions_;
    HostUnicode unicode_{};
    HostKernel kernel_{};
};

TEST_F(Utf8Combining, JoinersNeedNoHost) {
    EXPECT_EQ(is_combining("\xE2\x80\x8C"), 1);
    EXPECT_EQ(is_combining("\xE2\x80\x8D"), 1);
    EXPECT_TRUE(questions_.empty());
}

TEST_F(Utf8Combining, HostIsAskedForAllElse) {
    EXPECT_EQ(is_combining("A"), 42);
    EXPECT_EQ(is_combining("\xCC\x81"), 42);
    EXPECT_EQ(is_combining("\xE2\x80\x8B"), 42);
    EXPECT_EQ(is_combining("\xE2\x80\x8E"), 42);
    EXPECT_EQ(is_combining("\x80"), 42);
    const Questions expected{{0x41, 56}, {0x301, 56}, {0x200B, 56}, {0x200E, 56}, {0xFFFD, 56}};
    EXPECT_EQ(questions_, expected);
}

TEST_F(Utf8Combining, NothingCombinesWithoutAService) {
    kernel_.unicode = nullptr;
    EXPECT_EQ(is_combining("\xCC\x81"), 0);
    EXPECT_EQ(is_combining("\xE2\x80\x8D"), 1);
    host() = nullptr;
    EXPECT_EQ(is_combining("\xCC\x81"), 0);
}

}  // namespace
}  // namespace nq::test
