// What a line costs when a configuration file is read: a file of 64 MiB against one of 1 MiB.
#include <cstdio>
#include <string>

#include "bench/loaded_library.hpp"
#include "bench/measure.hpp"

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

struct Document {
    std::string text;
    double lines = 0;
};

// Sections of a hundred keys with values of ordinary length.
Document make_document(std::size_t bytes) {
    Document document;
    for (int i = 0; document.text.size() < bytes; ++i, ++document.lines) {
        if (i % 101 == 0) {
            document.text += "[section " + std::to_string(i) + "]\n";
        } else {
            document.text += "key" + std::to_string(i) + " = a value of ordinary length\n";
        }
    }
    return document;
}

// Nanoseconds per line of one whole read, the pool's end included.
double cost_per_line(nq::Host& host, const char* name, double lines) {
    const double seconds = nq::bench::seconds_of([&] {
        HostPool* pool = host.make_pool("bench");
        NQDictionary* root = nullptr;
        int32_t line = 0;
        const NQStatus status = host.api()->readConfiguration(host.api(), pool, name, &line, &root);
        nq::bench::require(status == NQ_STATUS_OK, "the file cannot be read");
        pool->destroy(pool);
    });
    return seconds * 1e9 / lines;
}

}  // namespace

int main() {
    nq::Host host;
    nq::bench::load_or_exit(host);
    const Document small = make_document(kMiB);
    const Document large = make_document(64 * kMiB);
    host.add_memory_file("small.conf", small.text);
    host.add_memory_file("large.conf", large.text);
    nq::bench::Samples small_cost;
    nq::bench::Samples large_cost;
    for (int round = 0; round < 5; ++round) {
        for (int i = 0; i < 16; ++i) small_cost.add(cost_per_line(host, "small.conf", small.lines));
        large_cost.add(cost_per_line(host, "large.conf", large.lines));
    }
    std::printf("configuration, cost per line: 64 MiB / 1 MiB = %.2f (%.0f ns / %.0f ns)\n",
                large_cost.median() / small_cost.median(), large_cost.median(),
                small_cost.median());
}
