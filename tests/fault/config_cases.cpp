#include <algorithm>
#include <array>

#include "nqinstance/config/configuration.h"
#include "nqinstance/config/text_reader.h"
#include "nqinstance/core/api.h"
#include "tests/fault/cases.hpp"

namespace nq::test {
namespace {

// The text of a tree of dictionaries and strings.
std::string show(InstanceHeader* instance) {
    if (instance->isType(instance, "NQU8String")) {
        return text_of(reinterpret_cast<NQU8String*>(instance));
    }
    std::string text = "{";
    for (const auto& [key, value] : entries_of(reinterpret_cast<NQDictionary*>(instance))) {
        text += key + ":" + show(value) + ";";
    }
    return text + "}";
}

NQTextReader* make_reader(CheckingHost& host) {
    NQTextReader* reader = nullptr;
    NQ_LIBRARY(nqTextReaderCreate)(host.api(), host.pool(), &reader);
    return reader;
}

// Whether the creation of a reader after so many other allocations failed at its character buffer,
// which is the third that it asks for.
bool lacks_characters(const Round& round, std::uint64_t allocations_before) {
    if (!round.status) return false;
    const auto failure =
        std::find_if(round.failures.begin(), round.failures.end(),
                     [](const FailedCall& failed) { return failed.call == Call::kAlloc; });
    return failure != round.failures.end() &&
           round.succeeded(Call::kAlloc) == allocations_before + 2;
}

class CreateReader : public Operation {
  public:
    NQStatus call(CheckingHost& host) override {
        reader_ = kUntouched;
        return NQ_LIBRARY(nqTextReaderCreate)(host.api(), host.pool(), &reader_);
    }
    std::string result(CheckingHost&) override { return std::to_string(reader_->capacity); }
    std::string check_failure(const Round&) override {
        return reader_ == kUntouched ? "" : "*reader was changed";
    }
    void drop_result(CheckingHost&) override { release(reader_); }
    Leftover leftover(const Round& round) const override {
        Leftover left;
        if (lacks_characters(round, 0)) left.keep(Kept::kConversionState);
        return left;
    }

  private:
    static inline NQTextReader* const kUntouched = reinterpret_cast<NQTextReader*>(0x10);
    NQTextReader* reader_ = nullptr;
};

// Opens a file, with a reader that has none or has one open already.
class OpenReader : public Operation {
  public:
    explicit OpenReader(bool reopens) : reopens_(reopens) {}

    void prepare(CheckingHost& host) override {
        host.file("file", "one\ntwo\n");
        host.file("earlier", "zero\n");
        reader_ = make_reader(host);
        if (reopens_) NQ_LIBRARY(nqTextReaderOpen)(reader_, "earlier");
    }
    NQStatus call(CheckingHost&) override { return NQ_LIBRARY(nqTextReaderOpen)(reader_, "file"); }
    std::string result(CheckingHost&) override {
        NQU8String* line = nullptr;
        NQ_LIBRARY(nqTextReaderReadLine)(reader_, &line);
        const std::string text = line ? text_of(line) : "no line";
        release(line);
        return text;
    }
    Leftover leftover(const Round& round) const override {
        // Whether the file service then gave another file or none.
        Leftover left;
        if (reopens_ && round.called(Call::kOpenFile)) left.keep(Kept::kEarlierFile);
        return left;
    }
    void clean_up(CheckingHost&) override { release(reader_); }

  private:
    const bool reopens_;
    NQTextReader* reader_ = nullptr;
};

// Reads the second line of a file whose chunks and length make it begin in one fill of the buffer
// and end in another, or not.
class ReadLine : public Operation {
  public:
    ReadLine(std::string document, FilePlan plan, Flag1 flag1)
        : document_(std::move(document)), plan_(std::move(plan)), flag1_(flag1) {}

    void prepare(CheckingHost& host) override {
        host.strings.flag1 = flag1_;
        // A transcoder that keeps the tail loses nothing at the end of a fill.
        host.encoding.plan.incomplete = Incomplete::kKeepTail;
        host.file("file", document_, plan_);
        reader_ = make_reader(host);
        NQ_LIBRARY(nqTextReaderOpen)(reader_, "file");
    }
    NQStatus call(CheckingHost&) override {
        line_ = nullptr;
        return NQ_LIBRARY(nqTextReaderReadLine)(reader_, &line_);
    }
    std::string result(CheckingHost&) override { return line_ ? text_of(line_) : "end"; }
    std::string check_failure(const Round&) override {
        // A line that was begun may be left to the caller.
        release(line_);
        return reader_->charCount ? "the buffer is not empty after a failure" : "";
    }
    void drop_result(CheckingHost&) override { release(line_); }
    void clean_up(CheckingHost&) override { release(reader_); }

  private:
    const std::string document_;
    const FilePlan plan_;
    const Flag1 flag1_;
    NQTextReader* reader_ = nullptr;
    NQU8String* line_ = nullptr;
};

// The last release of a reader with an open file gives everything back whatever fails.
class ReleaseReader : public Operation {
  public:
    void prepare(CheckingHost& host) override {
        host.file("file", "text");
        reader_ = make_reader(host);
        NQ_LIBRARY(nqTextReaderOpen)(reader_, "file");
    }
    NQStatus call(CheckingHost&) override {
        return NQ_LIBRARY(nqTextReaderDestroy)(&reader_->header);
    }

  private:
    NQTextReader* reader_ = nullptr;
};

// The line objects of comments stay with the pool. Tells how many of them a document's reading
// has passed once `trims` strings have been trimmed: one for each line, and for an entry one for
// its key and one for its value.
std::uint64_t comments_passed(const std::string& document, std::uint64_t trims) {
    std::uint64_t comments = 0;
    std::uint64_t done = 0;
    for (std::size_t start = 0; start < document.size();) {
        std::size_t end = document.find('\n', start);
        if (end == std::string::npos) end = document.size();
        const std::string line = document.substr(start, end - start);
        start = end + 1;
        const std::size_t first = line.find_first_not_of(" \t");
        const char kind = first == std::string::npos ? ' ' : line[first];
        done += kind == ' ' || kind == '#' || kind == '[' ? 1 : 3;
        if (kind == '#' && done <= trims) ++comments;
    }
    return comments;
}

constexpr std::int32_t kUntouchedLine = 4711;

class ReadConfiguration : public Operation {
  public:
    explicit ReadConfiguration(std::string document, std::uint64_t chunk = UINT64_MAX)
        : document_(std::move(document)), chunk_(chunk) {}

    void prepare(CheckingHost& host) override {
        host.encoding.plan.incomplete = Incomplete::kKeepTail;
        host.file("app.conf", document_, {.chunk = chunk_});
    }
    NQStatus call(CheckingHost& host) override {
        line_ = kUntouchedLine;
        tree_ = kUntouched;
        return host.api()->readConfiguration(host.api(), host.pool(), "app.conf", &line_, &tree_);
    }
    std::string result(CheckingHost&) override {
        return std::to_string(line_) + show(&tree_->header);
    }
    std::string check_failure(const Round& round) override {
        if (tree_ != kUntouched) return "*dictionary was changed";
        const bool opened = round.succeeded(Call::kOpenFile) != 0;
        const std::int32_t expected = opened ? -1 : kUntouchedLine;
        return line_ == expected ? "" : "line number " + std::to_string(line_);
    }
    void drop_result(CheckingHost&) override { release(tree_); }
    Leftover leftover(const Round& round) const override {
        Leftover left;
        left.keep(Kept::kCommentLine,
                  comments_passed(document_, round.succeeded(Call::kStringTrim)));
        // The root's block is the first.
        if (lacks_characters(round, 1)) left.keep(Kept::kConversionState);
        return left;
    }

  protected:
    static inline NQDictionary* const kUntouched = reinterpret_cast<NQDictionary*>(0x10);
    std::int32_t line_ = 0;
    NQDictionary* tree_ = nullptr;

  private:
    const std::string document_;
    const std::uint64_t chunk_;
};

// What is alive when a syntax error is met stays so.
struct SyntaxError {
    const char* document;
    NQStatus status;
    std::int32_t line;
    std::uint64_t comments;
    std::uint64_t dictionaries;
    std::uint64_t texts;  // keys and values of the entries
};

class ReadFaultyConfiguration : public ReadConfiguration {
  public:
    explicit ReadFaultyConfiguration(SyntaxError error)
        : ReadConfiguration(error.document), error_(error) {}

    NQStatus normal_status() const override { return error_.status; }
    std::string check_failure(const Round& round) override {
        if (round.status != error_.status) return ReadConfiguration::check_failure(round);
        if (tree_ != kUntouched) return "*dictionary was changed";
        return line_ == error_.line ? "" : "line number " + std::to_string(line_);
    }
    Leftover leftover(const Round& round) const override {
        if (round.status != error_.status) return ReadConfiguration::leftover(round);
        Leftover left;
        left.keep(Kept::kReaderOfSyntaxError).keep(Kept::kLineOfSyntaxError);
        left.keep(Kept::kDictionaryOfSyntaxError, error_.dictionaries);
        left.keep(Kept::kTextOfSyntaxError, error_.texts);
        return left.keep(Kept::kCommentLine, error_.comments);
    }

  private:
    const SyntaxError error_;
};

// The clone word of a configuration dictionary.
class CloneConfiguration : public Operation {
  public:
    void prepare(CheckingHost& host) override {
        host.file("app.conf", "a = 1\nnested =\n  b = 2\n");
        std::int32_t line = 0;
        host.api()->readConfiguration(host.api(), host.pool(), "app.conf", &line, &tree_);
    }
    NQStatus call(CheckingHost& host) override {
        clone_ = nullptr;
        return tree_->header.clone(&tree_->header, host.pool(), 0, &clone_);
    }
    std::string result(CheckingHost&) override { return show(clone_); }
    std::string check_failure(const Round&) override { return clone_ ? "*out was changed" : ""; }
    void drop_result(CheckingHost&) override { release(clone_); }
    void clean_up(CheckingHost&) override { release(tree_); }

  private:
    NQDictionary* tree_ = nullptr;
    InstanceHeader* clone_ = nullptr;
};

constexpr std::array kDocuments{
    "",
    "name = value\n",
    "# comment\n\n   # indented comment\nkey=value # not a comment\n#last",
    "a = 1\r\n[section]\nb = 2\n[]\nc = 3\n",
    "outer =\n  x = 1\n\ty =\nnext =\nplain = 1\n[s]\nopen=\n z=26\n",
};

constexpr std::array kSyntaxErrors{
    SyntaxError{"x\n", NQ_STATUS_MISSING_EQUALS, 0, 0, 1, 0},
    // The section's name, a key and a value in it.
    SyntaxError{"# c\n[s]\na = 1\n[open\n", NQ_STATUS_UNCLOSED_SECTION, 3, 1, 2, 3},
    // The nested one's name, a key and a value in it.
    SyntaxError{"n =\n  k = v\n\nno equals sign\n", NQ_STATUS_MISSING_EQUALS, 3, 0, 2, 3},
};

}  // namespace

std::vector<SweepCase> config_cases() {
    std::vector<SweepCase> cases{
        {"nqTextReaderCreate", {"nqTextReaderCreate"}, made_of<CreateReader>()},
        {"nqTextReaderOpen", {"nqTextReaderOpen"}, made_of<OpenReader>(false)},
        {"nqTextReaderOpen, a second time", {"nqTextReaderOpen"}, made_of<OpenReader>(true)},
        {"nqTextReaderOpen with a file in spite of the failure",
         {"nqTextReaderOpen"},
         made_of<OpenReader>(false),
         true},
        {"nqTextReaderDestroy", {"nqTextReaderDestroy"}, made_of<ReleaseReader>()},
        {"clone of a configuration dictionary", {}, made_of<CloneConfiguration>()},
    };
    const std::string long_line(5000, 'x');
    struct Reading {
        const char* name;
        std::string document;
        FilePlan plan;
        Flag1 flag1;
    };
    const std::vector<Reading> readings{
        {"a short line", "line\r\nnext\n", {}, Flag1::kContinue},
        {"a line without an end", "line", {.chunk = 1}, Flag1::kContinue},
        {"the end of the file", "", {.end = EndOfFile::kEarly}, Flag1::kContinue},
        {"a line over three buffers", long_line + "\n", {.chunk = 1000}, Flag1::kContinue},
        {"a line that replaces its beginning", long_line + "\n", {}, Flag1::kReplace},
    };
    for (const Reading& r : readings) {
        cases.push_back({std::string("nqTextReaderReadLine, ") + r.name,
                         {"nqTextReaderReadLine"},
                         made_of<ReadLine>(r.document, r.plan, r.flag1)});
    }
    for (const char* document : kDocuments) {
        for (const bool deliver : {false, true}) {
            cases.push_back({std::string("nqInstanceReadConfiguration of ") + document +
                                 (deliver ? " with objects in spite of failures" : ""),
                             {"nqInstanceReadConfiguration"},
                             made_of<ReadConfiguration>(std::string(document)),
                             deliver});
        }
        cases.push_back({std::string("nqInstanceReadConfiguration in pieces of ") + document,
                         {"nqInstanceReadConfiguration"},
                         made_of<ReadConfiguration>(std::string(document), std::uint64_t{7})});
    }
    for (const SyntaxError& error : kSyntaxErrors) {
        cases.push_back({std::string("nqInstanceReadConfiguration of faulty ") + error.document,
                         {"nqInstanceReadConfiguration"},
                         made_of<ReadFaultyConfiguration>(error)});
    }
    return cases;
}

}  // namespace nq::test
