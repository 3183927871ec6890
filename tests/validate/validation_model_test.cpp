// Random values against random definitions, compared with the model.
#include <bit>
#include <cmath>

#include "tests/support/random.hpp"
#include "tests/validate/model_instances.hpp"

namespace nq::test {
namespace {

using model::Entries;
using model::List;
using model::Outcome;
using model::Value;

// Makes values and definitions that meet often and are wrong often.
class Generator {
  public:
    explicit Generator(SeededRandom& random) : random_(random) {}

    Value value() {
        if (random_.below(4) != 0) return number();
        switch (random_.below(8)) {
            case 0:
                return {random_.below(2) == 0};
            case 1:
                return {model::Character{'a'}};
            case 2:
                return {std::string("max")};
            case 3:
                return {std::u32string(U"min")};
            case 4:
                return {List{}};
            case 5:
                return {Entries{}};
            default:
                return {model::Other{random_.pick(kOtherTypes)}};
        }
    }

    Entries definition() {
        Entries made;
        if (likely()) add(made, "dataType", data_type());
        if (random_.below(6) == 0) add(made, "expectedTypes", {expected()});
        if (random_.below(2) == 0) add(made, "min", bound());
        if (random_.below(2) == 0) add(made, "max", bound());
        if (random_.below(2) == 0) add(made, "values", likely() ? Value{accepted()} : value());
        return made;
    }

  private:
    static constexpr std::array kOtherTypes{"NQData", "NQCalendarDateInstance", "NQTimeInstance",
                                            "NQCalendarDateTimeInstance", "NQDateTimeInstanceName"};
    static constexpr std::array<std::string_view, 19> kWords{
        "array",    "dictionary", "integer",  "double",  "boolean", "int32", "uint32",
        "int64",    "uint64",     "char",     "string",  "data",    "date",  "time",
        "datetime", "instance",   "instance", "Integer", ""};

    bool likely() { return random_.below(12) != 0; }

    static void add(Entries& entries, std::string key, Value value) {
        entries.keys.push_back(std::move(key));
        entries.values.push_back(std::move(value));
    }

    // Small numbers, those around the limits, and any.
    std::int64_t integer() {
        constexpr std::array<std::int64_t, 8> kEdges{0,          INT32_MAX, INT32_MIN, UINT32_MAX,
                                                     4294967296, INT64_MAX, INT64_MIN, 1};
        const auto near = static_cast<std::int64_t>(random_.below(7)) - 3;
        switch (random_.below(8)) {
            case 0:
                return static_cast<std::int64_t>(random_.bits());
            case 1:
            case 2:
                return static_cast<std::int64_t>(static_cast<std::uint64_t>(random_.pick(kEdges)) +
                                                 static_cast<std::uint64_t>(near));
            default:
                return near;
        }
    }
    double real() {
        constexpr std::array<double, 14> kEdges{
            0.0,     -0.0,   0.5,   0x1p31,   -0x1p31,   0x1p32, 0x1p63,
            -0x1p63, 0x1p64, 1e300, INFINITY, -INFINITY, NAN,    2.2250738585072014e-308};
        switch (random_.below(6)) {
            case 0:
                return random_.pick(kEdges);
            case 1:
                return std::nextafter(random_.pick(kEdges), random_.below(2) ? 0 : INFINITY);
            case 2:
                return std::bit_cast<double>(random_.bits());
            default:
                return static_cast<double>(integer()) / static_cast<double>(1 + random_.below(2));
        }
    }
    Value number() {
        const std::int64_t bits = integer();
        switch (random_.below(5)) {
            case 0:
                return {static_cast<std::int32_t>(bits)};
            case 1:
                return {bits};
            case 2:
                return {static_cast<std::uint32_t>(bits)};
            case 3:
                return {static_cast<std::uint64_t>(bits)};
            default:
                return {real()};
        }
    }
    Value bound() {
        switch (random_.below(12)) {
            case 0:
                return {std::string(random_.below(2) ? "min" : "max")};
            case 1:
                return {random_.below(2) ? std::u32string(U"min") : std::u32string(U"max")};
            case 2:
                return value();
            case 3:
                return {};
            default:
                return number();
        }
    }
    Value text(std::string_view word) {
        if (random_.below(3)) return {std::string(word)};
        return {std::u32string(word.begin(), word.end())};
    }
    Value data_type() {
        // Numbers are the ones with more to check.
        if (random_.below(2)) return text(kWords[2 + random_.below(2)]);
        return likely() ? text(random_.pick(kWords)) : value();
    }
    List expected() {
        List list;
        for (std::uint64_t n = random_.below(4); n != 0; --n) {
            Entries entry;
            if (likely()) add(entry, "dataType", data_type());
            list.push_back(likely() ? Value{std::move(entry)} : Value{});
        }
        return list;
    }
    List accepted() {
        List list;
        for (std::uint64_t n = random_.below(6); n != 0; --n) {
            if (random_.below(3) != 0) {
                list.push_back(bound());
                continue;
            }
            Entries range;
            if (likely()) add(range, "min", bound());
            if (likely()) add(range, "max", bound());
            list.push_back({std::move(range)});
        }
        return list;
    }

    SeededRandom& random_;
};

class ValidationModel : public ValidateTest {
  protected:
    // Runs one validation and says what it did.
    template <class Validate>
    Outcome run(Validate validate) {
        ValidationRun* run = start_run();
        Outcome outcome;
        outcome.status = validate(&outcome.verdict, run);
        EXPECT_LE(run->messages->count, 1u);
        if (run->messages->count) {
            const FormattedMessage& last = host.strings.messages().back();
            outcome.message = {last.code, last.arguments};
        }
        run->finish(run);
        return outcome;
    }
};

TEST_F(ValidationModel, RandomValuesAgainstRandomDefinitions) {
    SeededRandom random(100000);
    Generator generator(random);
    std::array<std::uint64_t, 3> seen{};  // valid, not valid, not checked
    for (std::uint64_t round = 0; round < random.rounds(); ++round) {
        const Value value = generator.value();
        const Entries given = generator.definition();
        InstanceHeader* instance = model::make_instance(host, value);
        NQDictionary* definition = model::make_dictionary(host, given);

        ASSERT_EQ(api()->isDefinitionType(instance, definition), model::match(value, given))
            << "round " << round;
        const Outcome data = run([&](std::uint32_t* verdict, ValidationRun* messages) {
            return api()->validateData(instance, definition, verdict, messages);
        });
        const Outcome expected = model::validate_data(value, given);
        ASSERT_TRUE(data == expected)
            << "round " << round << ": " << data << " instead of " << expected;
        ++seen[expected.status ? 2 : expected.verdict ? 1 : 0];
        if (instance->validate) {
            const Outcome own = run([&](std::uint32_t* verdict, ValidationRun* messages) {
                return instance->validate(instance, definition, verdict, messages);
            });
            const Outcome expected_own = model::validate(value, given);
            ASSERT_TRUE(own == expected_own)
                << "round " << round << ": " << own << " instead of " << expected_own;
        }
        release(instance);
        release(definition);
    }
    // The rounds reach all of it.
    for (const std::uint64_t times : seen) EXPECT_GT(times, random.rounds() / 50);
}

}  // namespace
}  // namespace nq::test
