#include "bench/plain_loops.hpp"
#include "bench/text.hpp"
#include "nqinstance/text/utf8_strings.h"

namespace nq::bench {

void character_rows(const Host&) {
    for (const Sample& sample : sample_texts(std::size_t{64} << 10)) {
        const auto* text = reinterpret_cast<const std::uint8_t*>(sample.bytes.data());
        const std::size_t bytes = sample.bytes.size();
        if (nqzsu8NumChars(text, bytes) != plain::count_characters(text, bytes)) std::abort();
        compare(
            {"nqzsu8NumChars", sample.name, "loop over lead bytes, gcc " __VERSION__ " -O2", 10},
            [&] { keep(nqzsu8NumChars(text, bytes)); },
            [&] { keep(plain::count_characters(text, bytes)); });
    }
}

}  // namespace nq::bench
