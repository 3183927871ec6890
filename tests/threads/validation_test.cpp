// Threads that validate the same instances against the same definitions at once, each with a run
// of its own.
#include <string_view>

#include "nqinstance/validate/validation.h"
#include "tests/threads/shared_host.hpp"

namespace nq::test {
namespace {

constexpr NQStatus kOutOfBounds = NQ_STATUS_OUT_OF_BOUNDS;
constexpr NQStatus kOtherType = NQ_STATUS_WRONG_TYPE;

class ValidationThread : public SharedHost {
  protected:
    void SetUp() override {
        SharedHost::SetUp();
        strings = extension<NQStringApi>(units("nqstring"));
        arrays = extension<NQArrayApi>(units("nqarray"));
        json = extension<NQInstJsonApi>(units("nqinstjson"));
        constexpr std::string_view kText =
            R"({"dataType": "integer", "min": 1, "max": 10, "values": [2, {"min": 4, "max": 9}]})";
        constexpr std::uint8_t kOptions[6] = {};
        InstanceHeader* made = nullptr;
        std::uint32_t ignored[2];
        ASSERT_EQ(json->parse(json, pool, reinterpret_cast<const std::uint8_t*>(kText.data()),
                              kText.size(), kOptions, &made, &ignored[0], &ignored[1]),
                  NQ_STATUS_OK);
        definition = reinterpret_cast<NQDictionary*>(made);
        share(definition);
        NQStatus status = 0;
        valid = share(api()->createInt32(api(), pool, 7, &status));
        too_large = share(api()->createInt64(api(), pool, 50, &status));
        flag = share(api()->createBoolean(api(), pool, 1, &status));
    }

    // A run with one validation: the verdict, and how many messages came of it.
    struct Verdict {
        NQStatus verdict;
        std::uint64_t messages;
        bool operator==(const Verdict&) const = default;
    };
    Verdict validate(InstanceHeader* instance) {
        ValidationRun place{};
        auto** out = reinterpret_cast<ValidationRun**>(&place);
        if (api()->startValidate(api(), strings, arrays, pool, nullptr, out)) return {77, 0};
        ValidationRun* run = *out;
        Verdict result{77, 0};
        std::uint32_t verdict = 77;
        if (api()->validateData(instance, definition, &verdict, run) == NQ_STATUS_OK) {
            result = {verdict, run->messages ? run->messages->count : 0};
        }
        if (run->finish(run)) return {77, 0};
        return result;
    }

    NQStringApi* strings = nullptr;
    NQArrayApi* arrays = nullptr;
    NQInstJsonApi* json = nullptr;
    NQDictionary* definition = nullptr;
    InstanceHeader* valid = nullptr;
    InstanceHeader* too_large = nullptr;
    InstanceHeader* flag = nullptr;
};

// Each begins and ends a run of its own.
TEST_F(ValidationThread, InstancesAreValidatedAtOnce) {
    EXPECT_EQ(validate(valid), (Verdict{0, 0}));
    EXPECT_EQ(validate(too_large).verdict, kOutOfBounds);
    EXPECT_EQ(validate(flag), (Verdict{kOtherType, 0}));
    const Verdict expected = validate(too_large);
    check_at_once(3, [&] {
        return validate(valid) == Verdict{0, 0} && validate(too_large) == expected &&
               validate(flag) == Verdict{kOtherType, 0};
    });
}

TEST_F(ValidationThread, TypesAreMatchedAtOnce) {
    check_at_once(2, [&] {
        return api()->isDefinitionType(valid, definition) == 0 &&
               api()->isDefinitionType(flag, definition) == kOtherType;
    });
}

// Each call reads the text into a pool of its own, by which it counts as many.
TEST_F(ValidationThread, DefinitionsAreReadAtOnce) {
    check_at_once(10, [&] {
        std::uint32_t verdict = 77;
        return api()->validateU8(json, too_large, R"({"dataType": "int64", "max": 10})", &verdict,
                                 nullptr) == NQ_STATUS_OK &&
               verdict == kOutOfBounds;
    });
}

}  // namespace
}  // namespace nq::test
