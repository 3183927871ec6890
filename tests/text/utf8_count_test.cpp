// The counts and the search that have several bodies.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "nqinstance/text/utf8.h"
#include "nqinstance/text/utf8_strings.h"
#include "tests/support/bytes.hpp"
#include "tests/support/guard_pages.hpp"
#include "tests/support/random.hpp"
#include "tests/text/kernels/bodies.hpp"
#include "tests/text/utf8_model.hpp"

namespace nq::test {
namespace {

using namespace std::string_view_literals;
using model::Bytes;
using model::Text;

Text text_of(std::string_view text) { return {bytes_of(text), text.size()}; }

using model::kSlowdown;

const DemandedChecks kDemanded{"nqzsu8NumChars", "nqzsu8ByteLength", "UTF8_SLENB",
                               "nqzsu8FindCharText"};

class Utf8CountBody : public TextBody {
  protected:
    std::uint64_t num_chars(Text text) {
        return NQ_UNDER_TEST(nqzsu8NumChars)(text.data(), text.size());
    }
    std::uint64_t byte_length(Text text, std::uint64_t count) {
        return NQ_UNDER_TEST(nqzsu8ByteLength)(text.data(), count);
    }
    std::uint64_t slenb(Text text) { return NQ_UNDER_TEST(UTF8_SLENB)(text.data(), text.size()); }

    Text place(Text text) {
        const auto placed = pages_.last(text.size());
        std::ranges::copy(text, placed.begin());
        return placed;
    }

    // In the middle of the pages, with bytes behind it that would continue its last character.
    Text place_before_more(Text text) {
        start_ = (start_ + 1) % 64;
        const auto placed = pages_.first(start_ + text.size() + 64).subspan(start_);
        std::ranges::copy(text, placed.begin());
        constexpr std::uint8_t kBehind[] = {0x80, 'a', 0xBF, 0xC3};
        std::ranges::fill(placed.subspan(text.size()), kBehind[start_ % std::size(kBehind)]);
        return placed.first(text.size());
    }

    void check_num_chars(Text placed, std::uint64_t expected) {
        ASSERT_EQ(num_chars_checks_.counted(num_chars(placed)), expected) << describe(placed);
    }
    void check_slenb(Text placed, std::uint64_t expected) {
        ASSERT_EQ(slenb_checks_.counted(slenb(placed)), expected) << describe(placed);
    }
    void check_byte_length(Text placed, std::uint64_t count, std::uint64_t expected) {
        ASSERT_EQ(byte_length_checks_.counted(byte_length(placed, count)), expected)
            << count << " of " << describe(placed);
    }

    // All counts of a text that ends at a protected page, then of one elsewhere.
    void check(Text text) {
        const Text placed = place(text);
        const std::uint64_t characters = model::num_chars(text);
        const std::uint64_t steps = model::slenb(text);
        check_num_chars(placed, characters);
        check_slenb(placed, steps);
        // Nothing behind a text's last byte is read unless its last character is not complete.
        const bool is_whole = text.empty() || model::blenb(text) > 0 || text.back() < 0x80;
        if (is_whole && model::blenb(text) == text.size()) {
            check_byte_length(placed, characters, text.size());
        }
        if (characters > 0) {
            const std::uint64_t bytes = model::byte_length(text, characters - 1);
            check_byte_length(placed, characters - 1, bytes);
            check_byte_length(place_before_more(text), characters - 1, bytes);
        }
        const Text elsewhere = place_before_more(text);
        check_num_chars(elsewhere, characters);
        check_slenb(elsewhere, steps);
    }

    static std::string describe(Text text) {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        std::string shown = std::to_string(text.size()) + " bytes:";
        for (const std::uint8_t byte : text) {
            shown += {' ', kDigits[byte / 16], kDigits[byte % 16]};
        }
        return shown;
    }

    GuardPages pages_{1 << 17};
    std::uint64_t start_ = 63;  // the first time after a protected page
    const Checks num_chars_checks_ = checks_of("nqzsu8NumChars");
    const Checks byte_length_checks_ = checks_of("nqzsu8ByteLength");
    const Checks slenb_checks_ = checks_of("UTF8_SLENB");
};

TEST_P(Utf8CountBody, Characters) {
    EXPECT_EQ(num_chars({}), 0u);
    EXPECT_EQ(num_chars(text_of("\xC3\xA9"
                                "A")),
              2u);
    EXPECT_EQ(num_chars(text_of("\xC3"
                                "A")),
              2u);
    EXPECT_EQ(num_chars(text_of("\x80\x80")), 2u);
    EXPECT_EQ(num_chars(text_of("\xC3\xA9\xA9")), 2u);
    EXPECT_EQ(num_chars(text_of("\xF0\x9F\x98\x80")), 1u);
    EXPECT_EQ(num_chars(text_of("\xF0\x9F\x98")), 1u);
    EXPECT_EQ(num_chars(text_of("\xFF\x80\x80\x80\x80\x80\x80")), 2u);
    EXPECT_EQ(num_chars(text_of("A\0B"sv)), 3u);
}

TEST_P(Utf8CountBody, BytesOfCharacters) {
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8ByteLength)(nullptr, 0), 0u);
    EXPECT_EQ(byte_length(text_of("\xC3\xA9"
                                  "A"),
                          1),
              2u);
    EXPECT_EQ(byte_length(text_of("\xC3\xA9"
                                  "A"),
                          2),
              3u);
    EXPECT_EQ(byte_length(text_of("\xC3"
                                  "A"),
                          1),
              1u);
    EXPECT_EQ(byte_length(text_of("\xF0\x9F\x98"
                                  "A"),
                          1),
              3u);
    EXPECT_EQ(byte_length(text_of("\xF0\x9F\x98\x80\x80"), 2), 5u);
    EXPECT_EQ(byte_length(text_of("A\0B"sv), 3), 3u);
}

TEST_P(Utf8CountBody, LengthsOfTerminatedText) {
    const auto lengths = NQ_UNDER_TEST(nqzsu8Lengths);
    std::uint64_t characters = 77;
    std::uint64_t bytes = 77;
    lengths(nullptr, &characters, &bytes);
    EXPECT_EQ(characters, 77u);
    EXPECT_EQ(bytes, 77u);
    lengths(text_of("\xC3\xA9"
                    "A")
                .data(),
            &characters, &bytes);
    EXPECT_EQ(characters, 2u);
    EXPECT_EQ(bytes, 3u);
    lengths(text_of("").data(), &characters, nullptr);
    EXPECT_EQ(characters, 0u);
    lengths(text_of("AB").data(), nullptr, &bytes);
    EXPECT_EQ(bytes, 2u);
    lengths(text_of("AB").data(), nullptr, nullptr);
}

TEST_P(Utf8CountBody, CutOffCharacterDoesNotReachOverTheTerminator) {
    const Text text = place(text_of("A\xF0\x9F\0"sv));
    std::uint64_t characters = 0;
    std::uint64_t bytes = 0;
    NQ_UNDER_TEST(nqzsu8Lengths)(text.data(), &characters, &bytes);
    EXPECT_EQ(characters, 2u);
    EXPECT_EQ(bytes, 3u);
}

TEST_P(Utf8CountBody, TerminatedLongTexts) {
    Bytes text;
    for (std::uint64_t size = 0; size < 300; ++size) {
        text.assign(size, 'a');
        if (size >= 3) text[size - 2] = 0xC3, text[size - 1] = 0xA9;
        const std::uint64_t expected = model::slenb(text);
        text.push_back(0);
        const Text placed = place(text);
        EXPECT_EQ(NQ_UNDER_TEST(UTF8_SLEN)(placed.data()), expected);
        std::uint64_t characters = 0;
        std::uint64_t bytes = 0;
        NQ_UNDER_TEST(nqzsu8Lengths)(placed.data(), &characters, &bytes);
        EXPECT_EQ(characters, expected);
        EXPECT_EQ(bytes, size);
    }
}

TEST_P(Utf8CountBody, CompleteCharactersOfEachSize) {
    constexpr std::uint8_t kLeads[] = {0xC3, 0xE4, 0xF0, 0xF8, 0xFC};
    for (const std::uint8_t lead : kLeads) {
        for (std::uint64_t start = 0; start < 64; start += 1 + kSlowdown / 8) {
            Bytes text(start, 'a');
            while (text.size() < 300) {
                text.push_back(lead);
                text.resize(text.size() + model::announced_length(lead) - 1, 0x80);
            }
            check(text);
            if (HasFatalFailure()) return;
        }
    }
}

// One after the other in long texts, next to letters and next to each other; no two texts of a
// pair put the same string at the same place of a block.
TEST_P(Utf8CountBody, AllStringsOfThreeBytes) {
    Bytes apart;
    Bytes dense;
    // The library has the body that went before.
    const std::uint32_t step = (GetParam() ? 1 : 19) * kSlowdown;
    for (std::uint32_t first = 0; first < 256 * 256 && !HasFatalFailure(); first += step) {
        apart.clear();
        dense.assign(first % 64, 'a');
        for (std::uint32_t last = 0; last < 256; ++last) {
            const std::uint8_t three[] = {static_cast<std::uint8_t>(first >> 8),
                                          static_cast<std::uint8_t>(first),
                                          static_cast<std::uint8_t>(last)};
            apart.insert(apart.end(), three, three + 3);
            apart.insert(apart.end(), 3 + last % 3, 'a');
            dense.insert(dense.end(), three, three + 3);
        }
        for (const Bytes* text : {&apart, &dense}) {
            const Text placed = place(*text);
            check_num_chars(placed, model::num_chars(*text));
            check_slenb(placed, model::slenb(*text));
        }
    }
}

TEST_P(Utf8CountBody, StringsOfThreeBytesAlone) {
    // No body is used for so little, so that one way is enough for all of them.
    const std::uint32_t step = (GetParam() ? 61 : 1) * kSlowdown;
    for (std::uint32_t bits = 0; bits < 1u << 24; bits += step) {
        const std::uint8_t text[] = {static_cast<std::uint8_t>(bits >> 16),
                                     static_cast<std::uint8_t>(bits >> 8),
                                     static_cast<std::uint8_t>(bits), 0};
        const Text three(text, 3);
        const std::uint64_t characters = model::num_chars(three);
        ASSERT_EQ(num_chars(three), characters) << std::hex << bits;
        ASSERT_EQ(byte_length(three, characters), 3u) << std::hex << bits;
    }
}

// Every string of the bytes that tell characters apart, around the ends of blocks and of longer
// stretches.
TEST_P(Utf8CountBody, EdgeBytesAcrossBlocks) {
    constexpr std::uint8_t kEdges[] = {'a', 0x80, 0xC3, 0xE4, 0xF0, 0xFB, 0xFF};
    constexpr std::uint64_t kCount = std::size(kEdges);
    constexpr std::uint64_t kChoices = kCount * kCount * kCount * kCount * kCount;
    for (const std::uint64_t at :
         {57u, 58u, 59u, 60u, 61u, 62u, 63u, 64u, 187u, 188u, 190u, 191u}) {
        for (std::uint64_t choice = 0; choice < kChoices; choice += kSlowdown) {
            Bytes text(at, at % 2 ? 0x80 : 'a');
            std::uint64_t left = choice;
            for (int i = 0; i < 5; ++i, left /= kCount) text.push_back(kEdges[left % kCount]);
            const std::uint64_t edge = text.size();
            text.resize(edge + 6 + choice % 3 * 100, choice % 2 ? 0x80 : 'b');
            check(text);
            if (HasFatalFailure()) return;
            // The block that is read for that many ends inside the edge.
            const std::uint64_t count = model::num_chars(Text(text).first(edge));
            check_byte_length(place(text), count, model::byte_length(text, count));
        }
    }
}

// Fewer continuation bytes than a lead byte announces, as many, and more.
TEST_P(Utf8CountBody, EveryLeadByteInLongTexts) {
    for (unsigned lead = 0x80; lead <= 0xFF; ++lead) {
        for (std::size_t tails = 0; tails < 8; ++tails) {
            Bytes text;
            while (text.size() < 200) {
                text.push_back(static_cast<std::uint8_t>(lead));
                text.insert(text.end(), tails, 0x80);
            }
            check(text);
            if (HasFatalFailure()) return;
        }
    }
}

TEST_P(Utf8CountBody, EveryLengthAndStart) {
    std::mt19937_64 random = seeded_generator();
    for (const std::uint64_t mixture : {0u, 5u, 100u}) {
        const Bytes text = model::random_text(random, 500, mixture);
        for (std::uint64_t start = 0; start < 64; start += 1 + kSlowdown / 8) {
            for (std::uint64_t length = 0; length <= 300; ++length) {
                check(Text(text).subspan(start, length));
                if (HasFatalFailure()) return;
            }
        }
    }
}

class Utf8CountEdgeBody : public Utf8CountBody {};

TEST_P(Utf8CountEdgeBody, LongTexts) {
    std::mt19937_64 random = seeded_generator();
    for (const std::uint64_t mixture : {0u, 5u, 100u}) {
        const Bytes text = model::random_text(random, 65600, mixture);
        for (const std::uint64_t near : {511u, 1023u, 4095u, 65535u}) {
            for (std::uint64_t length = near - 1; length <= near + 1; ++length) {
                for (std::uint64_t start = 0; start<64; start += near> 4095 ? 21 : 1) {
                    check(Text(text).subspan(start, length));
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

TEST_P(Utf8CountBody, RandomTextsAgreeWithTheModel) {
    std::mt19937_64 random = seeded_generator();
    const std::uint64_t rounds = setting("ITER", 100000 / kSlowdown);
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        const std::uint64_t mixture = random() % 4 ? random() % 10 : random() % 101;
        Bytes text = model::random_text(random, random() % 600, random() % 2 ? 0 : mixture);
        for (std::uint64_t spoilt = text.empty() ? 0 : random() % 4; spoilt > 0; --spoilt) {
            constexpr std::uint8_t kSpoilers[] = {'a', 0x80, 0xC3, 0xE4, 0xF0, 0xF8, 0xFF};
            text[random() % text.size()] = kSpoilers[random() % std::size(kSpoilers)];
        }
        check(text);
        // All but the last character's bytes may be read.
        const std::uint64_t characters = model::num_chars(text);
        if (characters) {
            const std::uint64_t count = random() % characters;
            check_byte_length(place(text), count, model::byte_length(text, count));
        }
    }
}

TEST_P(Utf8CountBody, CountsAreInversesOnWellFormedText) {
    std::mt19937_64 random = seeded_generator();
    const std::uint64_t rounds = setting("ITER", 5000 / kSlowdown);
    for (std::uint64_t i = 0; i < rounds; ++i) {
        const Bytes text = model::random_text(random, random() % 2000, 0);
        const Text placed = place(text);
        const std::uint64_t characters = num_chars(placed);
        check_byte_length(placed, characters, text.size());
        check_slenb(placed, characters);
        ASSERT_EQ(static_cast<std::uint64_t>(std::ranges::count_if(
                      text, [](std::uint8_t byte) { return !model::is_continuation(byte); })),
                  characters);
    }
}

NQ_FOR_EACH_BODY(Utf8CountBody);
NQ_FOR_EACH_BODY(Utf8CountEdgeBody);

class FindCharBody : public TextBody {
  protected:
    std::int64_t find(Text haystack, Text needle) {
        return NQ_UNDER_TEST(nqzsu8FindCharText)(haystack.data(), haystack.size(), needle.data(),
                                                 needle.size(), 20);
    }
    std::int64_t find(std::string_view haystack, std::string_view needle) {
        return find(text_of(haystack), text_of(needle));
    }

    // Both texts end at protected pages; then the one searched starts after one, and is followed by
    // what is searched.
    void check(Text haystack, Text needle) {
        const auto in = haystack_.last(haystack.size());
        const auto of = needle_.last(needle.size());
        std::ranges::copy(haystack, in.begin());
        std::ranges::copy(needle, of.begin());
        const std::int64_t expected = model::find_char(haystack, needle);
        ASSERT_EQ(checks_.counted(find(Text(in), Text(of))), expected)
            << haystack.size() << " bytes, needle of " << needle.size();
        const auto all = haystack_.all();
        std::ranges::copy(haystack, all.begin());
        std::ranges::copy(needle, all.subspan(haystack.size()).begin());
        ASSERT_EQ(checks_.counted(find(Text(all).first(haystack.size()), Text(of))), expected)
            << haystack.size() << " bytes, needle of " << needle.size();
    }

    GuardPages haystack_{1 << 17};
    GuardPages needle_{1 << 16};
    const Checks checks_ = checks_of("nqzsu8FindCharText");
};

TEST_P(FindCharBody, FirstOccurrence) {
    EXPECT_EQ(find("abcbc", "bc"), 1);
    EXPECT_EQ(find("abcbc", "abcbc"), 0);
    EXPECT_EQ(find("abcbc", "bd"), -1);
    EXPECT_EQ(find("abcbc", "c"), 2);
    EXPECT_EQ(find("abcbc", "d"), -1);
}

TEST_P(FindCharBody, NothingIsEverywhereAndNowhere) {
    EXPECT_EQ(find("abc", ""), 0);
    EXPECT_EQ(find(Text(), Text()), 0);
    EXPECT_EQ(find(Text(), text_of("a")), -1);
    EXPECT_EQ(find("abc", "abcd"), -1);
    EXPECT_EQ(find("xxa", "ab"), -1);
}

TEST_P(FindCharBody, OnlyAtTheStartOfACharacter) {
    // The first place of A9 opens the walk, the other ones are inside characters.
    EXPECT_EQ(find("\xA9"
                   "z\xC3\xA9"
                   "b\xA9"
                   "b",
                   "\xA9"
                   "b"),
              5);
    EXPECT_EQ(find("\xA9"
                   "z\xC3\xA9"
                   "b",
                   "\xA9"
                   "b"),
              -1);
    // What a lead byte leaps over is not looked at.
    EXPECT_EQ(find("a\xF0"
                   "abcab",
                   "ab"),
              5);
}

TEST_P(FindCharBody, WalkBeginsAtTheFirstCandidate) {
    EXPECT_EQ(find("\xC3\xA9"
                   "b",
                   "\xA9"
                   "b"),
              1);
}

TEST_P(FindCharBody, SingleByteIsFoundAnywhere) { EXPECT_EQ(find("\xC3\xA9", "\xA9"), 1); }

TEST_P(FindCharBody, EncodingIsIgnoredAndMayBeLeftOut) {
    const std::uint8_t text[] = {'a', 'b', 'c'};
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8FindCharText)(text, 3, text + 1, 2, 27), 1);
    using FourArguments =
        std::int64_t (*)(const std::uint8_t*, std::uint64_t, const std::uint8_t*, std::uint64_t);
    void* address = reinterpret_cast<void*>(NQ_UNDER_TEST(nqzsu8FindCharText));
    EXPECT_EQ(reinterpret_cast<FourArguments>(address)(text, 3, text + 1, 2), 1);
}

TEST_P(FindCharBody, RandomTextsAgreeWithTheModel) {
    std::mt19937_64 random = seeded_generator();
    const auto below = [&random](std::uint64_t bound) { return random() % bound; };
    const std::uint64_t rounds = setting("ITER", 100000 / kSlowdown);
    constexpr std::uint8_t kLetters[] = {'a', 'b', 0xC3, 0xA9, 0xE4, 0xB8, 0xF0};
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        Bytes haystack;
        if (below(2)) {
            haystack = model::random_text(random, below(300), below(2) ? 0 : 30);
        } else {
            const std::uint64_t letters = 2 + below(6);
            for (std::uint64_t left = below(200); left; --left) {
                haystack.push_back(kLetters[below(letters)]);
            }
        }
        Bytes needle;
        if (!haystack.empty() && below(4)) {
            const Text part = Text(haystack).subspan(below(haystack.size()));
            const std::uint64_t size = std::min<std::uint64_t>(1 + below(8), part.size());
            needle.assign(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(size));
        } else {
            for (std::uint64_t left = below(4); left; --left) needle.push_back(kLetters[below(7)]);
        }
        check(haystack, needle);
    }
}

class FindCharEdgeBody : public FindCharBody {};

TEST_P(FindCharEdgeBody, NeedleAtEachPlaceOfEachLength) {
    for (const std::uint64_t needle_length : {1u, 2u, 3u, 17u, 33u, 64u}) {
        Bytes needle(needle_length, 'n');
        needle[0] = 'N';
        for (std::uint64_t length = needle_length; length <= 300; length += kSlowdown) {
            Bytes haystack(length, 'n');
            ASSERT_NO_FATAL_FAILURE(check(haystack, needle));
            for (std::uint64_t at = 0; at + needle_length <= length; ++at) {
                haystack[at] = 'N';
                ASSERT_NO_FATAL_FAILURE(check(haystack, needle)) << at;
                haystack[at] = 'n';
            }
        }
    }
}

TEST_P(FindCharEdgeBody, NeedleInLongTexts) {
    for (const std::uint64_t near : {511u, 1023u, 4095u, 65535u}) {
        for (std::uint64_t length = near - 1; length <= near + 1; ++length) {
            for (const std::uint64_t needle_length : {1u, 2u, 33u, 400u}) {
                Bytes needle(needle_length, 'n');
                needle[0] = 'N';
                Bytes haystack(length, 'n');
                ASSERT_NO_FATAL_FAILURE(check(haystack, needle));
                for (const std::uint64_t at : {std::uint64_t{0}, std::uint64_t{63},
                                               std::uint64_t{64}, length - needle_length}) {
                    haystack[at] = 'N';
                    ASSERT_NO_FATAL_FAILURE(check(haystack, needle)) << at;
                    haystack[at] = 'n';
                }
            }
        }
    }
}

// Occurrences inside of characters, near to each other and long; then one at a start.
TEST_P(FindCharBody, ManyOccurrencesInsideCharacters) {
    for (const std::uint64_t repetitions : {1u, 3u, 100u, 2000u}) {
        for (const std::uint64_t needle_size : {2u, 5u, 64u, 1001u}) {
            Bytes haystack{0x80, 'x'};
            for (std::uint64_t i = 0; i < repetitions; ++i) {
                const std::uint8_t four[] = {0xF0, 0x80, 0x80, 0x80};
                haystack.insert(haystack.end(), four, four + 4);
            }
            Bytes needle;
            while (needle.size() < needle_size)
                needle.push_back(needle.size() % 4 == 3 ? 0xF0 : 0x80);
            check(haystack, needle);
            Bytes longer = haystack;
            longer.insert(longer.end(), needle.begin(), needle.end());
            check(longer, needle);
        }
    }
}

// Each of these would take hours if the work were not linear.
TEST_P(FindCharBody, RepetitiveMegabytesEnd) {
    constexpr std::size_t kSize = 1 << 20;
    const std::string a(2 * kSize, 'a');
    const std::string half(kSize, 'a');
    EXPECT_EQ(find(a, half + 'b'), -1);
    EXPECT_EQ(find(a, half + 'b' + half.substr(1)), -1);
    EXPECT_EQ(find(a + 'b', half + 'b'), static_cast<std::int64_t>(kSize));
    std::string inside = "\x80x";
    for (std::size_t i = 0; i < kSize / 4; ++i) inside += "\xF0\x80\x80\x80";
    EXPECT_EQ(find(inside, inside.substr(3, kSize / 2)), -1);
}

NQ_FOR_EACH_BODY(FindCharBody);
NQ_FOR_EACH_BODY(FindCharEdgeBody);

}  // namespace
}  // namespace nq::test
