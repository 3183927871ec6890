#include "tool/library.hpp"

#include <cstdlib>
#include <filesystem>

#include "tool/io/exit_status.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFileName = "libnqinstance.so";

}  // namespace

std::optional<std::string> find_library(const std::string& wanted) {
    // A name without a slash is a file here too, not something to look for on the loader's path.
    if (!wanted.empty()) return wanted.find('/') == std::string::npos ? "./" + wanted : wanted;

    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    const fs::path prefix = folder.parent_path();
    // An installed tree may have been moved as a whole, so its own library goes before the one
    // that the build was told of.
    for (const fs::path& candidate :
         {folder, prefix / "lib", prefix / NQTOOL_LIBRARY_FOLDER, fs::path(NQTOOL_LIBRARY_PATH)}) {
        if (candidate.is_absolute() && fs::exists(candidate / kFileName, error)) {
            return candidate / kFileName;
        }
    }
    if (const char* named = std::getenv("NQINSTANCE_LIBRARY"); named && *named) return named;
    return std::nullopt;
}

void load_library(Host& host, const LibrarySettings& settings) {
    for (const auto& [name, value] : settings.host_options) host.set_option(name, value);
    const std::optional<std::string> path = find_library(settings.library);
    std::string error;
    if (path && host.load(*path, error)) return;
    report(path ? "the library cannot be loaded: " + error
                : "libnqinstance.so is not found; name it with --library");
    throw RunEnded{{ExitStatus::kTrouble}};
}

}  // namespace nq::tool
