// Random trees in every layout against a model of the layout.
#include <gtest/gtest.h>

#include <iterator>

#include "tests/json/json_tree.hpp"
#include "tests/support/random.hpp"

using namespace nq::test;

namespace {

constexpr JsonLayout kLayouts[] = {{0, 0}, {0, 3},  {1, 0},   {1, -1},    {1, 1},    {1, 7},
                                   {2, 0}, {2, -1}, {255, 2}, {0x101, 4}, {0x100, 4}};

// Each tree comes out as nqInstanceToJSON lays it out and in some of these, in turn.
constexpr std::uint64_t kLayoutsPerTree = 2;
static_assert(std::size(kLayouts) % kLayoutsPerTree != 0, "each layout meets both cases");

// The text that a call made or continued; the string is released.
std::string taken(NQU8String* out) {
    const std::string text = text_of(out);
    release(out);
    return text;
}

// One tree by both entries.
void check_tree(CheckingHost& host, const Tree& tree, std::uint64_t number) {
    InstanceHeader* instance = make_instance(host, tree);
    NQU8String* out = nullptr;
    ASSERT_EQ(host.api()->toJSON(host.api(), host.pool(), instance, &out), NQ_STATUS_OK);
    ASSERT_EQ(taken(out), expected_json(tree, {1, 4}) + "\n") << "tree " << number;

    for (std::uint64_t k = 0; k < kLayoutsPerTree; ++k) {
        const JsonLayout layout = kLayouts[(number * kLayoutsPerTree + k) % std::size(kLayouts)];
        // Every other text continues a string.
        const bool continues = number % 2 == 0;
        out = continues ? host.string("begun\"") : nullptr;
        ASSERT_EQ(host.api()->toJSON2(host.api(), host.string_api(), host.pool(), layout.mode,
                                      layout.indent, instance, &out),
                  NQ_STATUS_OK);
        std::string expected = expected_json(tree, layout);
        if (continues) {
            expected = "begun\"" + expected;
        } else if ((layout.mode & 0xff) == 1) {
            expected += "\n";
        }
        ASSERT_EQ(taken(out), expected)
            << "tree " << number << " mode " << layout.mode << " indent " << layout.indent;
    }
    release(instance);
}

void check_trees(std::uint64_t count, PoolMode mode) {
    RandomTrees trees(seeded_generator(), {});
    constexpr std::uint64_t kTreesPerHost = 2000;
    for (std::uint64_t number = 0; number < count;) {
        CheckingHost host(mode);
        ASSERT_TRUE(host.load());
        do {
            check_tree(host, trees.next(), number);
            if (testing::Test::HasFatalFailure()) return host.forgive();
            ++number;
        } while (number < count && number % kTreesPerHost != 0);
    }
}

}  // namespace

TEST(JsonModel, RandomTreesComeOutAsWritten) {
    check_trees(setting("ITER", 100000 / kSlowdown), PoolMode::kHeap);
}

TEST(JsonModel, RandomTreesInFrontOfProtectedPages) {
    check_trees(setting("ITER", 1000 / kSlowdown), PoolMode::kGuard);
}
