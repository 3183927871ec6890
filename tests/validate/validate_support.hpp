#pragma once
#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "nqinstance/validate/definition.h"
#include "nqinstance/validate/numeric.h"
#include "nqinstance/validate/validation.h"
#include "tests/support/checking_host.hpp"

namespace nq::test {

inline constexpr std::uint32_t kUntouched = 0x1234;

// The status of a call and the verdict that it stored.
struct Answer {
    NQStatus status;
    std::uint32_t verdict;
    bool operator==(const Answer&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Answer& answer) {
        return out << std::hex << "{status 0x" << answer.status << ", verdict 0x" << answer.verdict
                   << '}' << std::dec;
    }
};

inline constexpr Answer kValid{NQ_STATUS_OK, 0};
constexpr Answer verdict(std::uint32_t verdict) { return {NQ_STATUS_OK, verdict}; }
constexpr Answer refused(NQStatus status) { return {status, kUntouched}; }

// A loaded host, and makers of what is validated, all of it given back when the test ends.
class ValidateTest : public testing::Test {
  protected:
    ValidateTest() { host.load(); }
    ~ValidateTest() override {
        host.plan().clear();
        for (InstanceHeader* instance : kept_) release(instance);
    }

    InstanceApi* api() { return host.api(); }
    HostPool* pool() { return host.pool(); }

    // Hands an object to the end of the test.
    template <class T>
    T* keep(T* object) {
        kept_.push_back(reinterpret_cast<InstanceHeader*>(object));
        return object;
    }

    InstanceHeader* boolean(std::uint8_t value) { return make(&InstanceApi::createBoolean, value); }
    InstanceHeader* int32(std::int32_t value) { return make(&InstanceApi::createInt32, value); }
    InstanceHeader* int64(std::int64_t value) { return make(&InstanceApi::createInt64, value); }
    InstanceHeader* uint32(std::uint32_t value) { return make(&InstanceApi::createUInt32, value); }
    InstanceHeader* uint64(std::uint64_t value) { return make(&InstanceApi::createUInt64, value); }
    InstanceHeader* number(double value) { return make(&InstanceApi::createDouble, value); }
    InstanceHeader* character(NQChar value) { return make(&InstanceApi::createNQChar, value); }
    InstanceHeader* handle(void* inner) {
        return make(&InstanceApi::createHandle, static_cast<NQHandle*>(inner));
    }
    InstanceHeader* text8(std::string_view text) { return &host.string(text)->header; }
    InstanceHeader* text32(std::u32string_view text) { return &host.text(text)->header; }

    // A definition that the test keeps.
    NQDictionary* definition(std::initializer_list<std::pair<std::string_view, Item>> items) {
        return keep(host.dictionary(items));
    }
    // One with a data type and these further entries.
    NQDictionary* typed(std::string_view type,
                        std::initializer_list<std::pair<std::string_view, Item>> items = {}) {
        NQDictionary* made = definition(items);
        host.set(made, "dataType", text8(type));
        return made;
    }
    NQDictionary* range(Item min, Item max) {
        return host.dictionary({{"min", min}, {"max", max}});
    }

    // Validates an instance that is given back at once, through its own word of the header.
    Answer check(InstanceHeader* instance, NQDictionary* given, ValidationRun* run = nullptr) {
        Answer answer{0, kUntouched};
        answer.status = instance->validate(instance, given, &answer.verdict, run);
        release(instance);
        return answer;
    }
    // The same through the table: type matching, then the instance's own.
    Answer check_data(InstanceHeader* instance, NQDictionary* given, ValidationRun* run = nullptr) {
        Answer answer{0, kUntouched};
        answer.status = api()->validateData(instance, given, &answer.verdict, run);
        release(instance);
        return answer;
    }
    NQStatus match(InstanceHeader* instance, NQDictionary* given) {
        const NQStatus status = api()->isDefinitionType(instance, given);
        release(instance);
        return status;
    }

    // A run with the host's own extensions.
    ValidationRun* start_run(void* user_data = nullptr) {
        ValidationRun* run = nullptr;
        EXPECT_EQ(api()->startValidate(api(), host.string_api(), host.array_api(), pool(),
                                       user_data, &run),
                  NQ_STATUS_OK);
        return run;
    }
    static std::vector<std::string> messages_of(const ValidationRun* run) {
        std::vector<std::string> texts;
        for (std::uint64_t i = 0; i < run->messages->count; ++i) {
            texts.push_back(text_of(reinterpret_cast<NQU8String*>(run->messages->elements[i])));
        }
        return texts;
    }

    CheckingHost host;

  private:
    template <class Create, class Value>
    InstanceHeader* make(Create create, Value value) {
        NQStatus status;
        return reinterpret_cast<InstanceHeader*>((api()->*create)(api(), pool(), value, &status));
    }

    std::vector<InstanceHeader*> kept_;
};

}  // namespace nq::test
