// Threads that convert and clone the same instances at once, each with results of its own.
#include <string>

#include "nqinstance/core/data.h"
#include "tests/support/library.hpp"
#include "tests/threads/shared_host.hpp"

namespace nq::test {
namespace {

std::string text_of(NQU8String* text) {
    std::string result(reinterpret_cast<const char*>(text->bytes), text->length);
    text->header.release(&text->header);
    return result;
}

class SharedThread : public SharedHost {
  protected:
    void SetUp() override {
        SharedHost::SetUp();
        strings = extension<NQStringApi>(units("nqstring"));
        NQStatus status = 0;
        data = api()->createData(api(), pool, "shared bytes", 12, 1, 0, &status);
        share(data);
        NQCalendarDateTime* both = api()->createCalendarDateTime(api(), pool, &status);
        both->year = 2020;
        both->month = 2;
        both->day = 29;
        date = share(both);
    }

    // The compact text.
    std::string json(InstanceHeader* instance) {
        NQU8String* text = nullptr;
        const NQStatus status = api()->toJSON2(api(), strings, pool, 0, 0, instance, &text);
        return status ? "status " + std::to_string(status) : text_of(text);
    }
    std::string base64() {
        NQU8String* text = nullptr;
        const NQStatus status = NQ_LIBRARY(nqDataEncodeBase64U8)(data, &text, 0, 0);
        return status ? "status " + std::to_string(status) : text_of(text);
    }
    std::string json_of_clone(InstanceHeader* instance) {
        InstanceHeader* clone = nullptr;
        if (instance->clone(instance, pool, 0, &clone)) return "no clone";
        std::string text = json(clone);
        clone->release(clone);
        return text;
    }

    NQStringApi* strings = nullptr;
    NQData* data = nullptr;
    InstanceHeader* date = nullptr;
};

TEST_F(SharedThread, NumbersBecomeText) {
    NQStatus status = 0;
    InstanceHeader* number = share(api()->createDouble(api(), pool, 0.5, &status));
    check_at_once(1, [&] { return json(number) == "0.500000"; });
}

TEST_F(SharedThread, DatesBecomeText) {
    const std::string expected = json(date);
    EXPECT_NE(expected.find("2020-02-29"), std::string::npos) << expected;
    check_at_once(1, [&] { return json(date) == expected; });
}

TEST_F(SharedThread, DataBecomesBase64) {
    check_at_once(1, [&] { return base64() == "c2hhcmVkIGJ5dGVz"; });
}

TEST_F(SharedThread, ClonesAreConverted) {
    const std::string expected = json(date);
    check_at_once(1, [&] { return json_of_clone(date) == expected; });
}

// A tree is six conversions, of its keys and texts.
TEST_F(SharedThread, TreesBecomeText) {
    host.add_memory_file("shared.conf", "name = value \"quoted\"\n[section]\nempty =\n  n = 1\n");
    NQDictionary* tree = nullptr;
    std::int32_t line = 0;
    ASSERT_EQ(api()->readConfiguration(api(), pool, "shared.conf", &line, &tree), NQ_STATUS_OK);
    share(tree);
    const std::string expected = R"({"name":"value \"quoted\"","section":{"empty":{"n":"1"}}})";
    check_at_once(6, [&] { return json(&tree->header) == expected; });
}

}  // namespace
}  // namespace nq::test
