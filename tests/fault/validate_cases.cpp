#include <array>

#include "nqinstance/core/api.h"
#include "nqinstance/validate/definition.h"
#include "nqinstance/validate/numeric.h"
#include "nqinstance/validate/validation.h"
#include "tests/fault/cases.hpp"
#include "tests/support/statuses.hpp"
#include "tests/validate/run_place.hpp"

namespace nq::test {
namespace {

class StartValidate : public Operation {
  public:
    StartValidate(bool gives_strings, bool gives_arrays)
        : gives_strings_(gives_strings), gives_arrays_(gives_arrays) {}

    void prepare(CheckingHost& host) override {
        host.set_option("nqinstance.logValidateErrors", std::string(1, '\0'));
        place_.clear();
    }
    NQStatus call(CheckingHost& host) override {
        InstanceApi* api = host.api();
        return api->startValidate(api, gives_strings_ ? host.string_api() : nullptr,
                                  gives_arrays_ ? host.array_api() : nullptr, host.pool(), this,
                                  place_.out());
    }
    std::string result(CheckingHost&) override {
        const ValidationRun& run = *place_.run();
        return std::to_string(run.messages->count) +
               " messages, logged: " + std::to_string(run.logValidateErrors);
    }
    std::string check_failure(const Round&) override {
        return place_.is_clear() ? "" : "the place of the run is written to";
    }
    void drop_result(CheckingHost&) override { place_.run()->finish(place_.run()); }

    NQStatus status_for(const FailedCall& failed) const override {
        return failed.call == Call::kGetOption ? NQ_STATUS_OK : Operation::status_for(failed);
    }
    // An option that cannot be had is on.
    bool right_result(const Round& round, const std::string& expected,
                      const std::string& result) const override {
        return result == (round.failed(Call::kGetOption) ? "0 messages, logged: 1" : expected);
    }
    Leftover leftover(const Round& round) const override {
        Leftover left;
        if (!round.status || !round.succeeded(Call::kAlloc)) return left;
        left.keep(Kept::kRunOfFailedStart);
        std::uint64_t loaded = round.succeeded(Call::kLoadExtension);
        if (!gives_strings_ && loaded) {
            left.keep(Kept::kStringsOfFailedStart);
            --loaded;
        }
        if (!gives_arrays_ && loaded) left.keep(Kept::kArraysOfFailedStart);
        return left;
    }

  private:
    const bool gives_strings_;
    const bool gives_arrays_;
    RunPlace place_;
};

// What works with a run that was started before.
class WithRun : public Operation {
  public:
    void prepare(CheckingHost& host) override {
        place_.clear();
        InstanceApi* api = host.api();
        api->startValidate(api, nullptr, nullptr, host.pool(), this, place_.out());
    }
    ValidationRun* run() { return place_.run(); }

  private:
    RunPlace place_;
};

class FinishValidate : public WithRun {
  public:
    void prepare(CheckingHost& host) override {
        WithRun::prepare(host);
        NQU8String* message = nullptr;
        run()->addContextMessage(run(), &message);
    }
    NQStatus call(CheckingHost&) override { return NQ_LIBRARY(nqInstanceFinishValidate)(run()); }
    // The run is gone whatever the pool answers.
    NQStatus status_for(const FailedCall& failed) const override {
        return failed.call == Call::kFree ? failed.status : NQ_STATUS_OK;
    }
};

// One value of a kind and what there is about it.
struct Subject {
    const char* kind;
    InstanceHeader* (*make)(CheckingHost&, int value);
};

#define NQ_MAKER(slot, Value)                                                           \
    [](CheckingHost& host, int value) {                                                 \
        NQStatus status;                                                                \
        return &host.api()                                                              \
                    ->slot(host.api(), host.pool(), static_cast<Value>(value), &status) \
                    ->header;                                                           \
    }
constexpr std::array kSubjects{
    Subject{"Int32", NQ_MAKER(createInt32, std::int32_t)},
    Subject{"Int64", NQ_MAKER(createInt64, std::int64_t)},
    Subject{"UInt32", NQ_MAKER(createUInt32, std::uint32_t)},
    Subject{"UInt64", NQ_MAKER(createUInt64, std::uint64_t)},
    Subject{"Double", NQ_MAKER(createDouble, double)},
};
#undef NQ_MAKER

class Validate : public WithRun {
  public:
    Validate(Subject subject, int value, bool matches_type)
        : subject_(subject), value_(value), matches_type_(matches_type) {}

    void prepare(CheckingHost& host) override {
        WithRun::prepare(host);
        instance_ = subject_.make(host, value_);
        definition_ = host.dictionary({{"dataType", host.string("instance")},
                                       {"min", subject_.make(host, 5)},
                                       {"max", subject_.make(host, 9)},
                                       {"values", host.array({subject_.make(host, 6)})}});
        verdict_ = 1;
    }
    NQStatus call(CheckingHost& host) override {
        const auto validate = matches_type_ ? host.api()->validateData : instance_->validate;
        return validate(instance_, definition_, &verdict_, run());
    }
    std::string result(CheckingHost&) override { return text(); }
    std::string check_failure(const Round& round) override {
        // The verdict stands, and a message that was added but not formatted is empty.
        const std::uint64_t messages = run()->messages->count;
        if (verdict_ == 0 || verdict_ == 1) return "no verdict before the failed message";
        if (messages != round.succeeded(Call::kArrayAppend)) return "another number of messages";
        return {};
    }
    void clean_up(CheckingHost&) override {
        run()->finish(run());
        release(instance_);
        release(definition_);
    }
    NQStatus status_for(const FailedCall& failed) const override {
        return failed.call == Call::kNewString ? NQ_STATUS_NO_MEMORY
                                               : Operation::status_for(failed);
    }

  private:
    std::string text() {
        std::string all = std::to_string(verdict_);
        const NQArray& messages = *run()->messages;
        for (std::uint64_t i = 0; i < messages.count; ++i) {
            all += ", " + text_of(reinterpret_cast<NQU8String*>(messages.elements[i]));
        }
        return all;
    }

    const Subject subject_;
    const int value_;
    const bool matches_type_;
    InstanceHeader* instance_ = nullptr;
    NQDictionary* definition_ = nullptr;
    std::uint32_t verdict_ = 1;
};

class ValidateText : public Operation {
  public:
    ValidateText(const char* text, bool loads, NQStatus normal)
        : text_(text), loads_(loads), normal_(normal) {}

    void prepare(CheckingHost& host) override {
        NQStatus status;
        instance_ = &host.api()->createInt64(host.api(), host.pool(), 70000, &status)->header;
        verdict_ = 1;
    }
    NQStatus call(CheckingHost& host) override {
        return host.api()->validateU8(loads_ ? nullptr : host.json_api(), instance_, text_,
                                      &verdict_, nullptr);
    }
    std::string result(CheckingHost&) override { return std::to_string(verdict_); }
    std::string check_failure(const Round&) override {
        return verdict_ == 1 ? "" : "a verdict in spite of the failure";
    }
    void clean_up(CheckingHost&) override { release(instance_); }
    NQStatus status_for(const FailedCall& failed) const override {
        if (failed.call == Call::kLoadExtension) return NQ_STATUS_INVALID_ARGUMENT;
        if (failed.call == Call::kGetTempPool) return NQ_STATUS_NO_MEMORY;
        return Operation::status_for(failed);
    }
    NQStatus normal_status() const override { return normal_; }

  private:
    const char* const text_;
    const bool loads_;
    const NQStatus normal_;
    InstanceHeader* instance_ = nullptr;
    std::uint32_t verdict_ = 1;
};

class TypeName : public Operation {
  public:
    explicit TypeName(bool is_list) : is_list_(is_list) {}

    void prepare(CheckingHost& host) override {
        const auto entry = [&](const char* type) {
            return host.dictionary({{"dataType", host.string(type)}});
        };
        definition_ =
            is_list_
                ? host.dictionary({{"dataType", host.string("instance")},
                                   {"expectedTypes",
                                    host.array({entry("integer"), entry("none"), entry("date")})}})
                : entry("dictionary");
        name_ = reinterpret_cast<NQU8String*>(0x10);
    }
    NQStatus call(CheckingHost& host) override {
        return host.api()->typeForDefinition(host.string_api(), host.pool(), definition_, &name_,
                                             &listed_);
    }
    std::string result(CheckingHost&) override {
        return text_of(name_) + (listed_ ? " as a list" : "");
    }
    std::string check_failure(const Round&) override {
        return name_ ? "a name in spite of the failure" : "";
    }
    void drop_result(CheckingHost&) override { release(name_); }
    void clean_up(CheckingHost&) override { release(definition_); }

  private:
    const bool is_list_;
    NQDictionary* definition_ = nullptr;
    NQU8String* name_ = nullptr;
    std::uint8_t listed_ = 7;
};

void add_text_cases(std::vector<SweepCase>& cases) {
    struct Text {
        const char* name;
        const char* text;
        NQStatus normal;
    };
    constexpr std::array kTexts{
        Text{"bounds", R"({"min": 1, "max": 65535})", NQ_STATUS_OK},
        Text{"values", R"({"values": [80, {"min": 1, "max": 100000}]})", NQ_STATUS_OK},
        Text{"a definition with a mistake", R"({"values": [{"min": 1}]})",
             NQ_STATUS_RANGE_WITHOUT_MAX},
        Text{"no object", "[1, 2]", NQ_STATUS_NOT_A_DICTIONARY},
        Text{"no JSON", "{\"min\": ", kJsonSyntaxError},
    };
    for (const Text& text : kTexts) {
        for (const bool loads : {true, false}) {
            cases.push_back({std::string("nqInstanceValidateU8 of ") + text.name +
                                 (loads ? "" : " with the caller's parser"),
                             {"nqInstanceValidateU8"},
                             made_of<ValidateText>(text.text, loads, text.normal),
                             loads});
        }
    }
}

}  // namespace

std::vector<SweepCase> validate_cases() {
    std::vector<SweepCase> cases;
    for (const bool gives_strings : {false, true}) {
        for (const bool gives_arrays : {false, true}) {
            cases.push_back({std::string("nqInstanceStartValidate") +
                                 (gives_strings ? " with strings" : "") +
                                 (gives_arrays ? " with arrays" : ""),
                             {"nqInstanceStartValidate"},
                             made_of<StartValidate>(gives_strings, gives_arrays)});
        }
    }
    cases.push_back(
        {"nqInstanceFinishValidate", {"nqInstanceFinishValidate"}, made_of<FinishValidate>()});
    for (const Subject& subject : kSubjects) {
        const std::string operation = std::string("nqInstanceValidate") + subject.kind;
        // Below and above the bounds, and between the accepted values.
        for (const int value : {4, 10, 7}) {
            const std::string name = std::to_string(value);
            cases.push_back(
                {operation + " of " + name, {operation}, made_of<Validate>(subject, value, false)});
            cases.push_back({"nqInstanceValidateData of " + name + " as " + subject.kind,
                             {"nqInstanceValidateData"},
                             made_of<Validate>(subject, value, true)});
        }
    }
    add_text_cases(cases);
    for (const bool is_list : {false, true}) {
        cases.push_back({std::string("jsonTypeForDefinition") + (is_list ? " of a list" : ""),
                         {"jsonTypeForDefinition"},
                         made_of<TypeName>(is_list)});
    }
    return cases;
}

}  // namespace nq::test
