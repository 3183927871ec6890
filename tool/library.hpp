#pragma once
#include <optional>
#include <string>

namespace nq::tool {

// The path of the extension library: `wanted` unless it is empty, else the first that exists of
// the library beside the program, the one where both were installed, and the one that the
// environment variable NQINSTANCE_LIBRARY names. Nothing when there is none.
std::optional<std::string> find_library(const std::string& wanted);

}  // namespace nq::tool
