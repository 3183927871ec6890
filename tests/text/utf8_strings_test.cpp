#include "nqinstance/text/utf8_strings.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "nqinstance/host/status.h"
#include "tests/support/guard_pages.hpp"
#include "tests/support/library.hpp"
#include "tests/support/random.hpp"
#include "tests/text/utf8_model.hpp"

namespace nq::test {
namespace {

using namespace std::string_literals;
using model::Bytes;

std::uint64_t rounds() { return setting("ITER", 1000000 / model::kSlowdown); }

// Memory of that size flush on a protected page, one for each use at a time.
std::span<std::uint8_t> room(std::size_t index, std::size_t size) {
    static const GuardPages pages[2] = {GuardPages(1 << 13), GuardPages(1 << 13)};
    return pages[index].last(size);
}

const std::uint8_t* place(std::string_view text) {
    const auto placed = room(0, text.size());
    std::ranges::copy(text, placed.begin());
    return placed.data();
}

std::string_view text_of(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// --- Copying -------------------------------------------------------------------------------------

struct Copied {
    std::uint64_t copied;
    std::string target;
    bool operator==(const Copied&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Copied& copied) {
    return out << copied.copied << ' ' << testing::PrintToString(copied.target);
}

Copied copy(std::string_view source, std::uint64_t capacity) {
    const auto target = room(1, capacity);
    std::ranges::fill(target, 0xA5);
    const std::uint64_t copied =
        NQ_LIBRARY(nqzsu8Copy)(place(source), source.size(), target.data(), capacity);
    return {copied, {target.begin(), target.end()}};
}

TEST(Utf8Copy, FillsUpWithBlanks) {
    EXPECT_EQ(copy("ab", 5), (Copied{2, "ab   "}));
    EXPECT_EQ(copy("ab", 2), (Copied{2, "ab"}));
    EXPECT_EQ(copy("", 3), (Copied{0, "   "}));
    EXPECT_EQ(copy("ab", 0), (Copied{0, ""}));
}

TEST(Utf8Copy, CutsBackToWholeCharacters) {
    EXPECT_EQ(copy("a\xC3\xA9", 2), (Copied{1, "a "}));
    EXPECT_EQ(copy("a\xC3\xA9", 3), (Copied{3, "a\xC3\xA9"}));
    EXPECT_EQ(copy("a\xC3", 3), (Copied{1, "a  "}));
    EXPECT_EQ(copy("\x80\x80", 3), (Copied{0, "   "}));
}

TEST(Utf8Copy, NullSourceLeavesBlanks) {
    std::uint8_t target[] = {'x', 'x', 'x'};
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Copy)(nullptr, 9, target, 2), 0u);
    EXPECT_EQ(target[0], ' ');
    EXPECT_EQ(target[1], ' ');
    EXPECT_EQ(target[2], 'x');
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Copy)(nullptr, 0, nullptr, 0), 0u);
}

TEST(Utf8Copy, EncodingChangesNothing) {
    for (const std::uint32_t encoding : {20u, 27u, 0u}) {
        std::uint8_t target[] = {'x', 'x', 'x'};
        EXPECT_EQ(NQ_LIBRARY(nqzsu8CopyText)(place("a\xC3\xA9"), 3, encoding, target, 2), 1u);
        EXPECT_EQ(target[0], 'a');
        EXPECT_EQ(target[1], ' ');
        EXPECT_EQ(target[2], 'x');
    }
}

TEST(Utf8Copy, OverlapIsAMove) {
    for (const std::size_t size : {3u, 20u, 200u}) {
        for (std::size_t from = 0; from <= 8; ++from) {
            for (std::size_t to = 0; to <= 8; ++to) {
                const auto field = room(0, size + 8);
                for (std::size_t i = 0; i < field.size(); ++i) {
                    field[i] = static_cast<std::uint8_t>('a' + i % 26);
                }
                std::string expected(field.begin(), field.end());
                // The target is three bytes longer than what is copied, where there is room.
                const std::size_t target_size = std::min(size + 3, field.size() - to);
                const std::string source = expected.substr(from, size);
                expected.replace(to, target_size, source + std::string(target_size - size, ' '));
                EXPECT_EQ(NQ_LIBRARY(nqzsu8Copy)(field.data() + from, size, field.data() + to,
                                                 target_size),
                          size);
                EXPECT_EQ(std::string(field.begin(), field.end()), expected);
            }
        }
    }
}

TEST(Utf8Copy, RandomTextsAgreeWithTheModel) {
    std::mt19937_64 random = seeded_generator();
    for (std::uint64_t i = rounds(); i > 0; --i) {
        const Bytes source = model::random_text(random, random() % 30, random() % 60);
        const std::uint64_t capacity = random() % 50;
        const model::Copied expected = model::copy(source, capacity);
        const Copied found = copy(text_of(source), capacity);
        ASSERT_EQ(found, (Copied{expected.bytes, std::string(text_of(expected.target))}))
            << testing::PrintToString(source);
    }
}

// --- Justification -------------------------------------------------------------------------------

struct Justified {
    NQStatus status;
    std::uint32_t length;
    std::uint32_t offset;
    std::string field;
    bool operator==(const Justified&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Justified& justified) {
    return out << std::hex << justified.status << std::dec << " length " << justified.length
               << " offset " << justified.offset << ' ' << testing::PrintToString(justified.field);
}

Justified justify(std::string_view text, char mode) {
    const auto field = room(0, text.size());
    std::ranges::copy(text, field.begin());
    Justified result{0, 99, 99, {}};
    result.status =
        NQ_LIBRARY(nqzsu8Justify)(field.data(), static_cast<std::uint32_t>(text.size()),
                                  static_cast<std::uint8_t>(mode), &result.length, &result.offset);
    result.field.assign(field.begin(), field.end());
    return result;
}

TEST(Utf8Justify, ToTheEnd) {
    EXPECT_EQ(justify("ab    ", 'R'), (Justified{0, 2, 4, "    ab"}));
    EXPECT_EQ(justify("  abc ", 'r'), (Justified{0, 3, 3, "   abc"}));
    EXPECT_EQ(justify("   abc", 'R'), (Justified{0, 3, 3, "   abc"}));
}

TEST(Utf8Justify, ToTheCentre) {
    EXPECT_EQ(justify("ab    ", 'C'), (Justified{0, 2, 2, "  ab  "}));
    EXPECT_EQ(justify("    ab", 'c'), (Justified{0, 2, 2, "  ab  "}));
    EXPECT_EQ(justify("abc   ", 'C'), (Justified{0, 3, 1, " abc  "}));
    EXPECT_EQ(justify("   abc", 'C'), (Justified{0, 3, 1, " abc  "}));
    EXPECT_EQ(justify(" a", 'C'), (Justified{0, 1, 0, "a "}));
    EXPECT_EQ(justify("abc", 'C'), (Justified{0, 3, 0, "abc"}));
}

TEST(Utf8Justify, ToTheStart) {
    EXPECT_EQ(justify("  ab", 'L'), (Justified{0, 2, 0, "ab  "}));
    EXPECT_EQ(justify(" a b ", 'l'), (Justified{0, 3, 0, "a b  "}));
    EXPECT_EQ(justify("ab  ", 'L'), (Justified{0, 2, 0, "ab  "}));
}

TEST(Utf8Justify, NowhereTellsWhereTheContentIs) {
    EXPECT_EQ(justify("  ab ", 'N'), (Justified{0, 2, 2, "  ab "}));
    EXPECT_EQ(justify("  ab ", 'n'), (Justified{0, 2, 2, "  ab "}));
}

TEST(Utf8Justify, UnknownModeLeavesTheField) {
    EXPECT_EQ(justify("  ab ", 'X'), (Justified{NQ_STATUS_UNKNOWN_JUSTIFICATION, 2, 2, "  ab "}));
    EXPECT_EQ(justify("  ab ", '\0'), (Justified{NQ_STATUS_UNKNOWN_JUSTIFICATION, 2, 2, "  ab "}));
    EXPECT_EQ(justify("  ab ", '\xC3'),
              (Justified{NQ_STATUS_UNKNOWN_JUSTIFICATION, 2, 2, "  ab "}));
}

TEST(Utf8Justify, NothingToJustify) {
    for (const char mode : {'C', 'L', 'R', 'N', 'X'}) {
        EXPECT_EQ(justify("    ", mode), (Justified{0, 0, 0, "    "}));
        EXPECT_EQ(justify("", mode), (Justified{0, 0, 0, ""}));
    }
    std::uint32_t length = 9;
    std::uint32_t offset = 9;
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Justify)(nullptr, 0, 'L', &length, &offset), 0u);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(offset, 0u);
}

TEST(Utf8Justify, OutParametersMayBeNull) {
    std::uint8_t field[] = {' ', 'a', ' '};
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Justify)(field, 3, 'R', nullptr, nullptr), 0u);
    EXPECT_EQ(field[2], 'a');
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Justify)(field, 2, 'R', nullptr, nullptr), 0u);
}

TEST(Utf8Justify, RandomFieldsAgreeWithTheModel) {
    std::mt19937_64 random = seeded_generator();
    const auto below = [&random](std::uint64_t bound) { return random() % bound; };
    for (std::uint64_t i = rounds(); i > 0; --i) {
        Bytes field(below(20), ' ');
        const Bytes content = model::random_text(random, below(20), 20);
        field.insert(field.end(), content.begin(), content.end());
        field.insert(field.end(), below(20), ' ');
        const char mode = "CcLlRrNnX "[below(10)];
        const model::Justified expected = model::justify(field, mode);
        const Justified found = justify(text_of(field), mode);
        ASSERT_EQ(found, (Justified{expected.status, expected.length, expected.offset,
                                    std::string(text_of(expected.field))}))
            << mode << ' ' << testing::PrintToString(field);
    }
}

// --- Blanks at the end ---------------------------------------------------------------------------

std::uint64_t strip(std::string_view text, std::uint32_t blank_class) {
    return NQ_LIBRARY(nqzsu8StripBlanks)(place(text), text.size(), blank_class);
}

constexpr std::uint32_t kClasses[] = {0, 2, 1, 3, 0xFFFFFFFF};

TEST(Utf8StripBlanks, BlanksOfEveryClass) {
    for (const std::uint32_t blank_class : kClasses) {
        EXPECT_EQ(strip("ab  ", blank_class), 2u);
        EXPECT_EQ(strip("ab" + std::string(100, ' '), blank_class), 2u);
        EXPECT_EQ(strip(" a b", blank_class), 4u);
        EXPECT_EQ(strip("    ", blank_class), 0u);
        EXPECT_EQ(strip("", blank_class), 0u);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8StripBlanks)(nullptr, 0, blank_class), 0u);
    }
}

TEST(Utf8StripBlanks, NoBreakSpaceIsForTheWiderClasses) {
    EXPECT_EQ(strip("ab\xC2\xA0", 0), 4u);
    EXPECT_EQ(strip("ab\xC2\xA0", 2), 2u);
    EXPECT_EQ(strip("ab\xC2\xA0", 1), 2u);
}

TEST(Utf8StripBlanks, TabIsForTheLastClass) {
    EXPECT_EQ(strip("ab\t", 0), 3u);
    EXPECT_EQ(strip("ab\t", 2), 3u);
    EXPECT_EQ(strip("ab\t", 1), 2u);
    EXPECT_EQ(strip("ab\t", 3), 2u);
}

TEST(Utf8StripBlanks, EveryCodePointOfEveryClass) {
    for (const std::uint32_t blank_class : kClasses) {
        const std::vector<Bytes>& blanks = model::spaces(blank_class);
        for (NQChar code_point = 0; code_point < 0x110000; ++code_point) {
            const Bytes character = model::utf8_of(code_point);
            const bool is_blank = std::ranges::find(blanks, character) != blanks.end();
            std::string text = "a";
            text += text_of(character);
            ASSERT_EQ(strip(text, blank_class), is_blank ? 1 : text.size())
                << std::hex << code_point;
        }
    }
}

TEST(Utf8StripBlanks, DifferentBlanksInARow) {
    const std::string text = "a \xC2\xA0\t\xE3\x80\x80 \xE2\x80\x8A\n ";
    EXPECT_EQ(strip(text, 0), text.size() - 1);
    EXPECT_EQ(strip(text, 2), text.size() - 1);
    EXPECT_EQ(strip(text, 1), 1u);
    EXPECT_EQ(strip(text.substr(0, text.size() - 2), 2), 5u);  // up to the tab
}

TEST(Utf8StripBlanks, BrokenFormsAreReadFromTheirLeadByte) {
    for (const std::uint32_t blank_class : {2u, 1u}) {
        EXPECT_EQ(strip("a\xE3\x80\x80\x80", blank_class), 1u);  // surplus continuation byte
        EXPECT_EQ(strip("a \x80", blank_class), 1u);
        EXPECT_EQ(strip("a\x80\x80\x80\x80", blank_class), 5u);
        EXPECT_EQ(strip(" \x80\x80\x80\x80", blank_class), 0u);
        EXPECT_EQ(strip("\x80\x80", blank_class), 2u);
        EXPECT_EQ(strip("a\xC0\xA0", blank_class), 3u);      // no lead byte
        EXPECT_EQ(strip("a\xE0\x82\xA0", blank_class), 1u);  // U+00A0, overlong
        EXPECT_EQ(strip("a\xE3\x80", blank_class), 3u);
        EXPECT_EQ(strip("a\xC2", blank_class), 2u);
        EXPECT_EQ(strip("a\xC2 ", blank_class), 2u);
    }
    EXPECT_EQ(strip("a\x80 ", 0), 2u);
    EXPECT_EQ(strip("a \x80", 0), 3u);
}

TEST(Utf8StripBlanks, RandomTextsAgreeWithTheModel) {
    std::mt19937_64 random = seeded_generator();
    for (std::uint64_t i = rounds(); i > 0; --i) {
        Bytes text = model::random_text(random, random() % 6, 50);
        for (std::uint64_t left = random() % 6; left > 0; --left) {
            const auto& list = model::spaces(1);
            const Bytes blank =
                random() % 8 ? list[random() % list.size()] : model::random_text(random, 1, 60);
            text.insert(text.end(), blank.begin(), blank.end());
        }
        for (const std::uint32_t blank_class : {0u, 2u, 1u}) {
            ASSERT_EQ(strip(text_of(text), blank_class), model::strip(text, blank_class))
                << blank_class << ' ' << testing::PrintToString(text);
        }
    }
}

}  // namespace
}  // namespace nq::test
