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

// Seeded with SEED=, or differently each time; the seed is printed, so that a failure can be
// repeated.
inline std::mt19937_64 seeded_generator() {
    const std::uint64_t seed = setting("SEED", std::random_device{}());
    std::cout << "SEED=" << seed << std::endl;
    return std::mt19937_64(seed);
}

// A random test's source of numbers and number of rounds, which ITER= takes the place of.
class SeededRandom {
  public:
    explicit SeededRandom(std::uint64_t rounds) : rounds_(setting("ITER", rounds)) {}

    std::uint64_t rounds() const { return rounds_; }
    std::uint64_t bits() { return engine_(); }
    // 0 to `end` - 1.
    std::uint64_t below(std::uint64_t end) { return engine_() % end; }

    template <class Container>
    const auto& pick(const Container& items) {
        return items[below(std::size(items))];
    }

  private:
    std::uint64_t rounds_;
    std::mt19937_64 engine_ = seeded_generator();
};

}  // namespace nq::test
