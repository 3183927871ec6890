#pragma once
#include "tool/options.hpp"

namespace nq::tool {

inline constexpr const char* kTableFormatNames[] = {"table", "json"};

// `nqtool describe`: shows what a definitions file defines.
ExitStatus run_describe(const Settings& settings);

}  // namespace nq::tool
