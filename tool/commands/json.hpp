#pragma once
#include "tool/options.hpp"

namespace nq::tool {

// `nqtool json`: reads configuration files and writes each as JSON text.
ExitStatus run_json(const Settings& settings);

}  // namespace nq::tool
