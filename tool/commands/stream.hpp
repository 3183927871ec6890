#pragma once
#include <string>

#include "tool/io/run.hpp"

namespace nq::tool {

struct StreamSettings {
    std::string definitions;
    bool goes_on = false;  // past bad lines
    std::string rejects;   // empty: none

    bool operator==(const StreamSettings&) const = default;
};

// `nqtool stream`: checks JSON values, one a line, against definitions and writes them again.
void run_stream(Run& run, const StreamSettings& settings);

}  // namespace nq::tool
