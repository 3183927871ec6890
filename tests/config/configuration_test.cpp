#include <gtest/gtest.h>

#include "tests/config/config_support.hpp"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

class Configuration : public testing::Test {
  protected:
    Configuration() { host.load(); }

    Outcome read(std::string bytes, FilePlan plan = {}) {
        host.file("test.conf", std::move(bytes), std::move(plan));
        return read_configuration(host);
    }
    std::string tree(std::string bytes, FilePlan plan = {}) {
        const Outcome outcome = read(std::move(bytes), std::move(plan));
        EXPECT_EQ(outcome.status, NQ_STATUS_OK);
        EXPECT_EQ(outcome.line, -1);
        return to_string(outcome.tree);
    }

    CheckingHost host;
};

struct TreeCase {
    std::string document;
    std::string tree;
};

const TreeCase kTrees[] = {
    {"", "{}"},
    {"\n \n\t\r\n", "{}"},
    {"a=1", R"({a: "1"})"},
    {"a=1\nb=2\n", R"({a: "1", b: "2"})"},
    {"a=1\x15"
     "b=2\x15",
     R"({a: "1", b: "2"})"},
    {"  a\t = \t1  \r\n", R"({a: "1"})"},
    {"a = b = c\n", R"({a: "b = c"})"},
    {"a=b # c\n", R"({a: "b # c"})"},
    {"a#=[b]\n", R"({a#: "[b]"})"},
    {"answer=42\nflag=true\nquoted=\"x\\n\"\n", R"({answer: "42", flag: "true", quoted: ""x\n""})"},
    {"=v\n", R"({: "v"})"},
    {"==\n", R"({: "="})"},
    {"a]=1\n", R"({a]: "1"})"},
    // Repeated keys are the dictionary service's matter; that of these tests replaces.
    {"a=1\nb=2\na=3\n", R"({a: "3", b: "2"})"},
    // Sections.
    {"[s]\n", "{s: {}}"},
    {"a=1\n[s]\nb=2\n[t]\nc=3\n", R"({a: "1", s: {b: "2"}, t: {c: "3"}})"},
    {"[ s t ]\na=1\n", R"({ s t : {a: "1"}})"},
    {"[]\na=1\n", R"({: {a: "1"}})"},
    {"[s] rest = ignored ] #\na=1\n", R"({s: {a: "1"}})"},
    {"[[s]]\n", "{[s: {}}"},
    {"[a=b]\n", "{a=b: {}}"},
    {"   [s]\n a=1\n", R"({s: {a: "1"}})"},
    {"[s]\na=1\n[s]\nb=2\n", R"({s: {b: "2"}})"},
    {"s=1\n[s]\na=1\n", R"({s: {a: "1"}})"},
    // Indented blocks.
    {"db=\n  host = h\n  port = 5\nname = n\n", R"({db: {host: "h", port: "5"}, name: "n"})"},
    {"db=\n\thost=h\n", R"({db: {host: "h"}})"},
    {"db=\n", "{db: {}}"},
    {"db = \t \n  a=1\n", R"({db: {a: "1"}})"},
    {"db=\n  host=h\nx=\n", R"({db: {host: "h"}, x: ""})"},
    {"db=\nx=\ny=\n  z=1\n", R"({db: {}, x: "", y: {z: "1"}})"},
    {"db=\n  host=h\nx=\n  z=1\n", R"({db: {host: "h"}, x: "", z: "1"})"},
    {"db=\n  a=\n  b=\n    c=1\n", R"({db: {a: "", b: "", c: "1"}})"},
    {"  db=\n  a=1\n", R"({db: {a: "1"}})"},
    {"  a=1\n", R"({a: "1"})"},
    {"  a=1\n  b=\n  c=2\n", R"({a: "1", b: {c: "2"}})"},
    {"db=\n\n  \n  a=1\n\n  b=2\n", R"({db: {a: "1", b: "2"}})"},
    {"db=\n[s]\n  a=1\n", R"({db: {}, s: {a: "1"}})"},
    {"db=\n  [s]\n  a=1\n", R"({db: {}, s: {a: "1"}})"},
    {"[s]\ndb=\n a=1\nb=2\n[t]\n c=3\n", R"({s: {db: {a: "1"}, b: "2"}, t: {c: "3"}})"},
    {"[s]\nx=\n[t]\nx=\n y=1\n", R"({s: {x: {}}, t: {x: {y: "1"}}})"},
    {"x=\n a=1\nx=\n a=2\n", R"({x: "", a: "2"})"},
    // A carriage return that is left in the line is blank to the trim, not an indentation.
    {"db=\r", "{db: {}}"},
    {"db=\n\ra=1\n", R"({db: {}, a: "1"})"},
    {"db=\n\va=1\n", R"({db: {}, a: "1"})"},
    // Texts beyond ASCII.
    {"\xE6\xBC\xA2=\xD0\xB6\n", "{\xE6\xBC\xA2: \"\xD0\xB6\"}"},
};

TEST_F(Configuration, ReadsTheSyntax) {
    for (const TreeCase& one : kTrees) {
        SCOPED_TRACE(testing::PrintToString(one.document));
        EXPECT_EQ(tree(one.document), one.tree);
    }
}

TEST_F(Configuration, EverySplitReadsTheSame) {
    for (const TreeCase& one : kTrees) {
        SCOPED_TRACE(testing::PrintToString(one.document));
        for (const EndOfFile end : {EndOfFile::kLate, EndOfFile::kEarly}) {
            for (const std::uint64_t chunk : {1u, 2u, 7u}) {
                EXPECT_EQ(tree(one.document, {.chunk = chunk, .end = end}), one.tree);
            }
            for (std::uint64_t split = 1; split < one.document.size(); ++split) {
                EXPECT_EQ(tree(one.document, {.splits = {split}, .end = end}), one.tree) << split;
            }
        }
    }
}

// The same documents with each byte in turn as the last of the first fill.
TEST_F(Configuration, EveryFillBoundaryReadsTheSame) {
    host.encoding.plan.incomplete = Incomplete::kKeepTail;
    for (const TreeCase& one : kTrees) {
        SCOPED_TRACE(testing::PrintToString(one.document));
        for (std::size_t before = 2048 - one.document.size(); before <= 2048; ++before) {
            // One blank line up to the document.
            const std::string blank = std::string(before - 1, ' ') + '\n';
            EXPECT_EQ(tree(blank + one.document), one.tree) << before;
        }
    }
}

TEST_F(Configuration, CommentsKeepTheirLineObject) {
    struct Case {
        std::string document;
        std::string tree;
        std::uint64_t comments;
    };
    const Case cases[] = {
        {"# c\n", "{}", 1},
        {"#", "{}", 1},
        {" \t# [c\n#=\n", "{}", 2},
        {"a=1\n#b=2\nc=3\n", R"({a: "1", c: "3"})", 1},
        {"db=\n# c\n  a=1\n  # d\n  b=2\n", R"({db: {a: "1", b: "2"}})", 2},
        {"[s]\n#[t]\na=1\n", R"({s: {a: "1"}})", 1},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.document));
        const HostState before = host.state();
        EXPECT_EQ(tree(one.document), one.tree);
        // A string is two blocks: the object and its bytes.
        const HostState left = host.state() - before;
        EXPECT_EQ(left.strings, one.comments);
        EXPECT_EQ(left.blocks, one.comments * 2);
        EXPECT_EQ(left,
                  (HostState{.blocks = left.blocks, .bytes = left.bytes, .strings = left.strings}));
    }
    host.forgive();
}

TEST_F(Configuration, SyntaxErrorsKeepEverything) {
    struct Case {
        std::string document;
        NQStatus status;
        std::int32_t line;
        std::uint64_t dictionaries;
    };
    const Case cases[] = {
        {"x", NQ_STATUS_MISSING_EQUALS, 0, 1},
        {"[s", NQ_STATUS_UNCLOSED_SECTION, 0, 1},
        {"[", NQ_STATUS_UNCLOSED_SECTION, 0, 1},
        {"a=1\n\n  x  \n", NQ_STATUS_MISSING_EQUALS, 2, 1},
        {"a=1\n[s]\n[t\nb=2\n", NQ_STATUS_UNCLOSED_SECTION, 2, 2},
        {"db=\n  a=1\n  [s=1\n", NQ_STATUS_UNCLOSED_SECTION, 2, 2},
        {"db=\n  a\n", NQ_STATUS_MISSING_EQUALS, 1, 2},
        {"]s[\n", NQ_STATUS_MISSING_EQUALS, 0, 1},
        {"a=1\x15\x15"
         "b\r\nc\n",
         NQ_STATUS_MISSING_EQUALS, 2, 1},
        {"<a b=\"c\">\n</a>\n", NQ_STATUS_MISSING_EQUALS, 1, 1},
        {std::string(3000, '\n') + "x", NQ_STATUS_MISSING_EQUALS, 3000, 1},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.document));
        const HostState before = host.state();
        CheckingPool& pool = host.make_pool("one reading");
        host.file("test.conf", one.document);
        const Outcome outcome = read_configuration(host, "test.conf", pool.table());
        EXPECT_EQ(outcome.status, one.status);
        EXPECT_EQ(outcome.line, one.line);
        const HostState left = host.state() - before;
        EXPECT_EQ(left.dictionaries, one.dictionaries);
        EXPECT_EQ(left.files, 1u);
        EXPECT_EQ(left.transcoders, 1u);
        EXPECT_EQ(left.string_holds, 1);
        EXPECT_EQ(left.file_holds, 1);
        EXPECT_EQ(left.dictionary_holds, static_cast<std::int64_t>(one.dictionaries));
        pool.destroy();
    }
    host.forgive();
}

// What stays after a syntax error is the root, the reader and the line, each held once.
TEST_F(Configuration, SyntaxErrorKeepsOneReferenceOfEach) {
    const HostState before = host.state();
    EXPECT_EQ(read("k=v\n[s]\na=1\n[t").status, NQ_STATUS_UNCLOSED_SECTION);
    const HostState left = host.state() - before;
    // Keys k, s and a, values v and 1, and the line.
    EXPECT_EQ(left.strings, 6u);
    EXPECT_EQ(left.dictionaries, 2u);
    host.forgive();
}

TEST_F(Configuration, ErrorBeforeTheFileIsOpenLeavesTheLineNumber) {
    EXPECT_EQ(read_configuration(host, "missing.conf"), (Outcome{kNoSuchFile, kLineUntouched}));
    host.file("test.conf", "x");
    for (const std::uint64_t n : {0u, 1u, 2u}) {
        host.plan().fail(Call::kLoadExtension, n, 1);
        EXPECT_EQ(read_configuration(host), (Outcome{NQ_STATUS_NO_EXTENSION, kLineUntouched}));
    }
    host.plan().fail(Call::kCreateTranscoder, 0, 1);
    EXPECT_EQ(read_configuration(host), (Outcome{NQ_STATUS_NO_SERVICE, kLineUntouched}));
}

TEST_F(Configuration, ErrorAfterTheFileIsOpenGivesNoLine) {
    EXPECT_EQ(read("a=1\n\xFF=2\n"), (Outcome{NQ_STATUS_UNCONVERTIBLE, -1}));
    EXPECT_EQ(read("a=1\n", {.fail_read = 0}), (Outcome{kReadError, -1}));
    host.plan().fail(Call::kDictionarySet, 0, kHostRefusal);
    EXPECT_EQ(read("a=1\n"), (Outcome{kHostRefusal, -1}));
}

TEST_F(Configuration, ServiceStatusThatLooksLikeASyntaxErrorIsNone) {
    const HostState before = host.state();
    for (const NQStatus status : {NQ_STATUS_MISSING_EQUALS, NQ_STATUS_UNCLOSED_SECTION}) {
        for (const Call call : {Call::kDictionarySet, Call::kStringTrim, Call::kCreateFromUtf8}) {
            host.plan().fail(call, 0, status);
            EXPECT_EQ(read("a=1\n"), (Outcome{status, -1}));
            EXPECT_EQ(host.state(), before);
        }
    }
}

TEST_F(Configuration, LineNumberMayBeNull) {
    host.file("test.conf", "a=1\nx\n");
    NQDictionary* root = nullptr;
    InstanceApi* api = host.api();
    EXPECT_EQ(api->readConfiguration(api, host.pool(), "test.conf", nullptr, &root),
              NQ_STATUS_MISSING_EQUALS);
    host.forgive();
}

TEST_F(Configuration, TreeOutlivesTheReading) {
    host.file("test.conf", "k=v\n[s]\nn=\n a=1\n");
    NQDictionary* root = nullptr;
    InstanceApi* api = host.api();
    std::int32_t line = 0;
    const HostState before = host.state();
    ASSERT_EQ(api->readConfiguration(api, host.pool(), "test.conf", &line, &root), NQ_STATUS_OK);
    EXPECT_EQ(root->header.refCount, 1u);
    const HostState left = host.state() - before;
    EXPECT_EQ(left.dictionaries, 3u);
    EXPECT_EQ(left.dictionary_holds, 3);
    EXPECT_EQ(left.strings, 6u);  // k and v, s, n, a and 1
    EXPECT_EQ(left.files, 0u);
    EXPECT_EQ(left.string_holds, 0);

    auto* section = reinterpret_cast<NQDictionary*>(value_of(root, "s"));
    auto* nested = reinterpret_cast<NQDictionary*>(value_of(section, "n"));
    EXPECT_EQ(section->header.refCount, 1u);
    EXPECT_EQ(nested->header.refCount, 1u);
    EXPECT_EQ(value_of(nested, "a")->refCount, 1u);
    retain(&section->header);
    release(root);
    EXPECT_EQ(to_string(tree_of(section)), R"({n: {a: "1"}})");
    release(section);
    EXPECT_EQ(host.state(), before);
}

TEST_F(Configuration, PartOfATreeCanBeCloned) {
    host.file("test.conf", "[s]\na=1\n");
    NQDictionary* root = nullptr;
    InstanceApi* api = host.api();
    ASSERT_EQ(api->readConfiguration(api, host.pool(), "test.conf", nullptr, &root), NQ_STATUS_OK);
    auto* section = value_of(root, "s");
    InstanceHeader* clone = nullptr;
    EXPECT_EQ(section->clone(section, host.pool(), 0, &clone), NQ_STATUS_OK);
    release(root);
    EXPECT_EQ(to_string(tree_of(reinterpret_cast<NQDictionary*>(clone))), R"({a: "1"})");
    release(clone);
}

}  // namespace
}  // namespace nq::test
