#include "nqinstance/text/utf8_modified.h"

#include <gtest/gtest.h>

#include <array>
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

constexpr NQStatus kOk = 0;
constexpr NQStatus kTooSmall = NQ_STATUS_BUFFER_TOO_SMALL;
constexpr NQStatus kReplaced = NQ_STATUS_MALFORMED;
constexpr std::uint64_t kRoomy = 64;

constexpr std::uint32_t kZero = 1;
constexpr std::uint32_t kBasic = 4;
const std::string kReplacement = "\xEF\xBF\xBD";
const std::string kSmiley = "\xF0\x9F\x98\x80";
const std::string kSmileyPair = "\xED\xA0\xBD\xED\xB8\x80";

struct Converted {
    NQStatus status;
    std::string bytes;
    bool operator==(const Converted&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Converted& converted) {
    return out << std::hex << converted.status << ' ' << testing::PrintToString(converted.bytes);
}

using Conversion = decltype(&nqzsu8Decode);

// Source and target end at protected pages, and nothing behind what was written is changed.
Converted convert(Conversion conversion, std::string_view source, std::uint64_t capacity,
                  std::uint32_t flags) {
    static const GuardPages pages[2] = {GuardPages(1 << 13), GuardPages(1 << 14)};
    const auto from = pages[0].last(source.size());
    const auto to = pages[1].last(capacity);
    std::ranges::copy(source, from.begin());
    std::ranges::fill(to, 0xA5);
    std::uint64_t written = 9999;
    const NQStatus status =
        conversion(from.data(), source.size(), to.data(), capacity, &written, flags);
    EXPECT_LE(written, capacity);
    const auto rest = to.subspan(std::min(written, capacity));
    // Plain copying fills up with blanks as far as the source would have gone.
    const bool is_copying = conversion == NQ_LIBRARY(nqzsu8Decode) && (flags & 5) == 4;
    EXPECT_TRUE(is_copying ||
                std::ranges::all_of(rest, [](std::uint8_t byte) { return byte == 0xA5; }));
    return {status, {to.begin(), to.end() - static_cast<std::ptrdiff_t>(rest.size())}};
}

Converted decode(std::string_view source, std::uint32_t flags, std::uint64_t capacity = kRoomy) {
    return convert(NQ_LIBRARY(nqzsu8Decode), source, capacity, flags);
}

Converted encode(std::string_view source, std::uint32_t flags, std::uint64_t capacity = kRoomy) {
    return convert(NQ_LIBRARY(nqzsu8Encode), source, capacity, flags);
}

// --- Decoding ------------------------------------------------------------------------------------

TEST(Utf8Decode, SurrogatesBecomeOneCharacter) {
    EXPECT_EQ(decode(kSmileyPair, 0), (Converted{kOk, kSmiley}));
    EXPECT_EQ(decode(kSmileyPair, kZero), (Converted{kOk, kSmiley}));
    EXPECT_EQ(decode(kSmileyPair, kZero | kBasic), (Converted{kOk, kSmiley}));
    EXPECT_EQ(decode("\xED\xA0\x80\xED\xB0\x80", 0), (Converted{kOk, "\xF0\x90\x80\x80"}));
    EXPECT_EQ(decode("\xED\xAF\xBF\xED\xBF\xBF", 0), (Converted{kOk, "\xF4\x8F\xBF\xBF"}));
}

TEST(Utf8Decode, WellFormedTextIsCopied) {
    const std::string text = "A\xC3\xA9\xE2\x82\xAC\xED\x9F\xBF" + kSmiley + "\0z"s;
    for (const std::uint32_t flags : {0u, 1u, 2u, 4u, 5u}) {
        EXPECT_EQ(decode(text, flags), (Converted{kOk, text})) << flags;
    }
    EXPECT_EQ(decode("\xF4\x90\x80\x80", 0), (Converted{kOk, "\xF4\x90\x80\x80"}));
    EXPECT_EQ(decode("", 0), (Converted{kOk, ""}));
}

TEST(Utf8Decode, HighSurrogateAloneIsReplaced) {
    EXPECT_EQ(decode("\xED\xA0\xBD"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(decode("\xED\xA0\xBD", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(decode("\xED\xA0\xBD" + kSmileyPair, 0),
              (Converted{kReplaced, kReplacement + kSmiley}));
    EXPECT_EQ(decode("\xED\xA0\xBD\xED\xB8", 0),
              (Converted{kReplaced, kReplacement + kReplacement}));
    EXPECT_EQ(decode("\xED\xA0\xBD\xC0\x80", kZero), (Converted{kReplaced, kReplacement + "\0"s}));
}

TEST(Utf8Decode, LowSurrogateAloneIsReplaced) {
    EXPECT_EQ(decode("\xED\xB8\x80"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(decode(kSmileyPair + "\xED\xB8\x80", 0),
              (Converted{kReplaced, kSmiley + kReplacement}));
}

TEST(Utf8Decode, CutOffCharactersAndInvalidLeadsAreReplaced) {
    EXPECT_EQ(decode("\xC3", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(decode("\xC3"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(decode("\xE2\x82"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(decode("\xF0\x9F\x98", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(decode("\xED\xA0"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(decode("\x80\x80", 0), (Converted{kReplaced, kReplacement + kReplacement}));
    EXPECT_EQ(decode("\xFF\x80\x80\x80\x80\x80"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(decode("\xE0\x80\x80", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(decode("\xF0\x80\x80\x80", 0), (Converted{kReplaced, kReplacement}));
}

TEST(Utf8Decode, TwoByteZero) {
    EXPECT_EQ(decode("a\xC0\x80"
                     "b",
                     kZero),
              (Converted{kOk, "a\0b"s}));
    EXPECT_EQ(decode("a\xC0\x80"
                     "b",
                     kZero | kBasic),
              (Converted{kOk, "a\0b"s}));
    EXPECT_EQ(decode("a\xC0\x80"
                     "b",
                     0),
              (Converted{kReplaced, "a" + kReplacement + "b"}));
    EXPECT_EQ(decode("\xC0\x81", kZero), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(decode("\xC0", kZero), (Converted{kReplaced, kReplacement}));
}

TEST(Utf8Decode, BasicFormIsCopiedUnchanged) {
    EXPECT_EQ(decode(kSmileyPair, kBasic), (Converted{kOk, kSmileyPair}));
    EXPECT_EQ(decode("\xC0\x80"
                     "a",
                     kBasic),
              (Converted{kOk,
                         "\xC0\x80"
                         "a"}));
    EXPECT_EQ(decode("abc", kBasic, 2), (Converted{kTooSmall, "ab"}));
    EXPECT_EQ(decode("a\xC3\xA9", kBasic, 2), (Converted{kTooSmall, "a"}));
    // What the copy cuts off was not copied.
    EXPECT_EQ(decode("a\xC3", kBasic), (Converted{kTooSmall, "a"}));
}

TEST(Utf8Decode, BasicCopyFillsUpWithBlanksNoFurtherThanTheSource) {
    std::uint8_t target[] = {'x', 'x', 'x', 'x'};
    std::uint64_t written = 0;
    const std::uint8_t source[] = {'a', 0xC3, 0xA9};
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Decode)(source, 2, target, 4, &written, kBasic), kTooSmall);
    EXPECT_EQ(written, 1u);
    EXPECT_EQ((std::string(target, target + 4)), "a xx");
}

TEST(Utf8Decode, StopsBeforeWhatDoesNotFit) {
    EXPECT_EQ(decode("abc", 0, 2), (Converted{kTooSmall, "ab"}));
    EXPECT_EQ(decode("abc", 0, 3), (Converted{kOk, "abc"}));
    EXPECT_EQ(decode("abc", 0, 0), (Converted{kTooSmall, ""}));
    EXPECT_EQ(decode("", 0, 0), (Converted{kOk, ""}));
    EXPECT_EQ(decode("a" + kSmileyPair, 0, 4), (Converted{kTooSmall, "a"}));
    EXPECT_EQ(decode("a" + kSmileyPair, 0, 5), (Converted{kOk, "a" + kSmiley}));
    EXPECT_EQ(decode("\x80\x80", 0, 5), (Converted{kTooSmall, kReplacement}));
    EXPECT_EQ(decode("\xED\xA0\xBD", 0, 2), (Converted{kTooSmall, ""}));
    EXPECT_EQ(decode("ab\xC3\xA9", 0, 3), (Converted{kTooSmall, "ab"}));
}

TEST(Utf8Decode, CountMayBeNull) {
    std::uint8_t target[4];
    const std::uint8_t source[] = {'a'};
    for (const std::uint32_t flags : {0u, 4u}) {
        EXPECT_EQ(NQ_LIBRARY(nqzsu8Decode)(source, 1, target, 4, nullptr, flags), kOk);
        EXPECT_EQ(NQ_LIBRARY(nqzsu8Decode)(nullptr, 0, nullptr, 0, nullptr, flags), kOk);
    }
}

// --- Encoding ------------------------------------------------------------------------------------

TEST(Utf8Encode, SupplementaryCharactersBecomeSurrogates) {
    for (const std::uint32_t flags : {0u, kZero, kZero | kBasic, 2u}) {
        EXPECT_EQ(encode(kSmiley, flags), (Converted{kOk, kSmileyPair})) << flags;
    }
    EXPECT_EQ(encode("\xF0\x90\x80\x80", 0), (Converted{kOk, "\xED\xA0\x80\xED\xB0\x80"}));
    EXPECT_EQ(encode("\xF4\x8F\xBF\xBF", 0), (Converted{kOk, "\xED\xAF\xBF\xED\xBF\xBF"}));
}

TEST(Utf8Encode, BasicFormHasNoSupplementaryCharacters) {
    EXPECT_EQ(encode("a" + kSmiley + "b", kBasic),
              (Converted{kReplaced, "a" + kReplacement + "b"}));
}

// The ranges of the surrogates hold for any four bytes.
TEST(Utf8Encode, FourBytesThatAreNoSupplementaryCharacter) {
    EXPECT_EQ(encode("\xF4\x90\x80\x80", 0), (Converted{kOk, "\xED\xA0\x80\xED\xB0\x80"}));
    EXPECT_EQ(encode("\xF0\x80\x80\x80", 0), (Converted{kOk, "\xED\xAF\x80\xED\xB0\x80"}));
}

TEST(Utf8Encode, ZeroIsTwoBytesWithTheFlag) {
    EXPECT_EQ(encode("a\0b"s, 0), (Converted{kOk, "a\0b"s}));
    EXPECT_EQ(encode("a\0b"s, kBasic), (Converted{kOk, "a\0b"s}));
    EXPECT_EQ(encode("a\0b"s, kZero), (Converted{kOk,
                                                 "a\xC0\x80"
                                                 "b"}));
    EXPECT_EQ(encode("\0\0"s, kZero | kBasic), (Converted{kOk, "\xC0\x80\xC0\x80"}));
    EXPECT_EQ(encode("abcdefgh\0ijklmnop"s, kZero), (Converted{kOk, "abcdefgh\xC0\x80ijklmnop"}));
}

TEST(Utf8Encode, OtherCompleteSequencesAreCopied) {
    const std::string text = "A\xC3\xA9\xE2\x82\xAC\xED\x9F\xBF\xE0\x80\x80";
    EXPECT_EQ(encode(text, 0), (Converted{kOk, text}));
    EXPECT_EQ(encode("", 0), (Converted{kOk, ""}));
}

TEST(Utf8Encode, BrokenSequencesAreReplaced) {
    EXPECT_EQ(encode("\xC3"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(encode("\xC3", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(encode("\xF0\x9F\x98"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
    EXPECT_EQ(encode("\x80\x80", 0), (Converted{kReplaced, kReplacement + kReplacement}));
    EXPECT_EQ(encode("\xC0\x80", kZero), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(encode("\xF5\x80\x80\x80", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(encode("\xFF\x80\x80\x80\x80\x80"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
}

TEST(Utf8Encode, SurrogatesInTheInputAreReplaced) {
    EXPECT_EQ(encode("\xED\xA0\xBD", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(encode("\xED\xBF\xBF", 0), (Converted{kReplaced, kReplacement}));
    EXPECT_EQ(encode(kSmileyPair, 0), (Converted{kReplaced, kReplacement + kReplacement}));
    EXPECT_EQ(encode("\xED\xA0"
                     "A",
                     0),
              (Converted{kReplaced, kReplacement + "A"}));
}

TEST(Utf8Encode, StopsBeforeWhatDoesNotFit) {
    EXPECT_EQ(encode("abc", 0, 2), (Converted{kTooSmall, "ab"}));
    EXPECT_EQ(encode(kSmiley, 0, 5), (Converted{kTooSmall, ""}));
    EXPECT_EQ(encode(kSmiley, 0, 6), (Converted{kOk, kSmileyPair}));
    EXPECT_EQ(encode("a\0"s, kZero, 2), (Converted{kTooSmall, "a"}));
    EXPECT_EQ(encode("\x80"
                     "ab",
                     0, 4),
              (Converted{kTooSmall, kReplacement + "a"}));
    EXPECT_EQ(encode("a\xC3\xA9", 0, 2), (Converted{kTooSmall, "a"}));
}

TEST(Utf8Encode, CountMayBeNull) {
    std::uint8_t target[4];
    const std::uint8_t source[] = {'a'};
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Encode)(source, 1, target, 4, nullptr, 0), kOk);
    EXPECT_EQ(NQ_LIBRARY(nqzsu8Encode)(nullptr, 0, nullptr, 0, nullptr, 0), kOk);
}

// --- Against the model ---------------------------------------------------------------------------

class Utf8Modified : public testing::Test {
  protected:
    static void check(const Bytes& source, std::uint32_t flags, std::uint64_t capacity) {
        const std::string_view text(reinterpret_cast<const char*>(source.data()), source.size());
        const auto expect = [&](const Converted& found, const model::Converted& expected) {
            ASSERT_EQ(found,
                      (Converted{expected.status, {expected.bytes.begin(), expected.bytes.end()}}))
                << "flags " << flags << " capacity " << capacity << ' '
                << testing::PrintToString(source);
        };
        expect(decode(text, flags, capacity), model::decode(source, capacity, flags));
        expect(encode(text, flags, capacity), model::encode(source, capacity, flags));
    }
};

using model::kSlowdown;

TEST_F(Utf8Modified, StringsOfEdgeBytesAgreeWithTheModel) {
    constexpr std::uint8_t kEdges[] = {0x00, 'a',  0x80, 0x90, 0xA0, 0xB0, 0xBF, 0xC0,
                                       0xC2, 0xE0, 0xE1, 0xED, 0xF0, 0xF4, 0xF5, 0xFF};
    for (std::uint64_t choice = 0; choice < 1u << 20 && !HasFatalFailure(); choice += kSlowdown) {
        Bytes text;
        std::uint64_t left = choice;
        for (int i = 0; i < 5; ++i, left /= 16) text.push_back(kEdges[left % 16]);
        check(text, choice % 7 % 2 ? kZero : 0, kRoomy);
    }
}

TEST_F(Utf8Modified, RandomTextsAgreeWithTheModel) {
    std::mt19937_64 random = seeded_generator();
    const std::uint64_t rounds = setting("ITER", 300000 / kSlowdown);
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        const Bytes source = model::random_text(random, random() % 100, random() % 100);
        const std::uint64_t capacity =
            random() % 2 ? 3 * source.size() : random() % (2 * source.size() + 2);
        check(source, static_cast<std::uint32_t>(random() % 8), capacity);
    }
}

TEST_F(Utf8Modified, WellFormedTextComesBack) {
    std::mt19937_64 random = seeded_generator();
    const std::uint64_t rounds = setting("ITER", 50000 / kSlowdown);
    for (std::uint64_t i = 0; i < rounds; ++i) {
        Bytes bytes = model::random_text(random, random() % 200, 0);
        if (random() % 2) bytes.push_back(0);
        const std::string text(bytes.begin(), bytes.end());
        for (const std::uint32_t flags : {0u, kZero, kZero | kBasic}) {
            const Converted modified = encode(text, flags, 2 * text.size());
            ASSERT_EQ(modified.status, kOk);
            ASSERT_EQ(decode(modified.bytes, flags, text.size()), (Converted{kOk, text}));
            if (flags & kZero) {
                ASSERT_EQ(modified.bytes.find('\0'), std::string::npos);
            }
        }
    }
}

}  // namespace
}  // namespace nq::test
