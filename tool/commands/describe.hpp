#pragma once
#include <cstdint>

#include "tool/io/run.hpp"

namespace nq::tool {

inline constexpr const char* kTableFormatNames[] = {"table", "json"};

struct DescribeSettings {
    uint32_t table_format = 0;  // of kTableFormatNames

    bool operator==(const DescribeSettings&) const = default;
};

// `nqtool describe`: shows what a definitions file defines.
void run_describe(Run& run, const DescribeSettings& settings);

}  // namespace nq::tool
