#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

#include "standalone/base/extension.hpp"
#include "standalone/values/arrays.hpp"
#include "standalone/values/dictionaries.hpp"
#include "standalone/values/strings.hpp"
#include "tests/support/checking_pool.hpp"
#include "tests/support/failure_plan.hpp"

namespace nq {
namespace {

using test::CheckingPool;
using test::FailurePlan;

const std::string kLongText(200, 'x');

const uint8_t* long_bytes() { return reinterpret_cast<const uint8_t*>(kLongText.data()); }

class ObjectFault : public testing::Test {
  protected:
    // Refuses the 1st, 2nd, ... allocation of an operation until it succeeds. Each refusal must be
    // reported, must leave no block behind and must leave `unchanged` true.
    void sweep(
        const std::function<NQStatus()>& operation,
        const std::function<bool()>& unchanged = [] { return true; }) {
        for (uint64_t n = 0;; ++n) {
            const uint64_t blocks = checked.blocks();
            plan.fail_any(n);
            const NQStatus status = operation();
            // The plan may hit the block that an operation frees in the end, which does no harm.
            bool has_failed = false;
            for (const test::FailedCall& failed : plan.failures()) {
                has_failed = has_failed || !gives_back(failed.call);
            }
            plan.clear();
            checked.check();
            if (!has_failed) {
                EXPECT_EQ(status, NQ_STATUS_OK);
                EXPECT_GT(n, 0u) << "nothing was allocated";
                return;
            }
            EXPECT_EQ(status, NQ_STATUS_NO_MEMORY) << "allocation " << n;
            EXPECT_EQ(checked.blocks(), blocks) << "allocation " << n;
            EXPECT_TRUE(unchanged()) << "allocation " << n;
        }
    }

    // The same for an operation that makes an object, which is released in the end.
    template <class Object>
    void sweep_making(const std::function<NQStatus(Object**)>& make) {
        Object* made = nullptr;
        sweep([&] { return make(&made); }, [&] { return made == nullptr; });
        ASSERT_NE(made, nullptr);
        reinterpret_cast<InstanceHeader*>(made)->release(made);
    }

    void sweep_clone(InstanceHeader* source) {
        sweep_making<InstanceHeader>(
            [&](InstanceHeader** out) { return source->clone(source, pool, 0, out); });
    }

    void TearDown() override { EXPECT_EQ(checked.blocks(), 0u); }

    FailurePlan plan;
    CheckingPool checked{plan, test::PoolMode::kHeap, "checked"};
    HostPool* pool = checked.table();
    Extension<NQStringApi> strings{"nqstring", string_operations()};
    Extension<NQArrayApi> arrays{"nqarray", array_operations()};
    Extension<NQDictionaryApi> dictionaries{"nqdictionary", dictionary_operations()};
};

TEST_F(ObjectFault, StringsThatCannotBeMadeLeaveNothingBehind) {
    sweep_making<NQU8String>([&](NQU8String** out) {
        return strings.createFromUtf8(&strings, out, pool, long_bytes(), kLongText.size(), 1);
    });
    sweep_making<NQU8String>(
        [&](NQU8String** out) { return strings.createWithCapacity(&strings, out, pool, 100); });
    const NQChar units[40] = {};
    sweep_making<NQU8String>(
        [&](NQU8String** out) { return strings.copyText(&strings, out, pool, units, 40); });
    sweep_making<NQU8String>([&](NQU8String** out) {
        return strings.base64EncodeU8(&strings, long_bytes(), kLongText.size(), pool, out, 0, 0);
    });
    sweep_making<NQU8String>([&](NQU8String** out) {
        *out = strings.newString(&strings, pool, long_bytes(), kLongText.size(), 0);
        return *out ? NQ_STATUS_OK : NQ_STATUS_NO_MEMORY;
    });
    sweep_making<NQString>([&](NQString** out) {
        *out = make_nqstring(pool, units, 40);
        return *out ? NQ_STATUS_OK : NQ_STATUS_NO_MEMORY;
    });
}

TEST_F(ObjectFault, StringsThatCannotGrowKeepTheirText) {
    for (const std::string& text : {std::string("short"), kLongText}) {
        NQU8String* string = make_u8string(pool, text);
        const auto unchanged = [&] { return text_of(*string) == text; };
        sweep(
            [&] {
                return string->methods->append(string, long_bytes(), kLongText.size(),
                                               NQ_ENCODING_UTF8);
            },
            unchanged);
        EXPECT_EQ(text_of(*string), text + kLongText);
        string->header.release(string);
        string = make_u8string(pool, text);
        sweep([&] { return string->methods->insert(string, 3, long_bytes(), kLongText.size()); },
              unchanged);
        EXPECT_EQ(text_of(*string), text.substr(0, 3) + kLongText + text.substr(3));
        sweep_clone(&string->header);
        string->header.release(string);
    }
    NQU8String* string = make_u8string(pool, "");
    sweep([&] { return string->methods->formatMessage(string, nullptr, NQ_STATUS_UNCONVERTIBLE); },
          [&] { return string->length == 0; });
    string->header.release(string);
}

TEST_F(ObjectFault, ArraysThatCannotGrowKeepTheirElements) {
    sweep_making<NQArray>([&](NQArray** out) { return arrays.createArray(&arrays, pool, 0, out); });
    NQArray* array = make_array(pool);
    NQU8String* item = make_u8string(pool, "item");
    for (uint64_t count : {0u, 4u, 8u, 16u}) {
        while (array->count < count) array->append(array, item, 0);
        sweep([&] { return array->append(array, item, 0); },
              [&] { return array->count == count && item->header.refCount == count + 1; });
    }
    sweep_clone(&array->header);
    EXPECT_EQ(item->header.refCount, 18u);
    array->header.release(array);
    EXPECT_EQ(item->header.refCount, 1u);
    item->header.release(item);
}

TEST_F(ObjectFault, DictionariesThatCannotGrowKeepTheirEntries) {
    sweep_making<NQDictionary>([&](NQDictionary** out) {
        return dictionaries.createDictionary(&dictionaries, pool, nullptr, out, &dictionaries);
    });
    EXPECT_EQ(dictionaries.holds(), 0u);
    NQDictionary* dictionary = nullptr;
    dictionaries.createDictionary(&dictionaries, pool, nullptr, &dictionary, &dictionaries);
    NQU8String* value = make_u8string(pool, "value");
    const auto has = [&](uint64_t number) {
        const std::string key = std::to_string(number);
        InstanceHeader* found = nullptr;
        return dictionary->find(dictionary, reinterpret_cast<const uint8_t*>(key.data()),
                                key.size(), &found) == 1;
    };
    for (uint64_t number = 0; number < 40; ++number) {
        NQU8String* key = make_u8string(pool, std::to_string(number));
        const auto set = [&] { return dictionary->set(dictionary, key, &value->header); };
        const auto unchanged = [&] {
            for (uint64_t i = 0; i < number; ++i) {
                if (!has(i)) return false;
            }
            return !has(number) && key->header.refCount == 1 &&
                   value->header.refCount == number + 1;
        };
        // The index grows for the 1st, the 9th, the 17th and the 33rd key.
        if (number == 0 || number == 8 || number == 16 || number == 32) {
            sweep(set, unchanged);
        } else {
            EXPECT_EQ(set(), NQ_STATUS_OK);
        }
        key->header.release(key);
    }
    sweep_making<NQArray>([&](NQArray** out) { return dictionary->listKeys(dictionary, out); });
    sweep_clone(&dictionary->header);
    EXPECT_EQ(dictionaries.holds(), 1u);
    dictionary->header.release(dictionary);
    EXPECT_EQ(dictionaries.holds(), 0u);
    EXPECT_EQ(value->header.refCount, 1u);
    value->header.release(value);
}

TEST_F(ObjectFault, ReplacingAValueInAFullDictionaryNeedsNoMemory) {
    NQDictionary* dictionary = nullptr;
    dictionaries.createDictionary(&dictionaries, pool, nullptr, &dictionary, &dictionaries);
    NQU8String* key = nullptr;
    for (int i = 0; i < 8; ++i) {
        if (key) key->header.release(key);
        key = make_u8string(pool, std::to_string(i));
        dictionary->set(dictionary, key, nullptr);
    }
    plan.fail_any(0, 0, true);
    EXPECT_EQ(dictionary->set(dictionary, key, &key->header), NQ_STATUS_OK);
    plan.clear();
    key->header.release(key);
    dictionary->header.release(dictionary);
}

}  // namespace
}  // namespace nq
