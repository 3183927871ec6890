#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "tool/io/run.hpp"

namespace nq::tool {

inline constexpr const char* kInputSyntaxNames[] = {"auto", "configuration", "json"};
inline constexpr const char* kFaultFormatNames[] = {"text", "json", "sarif"};

struct CheckSettings {
    std::string definitions;
    uint32_t input_syntax = 0;  // of kInputSyntaxNames
    bool wants_all_keys = false;
    bool refuses_unknown_keys = false;
    std::optional<int32_t> max_errors;
    uint32_t fault_format = 0;  // of kFaultFormatNames

    bool operator==(const CheckSettings&) const = default;
};

// `nqtool check`: checks configurations against definitions and reports every fault.
void run_check(Run& run, const CheckSettings& settings);

}  // namespace nq::tool
