#include "standalone/json/parser.hpp"

#include <gtest/gtest.h>

#include <cinttypes>
#include <initializer_list>
#include <memory>
#include <string>

#include "standalone/base/statuses.hpp"
#include "tests/support/checking_host.hpp"
#include "tests/support/random.hpp"

namespace nq {
namespace {

using namespace std::string_literals;
using test::CheckingHost;
using test::FailedCall;
using test::HostState;
using test::SeededRandom;

std::string enclosed(char before, const std::string& text, char after) {
    return std::string(1, before).append(text).append(1, after);
}

// What was parsed, in a notation that shows the kind of each number: 5i, 5u, 5d.
std::string notation(InstanceHeader* instance) {
    if (!instance) return "null";
    const auto is = [&](const char* type) { return instance->isType(instance, type) == 1; };
    char buffer[64];
    const auto number = [&](const char* format, auto value) {
        std::snprintf(buffer, sizeof buffer, format, value);
        return std::string(buffer);
    };
    if (is("NQInt64Instance"))
        return number("%" PRId64 "i", reinterpret_cast<NQInt64Instance*>(instance)->value);
    if (is("NQUInt64Instance"))
        return number("%" PRIu64 "u", reinterpret_cast<NQUInt64Instance*>(instance)->value);
    if (is("NQDoubleInstance"))
        return number("%.17gd", reinterpret_cast<NQDoubleInstance*>(instance)->value);
    if (is("NQBooleanInstance"))
        return reinterpret_cast<NQBooleanInstance*>(instance)->value ? "true" : "false";
    if (is("NQU8String"))
        return enclosed('\'', test::text_of(reinterpret_cast<NQU8String*>(instance)), '\'');
    std::string text;
    if (is("NQArray")) {
        const auto* array = reinterpret_cast<NQArray*>(instance);
        for (uint64_t i = 0; i != array->count; ++i)
            (text += i ? "," : "") += notation(array->elements[i]);
        return enclosed('[', text, ']');
    }
    EXPECT_TRUE(is("NQDictionary")) << instance->typeName;
    for (const auto& [key, value] : test::entries_of(reinterpret_cast<NQDictionary*>(instance)))
        (((text += text.empty() ? "" : ",") += key) += '=') += notation(value);
    return enclosed('{', text, '}');
}

class JsonParser : public testing::Test {
  protected:
    JsonParser()
        : services{host.load(), host.string_api(), host.array_api(), host.dictionary_api()},
          before_(host.state()) {}
    ~JsonParser() override { EXPECT_EQ(host.state(), before_); }

    struct Result {
        NQStatus status;
        std::string notation;
        uint32_t line;
        uint32_t column;
    };
    // Parses a copy of exactly the text's length and releases the instance.
    Result parse(std::string_view text) {
        const auto bytes = std::make_unique<uint8_t[]>(text.size());
        text.copy(reinterpret_cast<char*>(bytes.get()), text.size());
        auto* const untouched = reinterpret_cast<InstanceHeader*>(this);
        InstanceHeader* instance = untouched;
        Result result{0, "-", 99, 99};
        result.status = parse_json(services, host.pool(), bytes.get(), text.size(), &instance,
                                   &result.line, &result.column);
        EXPECT_NE(instance, untouched);
        if (result.status) {
            EXPECT_EQ(instance, nullptr);
            return result;
        }
        if (wants_notation) result.notation = notation(instance);
        test::release(instance);
        return result;
    }
    std::string read(std::string_view text) {
        const Result result = parse(text);
        EXPECT_EQ(result.status, NQ_STATUS_OK) << text;
        EXPECT_EQ(result.line, 0u);
        EXPECT_EQ(result.column, 0u);
        return result.notation;
    }
    void expect_error(std::string_view text, NQStatus status, uint32_t line, uint32_t column) {
        const Result result = parse(text);
        EXPECT_EQ(result.status, status) << text;
        EXPECT_EQ(result.line, line) << text;
        EXPECT_EQ(result.column, column) << text;
    }

    CheckingHost host;
    bool wants_notation = true;
    JsonServices services;

  private:
    HostState before_;
};

using JsonParserModel = JsonParser;
using JsonParserFault = JsonParser;

TEST_F(JsonParser, EveryKindOfValue) {
    EXPECT_EQ(read("1"), "1i");
    EXPECT_EQ(read("-1"), "-1i");
    EXPECT_EQ(read("1.5"), "1.5d");
    EXPECT_EQ(read("1e2"), "100d");
    EXPECT_EQ(read("1.0"), "1d");
    EXPECT_EQ(read("true"), "true");
    EXPECT_EQ(read("false"), "false");
    EXPECT_EQ(read("null"), "null");
    EXPECT_EQ(read("\"\""), "''");
    EXPECT_EQ(read("\"a\\n\\u00e4\\ud83d\\ude00\\\"\""), "'a\n\xc3\xa4\xf0\x9f\x98\x80\"'");
    EXPECT_EQ(read("\"a\\u0000b\""), "'a\0b'"s);
    EXPECT_EQ(read("[]"), "[]");
    EXPECT_EQ(read("{}"), "{}");
    EXPECT_EQ(read(" [1, \"a\", null, [true], {\"k\": null}] "), "[1i,'a',null,[true],{k=null}]");
    EXPECT_EQ(read("\xef\xbb\xbf{\"a\":[1]}"), "{a=[1i]}");
}

TEST_F(JsonParser, IntegersGrowIntoUnsignedAndDouble) {
    EXPECT_EQ(read("[-9223372036854775808,9223372036854775807]"),
              "[-9223372036854775808i,9223372036854775807i]");
    EXPECT_EQ(read("9223372036854775808"), "9223372036854775808u");
    EXPECT_EQ(read("18446744073709551615"), "18446744073709551615u");
    EXPECT_EQ(read("18446744073709551616"), "1.8446744073709552e+19d");
    EXPECT_EQ(read("-9223372036854775809"), "-9.2233720368547758e+18d");
    EXPECT_EQ(read("[1,{\"9999999999999999999999\\\"\":123456789012345678901234567890},2]"),
              "[1i,{9999999999999999999999\"=1.2345678901234568e+29d},2i]");
    EXPECT_EQ(read("[18446744073709551615,18446744073709551616,1.5]"),
              "[18446744073709551615u,1.8446744073709552e+19d,1.5d]");
}

TEST_F(JsonParser, ExtremeDoubles) {
    EXPECT_EQ(read("1.7976931348623157e308"), "1.7976931348623157e+308d");
    EXPECT_EQ(read("5e-324"), "4.9406564584124654e-324d");
    EXPECT_EQ(read("1e-400"), "0d");
    EXPECT_EQ(read("-0.0"), "-0d");
}

TEST_F(JsonParser, NumbersBeyondTheDoublesHaveAPosition) {
    const std::string zeros(400, '0');
    struct Case {
        std::string before;
        std::string number;
    };
    for (const auto& [before, number] : std::initializer_list<Case>{
             {"", "1e400"},
             {"[1, ", "-1e309"},
             {"[1e-400, 0." + zeros + "1, 0e999, ", "9" + zeros},
             {"[-1e-99999999999999999999, ", "1e+99999999999999999999"},
             {"[0." + zeros + "1E+401, 1" + zeros + "e-200, ", "1" + zeros + "e-50"},
             {"{\"1e400\": [0.1, 1e308], \"b\": ", "0." + zeros + "1e+800"},
         }) {
        const std::string closing = before.empty() ? "" : before.front() == '[' ? "]" : "}";
        const Result result = parse(before + number + closing);
        EXPECT_EQ(result.status, NQ_HOST_STATUS_JSON_NUMBER) << number;
        EXPECT_EQ(result.line, 1u) << number;
        EXPECT_EQ(result.column, before.size() + 1) << number;
    }
}

TEST_F(JsonParser, KeysKeepTheirOrderAndTheLastDuplicateWins) {
    EXPECT_EQ(read("{\"b\":1,\"a\":2,\"\":3,\"c\":{\"z\":1,\"y\":2}}"),
              "{b=1i,a=2i,=3i,c={z=1i,y=2i}}");
    EXPECT_EQ(read("{\"a\":1,\"b\":2,\"a\":[3]}"), "{a=[3i],b=2i}");
    EXPECT_EQ(read("{\"a\":{\"x\":[1,{}]},\"a\":2}"), "{a=2i}");
}

TEST_F(JsonParser, SyntaxErrorsAreLocated) {
    constexpr NQStatus kSyntax = NQ_HOST_STATUS_JSON_SYNTAX;
    expect_error("", kSyntax, 1, 1);
    expect_error("  ", kSyntax, 1, 3);
    expect_error("\n\n x", kSyntax, 3, 2);
    expect_error("[1,]", kSyntax, 1, 4);
    expect_error("[1 2]", kSyntax, 1, 4);
    expect_error("[1", kSyntax, 1, 3);
    expect_error("[1}", kSyntax, 1, 3);
    expect_error("{\"a\" 1}", kSyntax, 1, 6);
    expect_error("{\"a\":}", kSyntax, 1, 6);
    expect_error("{a:1}", kSyntax, 1, 2);
    expect_error("{\"a\":1,}", kSyntax, 1, 8);
    expect_error("{\"\xc3\xa4\xf0\x9f\x98\x80\":\n  [tru]}", kSyntax, 2, 7);
    expect_error("{\"\xc3\xa4\xf0\x9f\x98\x80\": [tru]}", kSyntax, 1, 12);
    expect_error("1 1", kSyntax, 1, 3);
    expect_error("[] []", kSyntax, 1, 4);
    expect_error("01", kSyntax, 1, 2);
    expect_error("-", kSyntax, 1, 2);
    expect_error("1.", kSyntax, 1, 3);
    expect_error("1e+", kSyntax, 1, 4);
    expect_error("+1", kSyntax, 1, 1);
    expect_error("nul", kSyntax, 1, 4);
    expect_error("NaN", kSyntax, 1, 1);
    expect_error("\"abc", kSyntax, 1, 5);
    expect_error("\"a\\x\"", kSyntax, 1, 4);
    expect_error("\"a\\u12g4\"", kSyntax, 1, 7);
    expect_error("\"a\nb\"", kSyntax, 1, 3);
    expect_error("[1]\0"s, kSyntax, 1, 4);
    expect_error("'a'", kSyntax, 1, 1);
    expect_error("[123456789012345678901234567890,01]", kSyntax, 1, 34);
}

TEST_F(JsonParser, NullTextHasNoLength) {
    for (const auto& [length, status] : {std::pair{uint64_t{0}, NQ_HOST_STATUS_JSON_SYNTAX},
                                         {uint64_t{1}, NQ_STATUS_INVALID_ARGUMENT},
                                         {UINT64_MAX, NQ_STATUS_INVALID_ARGUMENT}}) {
        InstanceHeader* instance;
        uint32_t line;
        uint32_t column;
        EXPECT_EQ(parse_json(services, host.pool(), nullptr, length, &instance, &line, &column),
                  status);
        EXPECT_EQ(instance, nullptr);
    }
}

TEST_F(JsonParser, LoneSurrogatesAreRefused) {
    for (const char* text : {"\"\\ud83d\"", "\"\\ud83dx\"", "\"\\ud83d\\u0041\"", "\"\\ude00\"",
                             "\"\\ude00\\ud83d\"", "{\"\\udfff\":1}"})
        EXPECT_EQ(parse(text).status, NQ_HOST_STATUS_JSON_SYNTAX) << text;
}

TEST_F(JsonParser, TextMustBeUtf8) {
    for (const char* bad :
         {"\xff", "\x80", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82"})
        expect_error("[1,\n \"ab" + std::string(bad) + "\"]", NQ_HOST_STATUS_JSON_ENCODING, 2, 5);
}

TEST_F(JsonParser, DepthIsBounded) {
    const auto nested = [](uint64_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    wants_notation = false;  // it would take as many calls in one another
    EXPECT_EQ(parse(nested(kMaxJsonDepth)).status, NQ_STATUS_OK);
    expect_error(nested(kMaxJsonDepth + 1), NQ_HOST_STATUS_JSON_TOO_DEEP, 1, kMaxJsonDepth + 1);
    expect_error(nested(kMaxJsonDepth * 2), NQ_HOST_STATUS_JSON_TOO_DEEP, 1, kMaxJsonDepth + 1);
    expect_error("[[],\n{\"k\":" + nested(kMaxJsonDepth) + "}]", NQ_HOST_STATUS_JSON_TOO_DEEP, 2,
                 kMaxJsonDepth + 4);
}

TEST_F(JsonParserFault, EveryFailedCallUndoesEverything) {
    constexpr std::string_view kText =
        "{\"a\":[1,18446744073709551615,1.5,true,null,\"x\",{\"b\":[]}],\"a\":\"y\",\"c\":{}}";
    for (uint64_t n = 0;; ++n) {
        host.plan().clear();
        host.plan().fail_any(n);
        const Result result = parse(kText);
        const std::vector<FailedCall> failed = host.plan().failures();
        if (failed.empty()) {
            EXPECT_EQ(result.notation, "{a='y',c={}}");
            EXPECT_GT(n, 30u);
            break;
        }
        if (test::gives_back(failed.front().call)) continue;
        const FailedCall& first = failed.front();
        // A pool says only that there is no memory.
        const bool is_pool = first.call == test::Call::kAlloc;
        EXPECT_EQ(result.status, is_pool ? NQ_STATUS_NO_MEMORY : first.status) << "call " << n;
    }
    host.plan().clear();
}

// Writes a random value as JSON text with random blanks and as its notation.
class RandomJson {
  public:
    explicit RandomJson(SeededRandom& random) : random_(random) {}

    void value(int depth, std::string& text, std::string& notation) {
        blanks(text);
        switch (random_.below(depth > 0 ? 8 : 6)) {
            case 0:
                both(random_.below(2) == 0 ? "true" : "false", text, notation);
                break;
            case 1:
                both("null", text, notation);
                break;
            case 2: {
                const auto number = static_cast<int64_t>(random_.bits() >> random_.below(64));
                both(std::to_string(number), text, notation);
                notation += 'i';
                break;
            }
            case 3:
                both(std::to_string(random_.bits() | uint64_t{1} << 63), text, notation);
                notation += 'u';
                break;
            case 4: {
                char digits[40];
                const double number = static_cast<double>(random_.bits()) / 3 * 1e-15;
                std::snprintf(digits, sizeof digits, "%.17g", number);
                text += digits;
                if (std::string_view(digits).find_first_of(".e") == std::string_view::npos)
                    text += ".0";
                notation += digits;
                notation += 'd';
                break;
            }
            case 5:
                notation += '\'';
                string(text, notation);
                notation += '\'';
                break;
            case 6:
                container('[', ']', false, depth, text, notation);
                break;
            default:
                container('{', '}', true, depth, text, notation);
                break;
        }
        blanks(text);
    }

  private:
    static void both(const std::string& what, std::string& text, std::string& notation) {
        text += what;
        notation += what;
    }

    void blanks(std::string& text) {
        for (uint64_t i = random_.below(3); i != 0; --i) text += " \t\r\n"[random_.below(4)];
    }

    void string(std::string& text, std::string& notation) {
        struct Character {
            const char* json;
            const char* utf8;
        };
        static constexpr Character kCharacters[] = {
            {"a", "a"},
            {"\\\"", "\""},
            {"\\\\", "\\"},
            {"\\/", "/"},
            {"\\t", "\t"},
            {"\\u0041", "A"},
            {"\\u20AC", "\xe2\x82\xac"},
            {"\xc3\xa4", "\xc3\xa4"},
            {"\\uD83D\\uDE00", "\xf0\x9f\x98\x80"},
            {"]", "]"},
            {"99999999999999999999", "99999999999999999999"},
            {"\\u0001", "\x01"}};
        text += '"';
        for (uint64_t i = random_.below(12); i != 0; --i) {
            const Character& character = random_.pick(kCharacters);
            text += character.json;
            notation += character.utf8;
        }
        text += '"';
    }

    void container(char opening, char closing, bool has_keys, int depth, std::string& text,
                   std::string& notation) {
        both({opening}, text, notation);
        blanks(text);
        const uint64_t count = random_.below(5);
        for (uint64_t i = 0; i != count; ++i) {
            if (i) both(",", text, notation);
            if (has_keys) {
                blanks(text);
                const std::string key = std::to_string(i);
                text += enclosed('"', key, '"');
                blanks(text);
                text += ':';
                notation += key + '=';
            }
            value(depth - 1, text, notation);
        }
        both({closing}, text, notation);
    }

    SeededRandom& random_;
};

TEST_F(JsonParserModel, RandomTreesAreReadAsTheyWereWritten) {
    SeededRandom random(2000);
    RandomJson json(random);
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        std::string text;
        std::string expected;
        json.value(5, text, expected);
        ASSERT_EQ(read(text), expected) << text;
    }
}

TEST_F(JsonParserModel, DamagedTextIsRefusedWithAPosition) {
    SeededRandom random(2000);
    RandomJson json(random);
    for (uint64_t round = 0; round != random.rounds(); ++round) {
        std::string text;
        std::string expected;
        json.value(4, text, expected);
        const std::size_t at = random.below(text.size());
        text[at] = "\"\\,:[]{}0-. x\n"[random.below(14)];
        const Result result = parse(text);
        if (result.status == NQ_STATUS_OK) continue;
        EXPECT_GE(result.line, 1u) << text;
        EXPECT_GE(result.column, 1u) << text;
    }
}

}  // namespace
}  // namespace nq
