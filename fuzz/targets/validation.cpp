// A value against a definition, both from the input: type matching, the value's own validation and
// both together do what the model does, with the same message; a host call that fails leaves
// nothing but what a start that fails is said to leave.
#include "fuzz/support/checking.hpp"
#include "nqinstance/host/status.h"
#include "tests/validate/model_instances.hpp"
#include "tests/validate/run_place.hpp"

namespace nq::fuzz {
namespace {

namespace model = test::model;
using model::Entries;
using model::List;
using model::Outcome;
using model::Value;
using test::Call;

constexpr std::size_t kMostElements = 6;
constexpr int kDeepest = 3;

class Reader {
  public:
    explicit Reader(Input& input) : input_(input) {}

    Value value(int depth) {
        switch (input_.byte() % 16) {
            case 0:
                return {};
            case 1:
                return {(input_.byte() & 1) != 0};
            case 2:
            case 3:
                return {static_cast<std::int32_t>(bits())};
            case 4:
            case 5:
                return {static_cast<std::int64_t>(bits())};
            case 6:
            case 7:
                return {static_cast<std::uint32_t>(bits())};
            case 8:
            case 9:
                return {bits()};
            case 10:
            case 11:
                return {real()};
            case 12:
                return {model::Character{input_.byte()}};
            case 13:
                return text();
            case 14:
                return other();
            default:
                return depth < kDeepest && input_.byte() & 1 ? Value{entries(depth + 1)}
                                                             : Value{list(depth + 1)};
        }
    }

    Entries definition() {
        Entries made;
        const std::uint32_t keys = input_.byte();
        if (keys & 1) add(made, "dataType", data_type());
        if (keys & 2) add(made, "expectedTypes", {expected()});
        if (keys & 4) add(made, "min", value(1));
        if (keys & 8) add(made, "max", value(1));
        if (keys & 16) add(made, "values", keys & 32 ? value(1) : Value{list(1)});
        return made;
    }

  private:
    static void add(Entries& entries, std::string key, Value value) {
        entries.keys.push_back(std::move(key));
        entries.values.push_back(std::move(value));
    }

    // Small numbers in a byte, others in eight.
    std::uint64_t bits() {
        const std::uint32_t first = input_.byte();
        if (first < 0xf0) return first - std::uint64_t{100};
        std::uint64_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 16 | input_.number();
        return value;
    }
    double real() {
        const std::uint32_t first = input_.byte();
        if (first < 0xf0) return (first - 100.0) / 4;
        const std::uint64_t value = bits();
        double number;
        static_assert(sizeof number == sizeof value);
        std::memcpy(&number, &value, sizeof number);
        return number;
    }
    std::string word() {
        static constexpr const char* kWords[] = {
            "min",   "max",    "array",    "dictionary", "integer", "double", "boolean",
            "int32", "uint32", "int64",    "uint64",     "char",    "string", "data",
            "date",  "time",   "datetime", "instance",   "Integer", ""};
        const std::uint32_t choice = input_.byte();
        if (choice < 200) return kWords[choice % std::size(kWords)];
        return text_of(input_.text(choice - 200));
    }
    Value text() {
        const std::string bytes = word();
        if (input_.byte() & 1) return {bytes};
        std::u32string units;
        for (const char c : bytes) units += static_cast<unsigned char>(c);
        // Beyond a byte, which must not be cut off.
        if (input_.byte() == 0xff && !units.empty()) units[0] += 0x100;
        return {units};
    }
    Value data_type() { return input_.byte() < 0xf0 ? text() : value(2); }
    Value other() {
        static constexpr const char* kTypes[] = {"NQData", "NQCalendarDateInstance",
                                                 "NQTimeInstance", "NQCalendarDateTimeInstance",
                                                 "NQDateTimeInstanceName"};
        return {model::Other{kTypes[input_.byte() % std::size(kTypes)]}};
    }
    List list(int depth) {
        List made;
        for (std::size_t n = input_.byte() % kMostElements; n != 0 && depth <= kDeepest; --n) {
            made.push_back(value(depth));
        }
        return made;
    }
    Entries entries(int depth) {
        Entries made;
        const std::uint32_t keys = input_.byte();
        if (keys & 1) add(made, "min", value(depth));
        if (keys & 2) add(made, "max", value(depth));
        return made;
    }
    List expected() {
        List made;
        for (std::size_t n = input_.byte() % kMostElements; n != 0; --n) {
            const std::uint32_t choice = input_.byte();
            if (choice >= 0xf0) {
                made.push_back(value(2));
                continue;
            }
            Entries entry;
            if (choice < 0xe0) add(entry, "dataType", data_type());
            made.push_back({std::move(entry)});
        }
        return made;
    }

    Input& input_;
};

// A run, or what a start that fails leaves.
class Run {
  public:
    explicit Run(CheckingHost& host) : host_(host) {
        InstanceApi* api = host.api();
        status_ = api->startValidate(api, nullptr, nullptr, host.pool(), this, place_.out());
        if (!status_) run_ = place_.run();
    }
    ~Run() {
        if (run_) NQ_REQUIRE(run_->finish(run_) == NQ_STATUS_OK);
    }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    NQStatus status() const { return status_; }

    // One validation with the run, and what it did.
    template <class Validate>
    Outcome outcome(Validate validate) {
        const std::uint64_t before = run_->messages->count;
        Outcome result;
        result.status = validate(&result.verdict, run_);
        const std::uint64_t added = run_->messages->count - before;
        NQ_REQUIRE(added <= 1);
        if (added && !result.status) {
            const auto& last = host_.strings.messages().back();
            result.message = {last.code, last.arguments};
        }
        return result;
    }

  private:
    CheckingHost& host_;
    test::RunPlace place_;
    ValidationRun* run_ = nullptr;
    NQStatus status_;
};

// A message that cannot be made or formatted: the verdict stands.
void require_message_failed(CheckingHost& host, const Outcome& outcome, const Outcome& expected) {
    NQ_REQUIRE(outcome.verdict == expected.verdict && expected.message.has_value());
    const auto failures = host.plan().failures();
    const bool no_string = std::ranges::any_of(
        failures, [](const test::FailedCall& failed) { return failed.call == Call::kNewString; });
    if (no_string && outcome.status == NQ_STATUS_NO_MEMORY) return;
    require_explained(host, outcome.status);
}

// A list of the definitions' JSON names, or one of them.
void require_name(CheckingHost& host, NQDictionary* definition, const Entries& entries) {
    NQU8String* name = nullptr;
    std::uint8_t is_list = 7;
    NQ_REQUIRE(host.api()->typeForDefinition(host.string_api(), host.pool(), definition, &name,
                                             &is_list) == NQ_STATUS_OK);
    NQ_REQUIRE(is_list <= 1 && (!is_list || (name && entries.find("expectedTypes"))));
    const bool is_known = model::match({}, entries) != NQ_STATUS_NO_DATA_TYPE &&
                          model::match({}, entries) != NQ_STATUS_UNKNOWN_DATA_TYPE;
    NQ_REQUIRE(is_known || !name);
    test::release(name);
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const PlannedFailure failure(input);
    Reader reader(input);
    const Value value = reader.value(0);
    const Entries entries = reader.definition();
    if (std::holds_alternative<std::monostate>(value.content)) return 0;

    CheckingHost host;
    NQ_REQUIRE(host.load() != nullptr);
    InstanceApi* api = host.api();
    InstanceHeader* instance = model::make_instance(host, value);
    NQDictionary* definition = model::make_dictionary(host, entries);
    const nq::test::HostState before = host.state();

    const auto whole = [&](std::uint32_t* verdict, ValidationRun* run) {
        return api->validateData(instance, definition, verdict, run);
    };
    const Outcome expected = model::validate_data(value, entries);
    NQ_REQUIRE(api->isDefinitionType(instance, definition) == model::match(value, entries));
    NQ_REQUIRE(api->typeForInstance(instance) != nullptr);
    {
        Run run(host);
        NQ_REQUIRE(run.outcome(whole) == expected);
        if (instance->validate) {
            const Outcome own = run.outcome([&](std::uint32_t* verdict, ValidationRun* messages) {
                return instance->validate(instance, definition, verdict, messages);
            });
            NQ_REQUIRE(own == model::validate(value, entries));
        }
        if (failure.fails) {
            failure.arm(host);
            const Outcome failed = run.outcome(whole);
            if (failed != expected) require_message_failed(host, failed, expected);
            host.plan().clear();
        }
    }
    require_name(host, definition, entries);
    NQ_REQUIRE(host.state() == before);
    if (failure.fails) {
        failure.arm(host);
        const Run run(host);
        require_explained(host, run.status());
        host.plan().clear();
        // The unfinished record and its holds stay.
        if (run.status()) host.forgive();
    }
    nq::test::release(instance);
    nq::test::release(definition);
    host.check();
    return 0;
}
