#include <string>
#include <string_view>

#include "bench/text/rows.hpp"
#include "nqinstance/text/utf8.h"

namespace nq::bench {
namespace {

constexpr std::size_t kTextBytes = std::size_t{64} << 10;
constexpr const char* kPeer = "std::string_view::find, libstdc++ " __VERSION__;

void row_of(const std::string& input, const std::string& haystack, const std::string& needle,
            double least, const char* peer = kPeer) {
    const auto bytes = [](const std::string& text) {
        return reinterpret_cast<const std::uint8_t*>(text.data());
    };
    const auto library = [&] {
        return nqzsu8IndexText(bytes(haystack), haystack.size(), bytes(needle), needle.size(), 20);
    };
    const auto standard = [&] {
        std::string_view text(haystack);
        std::string_view sought(needle);
        keep(text.data());
        keep(sought.data());
        return static_cast<std::int64_t>(text.find(sought));
    };
    require(library() == standard(), "the library and the standard one do not find the same");
    compare(
        {"nqzsu8IndexText", input, peer, least}, [&] { keep(library()); },
        [&] { keep(standard()); });
}

}  // namespace

void search_rows(const Host&) {
    for (const Sample& sample : sample_texts(kTextBytes)) {
        // Words of letters that the text has; at the end one that it has nowhere else.
        const bool has_words = sample.name == "english" || sample.name == "french";
        const std::string absent = sample.name == "russian" ? "светофор" : "locomotive";
        const double least = sample.name == "english" || sample.name == "russian" ? 5 : 0;
        row_of(sample.name + ", absent", sample.bytes, absent, least);
        row_of(sample.name + ", at the end", sample.bytes + absent, absent, least);
        if (has_words) row_of(sample.name + ", a word's start", sample.bytes, "thereafter", 0);
    }
    const std::string line = "The columns read 04:12, 10:37 and beside each of them stood a height";
    row_of("a line of 68 bytes", line, "height", 0);
    // All but the last byte of the needle fits everywhere.
    const std::string same(kTextBytes, 'a');
    row_of("aaa..., needle a...ab", same, std::string(kTextBytes / 2, 'a') + "b", 0);
}

}  // namespace nq::bench
