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
    {NQ_STATUS_NO_MEMORY, Arguments::kNone},
    {NQ_STATUS_INVALID_ARGUMENT, Arguments::kNone},
    {NQ_STATUS_UNSUPPORTED, Arguments::kNone},
    {NQ_STATUS_NO_SERVICE, Arguments::kNone},
    {NQ_STATUS_NO_EXTENSION, Arguments::kNone},
    {NQ_STATUS_BUFFER_TOO_SMALL, Arguments::kNone},
    {NQ_STATUS_MALFORMED, Arguments::kNone},
    {NQ_STATUS_UNCONVERTIBLE, Arguments::kNone},
    {NQ_STATUS_TRUNCATED, Arguments::kNone},
    {NQ_STATUS_UNKNOWN_JUSTIFICATION, Arguments::kNone},
    {NQ_STATUS_NO_LOCALE, Arguments::kNone},
    {NQ_STATUS_END_OF_FILE, Arguments::kNone},
    {NQ_STATUS_UNCLOSED_SECTION, Arguments::kNone},
    {NQ_STATUS_MISSING_EQUALS, Arguments::kNone},
    {NQ_STATUS_NOT_CONVERTIBLE, Arguments::kNone},
    {NQ_STATUS_NO_DATA_TYPE, Arguments::kNone},
    {NQ_STATUS_VALUES_NOT_ARRAY, Arguments::kNone},
    {NQ_STATUS_UNKNOWN_DATA_TYPE, Arguments::kNone},
    {NQ_STATUS_NESTED_INSTANCE, Arguments::kNone},
    {NQ_STATUS_RANGE_WITHOUT_MIN, Arguments::kNone},
    {NQ_STATUS_RANGE_WITHOUT_MAX, Arguments::kNone},
    {NQ_STATUS_WRONG_TYPE, Arguments::kNone},
    {NQ_STATUS_OUT_OF_BOUNDS, Arguments::kNone},
    {NQ_STATUS_NOT_ACCEPTED, Arguments::kNone},
    {NQ_MESSAGE_SIGNED_BELOW_MIN, Arguments::kTwoSigned},
    {NQ_MESSAGE_UNSIGNED_BELOW_MIN, Arguments::kTwoUnsigned},
    {NQ_MESSAGE_DOUBLE_BELOW_MIN, Arguments::kTwoReals},
    {NQ_MESSAGE_SIGNED_ABOVE_MAX, Arguments::kTwoSigned},
    {NQ_MESSAGE_UNSIGNED_ABOVE_MAX, Arguments::kTwoUnsigned},
    {NQ_MESSAGE_DOUBLE_ABOVE_MAX, Arguments::kTwoReals},
    {NQ_MESSAGE_SIGNED_NOT_ACCEPTED, Arguments::kSigned},
    {NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED, Arguments::kUnsigned},
    {NQ_MESSAGE_DOUBLE_NOT_ACCEPTED, Arguments::kReal},
    {NQ_STATUS_NOT_A_DICTIONARY, Arguments::kNone},
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
    EXPECT_EQ(message(NQ_MESSAGE_SIGNED_BELOW_MIN, int64_t{-5}, INT64_MIN),
              "The value -5 is below the minimum -9223372036854775808.");
    EXPECT_EQ(message(NQ_MESSAGE_UNSIGNED_ABOVE_MAX, UINT64_MAX, uint64_t{7}),
              "The value 18446744073709551615 is above the maximum 7.");
    EXPECT_EQ(message(NQ_MESSAGE_DOUBLE_BELOW_MIN, 0.25, 1e300),
              "The value 0.25 is below the minimum 1e+300.");
    EXPECT_EQ(message(NQ_MESSAGE_DOUBLE_ABOVE_MAX, 0.30000000000000004, 0.3),
              "The value 0.30000000000000004 is above the maximum 0.3.");
    EXPECT_EQ(message(NQ_MESSAGE_DOUBLE_BELOW_MIN, -0.0, 2.2250738585072014e-308),
              "The value -0 is below the minimum 2.2250738585072014e-308.");
    EXPECT_EQ(message(NQ_MESSAGE_DOUBLE_NOT_ACCEPTED, 9007199254740992.0),
              "The value 9007199254740992 is not one of those that the definition accepts.");
    EXPECT_EQ(message(NQ_MESSAGE_DOUBLE_NOT_ACCEPTED, std::nan("")),
              "The value nan is not one of those that the definition accepts.");
    EXPECT_EQ(message(NQ_MESSAGE_SIGNED_NOT_ACCEPTED, int64_t{4}),
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
