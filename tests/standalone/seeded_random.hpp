#pragma once
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>

namespace nq::test {

// A random test's source of numbers and number of rounds. The environment's SEED and ITER take
// the place of the defaults; the seed is printed, so that a failure can be repeated.
class SeededRandom {
  public:
    explicit SeededRandom(std::uint64_t rounds)
        : rounds_(from_environment("ITER", rounds)),
          engine_(from_environment("SEED", std::random_device{}())) {}

    std::uint64_t rounds() const { return rounds_; }
    std::uint64_t bits() { return engine_(); }
    // 0 to `end` - 1.
    std::uint64_t below(std::uint64_t end) { return engine_() % end; }

    template <class Container>
    const auto& pick(const Container& items) {
        return items[below(std::size(items))];
    }

  private:
    static std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
        const char* text = std::getenv(name);
        const std::uint64_t value = text ? std::strtoull(text, nullptr, 0) : otherwise;
        std::cout << name << "=" << value << "\n";
        return value;
    }

    std::uint64_t rounds_;
    std::mt19937_64 engine_;
};

}  // namespace nq::test
