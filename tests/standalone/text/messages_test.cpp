#include "standalone/text/messages.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "standalone/base/statuses.hpp"

namespace nq {
namespace {

// What a message is given, in the order of its directives.
enum class Arguments { kNone, kSigned, kTwoSigned, kUnsigned, kTwoUnsigned, kReal, kTwoReals };

struct Code {
    NQStatus code;
    Arguments arguments;
};

constexpr Code kCodes[] = {
    {NQ_STATUS_OK, Arguments::kNone},
    {0x803fc002, Arguments::kNone},
    {0x803fc003, Arguments::kNone},
    {0x803fc004, Arguments::kNone},
    {0x803fc009, Arguments::kNone},
    {0x803fc065, Arguments::kNone},
    {0x803fe807, Arguments::kNone},
    {0x803fe808, Arguments::kNone},
    {0x803fe813, Arguments::kNone},
    {0x803fe814, Arguments::kNone},
    {0x803fe835, Arguments::kNone},
    {0x803fe862, Arguments::kNone},
    {0x80bfe80a, Arguments::kNone},
    {0x8bbff853, Arguments::kNone},
    {0x8bbff854, Arguments::kNone},
    {0x8bbff858, Arguments::kNone},
    {0x8bbff887, Arguments::kNone},
    {0x8bbff889, Arguments::kNone},
    {0x8bbff88a, Arguments::kNone},
    {0x8bbff88b, Arguments::kNone},
    {0x8bbff898, Arguments::kNone},
    {0x8bbff899, Arguments::kNone},
    {0x8bbff89a, Arguments::kNone},
    {0x8bbff89f, Arguments::kNone},
    {0x8bbff8a0, Arguments::kNone},
    {0x8bbff8aa, Arguments::kTwoSigned},
    {0x8bbff8ab, Arguments::kTwoUnsigned},
    {0x8bbff8ac, Arguments::kTwoReals},
    {0x8bbff8ad, Arguments::kTwoSigned},
    {0x8bbff8ae, Arguments::kTwoUnsigned},
    {0x8bbff8af, Arguments::kTwoReals},
    {0x8bbff8b0, Arguments::kSigned},
    {0x8bbff8b1, Arguments::kUnsigned},
    {0x8bbff8b2, Arguments::kReal},
    {0x8bbff8cb, Arguments::kNone},
    {NQ_HOST_STATUS_NOT_FOUND, Arguments::kNone},
    {NQ_HOST_STATUS_IS_DIRECTORY, Arguments::kNone},
    {NQ_HOST_STATUS_ACCESS_DENIED, Arguments::kNone},
    {NQ_HOST_STATUS_OPEN_ERROR, Arguments::kNone},
    {NQ_HOST_STATUS_READ_ERROR, Arguments::kNone},
    {NQ_HOST_STATUS_UNKNOWN_ENCODING, Arguments::kNone},
    {NQ_HOST_STATUS_JSON_SYNTAX, Arguments::kNone},
    {NQ_HOST_STATUS_JSON_NUMBER, Arguments::kNone},
    {NQ_HOST_STATUS_JSON_ENCODING, Arguments::kNone},
    {NQ_HOST_STATUS_JSON_TOO_DEEP, Arguments::kNone},
    {NQ_HOST_STATUS_JSON_TOO_LARGE, Arguments::kNone},
    {NQ_HOST_STATUS_UNKNOWN_HANDLE, Arguments::kNone},
    {NQ_HOST_STATUS_DUPLICATE_HANDLE, Arguments::kNone},
    {NQ_HOST_STATUS_UNKNOWN_OPTION, Arguments::kNone},
    {NQ_HOST_STATUS_UNKNOWN_KEY, Arguments::kNone},
};

std::string directives_of(std::string_view text) {
    std::string directives;
    for (std::size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
        const std::size_t end = text.find_first_of("dugf", at);
        directives += text.substr(at, end + 1 - at);
    }
    return directives;
}

const char* expected_directives(Arguments arguments) {
    switch (arguments) {
        case Arguments::kSigned:
            return "%lld";
        case Arguments::kTwoSigned:
            return "%lld%lld";
        case Arguments::kUnsigned:
            return "%llu";
        case Arguments::kTwoUnsigned:
            return "%llu%llu";
        case Arguments::kReal:
            return "%.15g";
        case Arguments::kTwoReals:
            return "%.15g%.15g";
        default:
            return "";
    }
}

std::string message(NQStatus code, ...) {
    va_list arguments;
    va_start(arguments, code);
    std::string out = "old";
    EXPECT_EQ(format_message(code, arguments, out), NQ_STATUS_OK);
    va_end(arguments);
    return out;
}

TEST(Messages, EveryCodeHasATextWithTheDirectivesOfItsArguments) {
    std::set<std::string_view> texts;
    for (const auto& [code, arguments] : kCodes) {
        const std::string_view text = message_text(code);
        EXPECT_TRUE(text.ends_with('.')) << std::hex << code;
        EXPECT_EQ(directives_of(text), expected_directives(arguments)) << std::hex << code;
        EXPECT_TRUE(texts.insert(text).second) << "twice: " << text;
    }
}

TEST(Messages, OtherCodesHaveNone) {
    std::set<NQStatus> known;
    for (const Code& code : kCodes) known.insert(code.code);
    const auto check = [&](NQStatus code) {
        if (known.contains(code)) return;
        EXPECT_EQ(message_text(code), "") << std::hex << code;
    };
    for (const NQStatus page : {0x803fc000u, 0x803fd000u, 0x803fe800u, 0x80bfe800u, 0x8bbff800u}) {
        for (NQStatus i = 0; i != 0x400; ++i) check(page + i);
    }
    for (const NQStatus code : {1u, 0x7fffffffu, 0x80000000u, UINT32_MAX}) check(code);
}

TEST(Messages, ArgumentsAreWritten) {
    EXPECT_EQ(message(0x8bbff8aa, int64_t{-5}, INT64_MIN),
              "The value -5 is below the minimum -9223372036854775808.");
    EXPECT_EQ(message(0x8bbff8ae, UINT64_MAX, uint64_t{7}),
              "The value 18446744073709551615 is above the maximum 7.");
    EXPECT_EQ(message(0x8bbff8ac, 0.25, 1e300), "The value 0.25 is below the minimum 1e+300.");
    EXPECT_EQ(message(0x8bbff8af, 0.30000000000000004, 0.3),
              "The value 0.30000000000000004 is above the maximum 0.3.");
    EXPECT_EQ(message(0x8bbff8ac, -0.0, 2.2250738585072014e-308),
              "The value -0 is below the minimum 2.2250738585072014e-308.");
    EXPECT_EQ(message(0x8bbff8b2, 9007199254740992.0),
              "The value 9007199254740992 is not one of those that the definition accepts.");
    EXPECT_EQ(message(0x8bbff8b2, std::nan("")),
              "The value nan is not one of those that the definition accepts.");
    EXPECT_EQ(message(0x8bbff8b0, int64_t{4}),
              "The value 4 is not one of those that the definition accepts.");
    EXPECT_EQ(message(NQ_STATUS_END_OF_FILE), "The end of the file was reached.");
}

TEST(Messages, UnknownCodeIsNamed) {
    EXPECT_EQ(message(0x80001234), "Status 0x80001234.");
    EXPECT_EQ(message(0xffffffff), "Status 0xffffffff.");
    EXPECT_EQ(message(1), "Status 0x1.");
}

}  // namespace
}  // namespace nq
