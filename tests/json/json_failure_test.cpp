// Failing host calls: the status, and what is in the output and left behind afterwards.
#include <algorithm>
#include <functional>

#include "tests/json/json_fixture.hpp"

using namespace nq::test;

namespace {

constexpr NQStatus kPlanned = 0x8abc1234u;

class JsonFailure : public JsonFixture {
  protected:
    NQCharInstance* character() { return made(api()->createNQChar(api(), pool(), 'c', &status)); }

    // Converts into a fresh string and into the caller's, by both entries, while the n-th call of
    // a kind fails. All report `expected`. The text that the caller's string ends with.
    std::string failing(Item item, Call call, std::uint64_t n, NQStatus expected = kPlanned) {
        const HostState before = host.state();
        std::string kept;
        for (const bool with_strings : {false, true}) {
            for (const bool is_fresh : {true, false}) {
                host.plan().clear();
                // A fresh string takes a creation of its own, which comes before the others in
                // the one entry and after the indentation in the other.
                const bool counts = call == Call::kCreateFromUtf8 && is_fresh;
                host.plan().fail(call, n + (counts ? 1 : 0), kPlanned);
                out = is_fresh ? nullptr : host.string("kept: ");
                EXPECT_EQ(with_strings ? to_json2(item, kPretty, 0) : to_json(item), expected);
                if (is_fresh) {
                    EXPECT_EQ(out, nullptr);
                } else {
                    const std::string text = take_out();
                    if (with_strings) {
                        EXPECT_EQ(text, kept);
                    }
                    kept = text;
                }
                EXPECT_EQ(host.state(), before);
            }
        }
        host.plan().clear();
        release(item.instance);
        EXPECT_EQ(kept.substr(0, 6), "kept: ");
        return kept.substr(std::min<std::size_t>(kept.size(), 6));
    }

    // Fails each append of a pretty conversion in turn, into a fresh string and into the caller's,
    // which then keeps a beginning of the whole text. The number of appends.
    std::uint64_t fail_appends(Item item, std::int32_t indent) {
        host.plan().clear();
        EXPECT_EQ(to_json2(item, kPretty, indent), NQ_STATUS_OK);
        const std::uint64_t appends = host.plan().calls(Call::kStringAppend);
        const std::string whole = take_out();
        const HostState before = host.state();
        for (std::uint64_t n = 0; n < appends; ++n) {
            for (const bool is_fresh : {true, false}) {
                out = is_fresh ? nullptr : host.string("");
                host.plan().clear();
                host.plan().fail(Call::kStringAppend, n, kPlanned);
                const NQStatus result = to_json2(item, kPretty, indent);
                const std::string kept = is_fresh ? "" : take_out();
                // The last append may have held no more than a fresh string's line feed.
                const bool ends_early = !is_fresh && n + 1 == appends && kept + "\n" == whole;
                EXPECT_EQ(result, ends_early ? NQ_STATUS_OK : kPlanned) << n;
                EXPECT_EQ(out, nullptr);
                EXPECT_EQ(kept, whole.substr(0, kept.size())) << n;
                EXPECT_EQ(host.state(), before) << n;
            }
        }
        host.plan().clear();
        return appends;
    }
};

}  // namespace

TEST_F(JsonFailure, ExtensionThatCannotBeLoaded) {
    host.plan().clear();
    host.plan().fail(Call::kLoadExtension, 0, kPlanned);
    EXPECT_EQ(to_json(nullptr), NQ_STATUS_NO_EXTENSION);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(host.plan().calls(Call::kAlloc), 0u);
    EXPECT_EQ(host.plan().calls(Call::kCreateFromUtf8), 0u);
    host.plan().clear();
    // The other entry has its service from the caller.
    EXPECT_EQ(to_json2(nullptr, kPretty, 0), NQ_STATUS_OK);
    EXPECT_EQ(host.plan().calls(Call::kLoadExtension), 0u);
    take_out();
}

TEST_F(JsonFailure, ExtensionIsHeldForTheCallAlone) {
    json(nullptr);
    EXPECT_EQ(host.plan().calls(Call::kLoadExtension), 1u);
    EXPECT_EQ(host.plan().calls(Call::kReleaseExtension), 1u);
}

TEST_F(JsonFailure, NoMemoryForTheWriter) {
    const HostState before = host.state();
    host.plan().clear();
    host.plan().fail(Call::kAlloc, 0, NQ_STATUS_NO_MEMORY, true);
    EXPECT_EQ(to_json(nullptr), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(out, nullptr);
    // The one entry had made its string by then, the other had not.
    EXPECT_EQ(host.plan().calls(Call::kCreateFromUtf8), 1u);
    EXPECT_EQ(to_json2(nullptr, kPretty, 0), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(host.plan().calls(Call::kCreateFromUtf8), 1u);
    EXPECT_EQ(host.plan().calls(Call::kCreateWithCapacity), 0u);
    EXPECT_EQ(host.state(), before);

    out = host.string("kept");
    EXPECT_EQ(to_json(nullptr), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(to_json2(nullptr, kPretty, 0), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(take_out(), "kept");
}

TEST_F(JsonFailure, FreshStringThatCannotBeMade) {
    const HostState before = host.state();
    for (const bool with_strings : {false, true}) {
        host.plan().clear();
        host.plan().fail(Call::kCreateFromUtf8, 0, kPlanned);
        EXPECT_EQ(with_strings ? to_json2(nullptr, kPretty, 0) : to_json(nullptr), kPlanned);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(host.state(), before);
    }
}

TEST_F(JsonFailure, IndentationThatCannotBeMade) {
    for (const std::uint64_t n : {0u, 1u, 2u}) {
        EXPECT_EQ(failing(nullptr, Call::kCreateWithCapacity, n), "");
    }
}

TEST_F(JsonFailure, UnknownKindStopsWithTheTextSoFar) {
    // Nothing of the element itself, not even its indentation.
    EXPECT_EQ(failing(character(), Call::kGetOption, 0, NQ_STATUS_UNSUPPORTED), "");
    EXPECT_EQ(failing(host.array({number(1), character(), number(2)}), Call::kGetOption, 0,
                      NQ_STATUS_UNSUPPORTED),
              "[\n    1,\n");
    EXPECT_EQ(
        failing(host.dictionary({{"k", character()}}), Call::kGetOption, 0, NQ_STATUS_UNSUPPORTED),
        "{\n    \"k\": ");
}

TEST_F(JsonFailure, TextBeforeARefusedInstanceFailsFirst) {
    host.plan().clear();
    host.plan().fail(Call::kStringAppend, 0, kPlanned, true);
    NQArray* array = host.array({character()});
    // Without indentation the refusal is what hands the text so far over.
    EXPECT_EQ(to_json2(array, kPretty, -1), kPlanned);
    EXPECT_EQ(out, nullptr);
    host.plan().clear();
    release(array);
}

TEST_F(JsonFailure, FirstFailureWinsOverTheOutputs) {
    host.plan().clear();
    host.plan().fail(Call::kListKeys, 0, kPlanned, false);
    host.plan().fail(Call::kStringAppend, 0, NQ_STATUS_NO_MEMORY, true);
    NQArray* array = host.array({host.dictionary({{"a", nullptr}})});
    EXPECT_EQ(to_json2(array, kPretty, -1), kPlanned);
    EXPECT_EQ(out, nullptr);
    host.plan().clear();
    release(array);
}

TEST_F(JsonFailure, StringsThatCannotBeCopied) {
    EXPECT_EQ(failing(host.array({host.string("a"), host.string("b")}), Call::kCreateFromUtf8, 1),
              "[\n    \"a\",\n    \"");
    EXPECT_EQ(failing(host.array({host.text(u8"a"), host.text(u8"b")}), Call::kCopyText, 1),
              "[\n    \"a\",\n    \"");
}

TEST_F(JsonFailure, StringsThatCannotBeEscaped) {
    EXPECT_EQ(failing(host.array({host.string("a\n"), host.string("b\n")}), Call::kStringInsert, 1),
              "[\n    \"a\\n\",\n    \"");
    EXPECT_EQ(failing(host.text(u8"b\n"), Call::kStringInsert, 0), "\"");
}

TEST_F(JsonFailure, RoomForManyBackslashesThatCannotBeHad) {
    const std::string quotes(300, '"');
    NQU8String* string = host.string(quotes);
    const HostState before = host.state();
    // The first block is the writer's, the second the run of backslashes.
    for (const Call call : {Call::kAlloc, Call::kStringInsert}) {
        host.plan().clear();
        host.plan().fail(call, call == Call::kAlloc ? 1 : 0, kPlanned);
        EXPECT_EQ(to_json2(string, kCompact, 0),
                  call == Call::kAlloc ? NQ_STATUS_NO_MEMORY : kPlanned);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(host.state(), before);
    }
    host.plan().clear();
    EXPECT_EQ(to_json2(string, kCompact, 0), NQ_STATUS_OK);
    std::string escaped;
    for (std::size_t i = 0; i < quotes.size(); ++i) escaped += "\\\"";
    EXPECT_EQ(take_out(), '"' + escaped + '"');
    release(string);
}

TEST_F(JsonFailure, DataThatCannotBeEncoded) {
    EXPECT_EQ(failing(host.array({data("f"), data("f")}), Call::kBase64, 1),
              "[\n    \"Zg==\",\n    \"");
}

TEST_F(JsonFailure, NumbersThatCannotBeFormatted) {
    EXPECT_EQ(failing(host.array({number(1), number(2)}), Call::kFormatToBuffer, 1),
              "[\n    1,\n    ");
}

TEST_F(JsonFailure, DatesThatCannotBeFormatted) {
    const auto after_one = [&](auto create) {
        return failing(host.array({create(api(), pool(), &status)}), Call::kFormatToBuffer, 0);
    };
    EXPECT_EQ(after_one(api()->createTime), "[\n    \"");
    EXPECT_EQ(after_one(api()->createCalendarDate), "[\n    ");
    // This one is formatted before its indentation is written.
    EXPECT_EQ(after_one(api()->createCalendarDateTime), "[\n");
    EXPECT_EQ(failing(host.array({made(api()->createDateTime(api(), pool(), 0, &status))}),
                      Call::kFormatToBuffer, 0),
              "[\n    ");
}

TEST_F(JsonFailure, DoubleTooLongForTheBuffer) {
    out = host.string("kept: ");
    NQArray* array =
        host.array({made(api()->createDouble(api(), pool(), 1e300, &status)), number(1)});
    EXPECT_EQ(to_json2(array, kCompact, 0), NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(take_out(), "kept: [");
    release(array);
}

TEST_F(JsonFailure, KeysThatCannotBeListed) {
    // A dictionary is not opened then, but its line is begun.
    EXPECT_EQ(failing(host.dictionary({{"k", host.dictionary()}}), Call::kListKeys, 0), "");
    EXPECT_EQ(failing(host.dictionary({{"k", host.dictionary()}}), Call::kListKeys, 1),
              "{\n    \"k\": \n");
}

TEST_F(JsonFailure, ValueThatCannotBeHadIsNull) {
    NQDictionary* dictionary = host.dictionary({{"a", number(1)}, {"b", number(2)}});
    host.plan().clear();
    host.plan().fail(Call::kDictionaryGet, 0, kPlanned);
    EXPECT_EQ(to_json2(dictionary, kCompact, 0), NQ_STATUS_OK);
    EXPECT_EQ(take_out(), R"({"a":null,"b":2})");
    host.plan().clear();
    release(dictionary);
}

TEST_F(JsonFailure, WhatIsWrittenBeforeTheOutputAsAValue) {
    out = host.string("x");
    retain(&out->header);
    NQArray* list = host.array({out});
    host.plan().clear();
    host.plan().fail(Call::kStringAppend, 0, kPlanned);
    NQU8String* const string = out;
    EXPECT_EQ(to_json2(list, kCompact, 0), kPlanned);
    EXPECT_EQ(text_of(string), "x");
    host.plan().clear();
    release(list);
    release(string);
}

TEST_F(JsonFailure, EveryAppendInTurn) {
    NQDictionary* tree =
        host.dictionary({{"a", host.array({number(1), host.string("x\ty"), data("foo")})},
                         {"b", host.dictionary({{"c", nullptr}})},
                         {"d", made(api()->createCalendarDateTime(api(), pool(), &status))},
                         {"e", host.string(std::string(5000, '"'))}});
    EXPECT_GE(fail_appends(tree, 0), 10u);
    EXPECT_GE(fail_appends(tree, -1), 5u);
    release(tree);
}

TEST_F(JsonFailure, WhereverTheGatheredTextIsHandedOver) {
    // Text in front moves each piece of an element to where the gathered text is full.
    const std::function<Item()> elements[] = {
        [&] { return nullptr; },
        [&] { return number(1); },
        [&] { return host.string("a\tb"); },
        [&] { return data("foo"); },
        [&] { return made(api()->createBoolean(api(), pool(), 1, &status)); },
        [&] { return made(api()->createTime(api(), pool(), &status)); },
        [&] { return made(api()->createCalendarDate(api(), pool(), &status)); },
        [&] { return made(api()->createDateTime(api(), pool(), 0, &status)); },
        [&] { return made(api()->createCalendarDateTime(api(), pool(), &status)); },
        [&] {
            return host.array({nullptr, host.dictionary()});
        },
        [&] {
            return host.dictionary({{"k", host.array()}, {"l", nullptr}});
        },
    };
    constexpr std::size_t kFull = 1024;
    for (const auto& element : elements) {
        for (std::size_t length = kFull - 70; length <= kFull; ++length) {
            NQArray* tree = host.array({host.string(std::string(length, 'x')), element()});
            fail_appends(tree, 0);
            fail_appends(tree, -1);
            release(tree);
            if (HasFailure()) return;
        }
    }
}

TEST_F(JsonFailure, FinalLineFeedThatCannotBeWritten) {
    // A text as long as what is gathered before it is appended: the line feed goes alone.
    for (std::size_t length = 1000; length < 1040; ++length) {
        NQU8String* text = host.string(std::string(length, 'x'));
        host.plan().clear();
        EXPECT_EQ(to_json(text), NQ_STATUS_OK);
        const std::uint64_t appends = host.plan().calls(Call::kStringAppend);
        take_out();
        host.plan().clear();
        host.plan().fail(Call::kStringAppend, appends - 1, kPlanned);
        EXPECT_EQ(to_json(text), kPlanned);
        EXPECT_EQ(out, nullptr);
        host.plan().clear();
        release(text);
    }
}
