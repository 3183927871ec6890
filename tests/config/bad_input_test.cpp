// Files that are no proper configuration: each has its exact status, and nothing of it stays.
#include <gtest/gtest.h>

#include <filesystem>

#include "standalone/base/statuses.hpp"
#include "standalone/host.hpp"
#include "tests/config/config_support.hpp"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

// The library has one kernel at a time, so each test is for one host.
class BadInputOfCheckingHost : public testing::Test {
  protected:
    BadInputOfCheckingHost() { host.load(); }

    Outcome read(std::string bytes, FilePlan plan = {}) {
        host.file("test.conf", std::move(bytes), std::move(plan));
        const HostState before = host.state();
        const Outcome outcome = read_configuration(host);
        EXPECT_EQ(host.state(), before) << "what was read is gone";
        return outcome;
    }
    std::string tree(std::string bytes, FilePlan plan = {}) {
        const Outcome outcome = read(std::move(bytes), std::move(plan));
        EXPECT_EQ(outcome.line, -1);
        return outcome.status ? "no tree" : to_string(outcome.tree);
    }

    CheckingHost host;
};

class BadInputOfStandaloneHost : public testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
        pool = host.make_pool("bad input");
    }
    void TearDown() override { pool->destroy(pool); }

    // A tree is released; only its keys are of interest.
    Outcome read_file(const char* name) {
        Outcome outcome{.line = kLineUntouched};
        NQDictionary* root = nullptr;
        InstanceApi* api = host.api();
        outcome.status = api->readConfiguration(api, pool, name, &outcome.line, &root);
        EXPECT_EQ(root != nullptr, outcome.status == NQ_STATUS_OK);
        if (root) root->header.release(&root->header);
        return outcome;
    }
    Outcome read(std::string bytes) {
        host.add_memory_file("test.conf", std::move(bytes));
        return read_file("test.conf");
    }

    Host host;
    HostPool* pool = nullptr;
};

// Bytes that are no UTF-8 wherever they stand.
const std::string kMalformed[] = {
    "\x80",
    "\xBF",
    "\xC0\x80",
    "\xC1\xBF",  // too short, over-long
    "\xE0\x80\x80",
    "\xE0\x9F\xBF",
    "\xF0\x80\x80\x80",
    "\xF0\x8F\xBF\xBF",  // over-long
    "\xED\xA0\x80",
    "\xED\xAF\xBF",
    "\xED\xB0\x80",
    "\xED\xBF\xBF",              // surrogates
    "\xED\xA0\xBD\xED\xB8\x80",  // a pair of them
    "\xF4\x90\x80\x80",
    "\xF5\x80\x80\x80",
    "\xF8\x88\x80\x80\x80",  // above the last character
    "\xFC\x84\x80\x80\x80\x80",
    "\xFE",
    "\xFF",
    "\xC3",
    "\xE2\x82",
    "\xF0\x9F\x98",  // cut off
};

// Where they stand: in a key, a value, a comment, a section's name, what follows it, alone.
const char* const kPlaces[] = {"a@b=1\n", "a=@\n", "# @\na=1\n",      "[@]\n",
                               "[s] @\n", "@\n",   "a=1\n\n  @ = 1\n"};

std::string placed(std::string place, const std::string& bytes) {
    return place.replace(place.find('@'), 1, bytes);
}

TEST_F(BadInputOfCheckingHost, MalformedBytesAreRefusedAnywhere) {
    for (const char* place : kPlaces) {
        for (const std::string& bytes : kMalformed) {
            const std::string document = placed(place, bytes);
            SCOPED_TRACE(testing::PrintToString(document));
            EXPECT_EQ(read(document), (Outcome{NQ_STATUS_UNCONVERTIBLE, -1}));
            EXPECT_EQ(read("x=1\n[t]\ny=\n  z=1\n" + std::string(3000, '\n') + document),
                      (Outcome{NQ_STATUS_UNCONVERTIBLE, -1}))
                << "in a later fill";
        }
    }
}

TEST_F(BadInputOfStandaloneHost, MalformedBytesAreRefusedAnywhere) {
    for (const char* place : kPlaces) {
        for (const std::string& bytes : kMalformed) {
            const std::string document = placed(place, bytes);
            SCOPED_TRACE(testing::PrintToString(document));
            EXPECT_EQ(read(document), (Outcome{NQ_STATUS_UNCONVERTIBLE, -1}));
        }
    }
}

// The end of the file ends the text before a character that it cuts off.
TEST_F(BadInputOfCheckingHost, CharacterCutOffByTheEndIsDropped) {
    for (const Incomplete incomplete : {Incomplete::kReport, Incomplete::kKeepTail}) {
        host.encoding.plan.incomplete = incomplete;
        for (const char* cut : {"\xC3", "\xE2", "\xE2\x82", "\xF0", "\xF0\x9F", "\xF0\x9F\x98"}) {
            for (const EndOfFile end : {EndOfFile::kLate, EndOfFile::kEarly}) {
                EXPECT_EQ(tree(std::string("a=1\nb=x") + cut, {.end = end}), R"({a: "1", b: "x"})");
                EXPECT_EQ(tree(cut, {.end = end}), "{}");
            }
        }
    }
}

// A byte-order mark is a character like any other, so it is part of the first line.
TEST_F(BadInputOfCheckingHost, ByteOrderMarkIsText) {
    EXPECT_EQ(tree("\xEF\xBB\xBF"
                   "a=1\n"),
              "{\xEF\xBB\xBF"
              "a: \"1\"}");
    EXPECT_EQ(tree("a=1\n\xEF\xBB\xBF=2\n"), "{a: \"1\", \xEF\xBB\xBF: \"2\"}");
    host.forgive();
    host.file("test.conf", "\xEF\xBB\xBF[s]\n");
    EXPECT_EQ(read_configuration(host), (Outcome{NQ_STATUS_MISSING_EQUALS, 0}));
    host.file("test.conf", "\xEF\xBB\xBF# comment\n");
    EXPECT_EQ(read_configuration(host), (Outcome{NQ_STATUS_MISSING_EQUALS, 0}));
    host.file("test.conf", "\xEF\xBB\xBF");
    EXPECT_EQ(read_configuration(host), (Outcome{NQ_STATUS_MISSING_EQUALS, 0}));
}

// Files in the encodings that a byte-order mark announces otherwise.
TEST_F(BadInputOfCheckingHost, Utf16IsNoUtf8) {
    EXPECT_EQ(read(std::string("\xFF\xFE"
                               "a\0=\0"
                               "1\0\n\0",
                               10)),
              (Outcome{NQ_STATUS_UNCONVERTIBLE, -1}));
    EXPECT_EQ(read(std::string("\xFE\xFF\0a\0=\0"
                               "1\0\n",
                               10)),
              (Outcome{NQ_STATUS_UNCONVERTIBLE, -1}));
}

TEST_F(BadInputOfCheckingHost, NulBytesAreText) {
    using namespace std::string_literals;
    EXPECT_EQ(tree("a\0b=c\0d\n[\0]\n\0=\n"s), "{a\0b: \"c\0d\", \0: {\0: {}}}"s);
    host.forgive();
    host.file("test.conf", std::string(5000, '\0'));
    EXPECT_EQ(read_configuration(host), (Outcome{NQ_STATUS_MISSING_EQUALS, 0}));
}

TEST_F(BadInputOfCheckingHost, EveryMixOfTerminatorsReadsTheSame) {
    const std::string ends[] = {"\n", "\r\n", "\x15", "\r\x15"};
    const std::string last_ends[] = {"\n", "\r\n", "\x15", "\r\x15", ""};
    for (const std::string& first : ends) {
        for (const std::string& second : ends) {
            for (const std::string& third : ends) {
                for (const std::string& last : last_ends) {
                    for (const std::uint64_t chunk : {UINT64_MAX, std::uint64_t{1}}) {
                        std::string document = "a=1";
                        for (const std::string& piece : {first, std::string("[s]"), second, third,
                                                         std::string("b = 2"), last}) {
                            document += piece;
                        }
                        EXPECT_EQ(tree(document, {.chunk = chunk}), R"({a: "1", s: {b: "2"}})")
                            << testing::PrintToString(document);
                    }
                }
            }
        }
    }
    // A carriage return by itself ends no line.
    EXPECT_EQ(tree("a=1\rb=2\n"), "{a: \"1\rb=2\"}");
}

TEST_F(BadInputOfCheckingHost, NothingIsAnEmptyTree) {
    for (const EndOfFile end : {EndOfFile::kLate, EndOfFile::kEarly}) {
        EXPECT_EQ(tree("", {.end = end}), "{}");
    }
}

// Whichever read fails, its status comes back and nothing stays; the file can be read afterwards.
TEST_F(BadInputOfCheckingHost, ReadErrorAtEachPosition) {
    const std::string small = "a = 1\r\n[section]\n\xC3\xA9 = \xE2\x82\xAC\nblock =\n  n = 1\nlast";
    std::string large;
    while (large.size() < 9000)
        large += std::string("key ").append(std::to_string(large.size())).append(" = value\n");
    struct Case {
        std::string document;
        std::uint64_t chunk;
    };
    for (const Case& one : {Case{small + "=", 1}, Case{large, 61}, Case{large, UINT64_MAX}}) {
        host.encoding.plan.incomplete = Incomplete::kKeepTail;
        std::uint64_t failed = 0;
        for (;; ++failed) {
            const Outcome outcome = read(one.document, {.chunk = one.chunk, .fail_read = failed});
            if (outcome.status == NQ_STATUS_OK) break;
            ASSERT_EQ(outcome, (Outcome{kReadError, -1})) << failed;
        }
        EXPECT_GE(failed, one.document.size() / std::min<std::uint64_t>(one.chunk, 2048));
        EXPECT_EQ(read(one.document).status, NQ_STATUS_OK);
    }
}

TEST_F(BadInputOfCheckingHost, FileThatCannotBeOpenedLeavesTheLineNumber) {
    EXPECT_EQ(read_configuration(host, "missing.conf"), (Outcome{kNoSuchFile, kLineUntouched}));
    EXPECT_EQ(read("a=1", {.open_status = kFileLocked}), (Outcome{kFileLocked, kLineUntouched}));
}

TEST_F(BadInputOfStandaloneHost, WhatIsNoFileHasAStatusOfItsOwn) {
    const std::string folder = std::filesystem::temp_directory_path().string();
    EXPECT_EQ(read_file(folder.c_str()), (Outcome{NQ_HOST_STATUS_IS_DIRECTORY, kLineUntouched}));
    const std::string missing = folder + "/nqinstance/no/such.conf";
    EXPECT_EQ(read_file(missing.c_str()), (Outcome{NQ_HOST_STATUS_NOT_FOUND, kLineUntouched}));
    EXPECT_EQ(read_file(""), (Outcome{NQ_HOST_STATUS_NOT_FOUND, kLineUntouched}));
    EXPECT_EQ(read_file("/dev/null"), (Outcome{NQ_STATUS_OK, -1}));
    // Its first page cannot be read.
    EXPECT_EQ(read_file("/proc/self/mem"), (Outcome{NQ_HOST_STATUS_READ_ERROR, kLineUntouched}));
}

}  // namespace
}  // namespace nq::test
