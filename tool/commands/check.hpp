#pragma once
#include "tool/options.hpp"

namespace nq::tool {

inline constexpr const char* kInputSyntaxNames[] = {"auto", "configuration", "json"};
inline constexpr const char* kFaultFormatNames[] = {"text", "json", "sarif"};

// `nqtool check`: checks configurations against definitions and reports every fault.
ExitStatus run_check(const Settings& settings);

}  // namespace nq::tool
