// A number against a definition that is JSON text, behind the standalone host: text that is no JSON
// is the parser's failure, and what it parses to gives the answer that it gives as a dictionary.
// Nothing stays, whatever happens.
#include <cstring>

#include "fuzz/support/counting_pool.hpp"
#include "nqinstance/base/held.hpp"
#include "nqinstance/host/status.h"
#include "nqinstance/validate/validation.h"
#include "typed/validation.hpp"

namespace nq::fuzz {
namespace {

constexpr std::uint32_t kUntouched = 0x1234;

struct Answer {
    NQStatus status = 0;
    std::uint32_t verdict = kUntouched;
    std::string message;
    bool operator==(const Answer&) const = default;
};

std::uint64_t bits_of(Input& input) {
    std::uint64_t bits = 0;
    for (int i = 0; i < 4; ++i) bits = bits << 16 | input.number();
    return bits;
}

InstanceHeader* value_of(Input& input, InstanceApi* api, HostPool* pool) {
    NQStatus status;
    const std::uint32_t choice = input.byte();
    // Small values, which definitions have as well, in a byte.
    const std::uint64_t bits =
        choice & 8 ? bits_of(input) : input.byte() - std::uint64_t{choice & 16 ? 200u : 0u};
    switch (choice % 8) {
        case 0:
            return &api->createInt32(api, pool, static_cast<std::int32_t>(bits), &status)->header;
        case 1:
            return &api->createUInt32(api, pool, static_cast<std::uint32_t>(bits), &status)->header;
        case 2:
            return &api->createUInt64(api, pool, bits, &status)->header;
        case 3:
        case 4: {
            double number = static_cast<double>(static_cast<std::int64_t>(bits)) / 4;
            if (choice & 8) std::memcpy(&number, &bits, sizeof number);
            return &api->createDouble(api, pool, number, &status)->header;
        }
        case 5:
            return &api->createBoolean(api, pool, static_cast<std::uint8_t>(bits), &status)->header;
        default:
            return &api->createInt64(api, pool, static_cast<std::int64_t>(bits), &status)->header;
    }
}

template <class Check>
Answer answer_of(InstanceApi* api, HostPool* pool, Check check) {
    Validation validation;
    NQ_REQUIRE(validation.start(api, nullptr, nullptr, pool) == NQ_STATUS_OK);
    Answer answer;
    answer.status = check(&answer.verdict, validation.get());
    NQ_REQUIRE(validation.count() <= 1);
    if (validation.count()) answer.message = validation.message(0);
    return answer;
}

// Validation of data asks for the type before all else.
void require_type_first(Machine& host, HostPool* pool, InstanceHeader* instance,
                        NQDictionary* definition, const Answer& answer) {
    const Answer checked =
        answer_of(host.api, pool, [&](std::uint32_t* verdict, ValidationRun* run) {
            return host.api->validateData(instance, definition, verdict, run);
        });
    const NQStatus type = host.api->isDefinitionType(instance, definition);
    NQ_REQUIRE(checked == (type ? Answer{NQ_STATUS_OK, type, {}} : answer));
}

// The same with the text parsed beforehand.
Answer expected_answer(Machine& host, HostPool* pool, InstanceHeader* instance, const char* text) {
    const Held<NQInstJsonApi> json(load_extension<NQInstJsonApi>());
    const std::uint8_t options[6] = {};
    Held<InstanceHeader> parsed;
    std::uint32_t line = 0;
    std::uint32_t column = 0;
    const NQStatus status =
        json->parse(json.get(), pool, reinterpret_cast<const std::uint8_t*>(text),
                    std::strlen(text), options, parsed.out(), &line, &column);
    if (status) return {status, kUntouched, {}};
    const bool looks_at_it = instance->validate != host.api->validate;
    if (looks_at_it && !parsed) return {NQ_STATUS_INVALID_ARGUMENT, kUntouched, {}};
    if (looks_at_it && !parsed->isType(parsed.get(), "NQDictionary")) {
        return {NQ_STATUS_NOT_A_DICTIONARY, kUntouched, {}};
    }
    auto* definition = reinterpret_cast<NQDictionary*>(parsed.get());
    const Answer answer =
        answer_of(host.api, pool, [&](std::uint32_t* verdict, ValidationRun* run) {
            return instance->validate(instance, definition, verdict, run);
        });
    if (looks_at_it) require_type_first(host, pool, instance, definition, answer);
    return answer;
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Machine& host = machine();
    InstanceApi* api = host.api;
    Input input(data, size);
    const std::uint64_t pools = host.kernel.pools().count();
    CountingPool counting;
    HostPool* const pool = &counting;
    InstanceHeader* instance = value_of(input, api, pool);
    // Terminated, and not a byte longer.
    Bytes text = input.rest();
    text.push_back(0);
    const char* definition = reinterpret_cast<const char*>(text.data());

    const Answer answer = answer_of(api, pool, [&](std::uint32_t* verdict, ValidationRun* run) {
        return api->validateU8(nullptr, instance, definition, verdict, run);
    });
    NQ_REQUIRE(answer == expected_answer(host, pool, instance, definition));
    NQ_REQUIRE(host.kernel.pools().count() == pools + 1);
    instance->release(instance);
    return 0;
}
