// Validation of shared instances against shared definitions.
#include <atomic>
#include <barrier>
#include <thread>

#include "tests/support/random.hpp"
#include "tests/validate/validate_support.hpp"

namespace nq::test {
namespace {

class ValidationThread : public ValidateTest {};

TEST_F(ValidationThread, SharedInstancesAgainstSharedDefinitions) {
    struct Case {
        InstanceHeader* instance;
        NQDictionary* definition;
        Answer expected;
        bool has_message;
    };
    NQDictionary* bounds = typed("integer", {{"min", int32(1)}, {"max", text8("max")}});
    NQDictionary* list =
        typed("double", {{"values", host.array({number(0.5), range(int32(3), int32(9))})}});
    NQDictionary* any =
        typed("instance",
              {{"expectedTypes", host.array({host.dictionary({{"dataType", text8("char")}})})}});
    const std::array<Case, 6> cases{{
        {keep(int32(5)), bounds, kValid, false},
        {keep(int32(0)), bounds, verdict(NQ_STATUS_OUT_OF_BOUNDS), true},
        {keep(number(7)), list, kValid, false},
        {keep(number(0.25)), list, verdict(NQ_STATUS_NOT_ACCEPTED), true},
        {keep(character('a')), any, kValid, false},
        {keep(boolean(1)), any, verdict(NQ_STATUS_WRONG_TYPE), false},
    }};
    const std::uint64_t operations = setting("ITER", 1000000);
    InstanceApi* table = api();
    NQStringApi* strings = host.string_api();
    NQArrayApi* arrays = host.array_api();
    for (const unsigned threads : {2u, 8u}) {
        const std::uint64_t rounds = operations / 2 / threads / cases.size();
        std::barrier start(threads);
        std::atomic<std::uint64_t> wrong{0};
        std::vector<std::thread> workers;
        for (unsigned t = 0; t < threads; ++t) {
            workers.emplace_back([&] {
                start.arrive_and_wait();
                ValidationRun* run = nullptr;
                if (table->startValidate(table, strings, arrays, pool(), nullptr, &run)) ++wrong;
                std::uint64_t messages = 0;
                for (std::uint64_t round = 0; round < rounds; ++round) {
                    for (const Case& one : cases) {
                        // A few messages of each run are enough.
                        ValidationRun* used = round % 64 == 0 ? run : nullptr;
                        Answer answer{0, kUntouched};
                        answer.status = table->validateData(one.instance, one.definition,
                                                            &answer.verdict, used);
                        wrong += !(answer == one.expected);
                        messages += used && one.has_message;
                    }
                }
                wrong += run->messages->count != messages;
                run->finish(run);
            });
        }
        for (std::thread& worker : workers) worker.join();
        EXPECT_EQ(wrong, 0u) << threads << " threads";
    }
}

TEST_F(ValidationThread, SharedInstancesAgainstText) {
    InstanceHeader* shared = keep(int64(70000));
    const std::uint64_t rounds = setting("ITER", 4000) / 4;
    InstanceApi* table = api();
    std::atomic<std::uint64_t> wrong{0};
    std::vector<std::thread> workers;
    for (unsigned t = 0; t < 4; ++t) {
        workers.emplace_back([&] {
            for (std::uint64_t round = 0; round < rounds; ++round) {
                Answer answer{0, kUntouched};
                answer.status = table->validateU8(nullptr, shared, R"({"max": 65535})",
                                                  &answer.verdict, nullptr);
                wrong += !(answer == verdict(NQ_STATUS_OUT_OF_BOUNDS));
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace nq::test
