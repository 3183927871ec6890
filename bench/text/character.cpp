#include "bench/text/plain_loops.hpp"
#include "bench/text/rows.hpp"
#include "nqinstance/text/utf8_strings.h"

namespace nq::bench {
namespace {

constexpr std::size_t kTextBytes = std::size_t{64} << 10;

void row_of(const Host& host, const std::string& input, const std::string& characters) {
    const auto count = NQ_EXPORTED(host, nqzsu8NumChars);
    const auto* text = reinterpret_cast<const std::uint8_t*>(characters.data());
    const std::size_t bytes = characters.size();
    require(count(text, bytes) == plain::count_characters(text, bytes),
            "the library and the loop do not count alike");
    compare(
        {"nqzsu8NumChars", input, "loop over lead bytes, gcc " __VERSION__ " -O2", 10},
        [&] { keep(count(text, bytes)); }, [&] { keep(plain::count_characters(text, bytes)); });
}

std::string repeated(const char* character) {
    std::string text;
    while (text.size() < kTextBytes) text += character;
    return text;
}

}  // namespace

void character_rows(const Host& host) {
    for (const Sample& sample : sample_texts(kTextBytes)) row_of(host, sample.name, sample.bytes);
    // The loop guesses each length rightly in these.
    row_of(host, "one of 2 bytes, repeated", repeated("\u0436"));
    row_of(host, "one of 3 bytes, repeated", repeated("\u4E2D"));
    row_of(host, "one of 4 bytes, repeated", repeated("\U0001F600"));
}

}  // namespace nq::bench
