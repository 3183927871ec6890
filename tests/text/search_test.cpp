#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "nqinstance/text/utf8.h"
#include "tests/support/guard_pages.hpp"
#include "tests/support/random.hpp"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {
namespace {

const DemandedChecks kDemanded{"nqzsu8IndexText"};

class SearchBody : public TextBody {
  protected:
    std::int64_t index(std::string_view haystack, std::string_view needle) {
        return NQ_UNDER_TEST(nqzsu8IndexText)(
            reinterpret_cast<const std::uint8_t*>(haystack.data()), haystack.size(),
            reinterpret_cast<const std::uint8_t*>(needle.data()), needle.size(), 20);
    }

    // Both texts end at protected pages; then the one searched starts after one, and is followed by
    // what is searched.
    void check(std::string_view haystack, std::string_view needle) {
        const auto in = haystack_.last(haystack.size());
        const auto of = needle_.last(needle.size());
        std::ranges::copy(haystack, in.begin());
        std::ranges::copy(needle, of.begin());
        const std::size_t found = haystack.find(needle);
        const std::int64_t expected =
            found == std::string_view::npos ? -1 : static_cast<std::int64_t>(found);
        const std::string_view placed(reinterpret_cast<char*>(of.data()), of.size());
        ASSERT_EQ(checks_.counted(index({reinterpret_cast<char*>(in.data()), in.size()}, placed)),
                  expected)
            << haystack.size() << " bytes, needle " << needle;
        const auto all = haystack_.all();
        std::ranges::copy(haystack, all.begin());
        std::ranges::copy(needle, all.subspan(haystack.size()).begin());
        ASSERT_EQ(
            checks_.counted(index({reinterpret_cast<char*>(all.data()), haystack.size()}, placed)),
            expected)
            << haystack.size() << " bytes, needle " << needle;
    }

    GuardPages haystack_{1 << 17};
    GuardPages needle_{1 << 16};
    const Checks checks_ = checks_of("nqzsu8IndexText");
};

TEST_P(SearchBody, FirstOccurrence) {
    EXPECT_EQ(index("abcbc", "bc"), 1);
    EXPECT_EQ(index("abcbc", "abcbc"), 0);
    EXPECT_EQ(index("abcbc", "cb"), 2);
    EXPECT_EQ(index("abcbc", "bd"), -1);
    EXPECT_EQ(index("abcbc", "c"), 2);
    EXPECT_EQ(index("abcbc", "d"), -1);
}

TEST_P(SearchBody, NothingIsEverywhereAndNowhere) {
    EXPECT_EQ(index("abc", ""), 0);
    EXPECT_EQ(index("", ""), 0);
    EXPECT_EQ(index({}, {}), 0);
    EXPECT_EQ(index({}, "a"), -1);
    EXPECT_EQ(index("abc", "abcd"), -1);
}

TEST_P(SearchBody, BytesAreComparedWhateverTheyMean) {
    EXPECT_EQ(index("\xC3\xA9", "\xA9"), 1);
    EXPECT_EQ(index(std::string_view("a\0b\0c", 5), std::string_view("\0c", 2)), 3);
}

TEST_P(SearchBody, EncodingIsIgnoredAndMayBeLeftOut) {
    const std::uint8_t text[] = {'a', 'b', 'c'};
    EXPECT_EQ(NQ_UNDER_TEST(nqzsu8IndexText)(text, 3, text + 1, 2, 27), 1);
    using FourArguments =
        std::int64_t (*)(const std::uint8_t*, std::uint64_t, const std::uint8_t*, std::uint64_t);
    void* address = reinterpret_cast<void*>(NQ_UNDER_TEST(nqzsu8IndexText));
    EXPECT_EQ(reinterpret_cast<FourArguments>(address)(text, 3, text + 1, 2), 1);
}

class SearchEdgeBody : public SearchBody {};

TEST_P(SearchEdgeBody, NeedleAtEachPlaceOfEachLength) {
    for (const std::size_t needle_length :
         {1u, 2u, 3u, 4u, 15u, 16u, 17u, 31u, 32u, 33u, 64u, 65u, 100u}) {
        std::string needle(needle_length, 'n');
        needle[0] = 'N';
        for (std::size_t length = needle_length; length <= 300; ++length) {
            std::string haystack(length, 'n');
            ASSERT_NO_FATAL_FAILURE(check(haystack, needle));
            for (std::size_t at = 0; at + needle_length <= length; ++at) {
                haystack[at] = 'N';
                ASSERT_NO_FATAL_FAILURE(check(haystack, needle)) << at;
                haystack[at] = 'n';
            }
        }
    }
}

TEST_P(SearchEdgeBody, NeedleInLongTexts) {
    for (const std::size_t near : {511u, 1023u, 4095u, 65535u}) {
        for (std::size_t length = near - 1; length <= near + 1; ++length) {
            for (const std::size_t needle_length : {1u, 2u, 33u, 400u}) {
                std::string needle(needle_length, 'n');
                needle[0] = 'N';
                std::string haystack(length, 'n');
                ASSERT_NO_FATAL_FAILURE(check(haystack, needle));
                for (const std::size_t at :
                     {std::size_t{0}, std::size_t{63}, std::size_t{64}, length - needle_length}) {
                    haystack[at] = 'N';
                    ASSERT_NO_FATAL_FAILURE(check(haystack, needle)) << at;
                    haystack[at] = 'n';
                }
            }
        }
    }
}

TEST_P(SearchBody, RandomTextsAgreeWithTheStandardSearch) {
    std::mt19937_64 random = seeded_generator();
    const auto below = [&random](std::uint64_t bound) { return random() % bound; };
    const auto text = [&](std::uint64_t length, std::uint64_t letters) {
        std::string result(length, 0);
        for (char& letter : result) letter = static_cast<char>('a' + below(letters));
        return result;
    };
    const std::uint64_t rounds = setting("ITER", 100000);
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        const std::uint64_t letters = 1 + below(4);
        std::string haystack = text(below(300), letters);
        const std::string needle = haystack.empty() || below(2)
                                       ? text(below(12), letters)
                                       : haystack.substr(below(haystack.size()), 1 + below(40));
        check(haystack, needle);
    }
}

// Dense places that look like the needle make the search change over to its linear way.
TEST_P(SearchBody, DenseFalseStartsAgreeWithTheStandardSearch) {
    std::mt19937_64 random = seeded_generator();
    const auto below = [&random](std::uint64_t bound) { return random() % bound; };
    const std::uint64_t rounds = setting("ITER", 10000) / 4;
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        // A text with a short period, spoilt here and there.
        std::string period(1 + below(6), 'a');
        for (char& letter : period) letter = static_cast<char>('a' + below(2));
        std::string haystack;
        while (haystack.size() < 6000) haystack += period;
        for (std::uint64_t spoilt = below(4); spoilt > 0; --spoilt) {
            haystack[below(haystack.size())] = static_cast<char>('a' + below(3));
        }
        std::string needle = haystack.substr(below(3000), 2 + below(below(2) ? 20 : 2500));
        for (std::uint64_t spoilt = below(3); spoilt > 0; --spoilt) {
            needle[below(needle.size())] = static_cast<char>('a' + below(3));
        }
        check(haystack, needle);
        // Once at a place of its own, late.
        const std::size_t at = haystack.size() - needle.size() - below(100) % haystack.size();
        if (at + needle.size() <= haystack.size()) haystack.replace(at, needle.size(), needle);
        check(haystack, needle);
    }
}

// Places with the needle's ends, a lot of them for each byte, and nothing of what is between.
std::string dense_false_starts(std::size_t length, std::size_t needle_length, char first,
                               char last) {
    std::string text;
    while (text.size() < length) {
        text += std::string(needle_length - 1, first) + std::string(needle_length - 1, last);
    }
    text.resize(length);
    return text;
}

TEST_P(SearchBody, NeedleBehindAnyNumberOfFalseStarts) {
    const std::string needle = "axbbbbbbb";
    for (std::size_t length = 0; length < 3000; ++length) {
        const std::string haystack = dense_false_starts(length, needle.size(), 'a', 'b') + needle;
        check(haystack, needle);
        check(haystack + "aaaa", needle);
    }
}

// Once two windows a period apart have been matched in part, spoilt bytes decide.
TEST_P(SearchBody, PeriodicNeedlesInSpoiltRepetitions) {
    for (const std::string period : {"ab", "ba", "aab", "abb", "aba", "abaab", "abcabd"}) {
        std::string needle;
        while (needle.size() < 14) needle += period;
        for (std::size_t cut = 0; cut < period.size(); ++cut, needle.pop_back()) {
            const std::string start =
                dense_false_starts(1500, needle.size(), needle.front(), needle.back());
            for (std::size_t first = 0; first < 20; ++first) {
                for (std::size_t second = first; second < 20; ++second) {
                    std::string repetition;
                    while (repetition.size() < 20) repetition += period;
                    repetition[first] = 'x';
                    repetition[second] = 'y';
                    check(start + repetition, needle);
                }
            }
        }
    }
}

// Each of these would take hours if the work were not linear.
TEST_P(SearchBody, RepetitiveMegabytesEnd) {
    constexpr std::size_t kSize = 1 << 20;
    const std::string a(2 * kSize, 'a');
    const std::string half(kSize, 'a');
    EXPECT_EQ(index(a, half + 'b'), -1);
    EXPECT_EQ(index(a, 'b' + half), -1);
    EXPECT_EQ(index(a, half + 'b' + half.substr(1)), -1);
    EXPECT_EQ(index(a, half.substr(1) + 'b' + 'a'), -1);
    EXPECT_EQ(index(a + 'b', half + 'b'), kSize);
    std::string pairs;
    for (std::size_t i = 0; i < kSize; ++i) pairs += "ab";
    EXPECT_EQ(index(pairs, pairs.substr(0, kSize) + 'b'), -1);
    EXPECT_EQ(index(pairs, pairs.substr(0, kSize) + "aab"), -1);
}

NQ_FOR_EACH_BODY(SearchBody);
NQ_FOR_EACH_BODY(SearchEdgeBody);

}  // namespace
}  // namespace nq::test
