#pragma once
#include <cstdio>
#include <cstdlib>

namespace nq::bench {

// Ends the program otherwise: figures of work that goes wrong say nothing.
inline void require(bool holds, const char* otherwise) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", otherwise);
    std::exit(2);
}

}  // namespace nq::bench
