#include "tests/text/compare_model.hpp"
#include "tests/support/random.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "nqinstance/host/kernel.h"
#include "nqinstance/text/compare.h"
#include "standalone/text/unicode.hpp"
#include "tests/support/bytes.hpp"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {
namespace {

using Family = std::vector<std::string>;

// Characters that are the same in lower case, and of the same length in UTF-8.
const std::vector<Family> kPlain{
    {"a", "A"},
    {"b", "B"},
    {"z", "Z"},
    {"\u00E9", "\u00C9"},
    {"\u0436", "\u0416"},
    {"\u2C30", "\u2C00"},
    {"\u4E2D"},
    {"\u4E2E"},
    {"\U00010428", "\U00010400"},
    {"\U0001F600"},
    {"0"},
    {"@"},
    {"`"},
    {" "},
    {"  "},
    {"the same words"},
    {"\u043F\u0440\u0438\u0432\u0435\u0442 "},
};
const std::vector<Family> kOfOtherLengths{{"k", "K", "\u212A"}, {"\u2C65", "\u023A"}, {"\x01"}};
const std::vector<Family> kMalformed{
    {"\x80", "\xBF"}, {"\xC3"},     {"\xC3"}, {"\xE4\xB8"}, {"\xE4"},         {"\xF0"},
    {"\xF0\x9F\x98"}, {"\xFC"},     {"\xFF"}, {"\xC0\x80"}, {"\xED\xA0\x80"}, {"\xE0\x81\x81"},
    {"\xF8\x88"},     {"\xF4\x90"}, {"\x00"}, {"\uFFFD"},
};

std::vector<Family> joined(std::initializer_list<const std::vector<Family>*> parts) {
    std::vector<Family> all;
    for (const auto* part : parts) all.insert(all.end(), part->begin(), part->end());
    return all;
}

template <class Text>
struct Pair {
    Text a, b;
};

// Texts that mostly agree, so that a comparison gets far.
class RandomTexts {
  public:
    explicit RandomTexts(std::vector<Family> families) : families_(std::move(families)) {}

    unsigned below(unsigned bound) { return static_cast<unsigned>(random_() % bound); }
    template <class List>
    const auto& pick(const List& list) {
        return list[below(static_cast<unsigned>(std::size(list)))];
    }

    Pair<std::string> next() {
        constexpr unsigned kLengths[] = {3, 8, 20, 60};
        constexpr unsigned kChanges[] = {0, 1, 10, 40};  // in a hundred characters
        Pair<std::string> pair;
        const unsigned changes = pick(kChanges);
        for (unsigned left = below(pick(kLengths) + 1); left; --left) {
            const Family& family = pick(families_);
            const std::string& one = pick(family);
            const bool is_other = below(100) < changes;
            pair.a += one;
            pair.b += !is_other ? one : below(20) ? pick(family) : pick(pick(families_));
        }
        pair.a.append(below(3) ? 0 : below(40), ' ');
        pair.b.append(below(3) ? 0 : below(40), ' ');
        if (below(16) == 0) pair.a.resize(below(static_cast<unsigned>(pair.a.size()) + 1));
        return pair;
    }

  private:
    std::mt19937_64 random_ = seeded_generator();
    const std::vector<Family> families_;
};

// What to call with one body, and in the delivered library.
struct Way {
    const char* name;
    const TextKernels* body;
    decltype(&::nqzsu8Compare) compare;
    decltype(&::nqzsu8NormCompare) norm_compare;
    decltype(&::nqzsu8NormCompareText) norm_compare_text;
    decltype(&::nqzsu8NormEqual) norm_equal;
    decltype(&::nqzsu8NormEqualText) norm_equal_text;
    decltype(&::nqzsu8NormASCIIEqual) ascii_equal;
    decltype(&::nqzsncmp) units_compare;
    decltype(&::nqzseqn) units_equal;
};

template <class Compare, class... More>
int call(Compare compare, const std::string& a, const std::string& b, More... more) {
    return compare(bytes_of(a), a.size(), bytes_of(b), b.size(), more...);
}

template <class Compare, class Count>
int call_units(Compare compare, const model::Units& a, const model::Units& b, Count) {
    return compare(a.data(), static_cast<Count>(a.size()), b.data(), static_cast<Count>(b.size()));
}

std::string escaped(const std::string& text) {
    std::ostringstream out;
    for (const char byte : text) {
        if (byte >= ' ' && byte < 0x7F) {
            out << byte;
        } else {
            out << '<' << std::hex << static_cast<unsigned>(static_cast<std::uint8_t>(byte)) << '>';
        }
    }
    return out.str();
}

class CompareModel : public testing::Test {
  protected:
    static constexpr std::uint64_t kPairs = 1000000;

    CompareModel() {
        UnicodeService service;
        HostUnicode* mapping = service.table();
        for (NQChar code_point = 0; code_point < unicode_.lower.size(); ++code_point) {
            unicode_.lower[code_point] = mapping->toLower(mapping, code_point, 1);
        }
        unicode_.toLower = [](HostUnicode* self, std::uint32_t code_point,
                              std::uint64_t) noexcept -> std::uint32_t {
            return static_cast<Unicode*>(self)->lower.at(code_point);
        };
        kernel_.unicode = &unicode_;
        ::Exported_NQHandle = &kernel_;
        *static_cast<HostKernel**>(library_symbol("Exported_NQHandle")) = &kernel_;

        for (const TextKernels* body : text_kernel_bodies()) {
            ways_.push_back({body->name, body, ::nqzsu8Compare, ::nqzsu8NormCompare,
                             ::nqzsu8NormCompareText, ::nqzsu8NormEqual, ::nqzsu8NormEqualText,
                             ::nqzsu8NormASCIIEqual, ::nqzsncmp, ::nqzseqn});
        }
        ways_.push_back({"library", nullptr, NQ_LIBRARY(nqzsu8Compare),
                         NQ_LIBRARY(nqzsu8NormCompare), NQ_LIBRARY(nqzsu8NormCompareText),
                         NQ_LIBRARY(nqzsu8NormEqual), NQ_LIBRARY(nqzsu8NormEqualText),
                         NQ_LIBRARY(nqzsu8NormASCIIEqual), NQ_LIBRARY(nqzsncmp),
                         NQ_LIBRARY(nqzseqn)});
    }
    ~CompareModel() override {
        ::Exported_NQHandle = nullptr;
        *static_cast<HostKernel**>(library_symbol("Exported_NQHandle")) = nullptr;
        text_kernels_in_use = nullptr;
    }

    const Way& library() const { return ways_.back(); }

    template <class Check>
    void in_each_way(Check check) {
        for (const Way& way : ways_) {
            text_kernels_in_use = way.body;
            check(way);
        }
    }

    NQChar lower(NQChar code_point) const { return unicode_.lower.at(code_point); }

    void check(const Pair<std::string>& pair) {
        const std::string& a = pair.a;
        const std::string& b = pair.b;
        const auto host_lower = [this](NQChar code_point) { return lower(code_point); };
        const int compared = model::norm_compare(a, b, host_lower);
        const int equal = model::norm_equal(a, b, host_lower);
        in_each_way([&](const Way& way) {
            ASSERT_EQ(call(way.norm_compare, a, b), compared) << way.name;
            ASSERT_EQ(call(way.norm_compare_text, a, b, 20u), compared) << way.name;
            ASSERT_EQ(call(way.norm_equal, a, b), equal) << way.name;
            ASSERT_EQ(call(way.norm_equal_text, a, b, 27u), equal) << way.name;
            ASSERT_EQ(call(way.ascii_equal, a, b), model::ascii_equal(a, b)) << way.name;
            ASSERT_EQ(call(way.compare, a, b), model::compare(a, b)) << way.name;
        });
        ASSERT_FALSE(HasFatalFailure()) << escaped(a) << "\n" << escaped(b);
    }

  private:
    struct Unicode : HostUnicode {
        Unicode() : HostUnicode{}, lower(0x200000) {}
        std::vector<NQChar> lower;
    };
    Unicode unicode_;
    HostKernel kernel_{};
    std::vector<Way> ways_;
};

TEST_F(CompareModel, RandomPairs) {
    RandomTexts texts(joined({&kPlain, &kOfOtherLengths, &kMalformed, &kMalformed}));
    const std::uint64_t rounds = setting("ITER", kPairs);
    std::map<int, std::uint64_t> seen;
    for (std::uint64_t round = 0; round < rounds; ++round) {
        const Pair<std::string> pair = texts.next();
        ASSERT_NO_FATAL_FAILURE(check(pair));
        ++seen[call(library().norm_compare, pair.a, pair.b)];
    }
    if (rounds >= 10000) {
        for (const int result : {-2, -1, 0, 1, 2}) {
            EXPECT_GT(seen[result], rounds / 100) << result;
        }
    }
}

// A few bytes only, so that all the ways in which sequences meet the ends come up.
TEST_F(CompareModel, RandomBytes) {
    std::mt19937_64 random = seeded_generator();
    constexpr std::uint8_t kBytes[] = {' ',  'a',  'A',  'k',  0x80, 0xA9, 0xBF, 0xC3,
                                       0xC0, 0xE2, 0x84, 0xAA, 0xF0, 0xF4, 0xF8, 0xFF};
    const std::uint64_t rounds = setting("ITER", kPairs / 2);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        Pair<std::string> pair;
        const std::string start(random() % 2 ? 0 : random() % 40, 'x');
        for (std::string* text : {&pair.a, &pair.b}) {
            *text = start;
            for (std::uint64_t left = random() % 8; left; --left) {
                *text += static_cast<char>(kBytes[random() % std::size(kBytes)]);
            }
        }
        if (random() % 2) pair.b = pair.a.substr(0, random() % (pair.a.size() + 1)) + pair.b;
        ASSERT_NO_FATAL_FAILURE(check(pair));
    }
}

int sign(int result) { return (result > 0) - (result < 0); }

// Holds where the cases of a letter are equally long in UTF-8 and no sequence is malformed.
TEST_F(CompareModel, ExchangingTheTextsChangesTheSign) {
    RandomTexts texts(joined({&kPlain}));
    const std::uint64_t rounds = setting("ITER", kPairs);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        auto [a, b] = texts.next();
        if (const auto tail = a.find_last_not_of(' '); tail != std::string::npos) {
            // The text may have been cut inside its last character.
            std::size_t lead = tail;
            while (lead > 0 && model::is_continuation(model::byte_at(a, lead))) --lead;
            if (model::character_at(a, lead).size() <
                model::announced_length(model::byte_at(a, lead))) {
                a.resize(lead);
            }
        }
        const int forth = call(library().norm_compare, a, b);
        ASSERT_EQ(call(library().norm_compare, b, a), -forth) << escaped(a) << "\n" << escaped(b);
        ASSERT_EQ(call(library().compare, b, a), -call(library().compare, a, b));
        if (call(library().norm_equal, a, b)) {
            ASSERT_LE(std::abs(forth), 1);
        }
    }
}

TEST_F(CompareModel, EqualityHoldsBothWaysForAnyBytes) {
    RandomTexts texts(joined({&kPlain, &kOfOtherLengths, &kMalformed}));
    const std::uint64_t rounds = setting("ITER", kPairs);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        const auto [a, b] = texts.next();
        ASSERT_EQ(call(library().norm_equal, a, b), call(library().norm_equal, b, a))
            << escaped(a) << "\n"
            << escaped(b);
        ASSERT_EQ(call(library().norm_equal, a, a), 1);
        ASSERT_EQ(call(library().norm_compare, a, a), 0);
        ASSERT_EQ(call(library().ascii_equal, a, b), call(library().ascii_equal, b, a));
    }
}

// Starts of every kind with blanks behind them: nothing malformed, no case of another length and
// nothing that sorts before a blank.
std::vector<std::string> edge_texts() {
    const std::vector<std::string> heads{"", "a", "\u00E9", "\U00010400", " "};
    const std::vector<std::string> tails{"",       "a",      "A",       "b",          "aB",
                                         "Ab",     "\u00E9", "\u00C9",  "\u00C9a",    "\u0436",
                                         "\u0416", "\u4E2D", "\uFFFD",  "\U00010428", "a b",
                                         "a  B",   "a!",     "a\u00C9", "A\u00E9",    "~"};
    std::set<std::string> texts;
    for (const std::string& head : heads) {
        for (const std::string& tail : tails) {
            for (const char* blanks : {"", " ", "   "}) texts.insert(head + tail + blanks);
        }
    }
    return {texts.begin(), texts.end()};
}

TEST_F(CompareModel, OrderOfEdgeTextsIsTransitive) {
    const std::vector<std::string> texts = edge_texts();
    ASSERT_GE(texts.size(), 200u);
    in_each_way([&](const Way& way) {
        std::vector<std::vector<int>> signs(texts.size(), std::vector<int>(texts.size()));
        for (std::size_t i = 0; i < texts.size(); ++i) {
            for (std::size_t j = 0; j < texts.size(); ++j) {
                signs[i][j] = sign(call(way.norm_compare, texts[i], texts[j]));
            }
        }
        for (std::size_t i = 0; i < texts.size(); ++i) {
            for (std::size_t j = 0; j < texts.size(); ++j) {
                ASSERT_EQ(signs[i][j], -signs[j][i]);
                if (signs[i][j] > 0) continue;
                for (std::size_t k = 0; k < texts.size(); ++k) {
                    if (signs[j][k] > 0) continue;
                    const int expected = std::min(signs[i][j], signs[j][k]);
                    ASSERT_EQ(signs[i][k], expected)
                        << way.name << ": " << escaped(texts[i]) << ", " << escaped(texts[j])
                        << ", " << escaped(texts[k]);
                }
            }
        }
    });
}

// Where the rules give no order: known, and kept.
TEST_F(CompareModel, OrderIsNotTransitiveForSomeTexts) {
    const auto compare = [this](const char* a, const char* b) {
        return call(library().norm_compare, a, b);
    };
    // What sorts before a blank sorts after the end of a text.
    EXPECT_EQ(compare("ab", "ab "), 0);
    EXPECT_EQ(compare("ab ", "ab\t"), 2);
    EXPECT_EQ(compare("ab", "ab\t"), -2);
    // Two malformed characters are each after the other.
    EXPECT_EQ(compare("\x80", "\xFF"), 1);
    EXPECT_EQ(compare("\xFF", "\x80"), 1);
    // A letter is looked at, or not, by the length of the one before it.
    EXPECT_EQ(compare("\u2C65b", "\u023Ac"), 1);
    EXPECT_EQ(compare("\u023Ac", "\u2C65b"), 2);
}

class UnitsModel : public CompareModel {
  protected:
    UnitsModel() {
        std::ifstream file(NQ_CASE_PAIRS);
        std::string direction;
        NQChar from = 0;
        NQChar to = 0;
        while (file >> direction >> std::hex >> from >> to) {
            if (direction == "lower") pairs_[from] = to;
        }
        EXPECT_EQ(pairs_.size(), 706u) << NQ_CASE_PAIRS;
    }

    NQChar table_lower(NQChar unit) const {
        const auto found = pairs_.find(unit);
        return found == pairs_.end() ? unit : found->second;
    }

  private:
    std::map<NQChar, NQChar> pairs_;
};

TEST_F(UnitsModel, RandomPairs) {
    std::mt19937_64 random = seeded_generator();
    const NQChar kUnits[] = {'a',     'A',     'b',    'B',   'z',         'Z',         ' ',
                             ' ',     '@',     '`',    '[',   '{',         0x436,       0x416,
                             0xE9,    0xC9,    0x181,  0x253, 0x212A,      0x4E2D,      0x10400,
                             0x10428, 0x1F600, 0xFFFF, 0x0,   0x80000000u, 0xFFFFFFFFu, 0x7FFFFFFFu,
                             0xC1,    0xE1,    0x10061};
    const auto unit = [&] { return kUnits[random() % std::size(kUnits)]; };
    const auto lower = [this](NQChar one) { return table_lower(one); };
    const std::uint64_t rounds = setting("ITER", kPairs);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        model::Units a;
        model::Units b;
        const std::uint64_t changes = random() % 3 * 5;  // in a hundred
        for (std::uint64_t left = random() % (random() % 4 ? 12 : 60); left; --left) {
            const NQChar one = unit();
            a += one;
            NQChar other = one;
            if (random() % 100 < changes) other = random() % 8 ? lower(one) : unit();
            b += other;
        }
        a.append(random() % 3 ? 0 : random() % 20, ' ');
        b.append(random() % 3 ? 0 : random() % 20, ' ');
        if (random() % 2) std::swap(a, b);
        const int compared = model::units_compare(a, b, lower);
        const int equal = model::units_equal(a, b, lower);
        in_each_way([&](const Way& way) {
            ASSERT_EQ(call_units(way.units_compare, a, b, std::int64_t{}), compared) << way.name;
            ASSERT_EQ(call_units(way.units_compare, b, a, std::int64_t{}), -compared) << way.name;
            ASSERT_EQ(call_units(way.units_equal, a, b, std::uint64_t{}), equal) << way.name;
        });
        ASSERT_FALSE(HasFatalFailure()) << "round " << round;
    }
}

TEST_F(UnitsModel, EveryCodePointAgainstItsLowerCase) {
    for (NQChar unit = 0; unit < 0x110000; ++unit) {
        const model::Units a(1, unit);
        const model::Units b(1, table_lower(unit));
        ASSERT_EQ(call_units(library().units_equal, a, b, std::uint64_t{}), 1) << unit;
        ASSERT_EQ(call_units(library().units_compare, a, b, std::int64_t{}),
                  model::order_of(unit, b[0]))
            << unit;
    }
}

}  // namespace
}  // namespace nq::test
