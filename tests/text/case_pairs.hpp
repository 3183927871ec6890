#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <string>

namespace nq::test {

// The mappings of one direction ("upper", "lower", "min", "max") as the committed pairs have them.
inline std::map<std::uint32_t, std::uint32_t> case_pairs(const std::string& direction) {
    const bool is_wide = direction == "min" || direction == "max";
    const std::string path =
        std::string(NQ_CASE_PAIRS) + (is_wide ? "/case_wide.tsv" : "/case_builtin.tsv");
    std::ifstream file(path);
    EXPECT_TRUE(file) << path;
    std::map<std::uint32_t, std::uint32_t> pairs;
    std::string name;
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    while (file >> name >> std::hex >> from >> to) {
        if (name == direction) pairs[from] = to;
    }
    return pairs;
}

// What the pairs say of a code point.
inline std::uint32_t mapped(const std::map<std::uint32_t, std::uint32_t>& pairs,
                            std::uint32_t code_point) {
    const auto found = pairs.find(code_point);
    return found == pairs.end() ? code_point : found->second;
}

}  // namespace nq::test
