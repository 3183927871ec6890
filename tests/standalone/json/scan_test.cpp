#include "standalone/json/scan.hpp"

#include <gtest/gtest.h>

#include <string>

#include "standalone/json/position.hpp"

namespace nq {
namespace {

// The events as text: keys with their lines, numbers as they stand in the text.
class Record : public JsonEvents {
  public:
    explicit Record(std::string_view text) : text_(text) {}

    void open(char bracket) override { events += bracket; }
    void close() override { events += '.'; }
    void key(std::string_view key, uint32_t line) override {
        events.append(key).append(1, '@').append(std::to_string(line));
    }
    void number(uint64_t begin, uint64_t end) override {
        events.append(1, '<').append(text_.substr(begin, end - begin)).append(1, '>');
    }

    std::string events;

  private:
    std::string_view text_;
};

std::string events_of(std::string_view text) {
    Record record(text);
    EXPECT_EQ(scan_json(text, UINT64_MAX, record), std::nullopt) << text;
    return record.events;
}

TEST(JsonScan, TellsWhatTheTextHoldsInItsOrder) {
    EXPECT_EQ(events_of("{\"a\": [1, {\"b\":\n2}],\r\n\"\\u0063\\n\": {}}"),
              "{a@1[<1>{b@1<2>..c\n@3{..");
    EXPECT_EQ(events_of("[\"1\", true, null, \"{\"]"), "[.");
    EXPECT_EQ(events_of(" -7 "), "<-7>");
}

TEST(JsonScan, TellsNumbersOfAnySizeWhole) {
    const std::string zeros(400, '0');
    for (const std::string& number :
         {"9" + zeros, "0." + zeros + "1", std::string("1e400"), std::string("-0e99999999999999"),
          std::string("12345678901234567890.12345E+678"), std::string("10")}) {
        EXPECT_EQ(events_of(number), "<" + number + ">");
        EXPECT_EQ(events_of("[" + number + ",\"" + number + "\"," + number + "]"),
                  "[<" + number + "><" + number + ">.");
    }
}

TEST(JsonScan, StopsAtTheFirstByteThatCannotStandThere) {
    struct Case {
        std::string_view text;
        uint64_t offset;
    };
    using namespace std::string_view_literals;
    for (const auto& [text, offset] : {Case{"", 0},
                                       {"[12345,]", 7},
                                       {"[012345]", 2},
                                       {"12345x", 5},
                                       {"\"\\\"\\q\"", 4},
                                       {"\"\\u12x4\"", 5},
                                       {"\"\\udc00\"", 7},
                                       {"\"\\ud800\\u0041\"", 13},
                                       {"\"\\ud800x\"", 7},
                                       {"\"ab\xed\xa0\x80\"", 3},
                                       {"[1]\0"sv, 3},
                                       {"[1\0]"sv, 2},
                                       {"1e", 2},
                                       {"[1.e5]", 3}}) {
        EXPECT_EQ(find_json_error(text, UINT64_MAX), offset) << text;
    }
}

TEST(JsonScan, StopsAtTheBracketThatNestsTooDeep) {
    EXPECT_EQ(find_json_error("[[],{\"a\":[]}]", 3), std::nullopt);
    EXPECT_EQ(find_json_error("[[],{\"a\":[]}]", 2), 9u);
    EXPECT_EQ(find_json_error("[]", 0), 0u);
    // Depth costs no stack.
    const std::string deep = std::string(1000000, '[') + std::string(1000000, ']');
    EXPECT_EQ(find_json_error(deep, UINT64_MAX), std::nullopt);
}

}  // namespace
}  // namespace nq
