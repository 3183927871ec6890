#include "tool/library.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

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

bool load_library(Host& host, const Settings& settings) {
    for (const auto& [name, value] : settings.host_options) host.set_option(name, value);
    const std::optional<std::string> path = find_library(settings.library);
    if (!path) {
        report("nqtool", "libnqinstance.so is not found; name it with --library");
        return false;
    }
    std::string error;
    if (host.load(*path, error)) return true;
    report("nqtool", "the library cannot be loaded: " + error);
    return false;
}

ExitStatus report_status(const Host& host, const std::string& where, NQStatus status) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", status);
    report(where, host.message(status) + " (" + code + ")");
    return ExitStatus::kTrouble;
}

}  // namespace nq::tool
