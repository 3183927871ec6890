#include <gtest/gtest.h>

#include <array>
#include <optional>

#include "standalone/memory/sanitizer.hpp"
#include "tests/config/configuration_model.hpp"
#include "tests/support/random.hpp"

namespace nq::test {
namespace {

constexpr std::uint64_t kDocuments = NQ_UNDER_SANITIZER ? 5'000 : 100'000;
constexpr std::uint64_t kTrees = NQ_UNDER_SANITIZER ? 1'000 : 20'000;

// A document in which every byte may stand anywhere.
std::string soup(SeededRandom& random) {
    static const std::array<std::string, 26> kPieces{"=",
                                                     "=",
                                                     "=",
                                                     "[",
                                                     "]",
                                                     "[",
                                                     "]",
                                                     "#",
                                                     " ",
                                                     " ",
                                                     "\t",
                                                     "\n",
                                                     "\n",
                                                     "\n",
                                                     "\r\n",
                                                     "\r",
                                                     "\x15",
                                                     "a",
                                                     "key",
                                                     "b",
                                                     "\v",
                                                     "\xC3\xA9",
                                                     "\xE6\xBC\xA2",
                                                     "\xF0\x9F\x98\x80",
                                                     std::string(1, '\0'),
                                                     "\n "};
    std::string text;
    for (std::uint64_t n = random.below(40); n; --n) text += random.pick(kPieces);
    if (random.below(16) == 0) {
        static const std::array<std::string, 6> kBad{"\xFF",     "\x80",         "\xC3",
                                                     "\xE6\xBC", "\xED\xA0\x80", "\xF0\x9F\x98"};
        text.insert(random.below(text.size() + 1), random.pick(kBad));
    }
    return text;
}

std::string word(SeededRandom& random) {
    static const std::array<std::string, 12> kWords{
        "a", "b", "name", "path", "x y", "\xD0\xB6", "\xE6\xBC\xA2", "q]", "a=b", "a#", "", "[z"};
    return random.pick(kWords);
}

// A line of a configuration file, now and then with something missing.
std::string likely_line(SeededRandom& random) {
    static const std::array<std::string, 6> kBlanks{"", "", "", " ", "\t", "    "};
    std::string line = random.pick(kBlanks);
    switch (random.below(16)) {
        case 0:
            return line;
        case 1:
            return line + "#" + word(random);
        case 2:
        case 3:
            return line + "[" + word(random) + "]" + random.pick(kBlanks);
        case 4:
        case 5:
        case 6:
        case 7:
            return line + word(random) + random.pick(kBlanks) + "=" + random.pick(kBlanks);
        case 8:
            return random.below(8) ? line : line + word(random);
        default:
            return line + word(random) + random.pick(kBlanks) + "=" + random.pick(kBlanks) +
                   word(random) + random.pick(kBlanks);
    }
}

std::string terminator(SeededRandom& random) {
    static const std::array<std::string, 6> kTerminators{"\n",   "\n",   "\n",
                                                         "\r\n", "\x15", "\r\x15"};
    return random.pick(kTerminators);
}

std::string likely_document(SeededRandom& random) {
    // Some documents are long enough for several fills.
    const std::uint64_t most = random.below(64) ? 12 : 600;
    std::string text;
    for (std::uint64_t n = random.below(most); n; --n) {
        text += likely_line(random);
        if (n > 1 || random.below(2)) text += terminator(random);
    }
    if (random.below(64) == 0) text.insert(random.below(text.size() + 1), 1, '\xFF');
    return text;
}

FilePlan random_plan(SeededRandom& random) {
    FilePlan plan;
    if (random.below(2)) plan.chunk = 1 + random.below(64);
    if (random.below(2)) plan.end = EndOfFile::kEarly;
    return plan;
}

// Hosts for many documents: each reads into a pool of its own, which takes the leftovers of
// comments and syntax errors with it, and a host is replaced before it has many of them.
class Hosts {
  public:
    Outcome read(const std::string& document, const FilePlan& plan) {
        if (count_++ % 64 == 0) {
            host_.reset();
            host_.emplace();
            host_->load();
            host_->forgive();
            host_->encoding.plan.incomplete = Incomplete::kKeepTail;
        }
        host_->file("test.conf", document, plan);
        CheckingPool& pool = host_->make_pool("one document");
        const Outcome outcome = read_configuration(*host_, "test.conf", pool.table());
        pool.destroy();
        return outcome;
    }

  private:
    std::optional<CheckingHost> host_;
    std::uint64_t count_ = 0;
};

TEST(ConfigurationModel, RandomDocumentsReadAsTheRulesSay) {
    SeededRandom random(kDocuments);
    Hosts hosts;
    std::uint64_t legal = 0;
    std::uint64_t syntax_errors = 0;
    std::uint64_t refused = 0;
    for (std::uint64_t i = 0; i < random.rounds(); ++i) {
        const std::string document = random.below(2) ? soup(random) : likely_document(random);
        const FilePlan plan = random_plan(random);
        const Outcome expected = model_of(document);
        ASSERT_EQ(hosts.read(document, plan), expected) << testing::PrintToString(document);
        legal += expected.status == NQ_STATUS_OK;
        syntax_errors += expected.line >= 0;
        refused += expected.status == NQ_STATUS_UNCONVERTIBLE;
    }
    std::cout << legal << " legal, " << syntax_errors << " with a syntax error, " << refused
              << " not UTF-8\n";
    if (random.rounds() >= 1000) {
        EXPECT_GT(legal, random.rounds() / 10);
        EXPECT_GT(syntax_errors, random.rounds() / 10);
        EXPECT_GT(refused, 0u);
    }
}

// Makes a tree together with a text that stands for it, in whatever layout the syntax allows.
class LegalDocument {
  public:
    explicit LegalDocument(SeededRandom& random) : random_(random) {
        fill(tree);
        for (std::uint64_t n = random_.below(4); n; --n) {
            const std::string name = fresh_key(tree, true);
            line(blank() + "[" + name + "]" + (random_.below(4) ? "" : " ]ignored= #"));
            block_ = nullptr;
            fill(tree.set(name, Tree::dictionary()));
        }
        // The last line may go without its terminator.
        if (!last_terminator_.empty() && random_.below(2)) {
            text.resize(text.size() - last_terminator_.size());
        }
    }

    Tree tree = Tree::dictionary();
    std::string text;

  private:
    void fill(Tree& target) {
        for (std::uint64_t n = random_.below(6); n; --n) add_entry(target);
    }

    void add_entry(Tree& target) {
        const bool is_open = block_ != nullptr;
        if (is_open && random_.below(2)) {
            const std::string key = fresh_key(*block_, false);
            const std::string value = text_value();
            line(indentation() + entry(key, value));
            block_->set(key, Tree::of(value));
            return;
        }
        const std::string key = fresh_key(target, false);
        if (is_open) {
            // An unindented line ends the block; it holds a text, even an empty one.
            const std::string value = text_value();
            line(entry(key, value));
            target.set(key, Tree::of(value));
            block_ = nullptr;
            return;
        }
        const std::string value = random_.below(3) ? text_value() : "";
        line(blank() + entry(key, value));
        Tree& made = target.set(key, value.empty() ? Tree::dictionary() : Tree::of(value));
        if (value.empty()) block_ = &made;
    }

    std::string entry(const std::string& key, const std::string& value) {
        return key + blank() + "=" + blank() + value + blank();
    }

    void line(const std::string& content) {
        while (random_.below(6) == 0) end(random_.below(2) ? blank() : blank() + "# = [comment");
        end(content);
    }
    void end(const std::string& content) {
        last_terminator_ = terminator(random_);
        text += content + last_terminator_;
    }

    std::string blank() {
        static const std::array<std::string, 5> kBlanks{"", "", " ", "\t", " \t  "};
        return random_.pick(kBlanks);
    }
    std::string indentation() {
        static const std::array<std::string, 3> kIndentations{" ", "\t", "    "};
        return random_.pick(kIndentations);
    }

    // A key that the dictionary does not have. A section's name may hold "=" and blanks at its
    // ends, and begin with anything.
    std::string fresh_key(const Tree& tree_with_keys, bool is_section) {
        static const std::array<std::string, 8> kStems{
            "key", "a b", "k]", "\xD0\xB6", "\xE6\xBC\xA2", "k#", "k[", "\xF0\x9F\x98\x80"};
        static const std::array<std::string, 6> kSections{"s", " s ", "[s", "a=b", "#s", "\tx"};
        const std::string stem = is_section ? random_.pick(kSections) : random_.pick(kStems);
        return stem + std::to_string(tree_with_keys.entries.size());
    }

    std::string text_value() {
        static const std::array<std::string, 10> kValues{
            "v",  "a = b",   "[x]", "# no comment", "=", "\"q\\n\"", "", "\xE6\xBC\xA2 \xC3\xA9",
            "42", "it\rgoes"};
        // Long values span fills.
        if (random_.below(50) == 0) return std::string(1 + random_.below(5000), 'v');
        return random_.pick(kValues);
    }

    SeededRandom& random_;
    Tree* block_ = nullptr;
    std::string last_terminator_;
};

TEST(ConfigurationModel, TreesReadBackFromEveryLayout) {
    SeededRandom random(kTrees);
    Hosts hosts;
    for (std::uint64_t i = 0; i < random.rounds(); ++i) {
        const LegalDocument document(random);
        const Outcome outcome = hosts.read(document.text, random_plan(random));
        ASSERT_EQ(outcome, (Outcome{NQ_STATUS_OK, -1, document.tree}))
            << testing::PrintToString(document.text);
    }
}

}  // namespace
}  // namespace nq::test
