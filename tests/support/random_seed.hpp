#pragma once
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

namespace nq::test {

// A number from the environment, as ITER=, or the one given.
inline std::uint64_t setting(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 0) : otherwise;
}

// Seeded with SEED=, or differently each time; the seed is printed.
inline std::mt19937_64 seeded_generator() {
    const std::uint64_t seed = setting("SEED", std::random_device{}());
    std::cout << "SEED=" << seed << std::endl;
    return std::mt19937_64(seed);
}

}  // namespace nq::test
