#include "standalone/values/strings.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/base/statuses.hpp"
#include "standalone/base/utf8.hpp"
#include "standalone/host.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/random.hpp"

namespace nq {
namespace {

using test::bytes_of;
using test::SeededRandom;

class String : public testing::Test {
  protected:
    NQU8String* make(std::string_view text) { return make_u8string(pool, text); }

    static NQStatus append(NQU8String* string, std::string_view text) {
        return string->methods->append(string, text.data(), text.size(), NQ_ENCODING_UTF8);
    }
    static NQStatus insert(NQU8String* string, uint64_t position, std::string_view text) {
        return string->methods->insert(string, position, bytes_of(text), text.size());
    }
    // The text, whose terminator is checked, of a string that ends here.
    static std::string take(NQU8String* string) {
        EXPECT_EQ(string->bytes[string->length], 0);
        std::string text(text_of(*string));
        EXPECT_EQ(string->header.release(string), NQ_STATUS_OK);
        return text;
    }
    std::string trimmed(std::string_view text) {
        NQU8String* string = make(text);
        EXPECT_EQ(string->methods->trim(string), NQ_STATUS_OK);
        return take(string);
    }

    Host host;
    HostPool* pool = host.make_pool("strings");
    NQStringApi api = string_operations();
};

TEST_F(String, NewStringCopiesTheText) {
    char text[] = "some text";
    NQU8String* string = api.newString(&api, pool, bytes_of(text), 9, 0);
    text[0] = 'S';
    EXPECT_STREQ(string->header.typeName, "NQU8String");
    EXPECT_EQ(string->header.isType(&string->header, "NQU8String"), 1);
    EXPECT_EQ(string->header.refCount, 1u);
    EXPECT_EQ(take(string), "some text");
    EXPECT_EQ(take(api.newString(&api, pool, nullptr, 0, 1)), "");
    EXPECT_EQ(api.newString(&api, pool, nullptr, 1, 1), nullptr);
}

TEST_F(String, FlagOneContinuesAStringAndFlagZeroMakesANewOne) {
    NQU8String* string = nullptr;
    ASSERT_EQ(api.createFromUtf8(&api, &string, pool, bytes_of("one"), 3, 1), NQ_STATUS_OK);
    NQU8String* first = string;
    ASSERT_EQ(api.createFromUtf8(&api, &string, pool, bytes_of(" two"), 4, 1), NQ_STATUS_OK);
    EXPECT_EQ(string, first);
    EXPECT_EQ(text_of(*string), "one two");
    ASSERT_EQ(api.createFromUtf8(&api, &string, pool, nullptr, 0, 1), NQ_STATUS_OK);
    EXPECT_EQ(text_of(*string), "one two");
    ASSERT_EQ(api.createFromUtf8(&api, &string, pool, bytes_of("new"), 3, 0), NQ_STATUS_OK);
    EXPECT_NE(string, first);
    EXPECT_EQ(take(string), "new");
    EXPECT_EQ(take(first), "one two");
}

TEST_F(String, CreatesFromBothEncodings) {
    NQU8String* string = nullptr;
    ASSERT_EQ(api.createEncoded(&api, &string, pool, "\xC3\xA4", 2, NQ_ENCODING_UTF8), 0u);
    EXPECT_EQ(take(string), "\xC3\xA4");
    const NQChar units[] = {'a', 0xE4, 0x20AC, 0x1F600};
    string = nullptr;
    ASSERT_EQ(api.createEncoded(&api, &string, pool, units, 4, NQ_ENCODING_NQCHAR), 0u);
    EXPECT_EQ(take(string), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
    string = nullptr;
    ASSERT_EQ(api.copyText(&api, &string, pool, units, 2), NQ_STATUS_OK);
    EXPECT_EQ(take(string), "a\xC3\xA4");
    string = nullptr;
    EXPECT_EQ(api.createEncoded(&api, &string, pool, "a", 1, 3), NQ_HOST_STATUS_UNKNOWN_ENCODING);
    EXPECT_EQ(string, nullptr);
}

TEST_F(String, ValuesThatAreNoCharactersBecomeReplacementCharacters) {
    const NQChar units[] = {0xD800, 0xDFFF, 0x110000, 0xFFFFFFFF, 0xD7FF, 0xE000, 0x10FFFF};
    NQU8String* string = nullptr;
    ASSERT_EQ(api.copyText(&api, &string, pool, units, 7), NQ_STATUS_OK);
    const std::string bad = "\xEF\xBF\xBD";
    EXPECT_EQ(take(string), bad + bad + bad + bad + "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF");
}

TEST_F(String, EveryCodePointIsEncodedByTheRules) {
    NQU8String* string = make("");
    for (NQChar c = 0; c < 0x110000; c += c < 0x800 ? 1 : 61) {
        if (c >= 0xD800 && c <= 0xDFFF) continue;
        std::string expected;
        if (c < 0x80) {
            expected = {static_cast<char>(c)};
        } else if (c < 0x800) {
            expected = {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 63))};
        } else if (c < 0x10000) {
            expected = {static_cast<char>(0xE0 | c >> 12), static_cast<char>(0x80 | (c >> 6 & 63)),
                        static_cast<char>(0x80 | (c & 63))};
        } else {
            expected = {static_cast<char>(0xF0 | c >> 18), static_cast<char>(0x80 | (c >> 12 & 63)),
                        static_cast<char>(0x80 | (c >> 6 & 63)),
                        static_cast<char>(0x80 | (c & 63))};
        }
        string->length = 0;
        ASSERT_EQ(string->methods->append(string, &c, 1, NQ_ENCODING_NQCHAR), NQ_STATUS_OK);
        ASSERT_EQ(text_of(*string), expected) << c;
    }
    string->header.release(string);
}

TEST_F(String, ABufferMayBeFilledDirectlyUpToItsCapacity) {
    for (uint64_t capacity : {0u, 1u, 31u, 32u, 33u, 40u, 1000u}) {
        NQU8String* string = nullptr;
        ASSERT_EQ(api.createWithCapacity(&api, &string, pool, capacity), NQ_STATUS_OK);
        EXPECT_EQ(string->length, 0u);
        EXPECT_EQ(string->bytes[0], 0);
        std::memset(string->bytes, ' ', capacity);
        string->bytes[capacity] = 0;
        string->length = capacity;
        EXPECT_EQ(append(string, "x"), NQ_STATUS_OK);
        string->length -= capacity ? 1 : 0;  // shortened from outside
        string->bytes[string->length] = 0;
        EXPECT_EQ(append(string, "end"), NQ_STATUS_OK);
        EXPECT_EQ(take(string), std::string(capacity, ' ') + (capacity ? "end" : "xend"));
    }
}

TEST_F(String, AppendTakesTextOfTheStringItself) {
    NQU8String* string = make("0123456789");
    for (int i = 0; i < 6; ++i) {
        ASSERT_EQ(string->methods->append(string, string->bytes, string->length, NQ_ENCODING_UTF8),
                  NQ_STATUS_OK);
    }
    ASSERT_EQ(string->methods->append(string, string->bytes + 3, 2, NQ_ENCODING_UTF8),
              NQ_STATUS_OK);
    std::string expected;
    for (int i = 0; i < 64; ++i) expected += "0123456789";
    EXPECT_EQ(take(string), expected + "34");
}

TEST_F(String, AppendTakesUnitsFromTheStringsOwnBuffer) {
    const NQChar units[] = {0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47};
    std::string bytes(reinterpret_cast<const char*>(units), sizeof units);
    NQU8String* string = make(bytes);
    ASSERT_EQ(string->methods->append(string, string->bytes, 7, NQ_ENCODING_NQCHAR), NQ_STATUS_OK);
    EXPECT_EQ(take(string), bytes + "ABCDEFG");
}

TEST_F(String, AppendRefusesOwnTextThatReachesBeyondTheEnd) {
    NQU8String* string = make("abcd");
    for (uint64_t length : {uint64_t{4}, uint64_t{1000}, UINT64_MAX - 3, UINT64_MAX}) {
        for (uint32_t encoding : {NQ_ENCODING_UTF8, NQ_ENCODING_NQCHAR}) {
            EXPECT_EQ(string->methods->append(string, string->bytes + 1, length, encoding),
                      NQ_STATUS_INVALID_ARGUMENT);
        }
    }
    EXPECT_EQ(take(string), "abcd");
}

TEST_F(String, AppendRefusesNullTextAndUnknownEncodings) {
    NQU8String* string = make("kept");
    EXPECT_EQ(string->methods->append(string, nullptr, 0, NQ_ENCODING_UTF8), NQ_STATUS_OK);
    EXPECT_EQ(string->methods->append(string, nullptr, 1, NQ_ENCODING_UTF8),
              NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(string->methods->append(string, "a", 1, 99), NQ_HOST_STATUS_UNKNOWN_ENCODING);
    EXPECT_EQ(string->methods->append(string, "a", UINT64_MAX, NQ_ENCODING_UTF8),
              NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(take(string), "kept");
}

TEST_F(String, InsertPutsTextAnywhereUpToTheEnd) {
    NQU8String* string = make("ace");
    EXPECT_EQ(insert(string, 1, "b"), NQ_STATUS_OK);
    EXPECT_EQ(insert(string, 3, "d"), NQ_STATUS_OK);
    EXPECT_EQ(insert(string, 5, "f"), NQ_STATUS_OK);
    EXPECT_EQ(insert(string, 0, "_"), NQ_STATUS_OK);
    EXPECT_EQ(insert(string, 8, "x"), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(insert(string, UINT64_MAX, "x"), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(string->methods->insert(string, 0, nullptr, 1), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(string->methods->insert(string, 0, nullptr, 0), NQ_STATUS_OK);
    EXPECT_EQ(take(string), "_abcdef");
}

TEST_F(String, InsertTakesTextOfTheStringItselfAtEveryPlace) {
    const std::string text = "abcdefghijklmnopqrstuvwxyz";
    for (uint64_t position = 0; position <= text.size(); ++position) {
        for (uint64_t from = 0; from <= text.size(); ++from) {
            for (uint64_t length = 0; from + length <= text.size(); ++length) {
                NQU8String* string = make(text);
                ASSERT_EQ(string->methods->insert(string, position, string->bytes + from, length),
                          NQ_STATUS_OK);
                std::string expected = text;
                expected.insert(position, text.substr(from, length));
                ASSERT_EQ(take(string), expected) << position << ' ' << from << ' ' << length;
            }
        }
    }
}

TEST_F(String, InsertRefusesOwnTextThatReachesBeyondTheEnd) {
    NQU8String* string = make("abc");
    EXPECT_EQ(string->methods->insert(string, 0, string->bytes + 2, 2), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(take(string), "abc");
}

TEST_F(String, TrimRemovesWhiteSpaceAtBothEnds) {
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed(" \t\r\n\v\f "), "");
    EXPECT_EQ(trimmed("a"), "a");
    EXPECT_EQ(trimmed("  a b  "), "a b");
    EXPECT_EQ(trimmed("\xE3\x80\x80 \xC2\xA0key\xC2\x85\xE2\x80\x89"), "key");
    EXPECT_EQ(trimmed(std::string(100, ' ') + "middle" + std::string(100, '\t')), "middle");
}

TEST_F(String, TrimKnowsExactlyTheWhiteSpaceOfUnicode) {
    const std::vector<NQChar> white = {0x9,    0xA,    0xB,    0xC,    0xD,    0x20,   0x85,
                                       0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                       0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x2028,
                                       0x2029, 0x202F, 0x205F, 0x3000};
    NQU8String* string = make("");
    for (NQChar c = 0; c < 0x11000; ++c) {
        const bool is_white = std::find(white.begin(), white.end(), c) != white.end();
        const NQChar units[] = {c, 'x', c};
        string->length = 0;
        string->methods->append(string, units, 3, NQ_ENCODING_NQCHAR);
        const std::string before(text_of(*string));
        string->methods->trim(string);
        ASSERT_EQ(text_of(*string), is_white ? "x" : before) << c;
    }
    string->header.release(string);
}

TEST_F(String, TrimLeavesBytesThatAreNoCharacters) {
    for (std::string_view text : {"\x85", "\xA0", "\x80\x80", "\xE2\x80", "\x80\x89", "\xC2"}) {
        EXPECT_EQ(trimmed(std::string(" ") + std::string(text) + " "), text);
    }
    EXPECT_EQ(trimmed("\xE0\x80\xA0"), "\xE0\x80\xA0");  // an over-long blank is none
}

TEST_F(String, FormatMessageReplacesTheText) {
    NQU8String* string = make("a long text that was there before, longer than one line");
    ASSERT_EQ(string->methods->formatMessage(string, nullptr, NQ_STATUS_NO_MEMORY), NQ_STATUS_OK);
    const std::string message = take(string);
    EXPECT_EQ(message, host.message(NQ_STATUS_NO_MEMORY));
    EXPECT_FALSE(message.empty());
}

TEST_F(String, CloneIsIndependent) {
    for (std::string_view text : {"", "short", "a text that is too long for the object itself"}) {
        NQU8String* string = make(text);
        HostPool* other_pool = host.make_pool("clones");
        for (HostPool* target : {other_pool, static_cast<HostPool*>(nullptr)}) {
            InstanceHeader* out = nullptr;
            ASSERT_EQ(string->header.clone(&string->header, target, 0, &out), NQ_STATUS_OK);
            EXPECT_EQ(out->pool, target ? target : pool);
            auto* clone = reinterpret_cast<NQU8String*>(out);
            append(clone, "!");
            EXPECT_EQ(take(clone), std::string(text) + "!");
        }
        EXPECT_EQ(take(string), text);
    }
}

TEST_F(String, TextOfUnitsIsCopiedAndCloned) {
    const NQChar units[] = {'n', 0x20AC, 0};
    NQString* string = make_nqstring(pool, units, 3);
    EXPECT_EQ(string->header.isType(&string->header, "NQString"), 1);
    EXPECT_EQ(string->header.isType(&string->header, "NQU8String"), 0);
    ASSERT_EQ(string->length, 3u);
    EXPECT_EQ(std::memcmp(string->text, units, sizeof units), 0);
    EXPECT_EQ(string->text[3], 0u);
    InstanceHeader* out = nullptr;
    ASSERT_EQ(string->header.clone(&string->header, nullptr, 0, &out), NQ_STATUS_OK);
    string->header.release(string);
    auto* clone = reinterpret_cast<NQString*>(out);
    ASSERT_EQ(clone->length, 3u);
    EXPECT_EQ(std::memcmp(clone->text, units, sizeof units), 0);
    clone->header.release(clone);
    NQString* empty = make_nqstring(pool, nullptr, 0);
    EXPECT_EQ(empty->length, 0u);
    empty->header.release(empty);
    EXPECT_EQ(make_nqstring(pool, units, UINT64_MAX / 4), nullptr);
}

TEST_F(String, ManySmallAppendsTakeLinearTime) {
    NQU8String* string = make("");
    for (int i = 0; i < 2'000'000; ++i) append(string, "abcdefgh");
    EXPECT_EQ(string->length, 16'000'000u);
    EXPECT_EQ(take(string).substr(15'999'992), "abcdefgh");
}

TEST_F(String, RandomChangesAgreeWithAModel) {
    SeededRandom random(20'000);
    NQU8String* string = make("");
    std::string model;
    const auto random_text = [&] {
        std::string text;
        for (uint64_t n = random.below(random.below(10) ? 12 : 200); text.size() < n;) {
            uint8_t bytes[4];
            const NQChar c = random.below(4) ? ' ' + static_cast<NQChar>(random.below(4))
                                             : static_cast<NQChar>(random.below(0x3100));
            text.append(reinterpret_cast<char*>(bytes), encode_utf8(c, bytes));
        }
        return text;
    };
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        const std::string text = random_text();
        switch (random.below(5)) {
            case 0: {
                const uint64_t position = random.below(model.size() + 1);
                ASSERT_EQ(insert(string, position, text), NQ_STATUS_OK);
                model.insert(position, text);
                break;
            }
            case 1: {
                const uint64_t length = random.below(model.size() + 1);
                string->length = length;  // as its users shorten a string
                string->bytes[length] = 0;
                model.resize(length);
                break;
            }
            case 2:
                string->methods->trim(string);
                model = trimmed(model);
                break;
            default:
                ASSERT_EQ(append(string, text), NQ_STATUS_OK);
                model += text;
        }
        ASSERT_EQ(text_of(*string), model);
        ASSERT_EQ(string->bytes[string->length], 0);
    }
    string->header.release(string);
}

}  // namespace
}  // namespace nq
