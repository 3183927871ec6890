#include "standalone/values/dictionaries.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/base/extension.hpp"
#include "standalone/base/keyed_hash.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/host.hpp"
#include "standalone/memory/pool.hpp"
#include "standalone/values/strings.hpp"
#include "tests/support/random.hpp"

namespace nq {
namespace {

using test::SeededRandom;

class Dictionary : public testing::Test {
  protected:
    void SetUp() override {
        kernel = host.kernel();
        const NQChar name[] = {'n', 'q', 'd', 'i', 'c', 't', 'i', 'o', 'n', 'a', 'r', 'y'};
        api =
            reinterpret_cast<NQDictionaryApi*>(kernel->loadExtension(kernel, name, 12, 0, nullptr));
        ASSERT_NE(api, nullptr);
    }
    void TearDown() override {
        EXPECT_EQ(host.holds("nqdictionary"), 1u) << "a dictionary was not released";
        api->handle.release(api);
    }

    NQDictionary* make() {
        NQDictionary* dictionary = nullptr;
        EXPECT_EQ(api->createDictionary(api, pool, nullptr, &dictionary, api), NQ_STATUS_OK);
        return dictionary;
    }

    NQStatus set(NQDictionary* dictionary, std::string_view key, std::string_view value) {
        NQU8String* key_string = make_u8string(pool, key);
        NQU8String* value_string = make_u8string(pool, value);
        const NQStatus status = dictionary->set(dictionary, key_string, &value_string->header);
        key_string->header.release(key_string);
        value_string->header.release(value_string);
        return status;
    }

    // The value's text, or "-" for an absent key.
    static std::string value_of(NQDictionary* dictionary, std::string_view key) {
        InstanceHeader* value = nullptr;
        if (!dictionary->find(dictionary, reinterpret_cast<const uint8_t*>(key.data()), key.size(),
                              &value)) {
            return "-";
        }
        return std::string(text_of(*reinterpret_cast<NQU8String*>(value)));
    }

    static std::vector<std::string> keys_of(NQDictionary* dictionary) {
        NQArray* keys = nullptr;
        EXPECT_EQ(dictionary->listKeys(dictionary, &keys), NQ_STATUS_OK);
        std::vector<std::string> texts;
        for (uint64_t i = 0; i < keys->count; ++i) {
            texts.emplace_back(text_of(*reinterpret_cast<NQU8String*>(keys->elements[i])));
        }
        keys->header.release(keys);
        return texts;
    }

    // What a component does that keeps a dictionary as the first part of a larger object.
    static NQDictionary* move_to_another_block(NQDictionary* dictionary) {
        HostPool* home = dictionary->header.pool;
        void* block = home->alloc(home, sizeof(NQDictionary) + 16, 0);
        std::memcpy(block, static_cast<void*>(dictionary), sizeof(NQDictionary));
        std::memset(static_cast<void*>(dictionary), 0xDD, sizeof(NQDictionary));
        home->free(home, dictionary);
        return static_cast<NQDictionary*>(block);
    }

    Host host;
    HostPool* pool = host.make_pool("dictionaries");
    HostKernel* kernel = nullptr;
    NQDictionaryApi* api = nullptr;
};

TEST_F(Dictionary, StartsEmptyAndHoldsItsExtension) {
    NQDictionary* dictionary = make();
    EXPECT_EQ(dictionary->header.isType(&dictionary->header, "NQDictionary"), 1);
    EXPECT_EQ(dictionary->extension, api);
    EXPECT_NE(api->strings, nullptr);
    EXPECT_EQ(host.holds("nqdictionary"), 2u);
    EXPECT_TRUE(keys_of(dictionary).empty());
    EXPECT_EQ(value_of(dictionary, ""), "-");
    dictionary->header.release(dictionary);
    EXPECT_EQ(host.holds("nqdictionary"), 1u);
}

TEST_F(Dictionary, TakesReferencesOfItsOwn) {
    NQDictionary* dictionary = make();
    NQU8String* key = make_u8string(pool, "key");
    NQU8String* value = make_u8string(pool, "value");
    ASSERT_EQ(dictionary->set(dictionary, key, &value->header), NQ_STATUS_OK);
    EXPECT_EQ(key->header.refCount, 2u);
    EXPECT_EQ(value->header.refCount, 2u);
    InstanceHeader* found = nullptr;
    ASSERT_EQ(dictionary->get(dictionary, key, &found), NQ_STATUS_OK);
    EXPECT_EQ(found, &value->header);
    EXPECT_EQ(value->header.refCount, 2u);
    dictionary->header.release(dictionary);
    EXPECT_EQ(key->header.refCount, 1u);
    EXPECT_EQ(value->header.refCount, 1u);
    key->header.release(key);
    value->header.release(value);
}

TEST_F(Dictionary, ListsKeysInTheOrderOfTheirArrival) {
    NQDictionary* dictionary = make();
    const std::vector<std::string> keys = {"zeta", "alpha", "", "Mu", "alpha ", "\xC3\xA4"};
    for (const std::string& key : keys) set(dictionary, key, "v" + key);
    EXPECT_EQ(keys_of(dictionary), keys);
    for (const std::string& key : keys) EXPECT_EQ(value_of(dictionary, key), "v" + key);
    EXPECT_EQ(value_of(dictionary, "mu"), "-");
    dictionary->header.release(dictionary);
}

TEST_F(Dictionary, ARepeatedKeyReplacesTheValueAndKeepsItsPlace) {
    NQDictionary* dictionary = make();
    for (const char* key : {"a", "b", "c"}) set(dictionary, key, "old");
    NQU8String* value = make_u8string(pool, "held elsewhere");
    NQU8String* key = make_u8string(pool, "b");
    dictionary->set(dictionary, key, &value->header);
    EXPECT_EQ(key->header.refCount, 1u);  // the first key object stays
    EXPECT_EQ(set(dictionary, "b", "new"), NQ_STATUS_OK);
    EXPECT_EQ(value->header.refCount, 1u);
    EXPECT_EQ(keys_of(dictionary), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(value_of(dictionary, "b"), "new");
    // The value that is there already may be set once more.
    dictionary->set(dictionary, key, &value->header);
    dictionary->set(dictionary, key, &value->header);
    EXPECT_EQ(value->header.refCount, 2u);
    dictionary->header.release(dictionary);
    key->header.release(key);
    value->header.release(value);
}

TEST_F(Dictionary, KeepsNullValues) {
    NQDictionary* dictionary = make();
    NQU8String* key = make_u8string(pool, "nothing");
    ASSERT_EQ(dictionary->set(dictionary, key, nullptr), NQ_STATUS_OK);
    InstanceHeader* value = &key->header;
    EXPECT_EQ(dictionary->get(dictionary, key, &value), NQ_STATUS_OK);
    EXPECT_EQ(value, nullptr);
    value = &key->header;
    EXPECT_EQ(dictionary->find(dictionary, key->bytes, key->length, &value), 1);
    EXPECT_EQ(value, nullptr);
    key->header.release(key);
    dictionary->header.release(dictionary);
}

TEST_F(Dictionary, AbsentAndNullKeysAreReported) {
    NQDictionary* dictionary = make();
    set(dictionary, "present", "value");
    NQU8String* absent = make_u8string(pool, "absent");
    InstanceHeader* value = &absent->header;
    EXPECT_EQ(dictionary->find(dictionary, absent->bytes, absent->length, &value), 0);
    EXPECT_EQ(value, &absent->header);
    EXPECT_EQ(dictionary->get(dictionary, absent, &value), NQ_HOST_STATUS_UNKNOWN_KEY);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(dictionary->get(dictionary, nullptr, &value), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(dictionary->set(dictionary, nullptr, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(dictionary->find(dictionary, nullptr, 1, &value), 0);
    absent->header.release(absent);
    dictionary->header.release(dictionary);
}

// Few keys are found without an index, by what they begin with and how long they are.
TEST_F(Dictionary, TellsKeysApartThatBeginAlike) {
    const std::vector<std::string> keys = {
        "",
        std::string(1, '\0'),
        std::string(2, '\0'),
        "abcdefg",
        "abcdefgh",
        "abcdefgi",
        std::string(255, 'x'),
        std::string(300, 'x'),
        // From here on there is an index.
        std::string(299, 'x') + "y",
        "abcdef",
        "abcde",
        "abcd",
        "abc",
    };
    NQDictionary* dictionary = make();
    for (std::size_t count = 0; count < keys.size(); ++count) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const std::string expected = i < count ? "value " + std::to_string(i) : "-";
            EXPECT_EQ(value_of(dictionary, keys[i]), expected) << count << " keys, key " << i;
        }
        EXPECT_EQ(keys_of(dictionary).size(), count);
        ASSERT_EQ(set(dictionary, keys[count], "old"), NQ_STATUS_OK);
        ASSERT_EQ(set(dictionary, keys[count], "value " + std::to_string(count)), NQ_STATUS_OK);
    }
    EXPECT_EQ(keys_of(dictionary), keys);
    dictionary->header.release(dictionary);
}

TEST_F(Dictionary, SurvivesBeingMoved) {
    NQDictionary* dictionary = make();
    for (int i = 0; i < 100; ++i) set(dictionary, std::to_string(i), std::to_string(i * i));
    dictionary = move_to_another_block(dictionary);
    EXPECT_EQ(value_of(dictionary, "99"), "9801");
    for (int i = 100; i < 200; ++i) set(dictionary, std::to_string(i), std::to_string(i * i));
    dictionary = move_to_another_block(dictionary);
    EXPECT_EQ(value_of(dictionary, "150"), "22500");
    EXPECT_EQ(keys_of(dictionary).size(), 200u);
    EXPECT_EQ(dictionary->header.destroyHook(&dictionary->header), NQ_STATUS_OK);
}

TEST_F(Dictionary, ClonesAreIndependentAndShareEntries) {
    NQDictionary* dictionary = make();
    NQU8String* key = make_u8string(pool, "key");
    NQU8String* value = make_u8string(pool, "value");
    dictionary->set(dictionary, key, &value->header);
    for (int i = 0; i < 50; ++i) set(dictionary, std::to_string(i), "v");
    dictionary = move_to_another_block(dictionary);
    HostPool* other_pool = host.make_pool("clones");
    InstanceHeader* out = nullptr;
    ASSERT_EQ(dictionary->header.clone(&dictionary->header, other_pool, 5, &out), NQ_STATUS_OK);
    EXPECT_EQ(out->pool, other_pool);
    EXPECT_EQ(out->refCount, 1u);
    EXPECT_EQ(key->header.refCount, 3u);
    EXPECT_EQ(value->header.refCount, 3u);
    EXPECT_EQ(host.holds("nqdictionary"), 3u);
    NQDictionary* clone = move_to_another_block(reinterpret_cast<NQDictionary*>(out));
    set(clone, "more", "only here");
    set(clone, "key", "changed");
    EXPECT_EQ(keys_of(clone).size(), 52u);
    EXPECT_EQ(keys_of(dictionary).size(), 51u);
    EXPECT_EQ(value_of(dictionary, "key"), "value");
    InstanceHeader* second = nullptr;
    ASSERT_EQ(clone->header.clone(&clone->header, nullptr, 0, &second), NQ_STATUS_OK);
    EXPECT_EQ(second->pool, other_pool);
    dictionary->header.release(dictionary);
    EXPECT_EQ(value_of(clone, "49"), "v");
    clone->header.release(clone);
    EXPECT_EQ(value_of(reinterpret_cast<NQDictionary*>(second), "more"), "only here");
    second->release(second);
    EXPECT_EQ(key->header.refCount, 1u);
    EXPECT_EQ(value->header.refCount, 1u);
    key->header.release(key);
    value->header.release(value);
}

TEST_F(Dictionary, ClonesAnEmptyDictionary) {
    NQDictionary* dictionary = make();
    InstanceHeader* out = nullptr;
    ASSERT_EQ(dictionary->header.clone(&dictionary->header, pool, 0, &out), NQ_STATUS_OK);
    auto* clone = reinterpret_cast<NQDictionary*>(out);
    EXPECT_EQ(value_of(clone, "a"), "-");
    set(clone, "a", "b");
    EXPECT_EQ(value_of(clone, "a"), "b");
    clone->header.release(clone);
    dictionary->header.release(dictionary);
}

double seconds_for_keys(NQDictionary* dictionary, HostPool* pool, uint64_t count) {
    const auto start = std::chrono::steady_clock::now();
    for (uint64_t i = 0; i < count; ++i) {
        NQU8String* key = make_u8string(pool, "key number " + std::to_string(i));
        EXPECT_EQ(dictionary->set(dictionary, key, &key->header), NQ_STATUS_OK);
        key->header.release(key);
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST_F(Dictionary, TakesAMillionKeysInLinearTime) {
    constexpr uint64_t kKeys = NQ_UNDER_SANITIZER ? 200'000 : 1'000'000;
    NQDictionary* small = make();
    const double tenth = seconds_for_keys(small, pool, kKeys / 10);
    small->header.release(small);
    NQDictionary* dictionary = make();
    const double whole = seconds_for_keys(dictionary, pool, kKeys);
    // Linear is 10 times; quadratic would be 100. Caches and a busy machine get the rest.
    EXPECT_LT(whole, tenth * 50 + 1);
    NQArray* keys = nullptr;
    ASSERT_EQ(dictionary->listKeys(dictionary, &keys), NQ_STATUS_OK);
    ASSERT_EQ(keys->count, kKeys);
    for (uint64_t i = 0; i < keys->count; ++i) {
        auto* key = reinterpret_cast<NQU8String*>(keys->elements[i]);
        ASSERT_EQ(text_of(*key), "key number " + std::to_string(i));
        InstanceHeader* value = nullptr;
        ASSERT_EQ(dictionary->get(dictionary, key, &value), NQ_STATUS_OK);
        ASSERT_EQ(value, &key->header);
    }
    keys->header.release(keys);
    dictionary->header.release(dictionary);
}

TEST_F(Dictionary, RandomChangesAgreeWithAModel) {
    SeededRandom random(20'000);
    NQDictionary* dictionary = make();
    std::map<std::string, std::string> model;
    std::vector<std::string> order;
    for (uint64_t i = 0; i < random.rounds(); ++i) {
        std::string key;
        for (uint64_t n = random.below(4); key.size() < n;) {
            key += static_cast<char>(random.below(8) ? 'a' + random.below(10) : 0);
        }
        const auto known = model.find(key);
        ASSERT_EQ(value_of(dictionary, key), known == model.end() ? "-" : known->second);
        if (random.below(2) == 0) continue;
        const std::string value = std::to_string(i);
        ASSERT_EQ(set(dictionary, key, value), NQ_STATUS_OK);
        if (known == model.end()) order.push_back(key);
        model[key] = value;
    }
    EXPECT_EQ(keys_of(dictionary), order);
    dictionary->header.release(dictionary);
}

TEST(KeyedHash, IsAFunctionOfTheWholeText) {
    const std::string text = "abcdefghijklmnopqrstuvwxyz";
    std::map<uint64_t, std::string> seen;
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const std::string part = text.substr(0, length);
        EXPECT_EQ(keyed_hash(part), keyed_hash(std::string(part)));
        EXPECT_TRUE(seen.emplace(keyed_hash(part), part).second) << part;
        for (std::size_t at = 0; at < length; ++at) {
            std::string changed = part;
            changed[at] = 'A';
            EXPECT_TRUE(seen.emplace(keyed_hash(changed), changed).second) << changed;
        }
    }
    EXPECT_TRUE(seen.emplace(keyed_hash(std::string(1, '\0')), "NUL").second);
    EXPECT_TRUE(seen.emplace(keyed_hash(std::string(8, '\0')), "8 NULs").second);
}

}  // namespace
}  // namespace nq
