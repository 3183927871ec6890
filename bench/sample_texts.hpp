#pragma once
#include <cstddef>
#include <string>
#include <vector>

namespace nq::bench {

struct Sample {
    std::string name;   // of the file in bench/data, without its ending
    std::string bytes;  // UTF-8, whole characters
};

// The sample texts, each repeated to about `bytes`.
std::vector<Sample> sample_texts(std::size_t bytes);

}  // namespace nq::bench
