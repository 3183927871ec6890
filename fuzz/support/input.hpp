#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <vector>

#include "nqinstance/text/kernels/table.hpp"

// What the fuzz targets share. An input is a few numbers that choose what is done, then the text
// that it is done to; whatever is missing of the numbers is zero.
namespace nq::fuzz {

using Bytes = std::vector<std::uint8_t>;

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

    std::uint32_t byte() {
        if (left_.empty()) return 0;
        const std::uint8_t first = left_[0];
        left_ = left_.subspan(1);
        return first;
    }
    std::uint32_t number() {
        const std::uint32_t low = byte();
        return low | byte() << 8;
    }

    // Copies in blocks of their own, exactly as long, so that a sanitizer sees one byte too many.
    Bytes text(std::size_t most) {
        const auto taken = left_.first(std::min(most, left_.size()));
        left_ = left_.subspan(taken.size());
        return {taken.begin(), taken.end()};
    }
    Bytes rest() { return text(left_.size()); }
    std::size_t left() const { return left_.size(); }

  private:
    std::span<const std::uint8_t> left_;
};

inline void require(bool holds, const char* what, const char* file, int line) {
    if (holds) return;
    std::fprintf(stderr, "%s:%d: not so: %s\n", file, line, what);
    std::abort();
}

#define NQ_REQUIRE(...) ::nq::fuzz::require((__VA_ARGS__), #__VA_ARGS__, __FILE__, __LINE__)

// The result of `run`, which must be the same with each body of the text routines.
template <class Run>
auto in_all_bodies(Run run) {
    std::optional<decltype(run())> first;
    for (const TextKernels* body : text_kernel_bodies()) {
        text_kernels_in_use = body;
        auto result = run();
        if (!first)
            first = std::move(result);
        else
            NQ_REQUIRE(*first == result);
    }
    text_kernels_in_use = nullptr;
    return *std::move(first);
}

}  // namespace nq::fuzz

// The entry of each target, for libFuzzer and for the replay.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
