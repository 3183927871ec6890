// Brackets, separators, line feeds and indentation, and the strings they are written to.
#include "tests/json/json_fixture.hpp"

using namespace nq::test;

namespace {

class JsonLayouts : public JsonFixture {
  protected:
    NQDictionary* sample() { return host.dictionary({{"a", host.array({number(1), number(2)})}}); }
    NQDictionary* nested() {
        return host.dictionary(
            {{"list", host.array({host.array(), host.dictionary(), number(1)})},
             {"map", host.dictionary({{"x", nullptr}, {"y", host.array({nullptr})}})},
             {"s", host.string("t")}});
    }
};

// A string service whose strings with capacity are made by `give`, and that keeps what it is asked.
struct CapacityService : NQStringApi {
    NQStringApi* real;
    std::uint64_t room;  // what it gives, whatever it is asked
    std::vector<std::uint64_t> asked;
    std::vector<std::uint32_t> flags;  // of createFromUtf8

    explicit CapacityService(NQStringApi* service, std::uint64_t given)
        : NQStringApi{}, real(service), room(given) {
        createFromUtf8 = [](NQStringApi* self, NQU8String** made, HostPool* pool,
                            const std::uint8_t* text, std::uint64_t length,
                            std::uint32_t flag) noexcept {
            auto& own = static_cast<CapacityService&>(*self);
            own.flags.push_back(flag);
            return own.real->createFromUtf8(own.real, made, pool, text, length, flag);
        };
        createWithCapacity = [](NQStringApi* self, NQU8String** made, HostPool* pool,
                                std::uint64_t capacity) noexcept -> NQStatus {
            auto& own = static_cast<CapacityService&>(*self);
            own.asked.push_back(capacity);
            if (!own.room) return NQ_STATUS_NO_MEMORY;
            return own.real->createWithCapacity(own.real, made, pool, own.room);
        };
    }
};

}  // namespace

TEST_F(JsonLayouts, WorkedExample) {
    EXPECT_EQ(json(sample()),
              "{\n"
              "    \"a\": \n"
              "      [\n"
              "        1,\n"
              "        2\n"
              "      ]\n"
              "}\n");
}

TEST_F(JsonLayouts, EmptyContainers) {
    EXPECT_EQ(json(host.array()), "[\n]\n");
    EXPECT_EQ(json(host.dictionary()), "{\n}\n");
    EXPECT_EQ(compact(host.array()), "[]");
    EXPECT_EQ(compact(host.dictionary()), "{}");
    // An array's closing line carries the indentation, a dictionary's only half a unit.
    EXPECT_EQ(json(host.array({host.array(), host.dictionary()})),
              "[\n"
              "      [\n"
              "      ],\n"
              "      {\n"
              "  }\n"
              "]\n");
}

TEST_F(JsonLayouts, NestedContainers) {
    EXPECT_EQ(json(nested()),
              "{\n"
              "    \"list\": \n"
              "      [\n"
              "          [\n"
              "          ],\n"
              "          {\n"
              "  },\n"
              "        1\n"
              "      ],\n"
              "    \"map\": \n"
              "      {\n"
              "        \"x\": null,\n"
              "        \"y\": \n"
              "          [\n"
              "            null\n"
              "          ]\n"
              "  },\n"
              "    \"s\": \"t\"\n"
              "}\n");
}

TEST_F(JsonLayouts, CompactTextHasNoBlanks) {
    constexpr std::string_view kText = R"({"list":[[],{},1],"map":{"x":null,"y":[null]},"s":"t"})";
    for (const std::int32_t indent : {0, -1, 1, 4, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(json2(nested(), kCompact, indent), kText);
        // Only the low byte is the mode.
        EXPECT_EQ(json2(nested(), 0xffffff00, indent), kText);
    }
}

TEST_F(JsonLayouts, LinesWithoutIndentation) {
    EXPECT_EQ(json2(nested(), kPretty, -1),
              "{\n\"list\": \n[\n[\n],\n{\n},\n1\n],\n\"map\": \n{\n\"x\": null,\n\"y\": "
              "\n[\nnull\n]\n},\n\"s\": \"t\"\n}\n");
}

TEST_F(JsonLayouts, OtherModesHaveBlanksButNoLines) {
    EXPECT_EQ(json2(sample(), 2, -1), R"({"a": [1,2]})");
    EXPECT_EQ(json2(sample(), 255, -1), R"({"a": [1,2]})");
    EXPECT_EQ(json2(sample(), 2, 0), R"({    "a":       [        1,        2      ]})");
}

TEST_F(JsonLayouts, WidthsOfTheCallersChoice) {
    EXPECT_EQ(json2(sample(), kPretty, 4), json(sample()));
    EXPECT_EQ(json2(sample(), kPretty, 0), json(sample()));
    EXPECT_EQ(json2(sample(), 0x101, 4), json(sample()));
    EXPECT_EQ(json2(sample(), kPretty, 1), "{\n \"a\": \n  [\n  1,\n  2\n  ]\n}\n");
    EXPECT_EQ(json2(sample(), kPretty, 5),
              "{\n     \"a\": \n       [\n          1,\n          2\n       ]\n}\n");
}

TEST_F(JsonLayouts, CapacitiesOfTheIndentation) {
    CapacityService service(host.string_api(), 4096);
    const auto asked_for = [&](std::int32_t indent) {
        service.asked.clear();
        EXPECT_EQ(api()->toJSON2(api(), &service, pool(), kPretty, indent, nullptr, &out),
                  NQ_STATUS_OK);
        take_out();
        return service.asked;
    };
    EXPECT_EQ(asked_for(0), (std::vector<std::uint64_t>{40, 2, 4}));
    EXPECT_EQ(asked_for(1), (std::vector<std::uint64_t>{10, 1, 1}));
    EXPECT_EQ(asked_for(7), (std::vector<std::uint64_t>{70, 3, 7}));
    EXPECT_EQ(asked_for(-1), (std::vector<std::uint64_t>{}));
}

TEST_F(JsonLayouts, FlagOfTheStringsThatAreMade) {
    CapacityService service(host.string_api(), 4096);
    NQU8String* text = host.string("text");
    EXPECT_EQ(api()->toJSON2(api(), &service, pool(), kPretty, 0, &text->header, &out),
              NQ_STATUS_OK);
    EXPECT_EQ(take_out(), "\"text\"\n");
    EXPECT_EQ(service.flags, (std::vector<std::uint32_t>{1, 1}));
    release(text);
}

TEST_F(JsonLayouts, OddWidthsAreForTheServiceToRefuse) {
    CapacityService service(host.string_api(), 0);
    NQDictionary* tree = sample();
    for (const std::int32_t indent : {-2, -1000, INT32_MIN, INT32_MAX}) {
        service.asked.clear();
        EXPECT_EQ(api()->toJSON2(api(), &service, pool(), kPretty, indent, &tree->header, &out),
                  NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(service.asked,
                  std::vector{static_cast<std::uint64_t>(std::int64_t{indent} * 10)});
    }
    release(tree);
}

TEST_F(JsonLayouts, WidthsBelowZeroWriteNoBlanks) {
    CapacityService service(host.string_api(), 1);
    NQDictionary* tree = sample();
    for (const std::int32_t indent : {-2, -1000, INT32_MIN}) {
        EXPECT_EQ(api()->toJSON2(api(), &service, pool(), kPretty, indent, &tree->header, &out),
                  NQ_STATUS_OK);
        EXPECT_EQ(take_out(), "{\n\"a\": \n [\n1,\n2\n ]\n}\n");
    }
    release(tree);
}

TEST_F(JsonLayouts, KeysAreWrittenAsStoredInTheirOrder) {
    EXPECT_EQ(compact(host.dictionary({{"z", nullptr}, {"a\"\\\n", nullptr}, {"", nullptr}})),
              "{\"z\":null,\"a\"\\\n\":null,\"\":null}");
}

TEST_F(JsonLayouts, CallersStringIsContinuedWithoutLineFeed) {
    NQDictionary* tree = sample();
    out = host.string("text: ");
    NQU8String* const callers = out;
    EXPECT_EQ(to_json2(tree, kPretty, 1), NQ_STATUS_OK);
    EXPECT_EQ(to_json2(tree, kCompact, 0), NQ_STATUS_OK);
    EXPECT_EQ(to_json(nullptr), NQ_STATUS_OK);
    EXPECT_EQ(out, callers);
    EXPECT_EQ(take_out(), "text: {\n \"a\": \n  [\n  1,\n  2\n  ]\n}{\"a\":[1,2]}null");
    release(tree);
}

TEST_F(JsonLayouts, FinalLineFeedIsForFreshPrettyTextAlone) {
    EXPECT_EQ(json(nullptr), "null\n");
    EXPECT_EQ(json2(nullptr, 1, 0), "null\n");
    EXPECT_EQ(json2(nullptr, 1, -1), "null\n");
    EXPECT_EQ(json2(nullptr, 0, 0), "null");
    EXPECT_EQ(json2(nullptr, 2, 0), "null");
    EXPECT_EQ(json2(nullptr, 255, -1), "null");
}
