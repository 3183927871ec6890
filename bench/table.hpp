#pragma once
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <tuple>

// Rows of the table of ratios: how many times as fast as its peer the library does something.
namespace nq::bench {

struct Row {
    const char* routine;
    std::string input;
    std::string peer;  // with its version
    double wanted;     // the ratio promised, or 0
};

// Keeps the compiler from working out, dropping or sharing what it could see through.
template <class Value>
void keep(Value&& value) noexcept {
    __asm__ volatile("" : : "r"(value) : "memory");
}

// A function and its arguments, for calls of a few cycles. They are called from loops of functions
// of their own that start with a cache line, as where a loop happens to lie may cost a cycle too.
template <class Function, class... Arguments>
class Call {
  public:
    explicit Call(Function function, Arguments... arguments)
        : function_(function), arguments_(arguments...) {}

    void repeat(std::size_t calls) const {
        std::apply([&](auto... arguments) { loop(calls, function_, arguments...); }, arguments_);
    }

  private:
    [[gnu::noinline, gnu::aligned(64)]] static void loop(std::size_t calls, Function function,
                                                         Arguments... arguments) {
        for (; calls > 0; --calls) function(arguments...);
    }

    Function function_;
    std::tuple<Arguments...> arguments_;
};

template <class Work>
double seconds_per_call(Work&& work, std::size_t calls) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    if constexpr (requires { work.repeat(calls); }) {
        work.repeat(calls);
    } else {
        for (std::size_t i = 0; i < calls; ++i) work();
    }
    return std::chrono::duration<double>(Clock::now() - start).count() / static_cast<double>(calls);
}

// The calls that take about a round's time: long for the clock, short for what else runs on the
// machine.
template <class Work>
std::size_t calls_of_a_round(Work&& work) {
    constexpr double kRoundSeconds = 40e-6;
    std::size_t calls = 1;
    while (calls < std::size_t{1} << 20 &&
           seconds_per_call(work, calls) * static_cast<double>(calls) < kRoundSeconds) {
        calls *= 2;
    }
    return calls;
}

// Prints the row with the peer's time over the library's. The two are measured in turns over many
// short rounds and the best of each counts, so that a busy machine disturbs neither.
template <class Library, class Peer>
void compare(const Row& row, Library&& library, Peer&& peer) {
    constexpr int kRounds = 250;
    constexpr int kFewestRounds = 5;
    constexpr double kSeconds = 0.5;  // of a row whose calls are long
    const std::size_t library_calls = calls_of_a_round(library);
    const std::size_t peer_calls = calls_of_a_round(peer);
    double library_best = 1e9;
    double peer_best = 1e9;
    double seconds = 0;
    for (int round = 0; round < kRounds && (round < kFewestRounds || seconds < kSeconds); ++round) {
        const double of_library = seconds_per_call(library, library_calls);
        const double of_peer = seconds_per_call(peer, peer_calls);
        library_best = std::min(library_best, of_library);
        peer_best = std::min(peer_best, of_peer);
        seconds += of_library * static_cast<double>(library_calls) +
                   of_peer * static_cast<double>(peer_calls);
    }
    const double ratio = peer_best / library_best;
    std::printf("%-18s %-24s %7.2f", row.routine, row.input.c_str(), ratio);
    if (row.wanted > 0) {
        std::printf("  %5.1f %-5s", row.wanted, ratio < row.wanted ? "short" : "met");
    } else {
        std::printf("  %11s", "");
    }
    std::printf("  %s\n", row.peer.c_str());
}

}  // namespace nq::bench
