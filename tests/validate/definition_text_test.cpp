// Validation against a definition that is JSON text.
#include "tests/support/statuses.hpp"
#include "tests/validate/validate_support.hpp"

namespace nq::test {
namespace {

class DefinitionTextAbi : public ValidateTest {
  protected:
    // With the host's parser, or one that is loaded for the call.
    Answer check_text(InstanceHeader* instance, const char* text, bool loads = true,
                      ValidationRun* run = nullptr) {
        Answer answer{0, kUntouched};
        answer.status = api()->validateU8(loads ? nullptr : host.json_api(), instance, text,
                                          &answer.verdict, run);
        release(instance);
        return answer;
    }
};

TEST_F(DefinitionTextAbi, ChecksTheValue) {
    const char* text = R"({"min": 5, "max": 9, "values": [6, {"min": 8, "max": "max"}]})";
    for (const bool loads : {false, true}) {
        EXPECT_EQ(check_text(int32(6), text, loads), kValid);
        EXPECT_EQ(check_text(int32(9), text, loads), kValid);
        EXPECT_EQ(check_text(int32(4), text, loads), verdict(NQ_STATUS_OUT_OF_BOUNDS));
        EXPECT_EQ(check_text(int32(10), text, loads), verdict(NQ_STATUS_OUT_OF_BOUNDS));
        EXPECT_EQ(check_text(int32(7), text, loads), verdict(NQ_STATUS_NOT_ACCEPTED));
    }
}

TEST_F(DefinitionTextAbi, DataTypeIsNotLookedAt) {
    EXPECT_EQ(check_text(int32(6), R"({"dataType": "string"})"), kValid);
    EXPECT_EQ(check_text(int32(6), R"({"dataType": "nonsense"})"), kValid);
    EXPECT_EQ(check_text(int32(6), "{}"), kValid);
    EXPECT_EQ(check_text(boolean(1), R"({"dataType": "string"})"), kValid);
}

TEST_F(DefinitionTextAbi, FailuresOfTheCheckAreReturned) {
    EXPECT_EQ(check_text(int32(6), R"({"min": true})"), refused(NQ_STATUS_NOT_CONVERTIBLE));
    EXPECT_EQ(check_text(int32(6), R"({"min": null})"), refused(NQ_STATUS_NOT_CONVERTIBLE));
    EXPECT_EQ(check_text(int32(6), R"({"values": 6})"), refused(NQ_STATUS_VALUES_NOT_ARRAY));
    EXPECT_EQ(check_text(int32(6), R"({"values": [{"max": 6}]})"),
              refused(NQ_STATUS_RANGE_WITHOUT_MIN));
    EXPECT_EQ(check_text(int32(6), R"({"values": [{"min": 6}]})"),
              refused(NQ_STATUS_RANGE_WITHOUT_MAX));
    EXPECT_EQ(check_text(uint64(6), R"({"max": "max"})"), refused(NQ_STATUS_NOT_CONVERTIBLE));
}

TEST_F(DefinitionTextAbi, MessagesGoToTheRun) {
    ValidationRun* run = start_run();
    EXPECT_EQ(check_text(number(0.5), R"({"min": 1.5})", true, run),
              verdict(NQ_STATUS_OUT_OF_BOUNDS));
    ASSERT_EQ(host.strings.messages().size(), 1u);
    EXPECT_EQ(host.strings.messages()[0].code, NQ_MESSAGE_DOUBLE_BELOW_MIN);
    EXPECT_EQ(host.strings.messages()[0].arguments, "0.5, 1.5");
    run->finish(run);
}

TEST_F(DefinitionTextAbi, TextThatIsNoJsonIsTheParsersFailure) {
    for (const char* text : {"", "{", "{]", "nonsense", "{\"min\" 5}"}) {
        EXPECT_EQ(check_text(int32(6), text), refused(kJsonSyntaxError)) << text;
    }
    EXPECT_EQ(check_text(int32(6), nullptr), refused(kJsonSyntaxError));
}

TEST_F(DefinitionTextAbi, TextThatIsNoObjectIsRefusedWhereItWouldBeRead) {
    for (const char* text : {"[]", "[1, 2]", "5", "\"text\"", "true"}) {
        EXPECT_EQ(check_text(int32(6), text), refused(NQ_STATUS_NOT_A_DICTIONARY)) << text;
        EXPECT_EQ(check_text(boolean(1), text), kValid) << text;
        EXPECT_EQ(check_text(text8("x"), text), kValid) << text;
    }
    EXPECT_EQ(check_text(int32(6), "null"), refused(NQ_STATUS_INVALID_ARGUMENT));
    EXPECT_EQ(check_text(boolean(1), "null"), kValid);
}

TEST_F(DefinitionTextAbi, GivesEverythingBackInOrder) {
    InstanceHeader* value = int32(6);
    std::uint32_t stored = kUntouched;
    host.plan().clear();
    host.plan().record();
    EXPECT_EQ(api()->validateU8(nullptr, value, "{}", &stored, nullptr), NQ_STATUS_OK);
    EXPECT_EQ(host.plan().recorded(),
              (std::vector{Call::kLoadExtension, Call::kGetTempPool, Call::kParseJson,
                           Call::kReleaseObject, Call::kReleaseTempPool, Call::kReleaseExtension}));
    release(value);
}

TEST_F(DefinitionTextAbi, AParserOfTheCallerIsNotReleased) {
    NQInstJsonApi* json = host.json_api();
    InstanceHeader* value = int32(6);
    std::uint32_t stored = kUntouched;
    host.plan().clear();
    host.plan().record();
    EXPECT_EQ(api()->validateU8(json, value, "[", &stored, nullptr), kJsonSyntaxError);
    EXPECT_EQ(host.plan().recorded(),
              (std::vector{Call::kGetTempPool, Call::kParseJson, Call::kReleaseTempPool}));
    release(value);
}

TEST_F(DefinitionTextAbi, WhatCannotBeHadIsReported) {
    const HostState before = host.state();
    const auto fail = [&](Call call, NQStatus status) {
        host.plan().clear();
        host.plan().fail(call, 0, status);
        const Answer answer = check_text(int32(6), "{}");
        EXPECT_EQ(host.state(), before);
        return answer;
    };
    EXPECT_EQ(fail(Call::kLoadExtension, 1), refused(NQ_STATUS_INVALID_ARGUMENT));
    EXPECT_EQ(fail(Call::kGetTempPool, 1), refused(NQ_STATUS_NO_MEMORY));
    EXPECT_EQ(fail(Call::kParseJson, kHostRefusal), refused(kHostRefusal));
}

TEST_F(DefinitionTextAbi, ADefinitionDeliveredWithAFailureIsGivenBack) {
    const HostState before = host.state();
    host.plan().deliver_with_failure(true);
    host.plan().fail(Call::kParseJson, 0, kHostRefusal);
    EXPECT_EQ(check_text(int32(6), "{}"), refused(kHostRefusal));
    EXPECT_EQ(host.state(), before);
}

TEST_F(DefinitionTextAbi, ANullInstanceIsRefused) {
    std::uint32_t stored = kUntouched;
    EXPECT_EQ(api()->validateU8(nullptr, nullptr, "{}", &stored, nullptr),
              NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(stored, kUntouched);
}

}  // namespace
}  // namespace nq::test
