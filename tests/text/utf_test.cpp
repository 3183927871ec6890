#include "nqinstance/text/utf.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "nqinstance/host/status.h"
#include "nqinstance/text/utf8.h"
#include "tests/support/bytes.hpp"
#include "tests/support/guard_pages.hpp"
#include "tests/support/library.hpp"

namespace {

using namespace std::string_literals;
using nq::test::bytes_of;

struct Read {
    NQStatus status;
    NQChar code_point;
    uint64_t consumed;
    bool operator==(const Read&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Read& read) {
    return out << std::hex << "status " << read.status << " U+" << read.code_point << std::dec
               << " of " << read.consumed;
}

constexpr NQStatus kOk = 0;
constexpr NQStatus kTooSmall = NQ_STATUS_BUFFER_TOO_SMALL;
constexpr NQStatus kMalformed = NQ_STATUS_MALFORMED;
constexpr NQStatus kTruncated = NQ_STATUS_TRUNCATED;

// Reads from memory that ends at a protected page.
Read read(NQUtfReader reader, std::string_view text) {
    static const nq::test::GuardPages pages(1);
    const auto source = pages.last(text.size());
    std::ranges::copy(text, source.begin());
    Read result{1, 1, 99};
    result.status = reader(source.data(), text.size(), &result.code_point, &result.consumed);
    return result;
}

struct Written {
    NQStatus status;
    std::string bytes;  // as far as the target was changed
    uint64_t written;
    bool operator==(const Written&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Written& written) {
    out << std::hex << "status " << written.status << " bytes";
    for (const char byte : written.bytes) out << ' ' << (byte & 0xFF);
    return out << " counted " << written.written;
}

Written write(NQUtfWriter writer, NQChar code_point, uint64_t capacity) {
    uint8_t target[8];
    std::memset(target, 0xA5, sizeof target);
    uint64_t written = 99;
    const NQStatus status = writer(code_point, target, capacity, &written);
    std::string bytes(reinterpret_cast<char*>(target), sizeof target);
    return {status, bytes.substr(0, bytes.find_last_not_of('\xA5') + 1), written};
}

TEST(UtfAbi, UnitsAreReadInTheOrderOfTheirName) {
    const uint8_t bytes[] = {0x12, 0x34, 0x56, 0xF8};
    EXPECT_EQ(NQ_LIBRARY(Byte2DWord)(bytes), 0xF8563412u);
    EXPECT_EQ(NQ_LIBRARY(Byte2DWord_swap)(bytes), 0x123456F8u);
    EXPECT_EQ(NQ_LIBRARY(Byte2Word)(bytes), 0x3412u);
    EXPECT_EQ(NQ_LIBRARY(Byte2Word_swap)(bytes), 0x1234u);
    EXPECT_EQ(NQ_LIBRARY(BYTE_UTF16_UTF32)(bytes + 2), 0x56F8u);
    EXPECT_EQ(NQ_LIBRARY(BYTE_UTF16_UTF32_SWAP)(bytes + 2), 0xF856u);
}

TEST(UtfAbi, Utf8CharactersAreRead) {
    const auto reader = NQ_LIBRARY(UTF8_UTF32);
    EXPECT_EQ(read(reader, "\x41"), (Read{kOk, 0x41, 1}));
    EXPECT_EQ(read(reader, "\0"s), (Read{kOk, 0, 1}));
    EXPECT_EQ(read(reader, "\xC3\xA9"), (Read{kOk, 0xE9, 2}));
    EXPECT_EQ(read(reader, "\xE2\x82\xAC"), (Read{kOk, 0x20AC, 3}));
    EXPECT_EQ(read(reader, "\xF0\x9F\x98\x80"), (Read{kOk, 0x1F600, 4}));
}

TEST(UtfAbi, Utf8TailsAreNotJudged) {
    const auto reader = NQ_LIBRARY(UTF8_UTF32);
    EXPECT_EQ(read(reader, "\xC3\x41"), (Read{kOk, 0xC1, 2}));
    EXPECT_EQ(read(reader, "\xE0\x80\x80"), (Read{kOk, 0, 3}));
    EXPECT_EQ(read(reader, "\xED\xA0\x80"), (Read{kOk, 0xD800, 3}));
    EXPECT_EQ(read(reader, "\xF4\x90\x80\x80"), (Read{kOk, 0x110000, 4}));
}

TEST(UtfAbi, Utf8InvalidLeadsTakeTheContinuationBytesBehindThem) {
    const auto reader = NQ_LIBRARY(UTF8_UTF32);
    EXPECT_EQ(read(reader, "\x80"), (Read{kMalformed, 0xFFFD, 1}));
    EXPECT_EQ(read(reader, "\x80\x80\x80"), (Read{kMalformed, 0xFFFD, 1}));
    EXPECT_EQ(read(reader, "\xC0\x80"), (Read{kMalformed, 0xFFFD, 2}));
    EXPECT_EQ(read(reader, "\xC1\x41"), (Read{kMalformed, 0xFFFD, 1}));
    EXPECT_EQ(read(reader, "\xC0"), (Read{kMalformed, 0xFFFD, 1}));
    EXPECT_EQ(read(reader, "\xF5\x80\x80\x80\x80"), (Read{kMalformed, 0xFFFD, 4}));
    EXPECT_EQ(read(reader, "\xF8\x80\x80\x80\x80\x80"), (Read{kMalformed, 0xFFFD, 5}));
    EXPECT_EQ(read(reader, "\xFF\x80\x80\x80\x80\x80\x80"), (Read{kMalformed, 0xFFFD, 6}));
    EXPECT_EQ(read(reader, "\xFF\x80\x80"), (Read{kMalformed, 0xFFFD, 3}));
}

TEST(UtfAbi, Utf8TruncatedCharactersTakeWhatIsThere) {
    const auto reader = NQ_LIBRARY(UTF8_UTF32);
    EXPECT_EQ(read(reader, ""), (Read{kTruncated, 0xFFFD, 0}));
    EXPECT_EQ(read(reader, "\xC3"), (Read{kTruncated, 0xFFFD, 1}));
    EXPECT_EQ(read(reader, "\xE4\xB8"), (Read{kTruncated, 0xFFFD, 2}));
    EXPECT_EQ(read(reader, "\xF0\x41\x41"), (Read{kTruncated, 0xFFFD, 3}));
}

TEST(UtfAbi, CountsMayGoNowhere) {
    NQChar code_point = 0;
    EXPECT_EQ(NQ_LIBRARY(UTF8_UTF32)(bytes_of("\x80"), 1, &code_point, nullptr), kMalformed);
    EXPECT_EQ(NQ_LIBRARY(UTF8_UTF32)(bytes_of("A"), 1, &code_point, nullptr), kOk);
    EXPECT_EQ(NQ_LIBRARY(UTF16_UTF32)(bytes_of("\0A"), 2, &code_point, nullptr), kOk);
    EXPECT_EQ(NQ_LIBRARY(COPY_UTF32b)(bytes_of("\0\0\0A"), 4, &code_point, nullptr), kOk);
    uint8_t target[4];
    EXPECT_EQ(NQ_LIBRARY(UTF32_UTF8)('A', target, 4, nullptr), kOk);
    EXPECT_EQ(NQ_LIBRARY(COPY_UTF32)('A', target, 4, nullptr), kOk);
    EXPECT_EQ(NQ_LIBRARY(UTF32_UTF16s)('A', target, 4, nullptr), kOk);
    EXPECT_EQ(NQ_LIBRARY(COPY_UTF)(bytes_of("A"), 1, target, 4, nullptr), kOk);
    EXPECT_EQ(NQ_LIBRARY(isLegalUTF8)(bytes_of("A"), 1, nullptr), 1);
}

TEST(UtfAbi, Utf16IsReadInBothOrders) {
    const auto big = NQ_LIBRARY(UTF16_UTF32);
    const auto little = NQ_LIBRARY(UTF16_UTF32_SWAP);
    EXPECT_EQ(read(big, "\xD8\x3D\xDE\x00"s), (Read{kOk, 0x1F600, 4}));
    EXPECT_EQ(read(little, "\x3D\xD8\x00\xDE"s), (Read{kOk, 0x1F600, 4}));
    EXPECT_EQ(read(big, "\x20\xAC\x00\x00"s), (Read{kOk, 0x20AC, 2}));
    EXPECT_EQ(read(little, "\xAC\x20"s), (Read{kOk, 0x20AC, 2}));
    EXPECT_EQ(read(big, "\xDE\x00"s), (Read{kMalformed, 0xFFFD, 2}));
    EXPECT_EQ(read(little, "\x00\xDE"s), (Read{kMalformed, 0xFFFD, 2}));
    EXPECT_EQ(read(big, "\xD8\x3D\x00\x41"s), (Read{kMalformed, 0xFFFD, 4}));
    EXPECT_EQ(read(big, "\xD8\x3D\xD8\x3D"s), (Read{kMalformed, 0xFFFD, 4}));
    EXPECT_EQ(read(big, "\xDB\xFF\xDF\xFF"s), (Read{kOk, 0x10FFFF, 4}));
    EXPECT_EQ(read(big, "\xE0\x00"s), (Read{kOk, 0xE000, 2}));
    EXPECT_EQ(read(big, "\xD7\xFF"s), (Read{kOk, 0xD7FF, 2}));
}

TEST(UtfAbi, Utf16CutShortIsNotReadBeyond) {
    for (const auto reader : {NQ_LIBRARY(UTF16_UTF32), NQ_LIBRARY(UTF16_UTF32_SWAP)}) {
        EXPECT_EQ(read(reader, ""), (Read{kTruncated, 0xFFFD, 0}));
        EXPECT_EQ(read(reader, "\xD8"), (Read{kTruncated, 0xFFFD, 1}));
        EXPECT_EQ(read(reader, "A"), (Read{kTruncated, 0xFFFD, 1}));
        EXPECT_EQ(read(reader, "\xD8\xD8"), (Read{kMalformed, 0xFFFD, 4}));
        EXPECT_EQ(read(reader, "\xD8\xD8\xDE"), (Read{kMalformed, 0xFFFD, 4}));
    }
    // One byte available of a pair that goes on.
    NQChar code_point = 0;
    uint64_t consumed = 0;
    EXPECT_EQ(NQ_LIBRARY(UTF16_UTF32)(bytes_of("\xD8\x3D"), 1, &code_point, &consumed), kTruncated);
    EXPECT_EQ(code_point, 0xFFFDu);
    EXPECT_EQ(consumed, 1u);
}

TEST(UtfAbi, Utf32IsReadInBothOrdersAndPaddedWithZero) {
    const auto big = NQ_LIBRARY(COPY_UTF32b);
    const auto little = NQ_LIBRARY(COPY_UTF32b_SWAP);
    EXPECT_EQ(read(big, "\xFE\xDC\xBA\x98"), (Read{kOk, 0xFEDCBA98, 4}));
    EXPECT_EQ(read(little, "\xFE\xDC\xBA\x98"), (Read{kOk, 0x98BADCFE, 4}));
    EXPECT_EQ(read(big, "\x01\x02\x03"), (Read{kOk, 0x01020300, 4}));
    EXPECT_EQ(read(little, "\x01\x02\x03"), (Read{kOk, 0x030201, 4}));
    EXPECT_EQ(read(little, "\x01"), (Read{kOk, 1, 4}));
    EXPECT_EQ(read(big, ""), (Read{kOk, 0, 4}));
}

TEST(UtfAbi, Utf8IsWritten) {
    const auto writer = NQ_LIBRARY(UTF32_UTF8);
    EXPECT_EQ(write(writer, 0x7F, 1), (Written{kOk, "\x7F", 1}));
    EXPECT_EQ(write(writer, 0x80, 2), (Written{kOk, "\xC2\x80", 2}));
    EXPECT_EQ(write(writer, 0x7FF, 2), (Written{kOk, "\xDF\xBF", 2}));
    EXPECT_EQ(write(writer, 0x800, 3), (Written{kOk, "\xE0\xA0\x80", 3}));
    EXPECT_EQ(write(writer, 0x20AC, 8), (Written{kOk, "\xE2\x82\xAC", 3}));
    EXPECT_EQ(write(writer, 0xD800, 3), (Written{kOk, "\xED\xA0\x80", 3}));
    EXPECT_EQ(write(writer, 0x10000, 4), (Written{kOk, "\xF0\x90\x80\x80", 4}));
    EXPECT_EQ(write(writer, 0x110000, 4), (Written{kOk, "\xF4\x90\x80\x80", 4}));
}

TEST(UtfAbi, Utf8LeadOverflowsIntoItsMark) {
    const auto writer = NQ_LIBRARY(UTF32_UTF8);
    EXPECT_EQ(write(writer, 0x400000, 4), (Written{kOk, "\0\x80\x80\x80"s, 4}));
    EXPECT_EQ(write(writer, 0x200000, 4), (Written{kOk, "\xF8\x80\x80\x80", 4}));
    EXPECT_EQ(write(writer, 0xFFFFFFFF, 4), (Written{kOk, "\xEF\xBF\xBF\xBF", 4}));
}

TEST(UtfAbi, Utf8WithoutRoomWritesNothingButASingleByte) {
    const auto writer = NQ_LIBRARY(UTF32_UTF8);
    EXPECT_EQ(write(writer, 0x20AC, 2), (Written{kTooSmall, "", 0}));
    EXPECT_EQ(write(writer, 0xE9, 1), (Written{kTooSmall, "", 0}));
    EXPECT_EQ(write(writer, 0x1F600, 3), (Written{kTooSmall, "", 0}));
    EXPECT_EQ(write(writer, 0x80, 0), (Written{kTooSmall, "", 0}));
    EXPECT_EQ(write(writer, 0x7F, 0), (Written{kOk, "\x7F", 1}));
    EXPECT_EQ(write(writer, 0x41, 0), (Written{kOk, "A", 1}));
}

TEST(UtfAbi, Utf16UnitsAreWrittenAsUtf8OneByOne) {
    const auto writer = NQ_LIBRARY(UTF16_UTF8);
    EXPECT_EQ(write(writer, 0xD83D, 4), (Written{kOk, "\xED\xA0\xBD", 3}));
    EXPECT_EQ(write(writer, 0xE9, 4), (Written{kOk, "\xC3\xA9", 2}));
    EXPECT_EQ(write(writer, 0xE9, 1), (Written{kTooSmall, "", 0}));
    EXPECT_EQ(write(writer, 0x10041, 4), (Written{kOk, "A", 1}));
}

TEST(UtfAbi, SingleUnitsAreCutTo16Bits) {
    EXPECT_EQ(write(NQ_LIBRARY(UTF32_UTF16), 0x1F612, 2), (Written{kOk, "\x12\xF6", 2}));
    EXPECT_EQ(write(NQ_LIBRARY(UTF32_UTF16_SWAP), 0x1F612, 2), (Written{kOk, "\xF6\x12", 2}));
    EXPECT_EQ(write(NQ_LIBRARY(UTF32_UTF16), 0x20AC, 0), (Written{kOk, "\xAC\x20", 2}));
    EXPECT_EQ(write(NQ_LIBRARY(UTF32_UTF16_SWAP), 0x20AC, 1), (Written{kOk, "\x20\xAC", 2}));
}

TEST(UtfAbi, SurrogatePairsAreWrittenHighFirst) {
    const auto little = NQ_LIBRARY(UTF32_UTF16s);
    const auto big = NQ_LIBRARY(UTF32_UTF16s_SWAP);
    EXPECT_EQ(write(little, 0x1F600, 4), (Written{kOk, "\x3D\xD8\x00\xDE"s, 4}));
    EXPECT_EQ(write(big, 0x1F601, 4), (Written{kOk, "\xD8\x3D\xDE\x01", 4}));
    EXPECT_EQ(write(big, 0x10FFFF, 4), (Written{kOk, "\xDB\xFF\xDF\xFF", 4}));
    EXPECT_EQ(write(little, 0xD83D, 2), (Written{kOk, "\x3D\xD8", 2}));
    EXPECT_EQ(write(big, 0xFFFF, 0), (Written{kOk, "\xFF\xFF", 2}));
    // The count stays as it was.
    EXPECT_EQ(write(little, 0x10000, 3), (Written{kTooSmall, "", 99}));
    EXPECT_EQ(write(big, 0x10000, 2), (Written{kTooSmall, "", 99}));
}

TEST(UtfAbi, Utf32IsWrittenInBothOrders) {
    EXPECT_EQ(write(NQ_LIBRARY(COPY_UTF32), 0x12345678, 4), (Written{kOk, "\x12\x34\x56\x78", 4}));
    EXPECT_EQ(write(NQ_LIBRARY(COPY_UTF32_SWAP), 0x12345678, 4),
              (Written{kOk, "\x78\x56\x34\x12", 4}));
    EXPECT_EQ(write(NQ_LIBRARY(COPY_UTF32), 0x12345678, 3), (Written{kTooSmall, "", 0}));
    EXPECT_EQ(write(NQ_LIBRARY(COPY_UTF32_SWAP), 0x12345678, 0), (Written{kTooSmall, "", 0}));
}

TEST(UtfAbi, Utf8BecomesOneOrTwoNativeUnits) {
    const auto convert = [](std::string_view text, uint64_t* consumed) {
        std::vector<uint16_t> units{0xA5A5, 0xA5A5};
        const NQStatus status =
            NQ_LIBRARY(UTF8_UTF16)(bytes_of(text), text.size(), units.data(), consumed);
        return std::pair(status, units);
    };
    using Units = std::vector<uint16_t>;
    uint64_t consumed = 99;
    EXPECT_EQ(convert("\xC3\xA9", &consumed), std::pair(kOk, Units{0xE9, 0xA5A5}));
    EXPECT_EQ(consumed, 2u);
    EXPECT_EQ(convert("\xF0\x9F\x98\x80", &consumed), std::pair(kOk, Units{0xD83D, 0xDE00}));
    EXPECT_EQ(consumed, 4u);
    EXPECT_EQ(convert("\xEF\xBF\xBF", &consumed), std::pair(kOk, Units{0xFFFF, 0xA5A5}));
    EXPECT_EQ(convert("\xF4\x8F\xBF\xBF", nullptr), std::pair(kOk, Units{0xDBFF, 0xDFFF}));
    EXPECT_EQ(convert("\xC0\x80", &consumed), std::pair(kMalformed, Units{0xFFFD, 0xA5A5}));
    EXPECT_EQ(consumed, 2u);
    EXPECT_EQ(convert("\xE4\xB8", &consumed), std::pair(kMalformed, Units{0xFFFD, 0xA5A5}));
    EXPECT_EQ(consumed, 2u);
}

TEST(UtfAbi, CopyTellsWhenItCuts) {
    const auto copy = NQ_LIBRARY(COPY_UTF);
    uint8_t target[] = "??????";
    uint64_t copied = 99;
    EXPECT_EQ(copy(bytes_of("abcde"), 5, target, 3, &copied), kTooSmall);
    EXPECT_EQ(copied, 3u);
    EXPECT_STREQ(reinterpret_cast<char*>(target), "abc???");
    EXPECT_EQ(copy(bytes_of("vwxyz"), 5, target, 5, &copied), kOk);
    EXPECT_EQ(copied, 5u);
    EXPECT_STREQ(reinterpret_cast<char*>(target), "vwxyz?");
    EXPECT_EQ(copy(nullptr, 0, target, 5, &copied), kOk);
    EXPECT_EQ(copied, 0u);
    EXPECT_EQ(copy(bytes_of("a"), 1, nullptr, 0, &copied), kTooSmall);
    EXPECT_EQ(copied, 0u);
}

struct Verdict {
    int32_t is_legal;
    uint64_t plausible;
    bool operator==(const Verdict&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Verdict& verdict) {
    return out << verdict.is_legal << " up to " << verdict.plausible;
}

Verdict judge(std::string_view text) {
    Verdict verdict{2, 99};
    verdict.is_legal = NQ_LIBRARY(isLegalUTF8)(bytes_of(text), text.size(), &verdict.plausible);
    return verdict;
}

TEST(UtfAbi, LegalCharacters) {
    EXPECT_EQ(judge("\x7F"), (Verdict{1, 1}));
    EXPECT_EQ(judge("\xC2\x80"), (Verdict{1, 2}));
    EXPECT_EQ(judge("\xE0\xA0\x80"), (Verdict{1, 3}));
    EXPECT_EQ(judge("\xED\x9F\xBF"), (Verdict{1, 3}));
    EXPECT_EQ(judge("\xF0\x90\x80\x80"), (Verdict{1, 4}));
    EXPECT_EQ(judge("\xF4\x90\x80\x80"), (Verdict{1, 4}));
    EXPECT_EQ(judge(""), (Verdict{1, 0}));
    EXPECT_EQ(judge("\xFF\xFF\xFF\xFF\xFF"), (Verdict{1, 5}));
}

TEST(UtfAbi, IllegalCharacters) {
    EXPECT_EQ(judge("\xE0\x80\x80"), (Verdict{0, 3}));
    EXPECT_EQ(judge("\xED\xA0\x80"), (Verdict{0, 3}));
    EXPECT_EQ(judge("\xF0\x80\x80\x80"), (Verdict{0, 4}));
    EXPECT_EQ(judge("\xC3\x41"), (Verdict{0, 1}));
    EXPECT_EQ(judge("\x80"), (Verdict{0, 1}));
    EXPECT_EQ(judge("\xC1\x80"), (Verdict{0, 2}));
    EXPECT_EQ(judge("\xF5\x80\x80\x80"), (Verdict{0, 4}));
    EXPECT_EQ(judge("\xE1\x80\x41"), (Verdict{0, 2}));
    EXPECT_EQ(judge("\xF1\x80\x80\x41"), (Verdict{0, 3}));
    EXPECT_EQ(judge("\xF1\x80\x41\x41"), (Verdict{0, 2}));
    EXPECT_EQ(judge("\xF1\x41\x80\x80"), (Verdict{0, 1}));
    EXPECT_EQ(judge("\xE0\x41\x41"), (Verdict{0, 1}));
}

TEST(UtfAbi, Utf8LengthOfUnits) {
    const NQChar units[] = {0x41, 0xE9, 0x20AC, 0x1F600};
    EXPECT_EQ(NQ_LIBRARY(GET_UTF8_LEN_FROM_NQCHAR)(units, 4), 10u);
    EXPECT_EQ(NQ_LIBRARY(GET_UTF8_LEN_FROM_NQCHAR)(nullptr, 0), 0u);
}

TEST(UtfAbi, LengthIsTheLeadBytesWord) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const auto lead = static_cast<uint8_t>(byte);
        const int expected = byte >= 0xFC   ? 6
                             : byte >= 0xF8 ? 5
                             : byte >= 0xF0 ? 4
                             : byte >= 0xE0 ? 3
                             : byte >= 0xC0 ? 2
                                            : 1;
        EXPECT_EQ(NQ_LIBRARY(utf8_len)(&lead), expected) << byte;
    }
}

// --- The drivers ---------------------------------------------------------------------------------

struct Conversion {
    NQStatus status;
    std::string produced;
    bool operator==(const Conversion&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Conversion& conversion) {
    return out << Written{conversion.status, conversion.produced, conversion.produced.size()};
}

Conversion to_utf32(std::string_view source, uint64_t capacity, NQUtfReader reader,
                    NQUtfWriter writer) {
    std::string target(capacity, '\xA5');
    uint64_t produced = 99;
    const NQStatus status = NQ_LIBRARY(ConvertToUTF32)(bytes_of(source), source.size(),
                                                       reinterpret_cast<uint8_t*>(target.data()),
                                                       capacity, &produced, reader, writer);
    EXPECT_LE(produced, capacity);
    EXPECT_EQ(target.find_first_not_of('\xA5', produced), std::string::npos);
    return {status, target.substr(0, produced)};
}

TEST(UtfDriverAbi, EmptySourceProducesNothing) {
    EXPECT_EQ(to_utf32("", 16, NQ_LIBRARY(UTF8_UTF32), NQ_LIBRARY(COPY_UTF32)),
              (Conversion{kOk, ""}));
    EXPECT_EQ(NQ_LIBRARY(ConvertToUTF32)(nullptr, 0, nullptr, 0, nullptr, NQ_LIBRARY(UTF8_UTF32),
                                         NQ_LIBRARY(COPY_UTF32)),
              kOk);
}

TEST(UtfDriverAbi, WholeUnitsBoundTheOutputWithSuccess) {
    const auto reader = NQ_LIBRARY(UTF8_UTF32);
    const auto writer = NQ_LIBRARY(COPY_UTF32);
    EXPECT_EQ(to_utf32("abc", 11, reader, writer), (Conversion{kOk, "\0\0\0a\0\0\0b"s}));
    EXPECT_EQ(to_utf32("abc", 3, reader, writer), (Conversion{kOk, ""}));
    EXPECT_EQ(to_utf32("\xC3\xA9", 99, reader, NQ_LIBRARY(COPY_UTF32_SWAP)),
              (Conversion{kOk, "\xE9\0\0\0"s}));
}

TEST(UtfDriverAbi, TheFirstReadersStatusStops) {
    const auto reader = NQ_LIBRARY(UTF8_UTF32);
    const auto writer = NQ_LIBRARY(COPY_UTF32);
    EXPECT_EQ(to_utf32("a\x80"
                       "b",
                       99, reader, writer),
              (Conversion{kMalformed, "\0\0\0a"s}));
    EXPECT_EQ(to_utf32("a\xC3", 99, reader, writer), (Conversion{kTruncated, "\0\0\0a"s}));
    EXPECT_EQ(to_utf32("\0a\xD8"s, 99, NQ_LIBRARY(UTF16_UTF32), writer),
              (Conversion{kTruncated, "\0\0\0a"s}));
    // What does not fit is not read.
    EXPECT_EQ(to_utf32("a\x80", 4, reader, writer), (Conversion{kOk, "\0\0\0a"s}));
}

TEST(UtfDriverAbi, CopyReaderPadsTheLastUnitAndEndsTheSource) {
    const auto writer = NQ_LIBRARY(COPY_UTF32);
    EXPECT_EQ(to_utf32("\0\0\0a\0\0b"s, 99, NQ_LIBRARY(COPY_UTF32b), writer),
              (Conversion{kOk, "\0\0\0a\0\0b\0"s}));
    EXPECT_EQ(to_utf32("a\0\0\0b"s, 99, NQ_LIBRARY(COPY_UTF32b_SWAP), writer),
              (Conversion{kOk, "\0\0\0a\0\0\0b"s}));
}

// Takes six bytes for each character.
NQStatus read_six(const uint8_t* source, uint64_t, NQChar* code_point,
                  uint64_t* consumed) noexcept {
    *code_point = source[0];
    *consumed = 6;
    return 0;
}

NQStatus read_none(const uint8_t* source, uint64_t, NQChar* code_point,
                   uint64_t* consumed) noexcept {
    *code_point = source[0];
    *consumed = 0;
    return 0;
}

std::vector<uint64_t> capacities_told;

NQStatus write_and_note(NQChar code_point, uint8_t* target, uint64_t capacity,
                        uint64_t* written) noexcept {
    capacities_told.push_back(capacity);
    target[0] = static_cast<uint8_t>(code_point);
    *written = 1;
    return 0;
}

NQStatus write_until_x(NQChar code_point, uint8_t* target, uint64_t, uint64_t* written) noexcept {
    *written = 1;
    if (code_point == 'x') return 77;
    target[0] = static_cast<uint8_t>(code_point);
    return 0;
}

TEST(UtfDriverAbi, WriterIsToldTheCapacityLessTheBytesRead) {
    capacities_told.clear();
    EXPECT_EQ(to_utf32("a.....b.....c", 14, read_six, write_and_note).status, kOk);
    EXPECT_EQ(capacities_told, (std::vector<uint64_t>{14, 8, 2}));
    capacities_told.clear();
    EXPECT_EQ(to_utf32("a.....b", 9, read_six, write_and_note).produced,
              "a\xA5\xA5\xA5"
              "b\xA5\xA5\xA5");
    EXPECT_EQ(capacities_told, (std::vector<uint64_t>{9, 3}));
    capacities_told.clear();
    // The capacity told wraps, the output stays within.
    EXPECT_EQ(to_utf32("a.....b.....c", 12, read_six, NQ_LIBRARY(COPY_UTF32)).produced.size(), 8u);
    EXPECT_EQ(to_utf32("a.....b.....c", 11, read_six, write_and_note).produced.size(), 8u);
    EXPECT_EQ(capacities_told, (std::vector<uint64_t>{11, 5}));
}

TEST(UtfDriverAbi, ReaderThatTakesNothingFillsTheTarget) {
    EXPECT_EQ(to_utf32("ab", 8, read_none, NQ_LIBRARY(COPY_UTF32)),
              (Conversion{kOk, "\0\0\0a\0\0\0a"s}));
}

TEST(UtfDriverAbi, WritersStatusStopsBeforeItsCharacterCounts) {
    EXPECT_EQ(to_utf32("axb", 12, NQ_LIBRARY(UTF8_UTF32), write_until_x),
              (Conversion{77, "a\xA5\xA5\xA5"}));
}

TEST(UtfDriverAbi, OtherWritersOfTheLibraryStoreEveryFourBytes) {
    EXPECT_EQ(to_utf32("a\xC3\xA9", 8, NQ_LIBRARY(UTF8_UTF32), NQ_LIBRARY(UTF32_UTF8)),
              (Conversion{kOk, "a\xA5\xA5\xA5\xC3\xA9\xA5\xA5"}));
}

struct FromConversion {
    NQStatus status;
    uint64_t produced;
    std::string target;
    bool operator==(const FromConversion&) const = default;
};

std::ostream& operator<<(std::ostream& out, const FromConversion& conversion) {
    return out << Written{conversion.status, conversion.target, conversion.produced};
}

FromConversion from_utf32(std::u32string_view units, uint64_t capacity, NQUtfWriter writer,
                          NQUtfReader reader, uint64_t extra_bytes = 0) {
    std::string target(capacity, '\xA5');
    FromConversion result{99, 99, ""};
    result.status = NQ_LIBRARY(ConvertFromUTF32)(
        reinterpret_cast<const uint8_t*>(units.data()), 4 * units.size() - extra_bytes,
        reinterpret_cast<uint8_t*>(target.data()), capacity, &result.produced, writer, reader);
    result.target = target;
    return result;
}

TEST(UtfDriverAbi, Utf32BecomesTheWritersForm) {
    const auto reader = NQ_LIBRARY(COPY_UTF32b_SWAP);
    EXPECT_EQ(from_utf32(U"a\u20AC\U0001F600", 8, NQ_LIBRARY(UTF32_UTF8), reader),
              (FromConversion{kOk, 8, "a\xE2\x82\xAC\xF0\x9F\x98\x80"}));
    EXPECT_EQ(from_utf32(U"a\U0001F600", 6, NQ_LIBRARY(UTF32_UTF16s), reader),
              (FromConversion{kOk, 6, "a\0\x3D\xD8\0\xDE"s}));
    EXPECT_EQ(from_utf32(U"a\U0001F600", 4, NQ_LIBRARY(UTF32_UTF16_SWAP), reader),
              (FromConversion{kOk, 4, "\0a\xF6\0"s}));
    EXPECT_EQ(from_utf32(U"a", 3, NQ_LIBRARY(UTF32_UTF8), NQ_LIBRARY(COPY_UTF32b)),
              (FromConversion{kTooSmall, 0, "\xA5\xA5\xA5"}));
}

TEST(UtfDriverAbi, FullTargetEndsWithSuccessAndATightOneWithout) {
    const auto reader = NQ_LIBRARY(COPY_UTF32b_SWAP);
    EXPECT_EQ(from_utf32(U"abc", 2, NQ_LIBRARY(UTF32_UTF8), reader),
              (FromConversion{kOk, 2, "ab"}));
    EXPECT_EQ(from_utf32(U"a\u20AC", 3, NQ_LIBRARY(UTF32_UTF8), reader),
              (FromConversion{kTooSmall, 1, "a\xA5\xA5"}));
    EXPECT_EQ(from_utf32(U"a\U0001F600", 5, NQ_LIBRARY(UTF32_UTF16s), reader),
              (FromConversion{kTooSmall, 2, "a\0\xA5\xA5\xA5"s}));
    EXPECT_EQ(from_utf32(U"ab", 6, NQ_LIBRARY(COPY_UTF32_SWAP), reader),
              (FromConversion{kTooSmall, 4, "a\0\0\0\xA5\xA5"s}));
    EXPECT_EQ(from_utf32(U"ab", 4, NQ_LIBRARY(COPY_UTF32_SWAP), reader),
              (FromConversion{kOk, 4, "a\0\0\0"s}));
    EXPECT_EQ(from_utf32(U"", 4, NQ_LIBRARY(UTF32_UTF8), reader),
              (FromConversion{kOk, 0, "\xA5\xA5\xA5\xA5"}));
    EXPECT_EQ(from_utf32(U"a", 0, NQ_LIBRARY(UTF32_UTF8), reader), (FromConversion{kOk, 0, ""}));
}

TEST(UtfDriverAbi, HalfAUnitsRoomTakesHalfAUnitAndCountsAll) {
    for (const auto reader : {NQ_LIBRARY(COPY_UTF32b_SWAP),
                              NQUtfReader{[](const uint8_t*source, uint64_t available,
                                             NQChar*code_point, uint64_t*consumed) noexcept {
                                  return NQ_LIBRARY(COPY_UTF32b_SWAP)(source, available, code_point,
                                                                      consumed);
                              }}}) {
        EXPECT_EQ(from_utf32(U"a\u20AC!", 3, NQ_LIBRARY(UTF32_UTF16s), reader),
                  (FromConversion{kOk, 4, "a\0\xAC"s}));
        EXPECT_EQ(from_utf32(U"\u20AC!", 1, NQ_LIBRARY(UTF32_UTF16_SWAP), reader),
                  (FromConversion{kOk, 2, "\x20"}));
        EXPECT_EQ(from_utf32(U"\U0001F600!", 1, NQ_LIBRARY(UTF32_UTF16s_SWAP), reader),
                  (FromConversion{kTooSmall, 0, "\xA5"}));
    }
}

TEST(UtfDriverAbi, BytesAfterTheLastWholeUnitAreLeft) {
    EXPECT_EQ(from_utf32(U"ab", 8, NQ_LIBRARY(UTF32_UTF8), NQ_LIBRARY(COPY_UTF32b_SWAP), 1),
              (FromConversion{kOk, 1, "a\xA5\xA5\xA5\xA5\xA5\xA5\xA5"}));
}

TEST(UtfDriverAbi, ReadersStatusIsNotLookedAt) {
    EXPECT_EQ(from_utf32(U"\xDCBA", 8, NQ_LIBRARY(UTF32_UTF8), NQ_LIBRARY(UTF16_UTF32_SWAP)),
              (FromConversion{kOk, 3, "\xEF\xBF\xBD\xA5\xA5\xA5\xA5\xA5"}));
}

TEST(UtfDriverAbi, TextsThatOverlapGoCharacterByCharacter) {
    // In place, narrowing: each character is read before it is overwritten.
    std::u32string text;
    for (int i = 0; i < 100; ++i) text += static_cast<char32_t>(i % 3 ? 'a' + i % 26 : 0x20AC + i);
    const std::string apart =
        from_utf32(text, 400, NQ_LIBRARY(UTF32_UTF8), NQ_LIBRARY(COPY_UTF32b_SWAP)).target;
    auto* bytes = reinterpret_cast<uint8_t*>(text.data());
    uint64_t produced = 0;
    EXPECT_EQ(NQ_LIBRARY(ConvertFromUTF32)(bytes, 400, bytes, 400, &produced,
                                           NQ_LIBRARY(UTF32_UTF8), NQ_LIBRARY(COPY_UTF32b_SWAP)),
              kOk);
    EXPECT_EQ(std::string_view(reinterpret_cast<char*>(bytes), produced),
              apart.substr(0, produced));

    // In place, widening: what was stored for the first character is read for those after it.
    std::string wide(400, 'b');
    wide[0] = 'a';
    auto* start = reinterpret_cast<uint8_t*>(wide.data());
    EXPECT_EQ(NQ_LIBRARY(ConvertToUTF32)(start, 400, start, 400, &produced, NQ_LIBRARY(UTF8_UTF32),
                                         NQ_LIBRARY(COPY_UTF32_SWAP)),
              kOk);
    EXPECT_EQ(produced, 400u);
    EXPECT_EQ(wide, "a" + std::string(399, '\0'));
}

}  // namespace
