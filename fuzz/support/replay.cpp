// Runs files, and the files of folders, through a fuzz target: a found input, or the whole corpus
// as a test without libFuzzer.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/support/input.hpp"

namespace {

std::vector<std::filesystem::path> files_of(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) return {path};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& path : files_of(argv[i])) {
            std::ifstream file(path, std::ios::binary);
            if (!file) {
                std::fprintf(stderr, "cannot read %s\n", path.c_str());
                return 2;
            }
            // Announced, so that a crash tells its file.
            std::printf("%s\n", path.c_str());
            std::fflush(stdout);
            const nq::fuzz::Bytes input((std::istreambuf_iterator<char>(file)), {});
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? 0 : 2;
}
