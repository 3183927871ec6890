#include "bench/sample_texts.hpp"

#include <fstream>
#include <iterator>

#include "bench/require.hpp"

namespace nq::bench {
namespace {

constexpr const char* kNames[] = {"english", "french", "russian", "chinese", "emoji", "mixed"};

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

std::vector<Sample> sample_texts(std::size_t bytes) {
    std::vector<Sample> samples;
    for (const char* name : kNames) {
        const std::string path = std::string(NQ_BENCH_DATA) + "/" + name + ".txt";
        std::ifstream file(path, std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(file)), {});
        require(!text.empty(), ("cannot read " + path).c_str());
        std::string repeated;
        while (repeated.size() <= bytes) repeated += text;
        std::size_t length = bytes;
        while (continues_character(repeated[length])) --length;
        repeated.resize(length);
        samples.push_back({name, std::move(repeated)});
    }
    return samples;
}

}  // namespace nq::bench
