// Deep trees and long strings.
#include <pthread.h>

#include <functional>

#include "tests/json/json_fixture.hpp"

using namespace nq::test;

namespace {

// Runs the task in a thread with a stack of the usual size.
void with_usual_stack(const std::function<void()>& task) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{8} << 20), 0);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&task)),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t i = 0; i < times; ++i) result += text;
    return result;
}

class JsonLoad : public JsonFixture {
  protected:
    static constexpr std::size_t kDepth = 10000;

    // kDepth containers around nothing, every second one a dictionary when they alternate.
    InstanceHeader* deep_tree(bool alternates) {
        InstanceHeader* tree = nullptr;
        for (std::size_t i = 0; i < kDepth; ++i) {
            tree = alternates && i % 2 == 0 ? &host.dictionary({{"k", tree}})->header
                                            : &host.array({tree})->header;
        }
        return tree;
    }

    // The text of a string that needs escapes, all of which one insertion makes room for.
    std::string escaped_at_once(Item string) {
        host.plan().clear();
        std::string text = compact(string);
        EXPECT_EQ(host.plan().calls(Call::kStringInsert), 1u);
        return text;
    }
};

}  // namespace

TEST_F(JsonLoad, DeepTreesFitTheUsualStack) {
    with_usual_stack([&] {
        EXPECT_EQ(compact(deep_tree(false)),
                  repeated("[", kDepth) + "null" + repeated("]", kDepth));
        EXPECT_EQ(compact(deep_tree(true)),
                  repeated("[{\"k\":", kDepth / 2) + "null" + repeated("}]", kDepth / 2));
        EXPECT_EQ(json2(deep_tree(false), kPretty, -1),
                  repeated("[\n", kDepth) + "null\n" + repeated("]\n", kDepth));
    });
}

TEST_F(JsonLoad, StringOfQuotesNeedsOneInsertion) {
    constexpr std::size_t kQuotes = std::size_t{16} << 20;
    EXPECT_TRUE(escaped_at_once(host.string(std::string(kQuotes, '"'))) ==
                '"' + repeated("\\\"", kQuotes) + '"');
}

TEST_F(JsonLoad, TextOfTabsNeedsOneInsertion) {
    constexpr std::size_t kTabs = std::size_t{1} << 20;
    EXPECT_TRUE(escaped_at_once(host.text(std::u32string(kTabs, U'\t'))) ==
                '"' + repeated("\\t", kTabs) + '"');
}

TEST_F(JsonLoad, TextWithoutEscapesIsLeftAlone) {
    NQU8String* plain = host.string(std::string(std::size_t{1} << 20, 'x'));
    host.plan().clear();
    EXPECT_EQ(to_json2(plain, kCompact, 0), NQ_STATUS_OK);
    EXPECT_EQ(host.plan().calls(Call::kStringInsert), 0u);
    EXPECT_EQ(take_out().size(), (std::size_t{1} << 20) + 2);
    release(plain);
}
