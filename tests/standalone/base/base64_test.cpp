#include "standalone/base/base64.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "standalone/host.hpp"
#include "standalone/values/strings.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/random.hpp"

namespace nq {
namespace {

using test::bytes_of;
using test::SeededRandom;

class Base64 : public testing::Test {
  protected:
    std::string encode(std::string_view bytes, bool is_url_safe = false) {
        const auto operation = is_url_safe ? strings.base64URLEncodeU8 : strings.base64EncodeU8;
        NQU8String* text = nullptr;
        EXPECT_EQ(operation(&strings, bytes.empty() ? nullptr : bytes_of(bytes), bytes.size(), pool,
                            &text, 0, 0),
                  NQ_STATUS_OK);
        std::string result(text_of(*text));
        EXPECT_EQ(text->bytes[text->length], 0);
        text->header.release(text);
        return result;
    }

    Host host;
    HostPool* pool = host.make_pool("base64");
    NQStringApi strings = string_operations();
};

TEST_F(Base64, GivesTheVectorsOfRfc4648) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foo"), "Zm9v");
    EXPECT_EQ(encode("foob"), "Zm9vYg==");
    EXPECT_EQ(encode("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encode("foobar"), "Zm9vYmFy");
}

TEST_F(Base64, AlphabetsDifferInTheLastTwoLetters) {
    EXPECT_EQ(encode("\xfb\xff\xbe"), "+/++");
    EXPECT_EQ(encode("\xfb\xff\xbe", true), "-_--");
    EXPECT_EQ(encode("\xff", true), "_w==");
    EXPECT_EQ(encode("\xff\xfe", true), "__4=");
}

// Decodes by the definition of the encoding; false for text that is not padded base64.
bool decode(std::string_view text, std::string_view last_two, std::string& bytes) {
    bytes.clear();
    if (text.size() % 4) return false;
    uint32_t bits = 0;
    int held = 0;
    std::size_t padding = 0;
    for (char letter : text) {
        if (letter == '=') {
            ++padding;
            continue;
        }
        if (padding) return false;
        uint32_t value;
        if (letter >= 'A' && letter <= 'Z') {
            value = static_cast<uint32_t>(letter - 'A');
        } else if (letter >= 'a' && letter <= 'z') {
            value = static_cast<uint32_t>(letter - 'a') + 26;
        } else if (letter >= '0' && letter <= '9') {
            value = static_cast<uint32_t>(letter - '0') + 52;
        } else if (last_two.find(letter) != last_two.npos) {
            value = static_cast<uint32_t>(last_two.find(letter)) + 62;
        } else {
            return false;
        }
        bits = bits << 6 | value;
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes.push_back(static_cast<char>(bits >> held & 0xFF));
        }
    }
    return padding <= 2 && (bits & ((1u << held) - 1)) == 0;
}

TEST_F(Base64, RandomBytesDecodeToThemselves) {
    SeededRandom random(5'000);
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        std::string bytes;
        for (uint64_t n = i < 300 ? i : random.below(300); bytes.size() < n;) {
            bytes.push_back(static_cast<char>(random.below(256)));
        }
        for (bool is_url_safe : {false, true}) {
            std::string decoded;
            ASSERT_TRUE(decode(encode(bytes, is_url_safe), is_url_safe ? "-_" : "+/", decoded));
            ASSERT_EQ(decoded, bytes);
        }
    }
}

TEST_F(Base64, LengthsThatDoNotFitAreNoticed) {
    EXPECT_EQ(base64_length(0), 0u);
    EXPECT_EQ(base64_length(4), 8u);
    EXPECT_EQ(base64_length(UINT64_MAX), UINT64_MAX);
    const uint8_t byte = 0;
    NQU8String* text = nullptr;
    EXPECT_EQ(strings.base64EncodeU8(&strings, &byte, UINT64_MAX, pool, &text, 0, 0),
              NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(strings.base64URLEncodeU8(&strings, &byte, UINT64_MAX / 2, pool, &text, 0, 0),
              NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(text, nullptr);
}

TEST_F(Base64, RefusesNullBytesAndUnknownOptions) {
    NQU8String* text = nullptr;
    EXPECT_EQ(strings.base64EncodeU8(&strings, nullptr, 1, pool, &text, 0, 0),
              NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(strings.base64EncodeU8(&strings, bytes_of("a"), 1, pool, &text, 1, 0),
              NQ_STATUS_UNSUPPORTED);
    EXPECT_EQ(strings.base64URLEncodeU8(&strings, bytes_of("a"), 1, pool, &text, 0, 1),
              NQ_STATUS_UNSUPPORTED);
    EXPECT_EQ(text, nullptr);
}

}  // namespace
}  // namespace nq
