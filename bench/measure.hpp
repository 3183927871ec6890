#pragma once
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <tuple>
#include <vector>

namespace nq::bench {

// Keeps the compiler from working out, dropping or sharing what it could see through.
template <class Value>
void keep(Value&& value) noexcept {
    __asm__ volatile("" : : "r"(value) : "memory");
}

template <class Work>
double seconds_of(Work&& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

class Samples {
  public:
    void add(double sample) { samples_.push_back(sample); }
    double median() {
        const auto middle = samples_.begin() + static_cast<std::ptrdiff_t>(samples_.size() / 2);
        std::nth_element(samples_.begin(), middle, samples_.end());
        return *middle;
    }

  private:
    std::vector<double> samples_;
};

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
    const double seconds = seconds_of([&] {
        if constexpr (requires { work.repeat(calls); }) {
            work.repeat(calls);
        } else {
            for (std::size_t i = 0; i < calls; ++i) work();
        }
    });
    return seconds / static_cast<double>(calls);
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

struct Times {
    double library = 1e9;  // seconds per call
    double peer = 1e9;
    double ratio() const noexcept { return peer / library; }
};

// The two are measured in turns over many short rounds and the best of each counts, so that a busy
// machine disturbs neither.
template <class Library, class Peer>
Times best_times(Library&& library, Peer&& peer) {
    constexpr int kRounds = 250;
    constexpr int kFewestRounds = 5;
    constexpr double kSeconds = 0.5;  // of a comparison whose calls are long
    const std::size_t library_calls = calls_of_a_round(library);
    const std::size_t peer_calls = calls_of_a_round(peer);
    Times best;
    double seconds = 0;
    for (int round = 0; round < kRounds && (round < kFewestRounds || seconds < kSeconds); ++round) {
        const double of_library = seconds_per_call(library, library_calls);
        const double of_peer = seconds_per_call(peer, peer_calls);
        best.library = std::min(best.library, of_library);
        best.peer = std::min(best.peer, of_peer);
        seconds += of_library * static_cast<double>(library_calls) +
                   of_peer * static_cast<double>(peer_calls);
    }
    return best;
}

}  // namespace nq::bench
