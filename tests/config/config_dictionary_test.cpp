#include <gtest/gtest.h>

#include "tests/config/config_support.hpp"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

using DestroyHook = NQStatus (*)(void*, void*, void*, void*, void*, void*);
using CloneHook = NQStatus (*)(InstanceHeader*, HostPool*, std::uint32_t, InstanceHeader**,
                               NQDictionaryApi*);

// A configuration dictionary as it stands in memory.
struct Record {
    NQDictionary dictionary;
    DestroyHook saved_destroy;
    CloneHook saved_clone;
};
NQ_RECORD(Record, 352);
NQ_FIELD(Record, saved_destroy, 336);
NQ_FIELD(Record, saved_clone, 344);

Record* record_of(NQDictionary* dictionary) { return reinterpret_cast<Record*>(dictionary); }

class ConfigDictionary : public testing::Test {
  protected:
    ConfigDictionary() {
        host.load();
        host.file("empty.conf", "");
    }

    NQStatus create(NQDictionary** out) {
        return host.api()->readConfiguration(host.api(), host.pool(), "empty.conf", nullptr, out);
    }
    NQDictionary* create() {
        NQDictionary* dictionary = nullptr;
        EXPECT_EQ(create(&dictionary), NQ_STATUS_OK);
        return dictionary;
    }
    static NQStatus clone(NQDictionary* source, HostPool* pool, NQDictionary** out,
                          std::uint32_t flags = 0) {
        return source->header.clone(&source->header, pool, flags,
                                    reinterpret_cast<InstanceHeader**>(out));
    }
    void set(NQDictionary* dictionary, const char* key, const char* value) {
        host.set(dictionary, key, host.string(value));
    }

    CheckingHost host;
};

TEST_F(ConfigDictionary, IsTheExtensionsDictionaryInALargerBlock) {
    const HostState before = host.state();
    NQDictionary* plain = host.dictionary();
    const HostState with_plain = host.state();
    NQDictionary* made = create();
    HostState larger = with_plain - before;
    larger.bytes += 352 - 336;
    larger.dictionary_holds += 1;
    EXPECT_EQ(host.state() - with_plain, larger);

    EXPECT_EQ(made->header.magic, NQ_MAGIC);
    EXPECT_STREQ(made->header.typeName, "NQDictionary");
    EXPECT_EQ(made->header.refCount, 1u);
    EXPECT_EQ(made->header.pool, host.pool());
    EXPECT_EQ(made->header.release, plain->header.release);
    EXPECT_EQ(made->set, plain->set);
    EXPECT_EQ(made->extension, host.dictionaries.table());
    EXPECT_NE(made->header.destroyHook, plain->header.destroyHook);
    EXPECT_NE(made->header.clone, plain->header.clone);
    EXPECT_EQ(reinterpret_cast<void*>(record_of(made)->saved_destroy),
              reinterpret_cast<void*>(plain->header.destroyHook));
    EXPECT_EQ(reinterpret_cast<void*>(record_of(made)->saved_clone),
              reinterpret_cast<void*>(plain->header.clone));

    set(made, "k", "v");
    EXPECT_EQ(to_string(tree_of(made)), R"({k: "v"})");
    release(made);
    EXPECT_EQ(host.state(), with_plain);
    release(plain);
}

TEST_F(ConfigDictionary, LivesUntilItsLastReference) {
    NQDictionary* made = create();
    retain(&made->header);
    release(made);
    EXPECT_EQ(host.state().dictionary_holds, 1);
    release(made);
    EXPECT_EQ(host.state().dictionary_holds, 0);
}

// The checking host's release hands its destroy operation five further arguments, and faults when
// they do not arrive.
TEST_F(ConfigDictionary, DestroyPassesAllArgumentsAndSucceeds) {
    static void* seen[6];
    static DestroyHook original;
    NQDictionary* made = create();
    original = record_of(made)->saved_destroy;
    record_of(made)->saved_destroy = [](void* a, void* b, void* c, void* d, void* e, void* f) {
        const void* const arguments[] = {a, b, c, d, e, f};
        std::copy(std::begin(arguments), std::end(arguments), const_cast<const void**>(seen));
        original(a, b, c, d, e, f);
        return NQStatus{NQ_STATUS_NO_MEMORY};
    };
    const auto hook =
        reinterpret_cast<DestroyHook>(reinterpret_cast<void*>(made->header.destroyHook));
    const auto word = [](std::size_t i) { return reinterpret_cast<void*>(kHookArguments[i]); };
    EXPECT_EQ(hook(made, word(0), word(1), word(2), word(3), word(4)), NQ_STATUS_OK);
    EXPECT_EQ(seen[0], made);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(seen[i + 1], word(i));
    EXPECT_EQ(host.state().dictionary_holds, 0);
}

TEST_F(ConfigDictionary, FailedCreateLeavesNothing) {
    const HostState before = host.state();
    NQDictionary* const untouched = reinterpret_cast<NQDictionary*>(&host);
    NQDictionary* made = untouched;

    host.plan().fail(Call::kLoadExtension, 0, 1);
    EXPECT_EQ(create(&made), NQ_STATUS_NO_EXTENSION);
    EXPECT_EQ(host.state(), before);

    for (const bool delivers : {false, true}) {
        host.plan().deliver_with_failure(delivers);
        host.plan().fail(Call::kCreateDictionary, 0, kHostRefusal);
        EXPECT_EQ(create(&made), kHostRefusal);
        EXPECT_EQ(host.state(), before) << "with a dictionary: " << delivers;
    }

    host.plan().fail(Call::kAlloc, 0, 1);
    EXPECT_EQ(create(&made), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(host.state(), before);
    EXPECT_EQ(made, untouched);
}

TEST_F(ConfigDictionary, CloneIsIndependent) {
    NQDictionary* first = create();
    set(first, "k", "v");
    HostPool* other_pool = host.make_pool("other").table();
    NQDictionary* second = nullptr;
    ASSERT_EQ(clone(first, other_pool, &second), NQ_STATUS_OK);
    EXPECT_EQ(second->header.pool, other_pool);
    EXPECT_EQ(second->header.refCount, 1u);
    EXPECT_EQ(second->extension, host.dictionaries.table());
    EXPECT_EQ(host.state().dictionary_holds, 2);
    EXPECT_EQ(second->header.destroyHook, first->header.destroyHook);
    EXPECT_EQ(second->header.clone, first->header.clone);
    EXPECT_EQ(record_of(second)->saved_destroy, record_of(first)->saved_destroy);
    EXPECT_EQ(record_of(second)->saved_clone, record_of(first)->saved_clone);

    set(second, "more", "x");
    EXPECT_EQ(to_string(tree_of(first)), R"({k: "v"})");
    EXPECT_EQ(to_string(tree_of(second)), R"({k: "v", more: "x"})");
    release(second);
    EXPECT_EQ(host.state().dictionary_holds, 1);
    EXPECT_EQ(to_string(tree_of(first)), R"({k: "v"})");
    release(first);
    EXPECT_EQ(host.state().dictionary_holds, 0);
}

TEST_F(ConfigDictionary, ClonesCanBeCloned) {
    NQDictionary* current = create();
    set(current, "k", "v");
    for (int i = 0; i < 4; ++i) {
        NQDictionary* next = nullptr;
        ASSERT_EQ(clone(current, host.pool(), &next), NQ_STATUS_OK);
        release(current);
        current = next;
    }
    EXPECT_EQ(to_string(tree_of(current)), R"({k: "v"})");
    release(current);
}

TEST_F(ConfigDictionary, CloneHandsItsArgumentsOn) {
    struct Seen {
        InstanceHeader* source;
        HostPool* pool;
        std::uint32_t flags;
        NQDictionaryApi* extension;
    };
    static Seen seen;
    static CloneHook original;
    NQDictionary* first = create();
    original = record_of(first)->saved_clone;
    record_of(first)->saved_clone = [](InstanceHeader* source, HostPool* pool, std::uint32_t flags,
                                       InstanceHeader** out, NQDictionaryApi* extension) {
        seen = {source, pool, flags, extension};
        EXPECT_EQ(*out, nullptr);
        return original(source, pool, flags, out, extension);
    };
    NQDictionary* second = nullptr;
    EXPECT_EQ(clone(first, host.pool(), &second, 0x8000'0005u), NQ_STATUS_OK);
    EXPECT_EQ(seen.source, &first->header);
    EXPECT_EQ(seen.pool, host.pool());
    EXPECT_EQ(seen.flags, 0x8000'0005u);
    EXPECT_EQ(seen.extension, host.dictionaries.table());
    EXPECT_EQ(record_of(second)->saved_clone, original) << "that of the plain clone";
    release(first);
    release(second);
}

TEST_F(ConfigDictionary, FailedCloneLeavesNothing) {
    NQDictionary* first = create();
    set(first, "k", "v");
    const HostState before = host.state();
    NQDictionary* const untouched = first;
    NQDictionary* second = untouched;
    const auto fails = [&](Call call, NQStatus status) {
        host.plan().fail(call, 0, status);
        const NQStatus result = clone(first, host.pool(), &second);
        EXPECT_EQ(host.state(), before);
        EXPECT_EQ(second, untouched);
        return result;
    };
    EXPECT_EQ(fails(Call::kLoadExtension, 1), NQ_STATUS_NO_EXTENSION);
    EXPECT_EQ(fails(Call::kAlloc, 1), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(fails(Call::kCloneObject, kHostRefusal), kHostRefusal);
    EXPECT_EQ(to_string(tree_of(first)), R"({k: "v"})");
    release(first);
}

}  // namespace
}  // namespace nq::test
