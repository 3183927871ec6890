#pragma once
#include <string>
#include <string_view>

#include "typed/value.hpp"

namespace nq {

// The words of messages about values and their definitions.

// What a value of the leaf must be, such as "a whole number from 0 to 65535".
std::string expectation(const DefinitionNode& leaf);

// The "min" or "max" of a leaf, both together, such as "from 1 to 9", and the list of
// what it accepts, such as "1, 2, 5 to 9"; empty when the definition has none.
std::string shown_bound(const DefinitionNode& leaf, std::string_view key);
std::string shown_limits(const DefinitionNode& leaf);
std::string shown_accepted_values(const DefinitionNode& leaf);

// The value as text on one line, long text shortened.
std::string shown_value(const PlainValue& value);

// What `verdict` says about the value, such as "value 70000 is above the maximum
// 65535". `run_message` is what the library put into the validation run, or empty.
std::string fault_text(const DefinitionNode& leaf, const PlainValue& value, NQStatus verdict,
                       std::string_view run_message);

}  // namespace nq
