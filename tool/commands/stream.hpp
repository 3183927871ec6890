#pragma once
#include "tool/options.hpp"

namespace nq::tool {

// `nqtool stream`: checks JSON values, one a line, against definitions and writes them again.
ExitStatus run_stream(const Settings& settings);

}  // namespace nq::tool
