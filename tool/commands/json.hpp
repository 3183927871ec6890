#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "tool/io/run.hpp"

namespace nq::tool {

struct JsonSettings {
    std::optional<int32_t> indent;
    bool is_compact = false;
    std::string definitions;  // empty: none

    bool operator==(const JsonSettings&) const = default;
};

// `nqtool json`: reads configurations and writes them as JSON text.
void run_json(Run& run, const JsonSettings& settings);

}  // namespace nq::tool
