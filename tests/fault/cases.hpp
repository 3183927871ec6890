#pragma once
#include <string>
#include <utility>
#include <vector>

#include "tests/fault/sweep.hpp"

namespace nq::test {

// The operations under the sweep, by module.
std::vector<SweepCase> entry_cases();
std::vector<SweepCase> instance_cases();
std::vector<SweepCase> data_cases();
std::vector<SweepCase> config_cases();
std::vector<SweepCase> json_cases();
std::vector<SweepCase> format_cases();
std::vector<SweepCase> memory_cases();
std::vector<SweepCase> text_cases();
std::vector<SweepCase> validate_cases();

std::vector<SweepCase> all_cases();

// Makes the maker of an operation with these arguments.
template <class T, class... Arguments>
std::function<std::unique_ptr<Operation>()> made_of(Arguments... arguments) {
    return [arguments...] { return std::unique_ptr<Operation>(std::make_unique<T>(arguments...)); };
}

}  // namespace nq::test
