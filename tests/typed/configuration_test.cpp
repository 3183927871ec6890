#include "typed/configuration.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <span>

#include "nqinstance/base/held.hpp"
#include "standalone/host.hpp"
#include "standalone/values/strings.hpp"
#include "tests/support/random.hpp"
#include "typed/key_lines.hpp"

namespace nq {
namespace {

using test::SeededRandom;

class TypedConfiguration : public testing::Test {
  protected:
    TypedConfiguration() {
        std::string error;
        EXPECT_TRUE(host_.load(NQ_LIBRARY_PATH, error)) << error;
        services_.emplace(host_.kernel(), host_.api());
        EXPECT_TRUE(*services_);
    }
    ~TypedConfiguration() override {
        EXPECT_EQ(host_.holds("nqarray"), 1u);  // the services'
    }

    struct Result {
        std::string json;
        std::vector<Fault> faults;
    };

    // The dictionary of a text, in the pool.
    void read(HostPool* pool, std::string_view text, SourceSyntax syntax,
              Held<NQDictionary>& source) {
        if (syntax == SourceSyntax::kJson) {
            uint32_t line, column;
            Held<InstanceHeader> top;
            ASSERT_EQ(
                parse_json(services_->json(), pool, reinterpret_cast<const uint8_t*>(text.data()),
                           text.size(), top.out(), &line, &column),
                NQ_STATUS_OK);
            *source.out() = reinterpret_cast<NQDictionary*>(top.take());
            return;
        }
        host_.add_memory_file("text", std::string(text));
        InstanceApi* api = host_.api();
        int32_t line = 0;
        ASSERT_EQ(api->readConfiguration(api, pool, "text", &line, source.out()), NQ_STATUS_OK)
            << line;
    }

    Result convert(std::string_view definitions_text, std::string_view text,
                   const TypedOptions& options = {}) {
        Result result;
        HostPool* pool = host_.make_pool("test");
        {
            Definitions definitions;
            DefinitionsError error;
            EXPECT_TRUE(definitions.load(services_->json(), pool, definitions_text, error))
                << error.line << ": " << error.what;
            Held<NQDictionary> source;
            read(pool, text, options.syntax, source);
            Held<NQDictionary> typed;
            EXPECT_EQ(make_typed_configuration(*services_, pool, definitions, source.get(), options,
                                               typed.out(), result.faults),
                      NQ_STATUS_OK);
            find_lines(text, options.syntax, result.faults);
            EXPECT_EQ(replace_characters(*services_, pool, definitions.root(), typed.get()),
                      NQ_STATUS_OK);
            Held<NQU8String> json;
            InstanceApi* api = host_.api();
            EXPECT_EQ(
                api->toJSON2(api, services_->strings(), pool, 0, 0, &typed->header, json.out()),
                NQ_STATUS_OK);
            if (json) result.json = text_of(*json.get());
        }
        EXPECT_EQ(pool->destroy(pool), NQ_STATUS_OK);
        return result;
    }

    // The faults, one "LINE: PATH: MESSAGE" a line.
    static std::string shown(const Result& result) {
        std::string text;
        for (const Fault& fault : result.faults) {
            text += std::to_string(fault.line) + ": " + fault.shown_path() + ": " + fault.message +
                    "\n";
        }
        return text;
    }
    std::string faults_of(std::string_view definitions, std::string_view text,
                          const TypedOptions& options = {}) {
        return shown(convert(definitions, text, options));
    }
    std::string json_of(std::string_view definitions, std::string_view text,
                        const TypedOptions& options = {}) {
        const Result result = convert(definitions, text, options);
        EXPECT_EQ(shown(result), "");
        return result.json;
    }

    // Every key of the dictionary with its path, sections before what is in them.
    static void collect(NQDictionary* dictionary, std::vector<std::string>& path,
                        std::vector<std::vector<std::string>>& paths) {
        Held<NQArray> keys;
        ASSERT_EQ(dictionary->listKeys(dictionary, keys.out()), NQ_STATUS_OK);
        for (InstanceHeader* element : std::span(keys->elements, keys->count)) {
            auto* key = reinterpret_cast<NQU8String*>(element);
            InstanceHeader* value = nullptr;
            dictionary->get(dictionary, key, &value);
            path.emplace_back(text_of(*key));
            paths.push_back(path);
            if (value && value->isType(value, "NQDictionary"))
                collect(reinterpret_cast<NQDictionary*>(value), path, paths);
            path.pop_back();
        }
    }

    Host host_;
    std::optional<Services> services_;
};

using TypedConfigurationModel = TypedConfiguration;

constexpr const char* kPorts = R"({
    "name": {"dataType": "string"},
    "s": {"port": {"dataType": "int32", "min": 1, "max": 65535},
          "block": {"deep": {"dataType": "boolean"}}}})";

TEST_F(TypedConfiguration, ValuesGetTheirTypesInTheOrderOfTheFile) {
    EXPECT_EQ(json_of(kPorts, "z = 1\nname = 5\n[s]\nblock=\n deep = no\nport = 80\n[t]\nx = y\n"),
              R"({"z":"1","name":"5","s":{"block":{"deep":false},"port":80},"t":{"x":"y"}})");
    EXPECT_EQ(json_of(R"({"a":{"dataType":"double"},"b":{"dataType":"data"},
                          "c":{"dataType":"date"},"d":{"dataType":"time"},
                          "e":{"dataType":"datetime"},"f":{"dataType":"array"},
                          "g":{"dataType":"uint64"},"h":{"dataType":"dictionary"}})",
                      "a=1.5\nb=AAEC\nc=20240229\nd=08:05:00.25+0530\ne=2024-02-29 08:05+01\n"
                      "f=[1,\"x\",{\"y\":null}]\ng=18446744073709551615\nh={\"k\":[true]}\n"),
              R"({"a":1.500000,"b":"AAEC","c":"2024-02-29","d":"08:05:00.250+0530",)"
              R"("e":"2024-02-29T08:05:00+01","f":[1,"x",{"y":null}],"g":18446744073709551615,)"
              R"("h":{"k":[true]}})");
}

TEST_F(TypedConfiguration, EveryFaultIsNamedWithItsLine) {
    const Result result = convert(kPorts, "\n# port = 1\n[s]\nport = 70000\nblock =\n  deep = 2\n");
    EXPECT_EQ(shown(result),
              "4: s.port: value 70000 is above the maximum 65535\n"
              "6: s.block.deep: value 2 is not of type boolean: expected true, yes, on or 1, or "
              "false, no, off or 0\n");
    ASSERT_EQ(result.faults.size(), 2u);
    const Fault& fault = result.faults[0];
    EXPECT_EQ(fault.kind, FaultKind::kBounds);
    EXPECT_EQ(fault.section(), "s");
    EXPECT_EQ(fault.path, (std::vector<std::string>{"s", "port"}));
    EXPECT_EQ(fault.value, "70000");
    EXPECT_EQ(fault.expected, "a number from 1 to 65535");
    EXPECT_EQ(fault.status, NQ_STATUS_OUT_OF_BOUNDS);
    EXPECT_EQ(result.faults[1].section(), "s.block");
    EXPECT_EQ(result.faults[1].kind, FaultKind::kType);
    // What is at fault is left out of the copy.
    EXPECT_EQ(result.json, R"({"s":{"block":{}}})");
}

TEST_F(TypedConfiguration, ANumberIsNeverCut) {
    EXPECT_EQ(faults_of(R"({"n": {"dataType": "int32"}})", "n = 99999999999"),
              "1: n: value 99999999999 is not of type int32: expected a whole number from "
              "-2147483648 to 2147483647\n");
}

TEST_F(TypedConfiguration, UnknownAndMissingKeysAreReportedWhenAskedFor) {
    constexpr const char* kText = "nane = x\n[s]\nport = 1\nprot = 2\n[u]\nv = 1\n";
    EXPECT_EQ(faults_of(kPorts, kText), "");
    EXPECT_EQ(faults_of(kPorts, kText, {.refuses_unknown = true}),
              "1: nane: the key is not defined\n"
              "4: s.prot: the key is not defined\n"
              "5: u: the key is not defined\n");
    EXPECT_EQ(faults_of(kPorts, kText, {.wants_all = true}),
              "2: s.block.deep: the key is missing: expected true, yes, on or 1, or false, no, off "
              "or 0\n"
              "0: name: the key is missing: expected text\n");
    // What stood in a section that came again counts no more.
    EXPECT_EQ(faults_of(kPorts, "name = x\n[s]\nport = 1\nblock =\n deep = 1\n[s]\nport = 1\n",
                        {.wants_all = true}),
              "6: s.block.deep: the key is missing: expected true, yes, on or 1, or false, no, off "
              "or 0\n");
    EXPECT_EQ(convert(kPorts, "", {.wants_all = true}).faults.size(), 3u);
    EXPECT_EQ(convert(kPorts, "name = x\n[s]\nport = 1\nblock =\n deep = 1\n",
                      {.wants_all = true, .refuses_unknown = true})
                  .faults.size(),
              0u);
}

TEST_F(TypedConfiguration, SectionsAndValuesDoNotStandForEachOther) {
    EXPECT_EQ(faults_of(kPorts, "s = 5\n"), "1: s: value 5 stands where a section belongs\n");
    EXPECT_EQ(faults_of(kPorts, "[name]\nx = 1\n"),
              "1: name: a section stands where a value belongs: expected text\n");
    EXPECT_EQ(faults_of(kPorts, "[s]\nport =\n  x = 1\n"),
              "2: s.port: a section stands where a value belongs: expected a whole number from 1 "
              "to 65535\n");
}

TEST_F(TypedConfiguration, AKeyWithoutAValueIsEmptyTextOrAnEmptyBlock) {
    constexpr const char* kAll = R"({"t": {"dataType": "string"}, "d": {"dataType": "dictionary"},
                                     "i": {"dataType": "int32"}, "b": {"x": {"dataType": "char"}},
                                     "any": {"dataType": "instance"}, "n": {"dataType": "data"}})";
    EXPECT_EQ(json_of(kAll, "t =\n"), R"({"t":""})");
    EXPECT_EQ(json_of(kAll, "d =\n"), R"({"d":{}})");
    EXPECT_EQ(json_of(kAll, "d =\n  a = b\n"), R"({"d":{"a":"b"}})");
    EXPECT_EQ(json_of(kAll, "b =\n"), R"({"b":{}})");
    EXPECT_EQ(json_of(kAll, "n =\n"), R"({"n":""})");
    EXPECT_EQ(json_of(kAll, "any =\n"), R"({"any":""})");
    // Right after a block the reader makes text of it.
    EXPECT_EQ(json_of(kAll, "q =\n  a = 1\nd =\n"), R"({"q":{"a":"1"},"d":{}})");
    EXPECT_EQ(json_of(kAll, "q =\n  a = 1\nb =\n"), R"({"q":{"a":"1"},"b":{}})");
    EXPECT_EQ(json_of(kAll, "q =\n  a = 1\nt =\n"), R"({"q":{"a":"1"},"t":""})");
    EXPECT_EQ(faults_of(kAll, "i =\n"),
              "1: i: value \"\" is not of type int32: expected a whole number from -2147483648 to "
              "2147483647\n");
    EXPECT_EQ(faults_of(kAll, "q =\n  a = 1\ni =\n"),
              "3: i: value \"\" is not of type int32: expected a whole number from -2147483648 to "
              "2147483647\n");
}

TEST_F(TypedConfiguration, JsonTakesThePlaceOfAConfiguration) {
    const TypedOptions json{.syntax = SourceSyntax::kJson};
    EXPECT_EQ(json_of(kPorts, R"({"name":"x","s":{"port":80.0,"block":{"deep":true}}})", json),
              R"({"name":"x","s":{"port":80,"block":{"deep":true}}})");
    EXPECT_EQ(
        faults_of(kPorts,
                  "{\"name\": null,\n\"s\": {\"port\": \"80\",\n\n\"block\": {\"deep\":\n1}}}",
                  json),
        "1: name: value null is not of type string: expected text\n"
        "2: s.port: value \"80\" is not of type int32: expected a whole number from 1 to 65535\n"
        "4: s.block.deep: value 1 is not of type boolean: expected true, yes, on or 1, or "
        "false, no, off or 0\n");
    EXPECT_EQ(faults_of(kPorts, "{\n\"s\": [],\n\"name\": {\"a\": 1}}", json),
              "2: s: value [...] stands where a section belongs\n"
              "3: name: value {...} is not of type string: expected text\n");
    EXPECT_EQ(faults_of(kPorts, "{\"s\": \"\"}", json),
              "1: s: value \"\" stands where a section belongs\n");
}

TEST_F(TypedConfiguration, ALineIsThatOfTheEntryThatCounts) {
    EXPECT_EQ(faults_of(kPorts, "[s]\nport = 0\n[s]\nport = 70000\n\nport = 70001\n"),
              "6: s.port: value 70001 is above the maximum 65535\n");
    const TypedOptions json{.syntax = SourceSyntax::kJson};
    EXPECT_EQ(
        faults_of(kPorts, "{\"s\": {\"port\": 0},\n\"s\": {\"port\": 1,\n\"port\": 0}}", json),
        "3: s.port: value 0 is below the minimum 1\n");
}

TEST_F(TypedConfiguration, TheExampleHasTwelveFaultsWhereItsCommentsSaySo) {
    const auto content = [](const char* name) {
        std::ifstream file(std::string(NQ_SOURCE_PATH "/examples/").append(name));
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const std::string definitions = content("relay-definitions.json");
    EXPECT_EQ(
        faults_of(definitions, content("relay.conf"), {.wants_all = true, .refuses_unknown = true}),
        "");
    const std::string text = content("relay-faults.conf");
    std::vector<uint32_t> wanted;
    uint32_t line = 1;
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1, ++line) {
        const std::size_t start = text.find_first_not_of(' ', at);
        if (line > 3 && text[start] == '#') wanted.push_back(line + 1);
    }
    EXPECT_EQ(wanted.size(), 12u);
    std::vector<uint32_t> found;
    for (const Fault& fault : convert(definitions, text).faults) found.push_back(fault.line);
    EXPECT_EQ(found, wanted);
}

// The second pass over a text finds exactly the keys that the reader put into dictionaries, and
// the last line of each path is the one whose value the reader kept.
TEST_F(TypedConfigurationModel, TheSecondPassAgreesWithTheReader) {
    SeededRandom random(3000);
    const std::string pieces[] = {"a = {L}",
                                  "b={L}",
                                  " a = {L}",
                                  "\tc = {L}",
                                  "a =",
                                  "b =",
                                  "  b =",
                                  "[s]",
                                  "  [s] x",
                                  "[]",
                                  "[ t ]",
                                  "[a]",
                                  "# c = 1",
                                  "   # x",
                                  "",
                                  "   ",
                                  "= {L}",
                                  "a=b=c",
                                  "k\xc3\xa9 = {L}",
                                  "\xe2\x80\x83"
                                  "d = {L}",
                                  "\xc2\xa0[u]",
                                  "e\xc2\xa0=\xc2\xa0{L}",
                                  "e = \xe3\x80\x80",
                                  "\x0b"
                                  "f = {L}",
                                  "[x]]",
                                  "a = {L} # no"};
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        std::string text = random.below(8) ? "" : "\xef\xbb\xbf";
        const uint64_t count = random.below(14);
        for (uint64_t line = 1; line <= count; ++line) {
            std::string piece = random.pick(pieces);
            if (const auto at = piece.find("{L}"); at != piece.npos)
                piece.replace(at, 3, std::to_string(line));
            text += piece;
            const char* const ends[] = {"\n", "\n", "\r\n", "\x15", "\r\x15"};
            if (line < count || random.below(2)) text += random.pick(ends);
        }
        HostPool* pool = host_.make_pool("test");
        Held<NQDictionary> source;
        read(pool, text, SourceSyntax::kConfiguration, source);
        std::vector<std::string> path;
        std::vector<std::vector<std::string>> wanted;
        collect(source.get(), path, wanted);
        std::map<std::vector<std::string>, uint32_t> lines;
        visit_configuration_keys(text, [&](std::span<const std::string> keys, uint32_t line) {
            lines[{keys.begin(), keys.end()}] = line;
        });
        for (const auto& keys : wanted) {
            const auto found = lines.find(keys);
            ASSERT_NE(found, lines.end()) << text;
            InstanceHeader* value = &source->header;
            for (const std::string& key : keys) {
                auto* dictionary = reinterpret_cast<NQDictionary*>(value);
                ASSERT_EQ(dictionary->find(dictionary, reinterpret_cast<const uint8_t*>(key.data()),
                                           key.size(), &value),
                          1);
            }
            // Values with the number of their line tell where they stood.
            if (!value->isType(value, "NQU8String")) continue;
            const std::string_view kept = text_of(*reinterpret_cast<NQU8String*>(value));
            if (kept.empty() || kept == "b=c") continue;
            ASSERT_EQ(std::stoul(std::string(kept)), found->second) << text;
        }
        source.reset();
        pool->destroy(pool);
    }
}

TEST(KeyLines, KeysOfJsonWithinArraysArePassedOver) {
    std::string found;
    visit_json_keys("{\"a\":[{\"b\":1},\n[{\"c\":{\"d\":2}}]],\"e\":{\n\"f\\\"\":{},\"g\":\"h\"}}",
                    [&](std::span<const std::string> path, uint32_t line) {
                        for (const std::string& key : path) found.append(key).append(1, '/');
                        found += std::to_string(line) + " ";
                    });
    EXPECT_EQ(found, "a/1 e/2 e/f\"/3 e/g/3 ");
}

}  // namespace
}  // namespace nq
