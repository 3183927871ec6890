#include "standalone/values/arrays.hpp"

#include <gtest/gtest.h>

#include "standalone/host.hpp"
#include "standalone/values/strings.hpp"

namespace nq {
namespace {

class Array : public testing::Test {
  protected:
    NQArray* make() {
        NQArray* array = nullptr;
        NQArrayApi operations = array_operations();
        EXPECT_EQ(operations.createArray(&operations, pool, 0, &array), NQ_STATUS_OK);
        return array;
    }

    Host host;
    HostPool* pool = host.make_pool("arrays");
};

TEST_F(Array, StartsEmptyAndKnowsItsType) {
    NQArray* array = make();
    EXPECT_EQ(array->count, 0u);
    EXPECT_EQ(array->header.refCount, 1u);
    EXPECT_EQ(array->header.pool, pool);
    const char name[] = {'N', 'Q', 'A', 'r', 'r', 'a', 'y', 0};
    EXPECT_EQ(array->header.isType(&array->header, name), 1);
    EXPECT_EQ(array->header.isType(&array->header, "NQArra"), 0);
    EXPECT_EQ(array->header.isType(&array->header, nullptr), 0);
    EXPECT_EQ(array->header.release(array), NQ_STATUS_OK);
}

TEST_F(Array, ValidationFindsItValid) {
    NQArray* array = make();
    uint32_t verdict = 7;
    EXPECT_EQ(array->header.validate(&array->header, nullptr, &verdict, nullptr), NQ_STATUS_OK);
    EXPECT_EQ(verdict, 0u);
    EXPECT_EQ(array->header.validate(&array->header, nullptr, nullptr, nullptr),
              NQ_STATUS_INVALID_ARGUMENT);
    array->header.release(array);
}

TEST_F(Array, TakesReferencesOfItsOwn) {
    NQArray* array = make();
    NQU8String* item = make_u8string(pool, "item");
    EXPECT_EQ(array->append(array, item, 0), NQ_STATUS_OK);
    EXPECT_EQ(array->append(array, item, 0), NQ_STATUS_OK);
    EXPECT_EQ(item->header.refCount, 3u);
    array->header.release(array);
    EXPECT_EQ(item->header.refCount, 1u);
    item->header.release(item);
}

TEST_F(Array, KeepsNullElements) {
    NQArray* array = make();
    EXPECT_EQ(array->append(array, nullptr, 0), NQ_STATUS_OK);
    ASSERT_EQ(array->count, 1u);
    EXPECT_EQ(array->elements[0], nullptr);
    array->header.release(array);
}

TEST_F(Array, KeepsAMillionElementsInOrder) {
    NQArray* array = make();
    NQU8String* items[] = {make_u8string(pool, "a"), make_u8string(pool, "b"),
                           make_u8string(pool, "c")};
    for (int i = 0; i < 1'000'000; ++i) {
        ASSERT_EQ(array->append(array, items[i % 3], 0), NQ_STATUS_OK);
    }
    ASSERT_EQ(array->count, 1'000'000u);
    for (uint64_t i = 0; i < array->count; ++i) {
        ASSERT_EQ(array->elements[i], &items[i % 3]->header) << i;
    }
    array->header.release(array);
    for (NQU8String* item : items) {
        EXPECT_EQ(item->header.refCount, 1u);
        item->header.release(item);
    }
}

TEST_F(Array, CloneSharesTheElements) {
    NQArray* array = make();
    NQU8String* item = make_u8string(pool, "item");
    array->append(array, item, 0);
    array->append(array, nullptr, 0);
    HostPool* other_pool = host.make_pool("clones");
    for (HostPool* target : {other_pool, static_cast<HostPool*>(nullptr)}) {
        InstanceHeader* out = nullptr;
        ASSERT_EQ(array->header.clone(&array->header, target, 0, &out), NQ_STATUS_OK);
        auto* clone = reinterpret_cast<NQArray*>(out);
        EXPECT_EQ(out->pool, target ? target : pool);
        EXPECT_EQ(out->refCount, 1u);
        ASSERT_EQ(clone->count, 2u);
        EXPECT_EQ(clone->elements[0], &item->header);
        EXPECT_EQ(clone->elements[1], nullptr);
        EXPECT_NE(clone->elements, array->elements);
        EXPECT_EQ(item->header.refCount, 3u);
        clone->append(clone, item, 0);
        EXPECT_EQ(array->count, 2u);
        out->release(clone);
        EXPECT_EQ(item->header.refCount, 2u);
    }
    array->header.release(array);
    item->header.release(item);
}

TEST_F(Array, ReleasesADeepTree) {
    NQArray* tree = make();
    for (int depth = 0; depth < 10'000; ++depth) {
        NQArray* outer = make();
        outer->append(outer, tree, 0);
        tree->header.release(tree);
        tree = outer;
    }
    NQArray* inner = reinterpret_cast<NQArray*>(tree->elements[0]);
    EXPECT_EQ(inner->header.refCount, 1u);
    EXPECT_EQ(tree->header.release(tree), NQ_STATUS_OK);
}

}  // namespace
}  // namespace nq
