#include "typed/definitions.hpp"

#include "tests/support/random.hpp"
#include "tests/typed/support.hpp"

namespace nq {
namespace {

using test::FailedCall;
using DefinitionsFile = test::TypedTest;
using DefinitionsFileFault = test::TypedTest;

// The definitions of one key.
std::string leaf(std::string_view definition) {
    return "{\n\"section\": {\n\"key\":\n" + std::string(definition) + "\n}}";
}

TEST_F(DefinitionsFile, MirrorsTheText) {
    Definitions definitions;
    ASSERT_EQ(load(definitions, R"({"a": {"dataType": "int32", "min": 1},
                                    "s": {"b": {"dataType": "string"}, "t": {}, "c d": {
                                        "dataType": "instance",
                                        "expectedTypes": [{"dataType": "date"},
                                                          {"dataType": "char"}]}},
                                    "": {"": {"dataType": "data"}}})"),
              "");
    const DefinitionNode& root = definitions.root();
    ASSERT_EQ(root.children.size(), 3u);
    EXPECT_FALSE(root.is_leaf());
    const DefinitionNode* a = root.child("a");
    ASSERT_NE(a, nullptr);
    EXPECT_TRUE(a->is_leaf());
    EXPECT_EQ(a->type, DataType::kInt32);
    EXPECT_EQ(a->path, "a");
    EXPECT_EQ(a->parent, &root);
    EXPECT_STREQ(a->definition->header.typeName, "NQDictionary");
    const DefinitionNode* section = root.child("s");
    ASSERT_NE(section, nullptr);
    EXPECT_FALSE(section->is_leaf());
    EXPECT_EQ(section->index, 1u);
    const DefinitionNode* c = section->child("c d");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->path, "s.c d");
    EXPECT_EQ(c->type, DataType::kInstance);
    EXPECT_TRUE(c->has_expected_types);
    EXPECT_EQ(c->expected_types, (std::vector{DataType::kDate, DataType::kChar}));
    EXPECT_FALSE(section->child("t")->is_leaf());
    EXPECT_EQ(section->child("t")->child("x"), nullptr);
    EXPECT_EQ(section->child("c"), nullptr);
    EXPECT_EQ(section->child("C D"), nullptr);
    ASSERT_EQ(definitions.leaves().size(), 4u);
    EXPECT_EQ(definitions.leaves()[0], a);
    EXPECT_EQ(definitions.leaves()[3]->path, ".");
    EXPECT_EQ(root.child("")->child("")->type, DataType::kData);
}

TEST_F(DefinitionsFile, EveryKeywordIsATypeOfItsOwn) {
    for (std::size_t i = 0; i < kDataTypeCount; ++i) {
        const std::string keyword(kDataTypeKeywords[i]);
        Definitions definitions;
        ASSERT_EQ(load(definitions, "{\"k\": {\"dataType\": \"" + keyword + "\"}}"), "");
        EXPECT_EQ(definitions.leaves().at(0)->type, static_cast<DataType>(i));
        EXPECT_EQ(keyword_of(definitions.leaves().at(0)->type), keyword);
    }
    EXPECT_EQ(data_type_of("Integer"), std::nullopt);
    EXPECT_EQ(data_type_of(""), std::nullopt);
}

TEST_F(DefinitionsFile, EveryChildIsFoundAmongMany) {
    std::string text = "{";
    constexpr int kCount = 3000;
    for (int i = 0; i < kCount; ++i) {
        if (i) text += ',';
        text += "\"key" + std::to_string(i) + "\":{\"dataType\":\"string\"}";
    }
    Definitions definitions;
    ASSERT_EQ(load(definitions, text + "}"), "");
    for (int i = 0; i < kCount; ++i) {
        const DefinitionNode* node = definitions.root().child("key" + std::to_string(i));
        ASSERT_NE(node, nullptr) << i;
        EXPECT_EQ(node->index, static_cast<uint32_t>(i));
    }
    EXPECT_EQ(definitions.root().child("key3000"), nullptr);
    EXPECT_EQ(definitions.root().child("key"), nullptr);
}

TEST_F(DefinitionsFile, EveryEntryOfADefinitionMeansSomething) {
    EXPECT_EQ(error_of(leaf(R"({"description": "a port", "dataType": "int32"})")), "");
    EXPECT_EQ(error_of(leaf("{\"dataType\": \"int32\",\n\"minn\": 1, \"max\": 2}")),
              "5: section.key: unknown entry \"minn\"");
    EXPECT_EQ(error_of(leaf("{\"requird\": true,\n\"dataType\": \"string\"}")),
              "4: section.key: unknown entry \"requird\"");
    EXPECT_EQ(error_of(leaf(R"({"dataType": "string", "": {"dataType": "string"}})")),
              "4: section.key: unknown entry \"\"");
    EXPECT_EQ(error_of(leaf("{\"dataType\": \"string\",\n\"description\": [\"a\"]}")),
              "5: section.key: \"description\" must be text");
    EXPECT_EQ(error_of(leaf("{\"dataTyp\": \"int32\",\n\"min\": 1}")),
              "4: section.key.dataTyp: neither a definition nor a section: an object is missing");
    // Of a section every entry is a key.
    EXPECT_EQ(error_of(leaf(R"({"description": {"dataType": "string"}, "minn": {}})")), "");
}

TEST_F(DefinitionsFile, AKeyGivenTwiceIsRefusedWhereItStandsAgain) {
    const std::string what = ": the key is given twice";
    EXPECT_EQ(error_of("{\"a\": {},\n\"a\": {}}"), "2: a" + what);
    EXPECT_EQ(error_of("\xef\xbb\xbf{\"a\": {},\n\"\\u0061\": {}}"), "2: a" + what);
    EXPECT_EQ(error_of("{\"a\": {\"b\": {},\n\"c\": {\"a\": {}},\n\"b\": {}}}"), "3: a.b" + what);
    EXPECT_EQ(error_of("{\"\": {\"\": {},\n\"\": {}}}"), "2: ." + what);
    EXPECT_EQ(error_of(leaf("{\"dataType\": \"int32\", \"min\": 1,\n\"min\": 1}")),
              "5: section.key.min" + what);
    EXPECT_EQ(error_of(leaf("{\"dataType\": \"int32\", \"values\": [1, {\"min\": 1, \"max\": 2,\n"
                            "\"max\": 3}]}")),
              "5: section.key.values.max" + what);
    // The same key in another object is another key.
    EXPECT_EQ(error_of(R"({"a": {"a": {"a": {}}}, "b": {"a": {}},
                           "c": {"dataType": "int32", "values": [{"min": 1, "max": 2},
                                                                 {"min": 4, "max": 5}]}})"),
              "");
}

TEST_F(DefinitionsFile, BoundsThatLeaveNothingAreRefused) {
    struct Case {
        const char* type;
        const char* least;
        const char* most;
        bool is_good;
    };
    const Case cases[] = {
        {"int32", "2", "1", false},
        {"int32", "1", "1", true},
        {"int32", "-1", "-2", false},
        {"int32", "-2", "-1", true},
        {"int32", "1.0", "0", false},
        {"int32", "\"max\"", "2147483646", false},
        {"int32", "\"max\"", "2147483647", true},
        {"int32", "-2147483647", "\"min\"", false},
        {"int32", "\"min\"", "\"max\"", true},
        {"uint32", "1", "\"min\"", false},
        {"uint32", "0", "\"min\"", true},
        {"int64", "9223372036854775807", "9223372036854775806", false},
        {"integer", "\"max\"", "9223372036854775807", true},
        {"integer", "\"max\"", "9223372036854775806", false},
        {"uint64", "18446744073709551615", "18446744073709551614", false},
        {"uint64", "9223372036854775807", "9223372036854775808", true},
        {"double", "0.5", "0.25", false},
        {"double", "-0.5", "0", true},
        // The word is the least positive normal double.
        {"double", "\"min\"", "0", false},
        {"double", "0", "\"min\"", true},
        {"double", "\"max\"", "1e308", false},
    };
    for (const auto& [type, least, most, is_good] : cases) {
        const std::string bounds = std::string("\"max\": ") + most + ",\n\"min\": " + least + "}";
        const std::string start = std::string("{\"dataType\": \"") + type + "\", ";
        EXPECT_EQ(error_of(leaf(start + bounds)),
                  is_good ? "" : "5: section.key: \"min\" is above \"max\": nothing would fit")
            << type << ' ' << least << ' ' << most;
        EXPECT_EQ(
            error_of(leaf(start + "\"values\": [{" + bounds + "]}")),
            is_good ? "" : "4: section.key: \"min\" of a range in \"values\" is above its \"max\"")
            << type << ' ' << least << ' ' << most;
    }
    // Of several types each must be left something.
    EXPECT_EQ(error_of(R"({"k": {"dataType": "instance", "min": "max", "max": 2147483647,
                           "expectedTypes": [{"dataType": "int32"}, {"dataType": "int64"}]}})"),
              "1: k: \"min\" is above \"max\": nothing would fit");
}

TEST_F(DefinitionsFile, ASectionMayHaveAKeyCalledDataType) {
    Definitions definitions;
    ASSERT_EQ(load(definitions, R"({"s": {"dataType": {"dataType": "char"}}})"), "");
    EXPECT_EQ(definitions.leaves().at(0)->path, "s.dataType");
}

TEST_F(DefinitionsFile, TextThatIsNoJsonIsRefusedWhereItBreaks) {
    EXPECT_EQ(error_of(""), "1:1: The JSON text has a syntax error");
    EXPECT_EQ(error_of("{\n\"a\": {,}}"), "2:7: The JSON text has a syntax error");
    EXPECT_EQ(error_of("[]"), "1: the definitions are not an object");
    EXPECT_EQ(error_of("null"), "1: the definitions are not an object");
    EXPECT_EQ(error_of(R"({"dataType": "int32"})"),
              "1: the top of the definitions is a definition instead of a section");
}

TEST_F(DefinitionsFile, APlaceThatIsNoObjectIsRefused) {
    const std::string what = ": neither a definition nor a section: an object is missing";
    EXPECT_EQ(error_of("{\n\"a\": 1}"), "2: a" + what);
    EXPECT_EQ(error_of("{\n\"a\": null}"), "2: a" + what);
    EXPECT_EQ(error_of("{\"s\": {\n\"a\":\n\"int32\"}}"), "2: s.a" + what);
    EXPECT_EQ(error_of("{\"s\": {\"b\": {},\n\n\"a\": []}}"), "3: s.a" + what);
    EXPECT_EQ(error_of("{\"s\": {\n\"dataType\": 5}}"), "2: s.dataType: \"dataType\" must be text");
}

TEST_F(DefinitionsFile, AnUnknownKeywordIsRefused) {
    EXPECT_EQ(error_of(leaf("{\"min\": 1,\n\"dataType\": \"int31\"}")),
              "5: section.key: unknown data type \"int31\"");
    EXPECT_EQ(error_of(leaf(R"({"dataType": "Int32"})")),
              "4: section.key: unknown data type \"Int32\"");
}

TEST_F(DefinitionsFile, BoundsMustBeWhatTheLibraryReadsThemAs) {
    const auto with = [](const char* type, const char* bound) {
        return leaf("{\"dataType\": \"" + std::string(type) + "\",\n\"min\": " + bound + "}");
    };
    struct Case {
        const char* type;
        const char* bound;
        const char* wanted;  // null: the bound is good
    };
    constexpr const char* kInt32 =
        "a whole number from -2147483648 to 2147483647, \"min\" or \"max\"";
    constexpr const char* kUInt32 = "a whole number from 0 to 4294967295, \"min\" or \"max\"";
    constexpr const char* kInt64 =
        "a whole number from -9223372036854775808 to 9223372036854775807, \"min\" or \"max\"";
    constexpr const char* kUInt64 = "a whole number from 0 to 18446744073709551615";
    constexpr const char* kDouble = "a number, \"min\" or \"max\"";
    const Case cases[] = {
        {"int32", "-2147483648", nullptr},
        {"int32", "2147483647", nullptr},
        {"int32", "\"min\"", nullptr},
        {"int32", "\"max\"", nullptr},
        {"int32", "7.0", nullptr},
        {"int32", "2147483648", kInt32},
        {"int32", "-2147483649", kInt32},
        {"int32", "1.5", kInt32},
        {"int32", "1e300", kInt32},
        {"int32", "\"5\"", kInt32},
        {"int32", "\"Min\"", kInt32},
        {"int32", "true", kInt32},
        {"int32", "null", kInt32},
        {"int32", "[1]", kInt32},
        {"uint32", "0", nullptr},
        {"uint32", "4294967295", nullptr},
        {"uint32", "-1", kUInt32},
        {"uint32", "4294967296", kUInt32},
        {"int64", "-9223372036854775808", nullptr},
        {"int64", "9223372036854775807", nullptr},
        {"int64", "9223372036854775808", kInt64},
        {"int64", "1e19", kInt64},
        {"integer", "9223372036854775807", nullptr},
        {"integer", "18446744073709551615", kInt64},
        {"integer", "\"max\"", nullptr},
        {"uint64", "18446744073709551615", nullptr},
        {"uint64", "-1", kUInt64},
        {"uint64", "\"max\"", kUInt64},
        {"double", "1", nullptr},
        {"double", "-1.5", nullptr},
        {"double", "18446744073709551615", nullptr},
        {"double", "\"min\"", nullptr},
        {"double", "\"no\"", kDouble},
        {"double", "null", kDouble},
    };
    for (const auto& [type, bound, wanted] : cases) {
        const std::string expected =
            wanted ? "5: section.key: \"min\" must be " + std::string(wanted) : "";
        EXPECT_EQ(error_of(with(type, bound)), expected) << type << ' ' << bound;
    }
}

TEST_F(DefinitionsFile, LimitsWithoutEffectAreRefused) {
    for (const char* type :
         {"boolean", "data", "date", "time", "datetime", "array", "dictionary"}) {
        for (const char* limit : {"min", "max", "values"}) {
            EXPECT_EQ(error_of(leaf("{\"dataType\": \"" + std::string(type) + "\", \"" + limit +
                                    "\": [1]}")),
                      "4: section.key: \"" + std::string(limit) +
                          "\" has no effect on the data type \"" + type + "\"");
        }
    }
    EXPECT_EQ(error_of(leaf(R"({"dataType": "string", "min": 1})")),
              "4: section.key: \"min\" has no effect on the data type \"string\"");
    EXPECT_EQ(error_of(leaf(R"({"dataType": "instance", "max": 1})")),
              "4: section.key: \"max\" has no effect on the data type \"instance\"");
}

TEST_F(DefinitionsFile, ValuesAreScalarsAndWholeRanges) {
    const auto with = [](const char* values) {
        return leaf("{\"dataType\": \"uint32\",\n\"values\": " + std::string(values) + "}");
    };
    const std::string place = "5: section.key: ";
    EXPECT_EQ(error_of(with("[]")), place + "\"values\" is empty: nothing would fit");
    EXPECT_EQ(error_of(with("[{\"min\": 1, \"max\": 2, \"step\": 1}]")),
              place + "unknown entry \"step\" of a range in \"values\"");
    EXPECT_EQ(error_of(with("[1, {\"min\": 5, \"max\": \"max\"}]")), "");
    EXPECT_EQ(error_of(with("{\"min\": 5, \"max\": 9}")), place + "\"values\" must be an array");
    EXPECT_EQ(error_of(with("5")), place + "\"values\" must be an array");
    EXPECT_EQ(error_of(with("[{\"min\": 5}]")),
              place + "\"max\" of a range in \"values\" is missing");
    EXPECT_EQ(error_of(with("[{\"max\": 5}]")),
              place + "\"min\" of a range in \"values\" is missing");
    EXPECT_EQ(error_of(with("[-1]")),
              place +
                  "an entry of \"values\" must be a whole number from 0 to 4294967295, \"min\" "
                  "or \"max\"");
    EXPECT_EQ(error_of(with("[{\"min\": 1, \"max\": \"x\"}]")),
              place +
                  "\"max\" of a range in \"values\" must be a whole number from 0 to "
                  "4294967295, \"min\" or \"max\"");
}

TEST_F(DefinitionsFile, ValuesOfTextAreTexts) {
    Definitions definitions;
    ASSERT_EQ(load(definitions, R"({"k": {"dataType": "string", "values": ["a", "b c", ""]},
                                    "n": {"dataType": "char", "values": [","]}})"),
              "");
    EXPECT_TRUE(definitions.leaves()[0]->has_accepted_texts);
    EXPECT_EQ(definitions.leaves()[0]->accepted_texts, (std::vector<std::string>{"a", "b c", ""}));
    EXPECT_TRUE(definitions.leaves()[1]->has_accepted_texts);
    EXPECT_EQ(error_of(R"({"k": {"dataType": "string", "values": ["a", 1]}})"),
              "1: k: an entry of \"values\" must be text");
    EXPECT_EQ(error_of(R"({"k": {"dataType": "string", "values": []}})"),
              "1: k: \"values\" is empty: nothing would fit");
    EXPECT_EQ(error_of(R"({"k": {"dataType": "string", "values": "a"}})"),
              "1: k: \"values\" must be an array");
}

TEST_F(DefinitionsFile, ExpectedTypesAreDefinitionsOfOneType) {
    const auto with = [](const char* types) {
        return leaf("{\"dataType\": \"instance\",\n\"expectedTypes\": " + std::string(types) + "}");
    };
    const std::string place = "5: section.key: ";
    EXPECT_EQ(error_of(with(R"([{"dataType": "int32"}, {"dataType": "string"}])")), "");
    EXPECT_EQ(error_of(with("{}")), place + "\"expectedTypes\" must be an array");
    EXPECT_EQ(error_of(with("[]")), place + "\"expectedTypes\" is empty: nothing would fit");
    for (const char* entry : {"[1]", "[null]", "[{}]", "[{\"dataType\": 1}]", "[\"int32\"]"}) {
        EXPECT_EQ(error_of(with(entry)),
                  place + "an entry of \"expectedTypes\" has no \"dataType\"");
    }
    EXPECT_EQ(error_of(with(R"([{"dataType": "x"}])")),
              place + "unknown data type \"x\" in \"expectedTypes\"");
    EXPECT_EQ(error_of(with(R"([{"dataType": "instance"}])")),
              place + "\"instance\" cannot stand in \"expectedTypes\"");
    EXPECT_EQ(error_of(with(R"([{"dataType": "int32", "min": 1}])")),
              place + "\"min\" has no effect within \"expectedTypes\"");
    EXPECT_EQ(error_of(with(R"([{"dataType": "int32", "expectedTypes": []}])")),
              place + "\"expectedTypes\" has no effect within \"expectedTypes\"");
    EXPECT_EQ(error_of(with(R"([{"dataType": "int32", "note": ""}])")),
              place + "unknown entry \"note\" within \"expectedTypes\"");
    EXPECT_EQ(error_of(with(R"([{"dataType": "int32", "description": ""}])")), "");
    EXPECT_EQ(error_of(leaf("{\"dataType\": \"int32\",\n\"expectedTypes\": []}")),
              place + "\"expectedTypes\" is for the data type \"instance\" only");
}

TEST_F(DefinitionsFile, BoundsOfAnInstanceMustSuitAllItsNumbers) {
    EXPECT_EQ(error_of(R"({"k": {"dataType": "instance", "min": 1, "expectedTypes":
                           [{"dataType": "string"}, {"dataType": "int32"}]}})"),
              "");
    EXPECT_EQ(error_of(R"({"k": {"dataType": "instance", "min": -1, "expectedTypes":
                           [{"dataType": "int32"}, {"dataType": "uint64"}]}})"),
              "1: k: \"min\" must be a whole number from 0 to 18446744073709551615");
}

TEST_F(DefinitionsFile, SectionsLieInOneAnotherUpToALimit) {
    const auto nested = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i) text += "{\"s\":";
        return text + "{}" + std::string(depth, '}');
    };
    EXPECT_EQ(error_of(nested(kMaxDefinitionDepth)), "");
    const std::string error = error_of(nested(kMaxDefinitionDepth + 1));
    EXPECT_NE(error.find("too deep"), error.npos) << error;
}

TEST_F(DefinitionsFile, ALineIsThatOfTheKey) {
    // Not of what looks like it in strings and arrays.
    EXPECT_EQ(error_of("{\"s\": {\"b\":\n[{\"a\":\n1}, \"\\\"a\\\":{\"],\n\"a\": 1}}"),
              "1: s.b: neither a definition nor a section: an object is missing");
    EXPECT_EQ(
        error_of("{\"b\": {\"dataType\": \"string\",\n\"values\": [\"\\\"a\\\":{\"]},\n\"a\": 1}"),
        "3: a: neither a definition nor a section: an object is missing");
    EXPECT_EQ(error_of("{\"\\u0061\\n\\ud83d\\ude00\":\n{\"dataType\":\n\"q\"}}"),
              "2: a\n\xf0\x9f\x98\x80: unknown data type \"q\"");
}

// Every call of the host fails in turn: the definitions are empty or what they should be, and
// nothing is left.
TEST_F(DefinitionsFileFault, EveryFailedCallUndoesEverything) {
    for (uint64_t n = 0;; ++n) {
        host.plan().fail_any(n);
        bool is_loaded = false;
        try {
            Definitions definitions;
            DefinitionsError error;
            is_loaded =
                definitions.load(services, host.pool(),
                                 R"({"s": {"a": {"dataType": "int32", "values": [1]}}})", error);
            EXPECT_NE(is_loaded, !error.what.empty());
        } catch (const std::bad_alloc&) {
        }
        const std::vector<FailedCall> failed = host.plan().failures();
        host.plan().clear();
        if (failed.empty()) {
            EXPECT_TRUE(is_loaded);
            EXPECT_GT(n, 5u);
            break;
        }
    }
}

}  // namespace
}  // namespace nq
