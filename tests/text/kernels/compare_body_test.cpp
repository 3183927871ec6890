#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/guard_pages.hpp"
#include "tests/support/random.hpp"
#include "tests/text/compare_fixture.hpp"
#include "tests/text/compare_model.hpp"

namespace nq::test {
namespace {

const DemandedChecks kDemanded{"nqzsu8Compare",
                               "nqzsu8NormCompare",
                               "nqzsu8NormEqual",
                               "nqzsu8NormASCIIEqual",
                               "nqzsncmp",
                               "nqzseqn",
                               "equal_prefix_ignoring_ascii_case_utf8"};

// The comparisons at every length, with both texts flush on protected pages.
class CompareEdgeBody : public CompareBody {
  protected:
    struct Filling {
        const char* name;
        std::string text;   // repeated
        std::string other;  // the same in another case
    };
    static const std::vector<Filling>& fillings() {
        static const std::vector<Filling> all{
            {"ascii", "the Quick x", "THE qUICK X"},
            {"two bytes", "\u0436\u044F\u043B", "\u0416\u042F\u041B"},
            {"three bytes", "\u4E2D\u2C30", "\u4E2D\u2C00"},
            {"four bytes", "\U0001F600\U00010428", "\U0001F600\U00010400"},
            {"mixed", "caf\u00E9 \u4E2D\u0436 \U00010428z", "CAF\u00C9 \u4E2D\u0416 \U00010400Z"},
            {"malformed", "ab\xC3\x80\x80\xFF\xE4x", "AB\xC3\x80\x80\xFF\xE4X"},
        };
        return all;
    }
    static std::string repeated(const std::string& text, std::size_t length) {
        std::string result;
        while (result.size() < length) result += text;
        result.resize(length);
        return result;
    }

    static std::string_view placed(std::span<std::uint8_t> at, std::string_view text) {
        std::ranges::copy(text, at.begin());
        return {reinterpret_cast<const char*>(at.data()), text.size()};
    }

    // At the place in its pages, with the bytes behind it varied.
    std::string_view placed(const GuardPages& pages, std::size_t offset, std::string_view text) {
        const auto from = pages.all().subspan(offset);
        const auto behind = from.subspan(text.size());
        constexpr std::uint8_t kBehind[] = {' ', 'X', 0x80, 0xC3, 0};
        for (std::size_t i = 0; i < std::min<std::size_t>(behind.size(), 33); ++i) {
            behind[i] = kBehind[(behind_ + i) % std::size(kBehind)];
        }
        ++behind_;
        return placed(from, text);
    }

    struct Expected {
        int exact, compared, equal, ascii;
    };
    Expected expected_of(std::string_view a, std::string_view b) {
        const auto lower = [this](NQChar code_point) { return host_lower(code_point); };
        return {model::compare(a, b), model::norm_compare(a, b, lower),
                model::norm_equal(a, b, lower), model::ascii_equal(a, b)};
    }
    void check_placed(std::string_view x, std::string_view y, const Expected& expected) {
        const auto sizes = [&] { return testing::Message() << x.size() << " and " << y.size(); };
        ASSERT_EQ(exact_checks_.counted(compare(x, y)), expected.exact) << sizes();
        ASSERT_EQ(compare_checks_.counted(norm_compare(x, y)), expected.compared) << sizes();
        ASSERT_EQ(equal_checks_.counted(norm_equal(x, y)), expected.equal) << sizes();
        ASSERT_EQ(ascii_checks_.counted(ascii_equal(x, y)), expected.ascii) << sizes();
    }

    // Both texts at the ends of their pages, then at the starts, then away from them.
    void check(std::string_view a, std::string_view b) {
        const Expected expected = expected_of(a, b);
        check_placed(placed(a_.last(a.size()), a), placed(b_.last(b.size()), b), expected);
        check_placed(placed(a_, 0, a), placed(b_, 0, b), expected);
        offset_ = (offset_ + 1) % 64;
        check_placed(placed(a_, offset_, a), placed(b_, offset_ * 7 % 64, b), expected);
    }

    // Every place of a short text, some of a long one.
    static std::vector<std::size_t> places(std::size_t length) {
        std::vector<std::size_t> all;
        for (std::size_t i = 0; i < length; i += length <= 130 ? 1 : 13) all.push_back(i);
        if (length) all.push_back(length - 1);
        return all;
    }

    GuardPages a_{(1 << 16) + 128};
    GuardPages b_{(1 << 16) + 128};
    std::size_t offset_ = 0;
    std::size_t behind_ = 0;
    const Checks exact_checks_ = checks_of("nqzsu8Compare");
    const Checks compare_checks_ = checks_of("nqzsu8NormCompare");
    const Checks equal_checks_ = checks_of("nqzsu8NormEqual");
    const Checks ascii_checks_ = checks_of("nqzsu8NormASCIIEqual");
};

TEST_P(CompareEdgeBody, TheSameTextOfEveryLength) {
    for (const Filling& filling : fillings()) {
        SCOPED_TRACE(filling.name);
        for (std::size_t length = 0; length <= 300; ++length) {
            const std::string text = repeated(filling.text, length);
            ASSERT_NO_FATAL_FAILURE(check(text, text));
            ASSERT_EQ(norm_compare(text, text), 0) << length;
            ASSERT_EQ(norm_equal(text, text), 1) << length;
        }
    }
}

TEST_P(CompareEdgeBody, EveryLengthAtEveryStart) {
    for (const Filling& filling : fillings()) {
        SCOPED_TRACE(filling.name);
        for (std::size_t length = 0; length <= 300; ++length) {
            const std::string text = repeated(filling.text, length);
            const std::string other = repeated(filling.other, length);
            const Expected expected = expected_of(text, other);
            for (std::size_t start = 0; start < 64; ++start) {
                const std::size_t of_other = (start * 7 + length) % 64;
                ASSERT_NO_FATAL_FAILURE(
                    check_placed(placed(a_, start, text), placed(b_, of_other, other), expected));
            }
        }
    }
}

TEST_P(CompareEdgeBody, OtherCaseOfEveryLength) {
    for (const Filling& filling : fillings()) {
        SCOPED_TRACE(filling.name);
        for (std::size_t length = 0; length <= 300; ++length) {
            const std::string text = repeated(filling.text, length);
            const std::string other = repeated(filling.other, length);
            ASSERT_NO_FATAL_FAILURE(check(text, other));
            ASSERT_NO_FATAL_FAILURE(check(other, text));
        }
    }
}

TEST_P(CompareEdgeBody, ADifferenceAtEveryPlace) {
    for (const Filling& filling : fillings()) {
        SCOPED_TRACE(filling.name);
        for (std::size_t length = 1; length <= 300; length += length <= 100 ? 1 : 23) {
            std::string text = repeated(filling.text, length);
            const std::string original = text;
            for (const std::size_t place : places(length)) {
                for (const int flip : {0x20, 0x01, 0x80}) {
                    text[place] = static_cast<char>(text[place] ^ flip);
                    ASSERT_NO_FATAL_FAILURE(check(text, original)) << place << " " << flip;
                    text[place] = original[place];
                }
            }
        }
    }
}

// The letters belong to the character that the byte before them announces.
TEST_P(CompareEdgeBody, ABrokenSequenceAtEveryPlace) {
    for (const char lead : {'\xC3', '\xE4', '\xF0', '\xF8', '\xFC', '\xFF', '\x80'}) {
        for (std::size_t place = 0; place <= 100; ++place) {
            const std::string text =
                std::string(place, 'x') + lead + "ABCDEFG" + std::string(100, 'x');
            ASSERT_NO_FATAL_FAILURE(check(text, text + " ")) << place;
            for (std::size_t letter = place + 1; letter < place + 7; ++letter) {
                std::string other = text;
                other[letter] = static_cast<char>(text[letter] | 0x20);
                ASSERT_NO_FATAL_FAILURE(check(text, other)) << place << " " << letter;
            }
        }
    }
}

TEST_P(CompareEdgeBody, TextsOfUnequalLengths) {
    for (const Filling& filling : fillings()) {
        SCOPED_TRACE(filling.name);
        for (std::size_t length = 0; length <= 150; length += 3) {
            const std::string text = repeated(filling.text, length);
            for (std::size_t shorter = 0; shorter < length; ++shorter) {
                const std::string start = repeated(filling.other, shorter);
                ASSERT_NO_FATAL_FAILURE(check(text, start));
                ASSERT_NO_FATAL_FAILURE(check(start, text));
            }
            for (const std::size_t blanks : {1u, 2u, 31u, 32u, 33u, 100u}) {
                ASSERT_NO_FATAL_FAILURE(check(text + std::string(blanks, ' '), text));
                ASSERT_NO_FATAL_FAILURE(check(text, text + std::string(blanks, ' ') + "x"));
            }
        }
    }
}

TEST_P(CompareEdgeBody, LongTexts) {
    for (const Filling& filling : fillings()) {
        SCOPED_TRACE(filling.name);
        for (const std::size_t length :
             {510u, 511u, 512u, 1022u, 1023u, 1024u, 4094u, 4095u, 4096u, 65534u, 65535u, 65536u}) {
            std::string text = repeated(filling.text, length);
            const std::string other = repeated(filling.other, length);
            ASSERT_NO_FATAL_FAILURE(check(text, text));
            ASSERT_NO_FATAL_FAILURE(check(text, other));
            text[length - 1] = '\x01';
            ASSERT_NO_FATAL_FAILURE(check(text, other));
        }
    }
}

TEST_P(CompareEdgeBody, UnitsOfEveryCount) {
    using model::Units;
    const Units kLetters[] = {units(U"the Quick x"), units(U"\u0436\u044F\u00E9"),
                              units(U"a\u4E2D\U0001F600 "), units(U"@Z[")};
    const auto placed_units = [](std::span<std::uint8_t> at, const Units& text) {
        if (!text.empty()) std::memcpy(at.data(), text.data(), text.size() * sizeof(NQChar));
        return reinterpret_cast<const NQChar*>(at.data());
    };
    const auto size_of = [](const Units& text) { return text.size() * sizeof(NQChar); };
    const auto lower = [](NQChar unit) -> NQChar {
        if (unit >= 0x410 && unit < 0x430) return unit + 0x20;
        return unit == 0xC9 ? 0xE9 : model::lower_ascii(unit);
    };
    const Checks compare_checks = checks_of("nqzsncmp");
    const Checks equal_checks = checks_of("nqzseqn");
    const auto check_units = [&](const Units& a, const Units& b) {
        const auto count_a = static_cast<std::int64_t>(a.size());
        const auto count_b = static_cast<std::int64_t>(b.size());
        const int compared = model::units_compare(a, b, lower);
        const int equal = model::units_equal(a, b, lower);
        const auto check_placed = [&](const NQChar* at_a, const NQChar* at_b) {
            ASSERT_EQ(compare_checks.counted(NQ_UNDER_TEST(nqzsncmp)(at_a, count_a, at_b, count_b)),
                      compared)
                << count_a << " and " << count_b << " units";
            ASSERT_EQ(equal_checks.counted(NQ_UNDER_TEST(nqzseqn)(at_a, a.size(), at_b, b.size())),
                      equal)
                << count_a << " and " << count_b << " units";
        };
        check_placed(placed_units(a_.last(size_of(a)), a), placed_units(b_.last(size_of(b)), b));
        check_placed(placed_units(a_.all(), a), placed_units(b_.all(), b));
        // What was there before is behind the texts.
        offset_ = (offset_ + 4) % 64;
        check_placed(placed_units(a_.all().subspan(offset_), a),
                     placed_units(b_.all().subspan(offset_ * 7 % 64), b));
    };
    for (const Units& letters : kLetters) {
        Units text;
        for (std::size_t count = 0; count <= 300; ++count) {
            ASSERT_NO_FATAL_FAILURE(check_units(text, text));
            ASSERT_NO_FATAL_FAILURE(check_units(text, text + Units(count % 40, ' ')));
            for (const std::size_t place : places(count)) {
                Units changed = text;
                for (const NQChar flip : {0x20u, 0x80000000u, 0x2u}) {
                    changed[place] = text[place] ^ flip;
                    ASSERT_NO_FATAL_FAILURE(check_units(text, changed)) << place;
                    ASSERT_NO_FATAL_FAILURE(check_units(changed, text)) << place;
                }
            }
            text += letters[count % letters.size()];
        }
        for (const std::size_t near : {511u, 1023u, 4095u, 16383u}) {
            for (std::size_t count = near - 1; count <= near + 1; ++count) {
                while (text.size() < count) text += letters[text.size() % letters.size()];
                text.resize(count);
                Units changed = text;
                ASSERT_NO_FATAL_FAILURE(check_units(text, changed));
                changed.back() ^= 2;
                ASSERT_NO_FATAL_FAILURE(check_units(text, changed));
                ASSERT_NO_FATAL_FAILURE(check_units(text, changed + Units(9, ' ')));
            }
        }
    }
}

NQ_FOR_EACH_BODY(CompareEdgeBody);

// What the bodies answer for themselves, not through the exports.
class EqualPrefixBody : public testing::TestWithParam<const TextKernels*> {};

TEST_P(EqualPrefixBody, AgreesWithTheRuleOnRandomBytes) {
    std::mt19937_64 random = seeded_generator();
    constexpr std::uint8_t kBytes[] = {'a',  'A',  'b',  '@',  0x80, 0x98, 0xBF,
                                       0xC3, 0xC3, 0xE4, 0xE4, 0xF0, 0xF0, 0xF7,
                                       0xF8, 0xFC, 0xFF, '`',  'Z',  '[',  '{'};
    const Checks checks("equal_prefix_ignoring_ascii_case_utf8", GetParam()->name);
    const std::uint64_t rounds = setting("ITER", 500000);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        std::string a(random() % 130, 'x');
        const std::uint64_t kinds = 1 + random() % std::size(kBytes);
        for (char& byte : a) {
            const std::uint8_t one = kBytes[random() % kinds];
            byte = static_cast<char>(one);
        }
        std::string b = a;
        for (std::uint64_t left = random() % 4; left && !b.empty(); --left) {
            char& byte = b[random() % b.size()];
            byte = static_cast<char>(byte ^ (random() % 2 ? 0x20 : 0x01));
        }
        std::size_t equal = 0;
        int order = 0;
        while (equal < a.size()) {
            const std::uint8_t x = model::byte_at(a, equal);
            const std::uint8_t y = model::byte_at(b, equal);
            const std::string_view character = model::character_at(a, equal);
            if (x < 0x80 && y < 0x80 && model::lower_ascii(x) == model::lower_ascii(y)) {
                if (x != y && order == 0) order = x > y ? 1 : -1;
                ++equal;
            } else if (character == model::character_at(b, equal) &&
                       character.size() == model::announced_length(x)) {
                equal += character.size();
            } else {
                break;
            }
        }
        const auto* bytes_a = reinterpret_cast<const std::uint8_t*>(a.data());
        const auto* bytes_b = reinterpret_cast<const std::uint8_t*>(b.data());
        std::int32_t found = 0;
        ASSERT_EQ(checks.counted(GetParam()->equal_prefix_ignoring_ascii_case_utf8(
                      bytes_a, bytes_b, a.size(), found)),
                  equal)
            << round;
        ASSERT_EQ(found, order) << round;
        found = 7;
        ASSERT_EQ(checks.counted(GetParam()->equal_prefix_ignoring_ascii_case_utf8(
                      bytes_a, bytes_b, a.size(), found)),
                  equal)
            << round;
        ASSERT_EQ(found, 7) << "an order that stands is kept";
    }
}

INSTANTIATE_TEST_SUITE_P(All, EqualPrefixBody,
                         testing::ValuesIn(text_kernel_bodies().begin(),
                                           text_kernel_bodies().end()),
                         name_of_test);

}  // namespace
}  // namespace nq::test
