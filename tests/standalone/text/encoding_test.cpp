#include "standalone/text/encoding.hpp"

#include <gtest/gtest.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <memory>
#include <string>
#include <vector>

#include "nqinstance/host/status.h"
#include "tests/support/random.hpp"

namespace nq {
namespace {

using test::SeededRandom;
using namespace std::string_literals;

struct ReleaseTranscoder {
    void operator()(Transcoder* transcoder) const { transcoder->handle.release(transcoder); }
};
using TranscoderHold = std::unique_ptr<Transcoder, ReleaseTranscoder>;

HostEncoding* the_service() {
    static EncodingService service;
    return &service;
}

TranscoderHold make() {
    HostEncoding* service = the_service();
    return TranscoderHold(service->createTranscoder(service, NQ_ENCODING_UTF8, 0, 0));
}

struct Conversion {
    NQStatus status;
    std::u32string text;
    uint64_t consumed;
    bool is_bad;
};

// One call, from and to blocks that are exactly as long as they are said to be.
Conversion convert(Transcoder* transcoder, std::string_view bytes, std::size_t units,
                   TranscoderState& state) {
    const auto source = std::make_unique<uint8_t[]>(bytes.size());
    bytes.copy(reinterpret_cast<char*>(source.get()), bytes.size());
    const auto target = std::make_unique<NQChar[]>(units);
    uint64_t written = 99;
    Conversion result{};
    result.status = transcoder->convert(transcoder, source.get(), bytes.size(), target.get(),
                                        units * sizeof(NQChar), &written, &state, 0);
    EXPECT_EQ(written % sizeof(NQChar), 0u);
    EXPECT_LE(written, units * sizeof(NQChar));
    result.text.assign(target.get(), target.get() + written / sizeof(NQChar));
    result.consumed = state.consumed;
    result.is_bad = (state.flags & NQ_TRANSCODER_BAD_INPUT) != 0;
    return result;
}

// A whole stream in pieces that end at the given places.
struct Stream {
    std::u32string text;
    bool is_bad = false;
};
Stream convert_pieces(std::string_view bytes, const std::vector<std::size_t>& ends) {
    const TranscoderHold transcoder = make();
    TranscoderState state{};
    Stream stream;
    std::size_t begin = 0;
    for (const std::size_t end : ends) {
        const auto piece = bytes.substr(begin, end - begin);
        const Conversion result = convert(transcoder.get(), piece, piece.size() + 1, state);
        EXPECT_EQ(result.status, NQ_STATUS_OK);
        EXPECT_EQ(result.consumed, piece.size());
        stream.text += result.text;
        stream.is_bad |= result.is_bad;
        begin = end;
    }
    return stream;
}
Stream convert_whole(std::string_view bytes) { return convert_pieces(bytes, {bytes.size()}); }

// ICU's view of the same bytes; U+FFFD for each malformed sequence.
Stream convert_with_icu(const std::string& bytes) {
    std::vector<UChar> units(bytes.size() * 2 + 1);
    int32_t length = 0;
    int32_t replaced = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8WithSub(units.data(), static_cast<int32_t>(units.size()), &length, bytes.data(),
                         static_cast<int32_t>(bytes.size()), 0xfffd, &replaced, &error);
    EXPECT_TRUE(U_SUCCESS(error));
    Stream stream;
    for (int32_t i = 0; i < length;) {
        UChar32 character;
        U16_NEXT(units.data(), i, length, character);
        stream.text += static_cast<char32_t>(character);
    }
    stream.is_bad = replaced != 0;
    return stream;
}

std::string utf8(char32_t character) {
    char bytes[4];
    int32_t length = 0;
    UBool is_error = false;
    U8_APPEND(reinterpret_cast<uint8_t*>(bytes), length, 4, static_cast<UChar32>(character),
              is_error);
    EXPECT_FALSE(is_error);
    return {bytes, static_cast<std::size_t>(length)};
}

// What a reader leaves behind at a syntax error; a leak checker sees it if the service forgets it.
TEST(Encoding, AForgottenTranscoderIsFreedWithTheService) {
    EncodingService service;
    EXPECT_NE(service.createTranscoder(&service, NQ_ENCODING_UTF8, 0, 0), nullptr);
}

TEST(Encoding, OnlyUtf8ToUnitsNeedsAndHasATranscoder) {
    HostEncoding* service = the_service();
    EXPECT_EQ(service->handle.magic, NQ_MAGIC);
    EXPECT_EQ(service->needsTranscoding(service, 20, 27), 1);
    EXPECT_EQ(service->needsTranscoding(service, 20, 0), 1);
    EXPECT_EQ(service->needsTranscoding(service, 27, 20), 1);
    EXPECT_EQ(service->needsTranscoding(service, 20, 20), 0);
    EXPECT_EQ(service->needsTranscoding(service, 27, 27), 0);
    EXPECT_EQ(service->needsTranscoding(service, 27, 0), 0);
    EXPECT_EQ(service->createTranscoder(service, 27, 20, 0), nullptr);
    EXPECT_EQ(service->createTranscoder(service, 20, 20, 0), nullptr);
    EXPECT_EQ(service->createTranscoder(service, 5, 27, 0), nullptr);
    for (const uint32_t to : {0u, 27u}) {
        const TranscoderHold transcoder(service->createTranscoder(service, 20, to, 0));
        ASSERT_NE(transcoder, nullptr);
        EXPECT_EQ(transcoder->handle.magic, NQ_MAGIC);
    }
    EXPECT_EQ(service->handle.release(service), NQ_STATUS_OK);
}

TEST(Encoding, EveryCharacterIsConverted) {
    std::string bytes;
    std::u32string expected;
    for (char32_t character = 0; character != 0x110000; ++character) {
        if (character >= 0xd800 && character <= 0xdfff) continue;
        bytes += utf8(character);
        expected += character;
    }
    const Stream stream = convert_whole(bytes);
    EXPECT_FALSE(stream.is_bad);
    EXPECT_TRUE(stream.text == expected);
}

TEST(Encoding, EverySplitGivesTheWholeConversion) {
    const std::string texts[] = {"",
                                 "a",
                                 "plain ASCII text that is longer than a block of eight bytes",
                                 "\xef\xbb\xbfmark, then \xef\xbb\xbf once more",
                                 "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80",
                                 "12345678\xc3\xa4"
                                 "12345678\xe2\x82\xac"
                                 "12345678\xf0\x9f\x98\x80"
                                 "12345678",
                                 "a\xe2\x82"
                                 "b\xf0\x9f\x98\xc3\xa4\x80\xff\xed\xa0\x80z",
                                 "\xef\xbb\xef\xbb\xbf"};
    for (const std::string& text : texts) {
        const Stream whole = convert_whole(text);
        std::vector<std::size_t> every_byte;
        for (std::size_t i = 0; i <= text.size(); ++i) {
            every_byte.push_back(i);
            for (std::size_t j = i; j <= text.size(); ++j) {
                const Stream pieces = convert_pieces(text, {i, j, text.size()});
                EXPECT_TRUE(pieces.text == whole.text) << text << " at " << i << " and " << j;
                EXPECT_EQ(pieces.is_bad, whole.is_bad) << text << " at " << i << " and " << j;
            }
        }
        EXPECT_TRUE(convert_pieces(text, every_byte).text == whole.text) << text;
    }
}

TEST(Encoding, MarkIsDroppedOnlyAtTheStart) {
    EXPECT_TRUE(convert_whole("\xef\xbb\xbf").text == U"");
    EXPECT_TRUE(convert_whole("\xef\xbb\xbf"
                              "a")
                    .text == U"a");
    EXPECT_TRUE(convert_whole("\xef\xbb\xbf\xef\xbb\xbf"
                              "a")
                    .text ==
                U"\xfeff"
                "a");
    EXPECT_TRUE(convert_whole("a\xef\xbb\xbf"
                              "b")
                    .text ==
                U"a\xfeff"
                "b");
    EXPECT_TRUE(convert_whole("\n\xef\xbb\xbf").text == U"\n\xfeff");
    const Stream after_bad = convert_whole("\x80\xef\xbb\xbf");
    EXPECT_TRUE(after_bad.text == U"\xfffd\xfeff");
    EXPECT_TRUE(after_bad.is_bad);
}

TEST(Encoding, MalformedSequencesAreFlaggedWhereverTheyStand) {
    const std::string malformed[] = {
        "\x80",
        "\xbf",  // continuations
        "\xc0\x80",
        "\xc0\xaf",
        "\xc1\xbf",  // over-long, two bytes
        "\xe0\x80\x80",
        "\xe0\x9f\xbf",  // over-long, three bytes
        "\xf0\x80\x80\x80",
        "\xf0\x8f\xbf\xbf",  // over-long, four bytes
        "\xed\xa0\x80",
        "\xed\xbf\xbf",              // surrogates
        "\xed\xa0\xbd\xed\xb8\x80",  // a pair of them
        "\xf4\x90\x80\x80",
        "\xf5\x80\x80\x80",  // above the last character
        "\xf8\x88\x80\x80\x80",
        "\xfc\x84\x80\x80\x80\x80",  // five and six bytes
        "\xfe",
        "\xff",
        "\xc3",
        "\xe2\x82",
        "\xe2",
        "\xf0\x9f\x98",
        "\xf0\x9f",
        "\xf0",  // cut off
    };
    for (const std::string& bad : malformed) {
        for (const std::string& before : {""s, "a"s, "\xe2\x82\xac"s, "12345678"s}) {
            const std::string text = before + bad + "z";
            const Stream stream = convert_whole(text);
            EXPECT_TRUE(stream.is_bad) << text;
            EXPECT_TRUE(stream.text == convert_with_icu(text).text) << text;
            EXPECT_TRUE(stream.text.ends_with(U"\xfffdz")) << text;
        }
    }
}

TEST(Encoding, FlagSpeaksOfOneCall) {
    const TranscoderHold transcoder = make();
    TranscoderState state{};
    EXPECT_TRUE(convert(transcoder.get(), "a\xff", 9, state).is_bad);
    const Conversion next = convert(transcoder.get(), "b", 9, state);
    EXPECT_FALSE(next.is_bad);
    EXPECT_TRUE(next.text == U"b");
    EXPECT_FALSE(convert(transcoder.get(), "\xe2\x82", 9, state).is_bad);
    EXPECT_TRUE(convert(transcoder.get(), "c", 9, state).is_bad);
}

TEST(Encoding, FullTargetIsNotOverrunAndTheRestFollows) {
    const std::string text =
        "\xef\xbb\xbf"
        "ab\xc3\xa4\xf0\x9f\x98\x80\xff\xe2\x82"
        "0123456789xyz";
    const Stream whole = convert_whole(text);
    for (std::size_t units = 1; units <= whole.text.size() + 1; ++units) {
        const TranscoderHold transcoder = make();
        TranscoderState state{};
        std::string_view rest = text;
        std::u32string produced;
        for (;;) {
            const Conversion result = convert(transcoder.get(), rest, units, state);
            produced += result.text;
            rest.remove_prefix(result.consumed);
            if (result.status == NQ_STATUS_OK) break;
            ASSERT_EQ(result.status, NQ_STATUS_BUFFER_TOO_SMALL);
            ASSERT_EQ(result.text.size(), units);
            ASSERT_FALSE(rest.empty());
        }
        EXPECT_TRUE(rest.empty());
        EXPECT_TRUE(produced == whole.text) << units;
    }
    const TranscoderHold transcoder = make();
    TranscoderState state{};
    const Conversion nothing = convert(transcoder.get(), "a", 0, state);
    EXPECT_EQ(nothing.status, NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(nothing.consumed, 0u);
}

TEST(EncodingModel, RandomBytesAgreeWithIcu) {
    SeededRandom random(200000);
    // Bytes at the borders of what may begin or continue a character.
    constexpr uint8_t kBytes[] = {0x00, 'a',  'b',  0x7f, 0x80, 0x8f, 0x90, 0x9f,
                                  0xa0, 0xbb, 0xbf, 0xc1, 0xc2, 0xdf, 0xe0, 0xe2,
                                  0xed, 0xef, 0xf0, 0xf1, 0xf3, 0xf4, 0xf5, 0xff};
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        std::string bytes = "-";  // so that no mark is dropped
        for (uint64_t i = random.below(12); i != 0; --i) {
            if (random.below(4) == 0) {
                bytes += utf8(static_cast<char32_t>(random.below(0xd800)));
            } else {
                bytes += static_cast<char>(random.pick(kBytes));
            }
        }
        bytes += "-";  // so that nothing is cut off
        const std::size_t split = random.below(bytes.size() + 1);
        const Stream stream = convert_pieces(bytes, {split, bytes.size()});
        const Stream expected = convert_with_icu(bytes);
        ASSERT_TRUE(stream.text == expected.text) << testing::PrintToString(bytes);
        ASSERT_EQ(stream.is_bad, expected.is_bad) << testing::PrintToString(bytes);
    }
}

}  // namespace
}  // namespace nq
