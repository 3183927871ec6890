// Writing a string of 16 MiB as JSON: one that is all quotes, so that every byte is escaped,
// against one of letters, and against appending it to a std::string character by character.
#include <cstdio>
#include <cstring>
#include <string>

#include "bench/loaded_library.hpp"
#include "bench/measure.hpp"

namespace {

constexpr std::size_t kBytes = std::size_t{16} << 20;

double seconds_to_write(nq::Host& host, HostPool* pool, NQStringApi* strings, char letter) {
    const std::string text(kBytes, letter);
    NQU8String* string = strings->newString(
        strings, pool, reinterpret_cast<const uint8_t*>(text.data()), text.size(), 1);
    nq::bench::Samples samples;
    for (int round = 0; round < 5; ++round) {
        NQU8String* json = nullptr;
        samples.add(nq::bench::seconds_of(
            [&] { host.api()->toJSON(host.api(), pool, &string->header, &json); }));
        nq::bench::require(json, "the string cannot be written");
        json->header.release(json);
    }
    string->header.release(string);
    return samples.median();
}

double seconds_of_plain_loop() {
    const std::string text(kBytes, '"');
    nq::bench::Samples samples;
    for (int round = 0; round < 5; ++round) {
        std::string json;
        samples.add(nq::bench::seconds_of([&] {
            json += '"';
            for (const char c : text) {
                if (c == '"' || c == '\\') json += '\\';
                json += c;
            }
            json += "\"\n";
        }));
        nq::bench::require(json.size() == 2 * kBytes + 3, "the loop writes something else");
    }
    return samples.median();
}

}  // namespace

int main() {
    nq::Host host;
    nq::bench::load_or_exit(host);
    HostPool* pool = host.make_pool("bench");
    auto strings = nq::bench::extension<NQStringApi>(host);
    const double quotes = seconds_to_write(host, pool, strings.get(), '"');
    const double letters = seconds_to_write(host, pool, strings.get(), 'x');
    const double loop = seconds_of_plain_loop();
    std::printf(
        "JSON string of 16 MiB: quotes / letters = %.2f, quotes / std::string loop = %.2f "
        "(quotes take %.3f s)\n",
        quotes / letters, quotes / loop, quotes);
    pool->destroy(pool);
}
