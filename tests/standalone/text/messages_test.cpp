#include "standalone/text/messages.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "standalone/text/message_table.hpp"

namespace nq {
namespace {

std::string directives_of(std::string_view text) {
    std::string directives;
    for (std::size_t at = text.find('%'); at != text.npos; at = text.find('%', at + 1)) {
        const std::size_t end = text.find_first_of("dugf", at);
        directives += text.substr(at, end + 1 - at);
    }
    return directives;
}

// The directives of the arguments that a message is given, in their order.
const char* expected_directives(NQStatus code) {
    switch (code) {
        case NQ_MESSAGE_SIGNED_BELOW_MIN:
        case NQ_MESSAGE_SIGNED_ABOVE_MAX:
            return "%lld%lld";
        case NQ_MESSAGE_SIGNED_NOT_ACCEPTED:
            return "%lld";
        case NQ_MESSAGE_UNSIGNED_BELOW_MIN:
        case NQ_MESSAGE_UNSIGNED_ABOVE_MAX:
            return "%llu%llu";
        case NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED:
            return "%llu";
        case NQ_MESSAGE_DOUBLE_BELOW_MIN:
        case NQ_MESSAGE_DOUBLE_ABOVE_MAX:
            return "%.15g%.15g";
        case NQ_MESSAGE_DOUBLE_NOT_ACCEPTED:
            return "%.15g";
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
    for (const auto& [code, text] : kMessages) {
        EXPECT_EQ(message_text(code), text) << std::hex << code;
        EXPECT_EQ(directives_of(text), expected_directives(code)) << std::hex << code;
    }
}

TEST(Messages, OtherCodesHaveNone) {
    std::set<NQStatus> known;
    for (const Message& row : kMessages) known.insert(row.code);
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
