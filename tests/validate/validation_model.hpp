#pragma once
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tests/validate/validate_support.hpp"

// Validation once more, slowly and from the rules alone: on plain values, with none of the
// library's code, to compare with.
namespace nq::test::model {

struct Value;
using List = std::vector<Value>;

// A definition's dictionary, in the order of its entries.
struct Entries {
    std::vector<std::string> keys;
    std::vector<Value> values;
    const Value* find(const std::string& key) const;
};

struct Character {
    std::uint32_t unit;
};
// What has no value that validation looks at: a data blob, a date and so on.
struct Other {
    std::string type_name;
};

struct Value {
    std::variant<std::monostate, bool, std::int32_t, std::int64_t, std::uint32_t, std::uint64_t,
                 double, Character, std::string, std::u32string, Other, List, Entries>
        content;
};

// The message that a validation leaves.
struct Message {
    NQStatus code;
    std::string arguments;
    bool operator==(const Message&) const = default;
};

struct Outcome {
    NQStatus status = 0;
    std::uint32_t verdict = kUntouched;
    std::optional<Message> message;
    bool operator==(const Outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    out << Answer{outcome.status, outcome.verdict};
    if (outcome.message) {
        out << " with message " << std::hex << outcome.message->code << std::dec << '('
            << outcome.message->arguments << ')';
    }
    return out;
}

// What nqInstanceIsDefinitionType answers.
NQStatus match(const Value& value, const Entries& definition);
// What the value's own validation does, and what nqInstanceValidateData does.
Outcome validate(const Value& value, const Entries& definition);
Outcome validate_data(const Value& value, const Entries& definition);

}  // namespace nq::test::model
