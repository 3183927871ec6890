#pragma once
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "standalone/host.hpp"

namespace nq::tool {

struct LibrarySettings {
    std::string library;  // empty: look for it
    std::vector<std::pair<std::string, std::string>> host_options;

    bool operator==(const LibrarySettings&) const = default;
};

// The path of the extension library: `wanted` unless it is empty, else the first that exists of
// the library beside the program, the one where both were installed, and the one that the
// environment variable NQINSTANCE_LIBRARY names. Nothing when there is none.
std::optional<std::string> find_library(const std::string& wanted);

// Gives the host its options and loads the library into it, or ends the run.
void load_library(Host& host, const LibrarySettings& settings);

}  // namespace nq::tool
