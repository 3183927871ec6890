#include <gtest/gtest.h>

#include <cstring>

#include "tests/config/config_support.hpp"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

using Lines = std::vector<std::string>;

class TextReader : public testing::Test {
  protected:
    TextReader() { host.load(); }

    Lines lines_of(std::string bytes, FilePlan plan = {}) {
        host.file("a.txt", std::move(bytes), std::move(plan));
        return Reader(host, "a.txt").all();
    }

    CheckingHost host;
};

template <class T>
T at(const void* record, std::size_t offset) {
    T value;
    std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
    return value;
}

TEST_F(TextReader, CreateFillsTheRecord) {
    const HostState before = host.state();
    {
        Reader reader(host);
        InstanceHeader& header = reader->header;
        EXPECT_EQ(header.magic, NQ_MAGIC);
        EXPECT_STREQ(header.typeName, "NQTextReader");
        EXPECT_EQ(header.refCount, 1u);
        EXPECT_EQ(header.release, host.api()->release);
        EXPECT_EQ(header.isType, host.api()->isType);
        EXPECT_EQ(header.destroyHook, NQ_LIBRARY(nqTextReaderDestroy));
        EXPECT_EQ(header.api, host.api());
        EXPECT_EQ(header.validate, host.api()->validate);
        EXPECT_EQ(header.clone, host.api()->cloneRefused);
        EXPECT_EQ(header.pool, host.pool());
        EXPECT_EQ(reader->stringExt, host.strings.table());
        EXPECT_EQ(reader->ioeExt, host.files.table());
        EXPECT_EQ(reader->file, nullptr);
        EXPECT_EQ(reader->transcoder, nullptr);
        EXPECT_EQ(reader->convState->flags, 0u);
        EXPECT_EQ(reader->convState->consumed, 0u);
        EXPECT_EQ(reader->capacity, 2048u);
        EXPECT_EQ(reader->rawBuffer->length, 2048u);
        EXPECT_EQ(reader->leftover, 0u);
        EXPECT_EQ(reader->charCount, 0u);
        EXPECT_EQ(host.state().string_holds, before.string_holds + 1);
        EXPECT_EQ(host.state().file_holds, before.file_holds + 1);
        // The reader, its state, the characters, and the raw buffer's record and bytes.
        EXPECT_EQ(host.state().bytes, before.bytes + 168 + 40 + 12288 + 144 + 2048);
    }
    EXPECT_EQ(host.state(), before);
}

TEST_F(TextReader, OperationsAreInTheTable) {
    EXPECT_EQ(host.api()->createTextReader, NQ_LIBRARY(nqTextReaderCreate));
    EXPECT_EQ(host.api()->openTextReader, NQ_LIBRARY(nqTextReaderOpen));
    EXPECT_EQ(host.api()->readLine, NQ_LIBRARY(nqTextReaderReadLine));
    EXPECT_EQ(host.api()->readConfiguration, NQ_LIBRARY(nqInstanceReadConfiguration));
}

TEST_F(TextReader, ReleaseGivesBackInOrder) {
    host.file("a.txt", "x");
    {
        Reader reader(host, "a.txt");
        host.plan().record();
    }
    const std::vector<Call> expected{Call::kFree,               // the raw buffer's bytes
                                     Call::kFree,               // and its record
                                     Call::kReleaseTranscoder,  //
                                     Call::kCloseFile,          //
                                     Call::kFree,               // the conversion state
                                     Call::kFree,               // the characters
                                     Call::kReleaseExtension,   //
                                     Call::kReleaseExtension,   //
                                     Call::kFree};
    EXPECT_EQ(host.plan().recorded(), expected);
}

TEST_F(TextReader, OpenPassesTheParameters) {
    host.file("dir/\xC3\xA9.txt", "");
    Reader reader(host, "dir/\xC3\xA9.txt");
    ASSERT_EQ(host.files.opens().size(), 1u);
    const OpenCall& call = host.files.opens()[0];
    EXPECT_EQ(call.name, "dir/\xC3\xA9.txt");
    EXPECT_EQ(call.kind, "file");

    std::uint8_t expected[456] = {};
    const auto put = [&](std::size_t offset, std::uint32_t value) {
        std::memcpy(expected + offset, &value, sizeof value);
    };
    for (std::size_t i = 0; i < 8; ++i) {
        put(i * 4, static_cast<unsigned char>("DISK    "[i]));
    }
    put(32, 1);
    put(40, 4096);
    put(48, 1);
    put(56, 4);
    put(192, 28);
    put(196, 28);
    put(200, 1);
    EXPECT_EQ(std::memcmp(&call.parameters, expected, sizeof expected), 0);
    for (std::size_t i = 0; i < 32; i += 8) {
        EXPECT_EQ(at<std::uint64_t>(&call.io_parameters, i), 0u);
    }
}

TEST_F(TextReader, NullNameIsTheEmptyName) {
    host.file("", "x\n");
    Reader reader(host);
    EXPECT_EQ(reader.open(nullptr), NQ_STATUS_OK);
    EXPECT_EQ(reader.next(), "x");
}

TEST_F(TextReader, FailedOpenReportsTheFileService) {
    host.file("locked.txt", "", {.open_status = kFileLocked});
    Reader reader(host);
    EXPECT_EQ(reader.open("locked.txt"), kFileLocked);
    EXPECT_EQ(reader->file, nullptr);
    EXPECT_EQ(reader.open("missing.txt"), kNoSuchFile);
    EXPECT_EQ(reader.next(), "<status 803fc003>");
}

TEST_F(TextReader, ReadingBeforeOpenIsRefused) {
    Reader reader(host);
    NQU8String* line = reinterpret_cast<NQU8String*>(&reader);
    EXPECT_EQ(reader.read(&line), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(line, reinterpret_cast<NQU8String*>(&reader)) << "not touched";
    host.file("a.txt", "x\n");
    EXPECT_EQ(reader.open("a.txt"), NQ_STATUS_OK);
    EXPECT_EQ(reader.next(), "x");
}

TEST_F(TextReader, FailedNameLeavesTheFile) {
    host.file("a.txt", "x\n");
    Reader reader(host, "a.txt");
    host.plan().fail(Call::kCreateEncoded, 0, NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(reader.open("a.txt"), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(reader.next(), "x");
}

TEST_F(TextReader, FailedTranscoderLeavesNone) {
    host.file("a.txt", "x\n");
    Reader reader(host, "a.txt");
    EXPECT_EQ(host.state().transcoders, 1u);
    host.plan().fail(Call::kCreateTranscoder, 0, 1);
    EXPECT_EQ(reader.open("a.txt"), NQ_STATUS_NO_SERVICE);
    EXPECT_EQ(reader->transcoder, nullptr);
    EXPECT_EQ(host.state().transcoders, 0u);
    EXPECT_EQ(host.state().files, 1u);
}

TEST_F(TextReader, OpeningAgainReplacesTheFile) {
    host.file("a.txt", "one\ntwo\n");
    host.file("b.txt", "three\n");
    Reader reader(host, "a.txt");
    EXPECT_EQ(reader.next(), "one");
    IoeFile* first = reader->file;
    EXPECT_EQ(reader.open("b.txt"), NQ_STATUS_OK);
    EXPECT_EQ(host.state().transcoders, 1u);
    EXPECT_EQ(host.state().files, 2u) << "the first file is not closed";
    EXPECT_EQ(reader.next(), "two") << "what is buffered still comes first";
    EXPECT_EQ(reader.next(), "three");
    EXPECT_EQ(reader.next(), "<end>");
    first->handle.release(first);
}

TEST_F(TextReader, OpeningAgainWithoutConversionDropsTheTranscoder) {
    host.file("a.txt", "one\n");
    host.file("b.txt", std::string("t\0\0\0\n\0\0\0", 8));
    Reader reader(host, "a.txt");
    IoeFile* first = reader->file;
    host.encoding.plan.needed = false;
    EXPECT_EQ(reader.open("b.txt"), NQ_STATUS_OK);
    EXPECT_EQ(reader->transcoder, nullptr);
    EXPECT_EQ(host.state().transcoders, 0u);
    EXPECT_EQ(reader.next(), "t");
    first->handle.release(first);
}

TEST_F(TextReader, FilesOfUnitsNeedNoTranscoder) {
    host.encoding.plan.needed = false;
    const std::u32string units = U"\u00e9\nz\U0001F600\n";
    std::string bytes(reinterpret_cast<const char*>(units.data()), units.size() * 4);
    EXPECT_EQ(lines_of(bytes), (Lines{"\xC3\xA9", "z\xF0\x9F\x98\x80"}));
    EXPECT_EQ(lines_of(bytes + "xyz"), (Lines{"\xC3\xA9", "z\xF0\x9F\x98\x80"}))
        << "bytes of an incomplete unit are dropped";
    EXPECT_EQ(lines_of("xyz"), Lines{});

    // 512 units fill the raw buffer.
    bytes.clear();
    for (std::uint32_t i = 0; i < 1300; ++i) {
        const std::uint32_t unit = i % 100 == 99 ? '\n' : 'a' + i / 100;
        bytes.append(reinterpret_cast<const char*>(&unit), 4);
    }
    Lines expected;
    for (char c = 'a'; c < 'a' + 13; ++c) expected.emplace_back(99, c);
    EXPECT_EQ(lines_of(bytes, {.chunk = 1000}), expected);
}

struct LineCase {
    std::string bytes;
    Lines lines;
};

TEST_F(TextReader, CutsLines) {
    const LineCase cases[] = {
        {"", {}},
        {"\n", {""}},
        {"\n\n", {"", ""}},
        {"\r", {"\r"}},
        {"\r\n", {""}},
        {"\r\r\n", {"\r"}},
        {"a", {"a"}},
        {"a\n", {"a"}},
        {"a\nb", {"a", "b"}},
        {"a\r\nb\n", {"a", "b"}},
        {"a\rb\n", {"a\rb"}},
        {"a\x15"
         "b\x15",
         {"a", "b"}},
        {"a\r\x15"
         "b",
         {"a", "b"}},
        {"a\n\x15\nb", {"a", "", "", "b"}},
        {"a\nb\r", {"a", "b\r"}},
        {" a \t\n", {" a \t"}},
        {std::string("a\0b\nc", 5), {std::string("a\0b", 3), "c"}},
        {"\xC2\x85\xE2\x80\xA8\v\f\n", {"\xC2\x85\xE2\x80\xA8\v\f"}},
    };
    for (const LineCase& one : cases) {
        SCOPED_TRACE(testing::PrintToString(one.bytes));
        EXPECT_EQ(lines_of(one.bytes), one.lines);
        EXPECT_EQ(lines_of(one.bytes, {.end = EndOfFile::kEarly}), one.lines);
        EXPECT_EQ(lines_of(one.bytes, {.chunk = 1}), one.lines);
        EXPECT_EQ(lines_of(one.bytes, {.chunk = 1, .end = EndOfFile::kEarly}), one.lines);
        for (std::uint64_t split = 1; split < one.bytes.size(); ++split) {
            EXPECT_EQ(lines_of(one.bytes, {.splits = {split}}), one.lines) << "split at " << split;
        }
    }
}

TEST_F(TextReader, EndOfFileIsReportedAgain) {
    host.file("a.txt", "x");
    Reader reader(host, "a.txt");
    EXPECT_EQ(reader.next(), "x");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(reader.next(), "<end>");
        EXPECT_EQ(reader->charCount, 0u);
    }
    host.files.extend("a.txt", "y\nz");
    EXPECT_EQ(reader.next(), "y") << "a file that grew is read on";
    EXPECT_EQ(reader.next(), "z");
    EXPECT_EQ(reader.next(), "<end>");
}

TEST_F(TextReader, FindsATerminatorAtEveryPlace) {
    for (const char terminator : {'\n', '\x15'}) {
        for (std::size_t before = 0; before <= 40; ++before) {
            for (std::size_t length = 0; length <= 70; ++length) {
                const std::string first(before, 'p');
                const std::string second(length, 'q');
                const std::string bytes = first + terminator + second + terminator + "r";
                ASSERT_EQ(lines_of(bytes), (Lines{first, second, "r"}));
            }
        }
    }
}

TEST_F(TextReader, OtherUnitsDoNotEndALine) {
    // Units whose low byte or low half is that of a terminator, among others.
    std::string bytes;
    for (std::uint32_t c : {0x010Au, 0x0115u, 0x0A0Au, 0x1515u, 0x1000Au, 0x10015u, 0x100015u}) {
        const NQChar unit = c;
        bytes += to_utf8(&unit, 1);
    }
    for (char c = 1; c < 0x20; ++c) {
        if (c != '\n' && c != '\x15') bytes += c;
    }
    for (std::size_t shift = 0; shift < 16; ++shift) {
        const std::string line = std::string(shift, 'x') + bytes;
        EXPECT_EQ(lines_of(line + "\nend\n"), (Lines{line, "end"}));
    }
}

TEST_F(TextReader, LongLinesSpanFills) {
    for (const std::size_t length : {2046u, 2047u, 2048u, 2049u, 4095u, 4096u, 4097u, 20000u}) {
        std::string line;
        for (std::size_t i = 0; i < length; ++i) line += static_cast<char>('a' + i % 26);
        EXPECT_EQ(lines_of(line), Lines{line}) << length;
        EXPECT_EQ(lines_of(line + "\r\n" + line + "\n"), (Lines{line, line})) << length;
        EXPECT_EQ(lines_of(line + "\n", {.chunk = 7}), Lines{line}) << length;
    }
}

// A line that spans fills passes the variable that holds its beginning to the string service.
TEST_F(TextReader, EverySegmentIsGivenTheBegunLine) {
    const std::string first(2048, 'a');
    const std::string second(2048, 'b');
    const std::string bytes = first + second + "ccc\n";
    host.file("a.txt", bytes);
    host.plan().record();
    EXPECT_EQ(Reader(host, "a.txt").next(), bytes.substr(0, bytes.size() - 1));
    EXPECT_EQ(host.plan().calls(Call::kCreateFromUtf8), 2u) << "none when the terminator is found";

    host.strings.flag1 = Flag1::kReplace;
    EXPECT_EQ(Reader(host, "a.txt").next(), second + "ccc");

    host.strings.flag1 = Flag1::kMakeNew;
    const HostState before = host.state();
    EXPECT_EQ(Reader(host, "a.txt").next(), second + "ccc");
    EXPECT_EQ(host.state().strings, before.strings + 1) << "the service made a second string";
    host.forgive();
}

TEST_F(TextReader, CarriageReturnBeforeASplitIsRemoved) {
    const std::string line(2047, 'a');
    EXPECT_EQ(lines_of(line + "\r\nb\n"), (Lines{line, "b"}));
    EXPECT_EQ(lines_of(line + "\r"), Lines{line + "\r"});
    EXPECT_EQ(lines_of(line + "a\r\n"), Lines{line + "a"});
}

TEST_F(TextReader, CharactersSplitByReadsAreWhole) {
    const std::string line = "\xC3\xA9\xE6\xBC\xA2\xF0\x9F\x98\x80";
    for (const Incomplete mode : {Incomplete::kReport, Incomplete::kKeepTail}) {
        host.encoding.plan.incomplete = mode;
        for (std::uint64_t chunk = 1; chunk <= 5; ++chunk) {
            EXPECT_EQ(lines_of(line + "\n" + line, {.chunk = chunk}), (Lines{line, line}));
        }
    }
}

TEST_F(TextReader, TranscoderThatKeepsTheTailLosesNothing) {
    host.encoding.plan.incomplete = Incomplete::kKeepTail;
    for (std::size_t before = 2040; before <= 2048; ++before) {
        const std::string line = std::string(before, 'a') + "\xF0\x9F\x98\x80\xC3\xA9z";
        EXPECT_EQ(lines_of(line + "\nend"), (Lines{line, "end"})) << before;
    }
}

// The bytes left over are completed, and as many are taken off the end of the next conversion,
// twice: once for the room they fill and once by the subtraction.
TEST_F(TextReader, LeftOverBytesShortenTheNextConversion) {
    const std::string filler(2047, 'a');
    host.file("a.txt", filler +
                           "\xC3\xA9"
                           "bcdef\n");
    Reader reader(host, "a.txt");
    // 2048 bytes are read, one is left over; then 7 bytes are read and 7 - 1 of the 8 converted.
    EXPECT_EQ(reader.next(), filler +
                                 "\xC3\xA9"
                                 "bcde");
    EXPECT_EQ(reader->leftover, 0u);
    EXPECT_EQ(reader.next(), "<end>");
}

TEST_F(TextReader, NothingIsConvertedWhenFewerWereReadThanLeftOver) {
    const std::string filler(2047, 'a');
    // One byte left over and one read: the conversion gets 1 - 1 = 0 bytes.
    EXPECT_EQ(lines_of(filler + "\xC3\xA9"), Lines{filler});
    // Three left over, one read: 1 - 3 is none, not a huge length.
    EXPECT_EQ(lines_of(std::string(2045, 'a') + "\xF0\x9F\x98\x80"), Lines{std::string(2045, 'a')});
    // Three left over, two read.
    EXPECT_EQ(lines_of(std::string(2045, 'a') + "\xF0\x9F\x98\x80\n"),
              Lines{std::string(2045, 'a')});
    // Three left over, five read: 2 of 8 converted, still inside the character, whose bytes
    // consumed are none: 5 - 0 are left over.
    host.file("a.txt", std::string(2045, 'a') +
                           "\xF0\x9F\x98\x80"
                           "bcd\n");
    Reader reader(host, "a.txt");
    EXPECT_EQ(reader.next(), std::string(2045, 'a'));
    EXPECT_EQ(reader->leftover, 5u);
    EXPECT_EQ(reader.next(), "<end>");
}

TEST_F(TextReader, BytesThatCannotBeConverted) {
    host.file("a.txt", "ok\nbad \xFF bytes\nmore\n");
    Reader reader(host, "a.txt");
    reader->leftover = 0;
    EXPECT_EQ(reader.next(), "<status 803fe813>");
    EXPECT_EQ(reader->leftover, 0u);
    EXPECT_EQ(reader->charCount, 0u);
    EXPECT_EQ(reader.next(), "<end>") << "the next call refills";
}

TEST_F(TextReader, BadBytesClearTheLeftOverCount) {
    // The second fill has one byte left over before it and meets a bad byte.
    host.file("a.txt", std::string(2040, 'a') +
                           "\naaaaaa\xC3\xA9\xFF"
                           "bcdefgh");
    Reader reader(host, "a.txt");
    EXPECT_EQ(reader.next(), std::string(2040, 'a'));
    EXPECT_EQ(reader->leftover, 1u);
    const NQChar* position = reader->position;
    NQU8String* line = nullptr;
    EXPECT_EQ(reader.read(&line), NQ_STATUS_UNCONVERTIBLE);
    EXPECT_EQ(reader->position, position) << "only a filled buffer is read from its start";
    EXPECT_EQ(reader->leftover, 0u);
    ASSERT_NE(line, nullptr) << "the line that was begun is the caller's";
    EXPECT_EQ(text_of(line), "aaaaaa");
    release(line);
}

TEST_F(TextReader, ReplacedBytesAreText) {
    host.encoding.plan.bad = BadBytes::kReplace;
    EXPECT_EQ(lines_of("a\xFF"
                       "b\n"),
              Lines{"a\xEF\xBF\xBD"
                    "b"});
}

TEST_F(TextReader, TranscoderStatusIsReturned) {
    host.encoding.plan.bad = BadBytes::kRefuse;
    host.file("a.txt", std::string(2047, 'a') + "\n\xFF" + std::string(2047, 'b') + "c\n");
    Reader reader(host, "a.txt");
    EXPECT_EQ(reader.next(), std::string(2047, 'a'));
    EXPECT_EQ(reader.next(), "<status 803fe808>");
    EXPECT_EQ(reader->charCount, 0u);
    EXPECT_EQ(reader.next(), "c") << "the next call reads the next bytes";
}

TEST_F(TextReader, FailedReadIsReturnedAndReadingGoesOn) {
    const std::string bytes = "one\n" + std::string(2044, 'x') + "y\nz\n";
    for (std::uint64_t failing = 0; failing < 4; ++failing) {
        host.file("a.txt", bytes, {.chunk = 1024, .fail_read = failing});
        Reader reader(host, "a.txt");
        if (failing >= 2) {
            EXPECT_EQ(reader.next(), "one");
        }
        NQU8String* line = nullptr;
        EXPECT_EQ(reader.read(&line), kReadError);
        EXPECT_EQ(reader->charCount, 0u);
        EXPECT_EQ(line != nullptr, failing >= 2) << "a line was begun by the second fill only";
        if (line) {
            EXPECT_EQ(text_of(line), std::string(2044, 'x'));
        }
        release(line);
        // The read before the failed one in the same fill is lost.
        const std::string rest = failing == 0   ? "one"
                                 : failing == 1 ? std::string(1024, 'x') + "y"
                                 : failing == 2 ? "y"
                                                : "<end>";
        EXPECT_EQ(reader.next(), rest) << failing;
    }
}

TEST_F(TextReader, FailuresAtATerminator) {
    for (const Call call : {Call::kCreateFromUtf8, Call::kStringAppend}) {
        host.file("a.txt", "one\ntwo\nthree\n");
        Reader reader(host, "a.txt");
        EXPECT_EQ(reader.next(), "one");
        const HostState before = host.state();
        NQU8String* line = nullptr;
        host.plan().fail(call, 0, NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(reader.read(&line), NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(line, nullptr);
        EXPECT_EQ(host.state(), before);
        EXPECT_EQ(reader->charCount, 0u);
        EXPECT_EQ(reader.next(), "<end>") << "the rest of the buffer is dropped";
    }
}

TEST_F(TextReader, FailedAppendAtATerminatorReleasesTheBegunLine) {
    host.file("a.txt", std::string(2050, 'a') + "\nb\n");
    Reader reader(host, "a.txt");
    const HostState before = host.state();
    NQU8String* line = nullptr;
    host.plan().fail(Call::kStringAppend, 1, 1);
    EXPECT_EQ(reader.read(&line), 1u);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(host.state(), before);
}

TEST_F(TextReader, FailedSegmentsLeaveTheBegunLine) {
    struct Case {
        Call call;
        std::uint64_t n;
        bool is_begun;
        std::size_t units;
    };
    const Case cases[] = {{Call::kCreateFromUtf8, 0, false, 0},
                          {Call::kStringAppend, 0, true, 0},
                          {Call::kCreateFromUtf8, 1, true, 2048},
                          {Call::kStringAppend, 1, true, 2048}};
    for (const Case& one : cases) {
        host.file("a.txt", std::string(5000, 'a') + "\nb\n");
        Reader reader(host, "a.txt");
        NQU8String* line = nullptr;
        host.plan().fail(one.call, one.n, NQ_STATUS_MALFORMED);
        EXPECT_EQ(reader.read(&line), NQ_STATUS_MALFORMED);
        EXPECT_EQ(reader->charCount, 0u);
        ASSERT_EQ(line != nullptr, one.is_begun);
        if (line) {
            EXPECT_EQ(line->length, one.units);
        }
        release(line);
    }
}

TEST_F(TextReader, FailedCreateGivesBackAllButTheState) {
    const HostState before = host.state();
    NQTextReader* const untouched = reinterpret_cast<NQTextReader*>(&host);
    NQTextReader* reader = untouched;
    const auto create = [&](Call call, std::uint64_t n) {
        host.plan().fail(call, n, NQ_STATUS_NO_MEMORY);
        return host.api()->createTextReader(host.api(), host.pool(), &reader);
    };
    // The reader; its state; the raw buffer's record and its bytes.
    for (const std::uint64_t n : {0u, 1u, 3u, 4u}) {
        EXPECT_EQ(create(Call::kAlloc, n), NQ_STATUS_NO_MEMORY) << n;
        EXPECT_EQ(host.state(), before) << n;
    }
    for (const std::uint64_t n : {0u, 1u}) {
        EXPECT_EQ(create(Call::kLoadExtension, n), NQ_STATUS_NO_EXTENSION) << n;
        EXPECT_EQ(host.state(), before) << n;
    }
    EXPECT_EQ(create(Call::kAlloc, 2), NQ_STATUS_NO_MEMORY) << "the character buffer";
    const HostState left = host.state() - before;
    EXPECT_EQ(left, (HostState{.blocks = 1, .bytes = 40})) << "the state block stays";
    EXPECT_EQ(reader, untouched);
    host.forgive();
}

// A file whose reads the test answers itself.
struct ScriptedFile : IoeFile {
    struct Read {
        std::string bytes;
        NQStatus status = NQ_STATUS_OK;
        std::uint64_t claimed = 0;  // beyond the bytes
    };
    struct Asked {
        std::uint64_t offset;  // in the raw buffer
        std::uint64_t room;
        friend bool operator==(const Asked&, const Asked&) = default;
    };
    std::vector<Read> script;
    std::vector<Asked> asked;
    const NQTextReader* reader;

    ScriptedFile(Reader& for_reader, std::vector<Read> reads)
        : IoeFile{}, script(std::move(reads)), reader(for_reader.get()) {
        handle = {NQ_MAGIC, "file", [](void*) noexcept { return NQStatus{NQ_STATUS_OK}; }};
        read = take;
        for_reader->file = this;
    }

    static NQStatus take(IoeFile* base, std::uint8_t** cursor, std::uint64_t* length,
                         std::uint64_t* word, std::uint64_t zero, const void* parameters) noexcept {
        auto& self = *static_cast<ScriptedFile*>(base);
        EXPECT_EQ(zero, 0u);
        EXPECT_EQ(at<std::uint64_t>(parameters, 24), 0u);
        *word = 1;
        self.asked.push_back(
            {static_cast<std::uint64_t>(*cursor - self.reader->rawBuffer->bytes), *length});
        const std::size_t index = self.asked.size() - 1;
        if (index >= self.script.size()) {
            *length = 0;
            return NQ_STATUS_END_OF_FILE;
        }
        const Read& answer = self.script[index];
        std::memcpy(*cursor, answer.bytes.data(), answer.bytes.size());
        *length = answer.bytes.size() + answer.claimed;
        return answer.status;
    }
};

// A transcoder whose conversions the test answers itself: each byte becomes a character.
struct ScriptedTranscoder : Transcoder {
    struct Answer {
        NQStatus status = NQ_STATUS_OK;
        std::uint64_t consumed = 0;
        std::uint64_t claimed_bytes = 0;  // beyond what was written
    };
    std::vector<Answer> script;
    std::vector<std::uint64_t> lengths;  // of the sources
    const NQTextReader* reader;

    ScriptedTranscoder(Reader& for_reader, std::vector<Answer> answers)
        : Transcoder{}, script(std::move(answers)), reader(for_reader.get()) {
        handle = {NQ_MAGIC, "transcoder", [](void*) noexcept { return NQStatus{NQ_STATUS_OK}; }};
        convert = take;
        for_reader->transcoder = this;
    }

    static NQStatus take(Transcoder* base, const std::uint8_t* source, std::uint64_t length,
                         NQChar* target, std::uint64_t target_bytes, std::uint64_t* written,
                         void* state, std::uint64_t zero) noexcept {
        auto& self = *static_cast<ScriptedTranscoder*>(base);
        EXPECT_EQ(source, self.reader->rawBuffer->bytes);
        EXPECT_EQ(target, self.reader->charBuffer);
        EXPECT_EQ(target_bytes, 8192u);
        EXPECT_EQ(state, self.reader->convState);
        EXPECT_EQ(zero, 0u);
        self.lengths.push_back(length);
        const std::size_t index = self.lengths.size() - 1;
        const Answer answer = index < self.script.size() ? self.script[index] : Answer{};
        // Behind the characters stand terminators that must not be seen.
        std::fill_n(target, target_bytes / 4, NQChar{'\n'});
        for (std::uint64_t i = 0; i < length; ++i) target[i] = source[i];
        *written = length * 4 + answer.claimed_bytes;
        self.reader->convState->consumed = answer.consumed;
        return answer.status;
    }
};

TEST_F(TextReader, ReadsAskForTheRoomThatIsLeft) {
    Reader reader(host);
    ScriptedFile file(reader, {{std::string(1000, 'a')},
                               {""},
                               {std::string(1047, 'b')},
                               {"c"},
                               {"d\n", NQ_STATUS_END_OF_FILE}});
    ScriptedTranscoder transcoder(reader, {});
    EXPECT_EQ(reader.next(), std::string(1000, 'a') + std::string(1047, 'b') + "cd");
    EXPECT_EQ(reader.next(), "<end>");
    using Asked = ScriptedFile::Asked;
    const std::vector<Asked> expected{{0, 2048}, {1000, 1048}, {1000, 1048},
                                      {2047, 1}, {0, 2048},    {0, 2048}};
    EXPECT_EQ(file.asked, expected);
    EXPECT_EQ(transcoder.lengths, (std::vector<std::uint64_t>{2048, 2}));
    reader->file = nullptr;
    reader->transcoder = nullptr;
}

TEST_F(TextReader, ReadThatClaimsMoreThanAskedIsCut) {
    Reader reader(host);
    ScriptedFile file(reader, {{std::string(2047, 'a') + "\n", NQ_STATUS_OK, 1},
                               {std::string(2047, 'b') + "\n", NQ_STATUS_END_OF_FILE, 1u << 31}});
    ScriptedTranscoder transcoder(reader, {});
    EXPECT_EQ(reader.next(), std::string(2047, 'a'));
    EXPECT_EQ(reader.next(), std::string(2047, 'b'));
    EXPECT_EQ(reader.next(), "<end>");
    EXPECT_EQ(transcoder.lengths, (std::vector<std::uint64_t>{2048, 2048}));
    reader->file = nullptr;
    reader->transcoder = nullptr;
}

TEST_F(TextReader, ScanStopsAtTheLastCharacter) {
    for (std::size_t length = 1; length <= 100; ++length) {
        Reader reader(host);
        ScriptedFile file(reader, {{std::string(length, 'a'), NQ_STATUS_END_OF_FILE}});
        ScriptedTranscoder transcoder(reader, {});
        EXPECT_EQ(reader.next(), std::string(length, 'a'));
        EXPECT_EQ(reader.next(), "<end>");
        reader->file = nullptr;
        reader->transcoder = nullptr;
    }
}

TEST_F(TextReader, ConversionThatClaimsMoreThanTheBufferIsCut) {
    Reader reader(host);
    ScriptedFile file(reader, {{"a", NQ_STATUS_END_OF_FILE}});
    ScriptedTranscoder transcoder(reader, {{.claimed_bytes = std::uint64_t{1} << 40}});
    EXPECT_EQ(reader.next(), "a");
    EXPECT_EQ(reader->charCount, 2048u);
    reader->file = nullptr;
    reader->transcoder = nullptr;
}

TEST_F(TextReader, CutCharactersAreNotCounted) {
    Reader reader(host);
    ScriptedFile file(reader, {{"ab", NQ_STATUS_END_OF_FILE}});
    ScriptedTranscoder transcoder(reader, {{.claimed_bytes = 3}});
    EXPECT_EQ(reader.next(), "ab");
    reader->file = nullptr;
    reader->transcoder = nullptr;
}

TEST_F(TextReader, LeftOverCountStaysWithinWhatWasRead) {
    constexpr NQStatus kIncomplete = NQ_STATUS_BUFFER_TOO_SMALL;
    struct Case {
        std::uint64_t consumed;
        std::uint64_t leftover;
    };
    for (const Case one :
         {Case{10, 0}, Case{7, 3}, Case{0, 10}, Case{11, 0}, Case{UINT64_MAX, 0}}) {
        Reader reader(host);
        ScriptedFile file(reader, {{"abcdefghi\n", NQ_STATUS_END_OF_FILE}});
        ScriptedTranscoder transcoder(reader, {{kIncomplete, one.consumed}});
        EXPECT_EQ(reader.next(), "abcdefghi");
        EXPECT_EQ(reader->leftover, one.leftover);
        reader->file = nullptr;
        reader->transcoder = nullptr;
    }
}

TEST_F(TextReader, LeftOverBytesMoveToTheStart) {
    Reader reader(host);
    ScriptedFile file(reader, {{std::string(2043, 'a') + "\nWXYZ"},
                               {std::string(2042, 'b') + "\n."},
                               {"tail\n", NQ_STATUS_END_OF_FILE}});
    ScriptedTranscoder transcoder(
        reader, {{NQ_STATUS_BUFFER_TOO_SMALL, 2044, static_cast<std::uint64_t>(-16)}});
    EXPECT_EQ(reader.next(), std::string(2043, 'a'));
    EXPECT_EQ(reader->leftover, 4u);
    // 2044 bytes are read behind the four; 2044 - 4 of the 2048 are converted.
    EXPECT_EQ(reader.next(), "WXYZ" + std::string(2036, 'b') + "tail");
    EXPECT_EQ(reader.next(), "<end>");
    EXPECT_EQ(transcoder.lengths, (std::vector<std::uint64_t>{2048, 2040, 5}));
    const std::vector<ScriptedFile::Asked> expected{{0, 2048}, {4, 2044}, {0, 2048}, {0, 2048}};
    EXPECT_EQ(file.asked, expected);
    reader->file = nullptr;
    reader->transcoder = nullptr;
}

TEST_F(TextReader, FullRawBufferOfLeftOversEnds) {
    Reader reader(host);
    ScriptedFile file(reader, {{std::string(2048, 'a')}, {"b\n"}});
    ScriptedTranscoder transcoder(
        reader, {{NQ_STATUS_BUFFER_TOO_SMALL, 0, static_cast<std::uint64_t>(-8192)}});
    // Nothing is converted, all is left over, and the next fill has no room to read: it gives up
    // the left-over bytes, and the one after it reads on.
    EXPECT_EQ(reader.next(), "b");
    EXPECT_EQ(transcoder.lengths, (std::vector<std::uint64_t>{2048, 0, 2}));
    reader->file = nullptr;
    reader->transcoder = nullptr;
}

}  // namespace
}  // namespace nq::test
