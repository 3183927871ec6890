#pragma once
#include <cstdio>
#include <string>

// The table of ratios: how many times as fast as its peer the library does something.
namespace nq::bench {

struct Row {
    const char* routine;
    std::string input;
    std::string peer;    // with its version
    double least = 0.0;  // the ratio promised, or 0
};

inline void print_heading() {
    std::printf("%-18s %-24s %7s  %5s %-5s  %s\n", "routine", "input", "ratio", "least", "",
                "peer");
}

inline void print(const Row& row, double ratio) {
    std::printf("%-18s %-24s %7.2f", row.routine, row.input.c_str(), ratio);
    if (row.least > 0) {
        std::printf("  %5.1f %-5s", row.least, ratio < row.least ? "short" : "met");
    } else {
        std::printf("  %11s", "");
    }
    std::printf("  %s\n", row.peer.c_str());
}

}  // namespace nq::bench
