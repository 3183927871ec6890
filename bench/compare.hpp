#pragma once
#include "bench/measure.hpp"
#include "bench/table.hpp"

namespace nq::bench {

// Measures the two against each other and prints the row.
template <class Library, class Peer>
void compare(const Row& row, Library&& library, Peer&& peer) {
    print(row, best_times(library, peer).ratio());
}

}  // namespace nq::bench
