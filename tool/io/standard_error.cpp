#include <cstdio>
#include <string>

#include "tool/io/report.hpp"

namespace nq::tool {

// A file of its own, so that the fuzz targets can look at messages instead of printing them.
void report_line(std::string_view line) {
    // In one piece, so that the lines of several programs do not mix.
    const std::string text = std::string(line) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace nq::tool
