#pragma once
#include <optional>
#include <string>

#include "standalone/host.hpp"
#include "tool/options.hpp"

namespace nq::tool {

// The path of the extension library: `wanted` unless it is empty, else the first that exists of
// the library beside the program, the one where both were installed, and the one that the
// environment variable NQINSTANCE_LIBRARY names. Nothing when there is none.
std::optional<std::string> find_library(const std::string& wanted);

// Gives the host its options and loads the library into it. False: it could not be, and why is
// reported.
bool load_library(Host& host, const Settings& settings);

// Reports that the library refused to go on; its own troubles are not the input's fault.
ExitStatus report_status(const Host& host, const std::string& where, NQStatus status);

}  // namespace nq::tool
