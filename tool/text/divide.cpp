#include "tool/text/divide.hpp"

#include <algorithm>
#include <iterator>

#include "standalone/base/utf8.hpp"
#include "tool/io/input.hpp"

namespace nq::tool {
namespace {

struct Range {
    NQChar first;
    NQChar last;
};

template <std::size_t kCount>
bool is_in(const Range (&ranges)[kCount], NQChar character) noexcept {
    return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

// Neither cased nor passed over by the rules that look for a word's end, as the apostrophe, full
// stop, colon, circumflex, grave accent and the iteration marks between these ranges are. Enough
// for text that people write; leaving out others only makes pieces shorter.
constexpr Range kWordEnds[] = {
    {0x00, 0x26},     {0x28, 0x2d},     {0x2f, 0x39},     {0x3b, 0x40},
    {0x5b, 0x5d},     {0x5f, 0x5f},     {0x7b, 0x7f},     {0x3001, 0x3003},
    {0x3041, 0x3096}, {0x30a1, 0x30fa}, {0x4e00, 0x9fff},
};

// Of combining class 0, never the second part of a composition, nor turned into something else than
// that, nor into nothing: ASCII, Latin without the soft hyphen, Greek, Cyrillic, kana, ideographs.
constexpr Range kStarters[] = {
    {0x00, 0xac},     {0xae, 0x2ff},    {0x391, 0x482},   {0x48a, 0x52f},
    {0x3000, 0x3003}, {0x3041, 0x3096}, {0x30a1, 0x30fa}, {0x4e00, 0x9fff},
};

struct Place {
    std::size_t begin;
    std::size_t end;
    NQChar character;
};

Place last_character(std::string_view text) noexcept {
    std::size_t begin = text.size() - 1;
    while (begin != 0 && is_continuation(text[begin])) --begin;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data()) + begin;
    return {begin, text.size(), decode_utf8(bytes, text.size() - begin).code_point};
}

// The last character among the ranges, or one of no length at 0.
template <std::size_t kCount>
Place last_among(const Range (&ranges)[kCount], std::string_view text) noexcept {
    while (!text.empty()) {
        const Place place = last_character(text);
        if (is_in(ranges, place.character)) return place;
        text = text.substr(0, place.begin);
    }
    return {0, 0, 0};
}

}  // namespace

std::size_t divide_anywhere(std::string_view text) noexcept { return text.size(); }

std::size_t divide_between_words(std::string_view text) noexcept {
    return last_among(kWordEnds, text).end;
}

std::size_t divide_before_starter(std::string_view text) noexcept {
    return last_among(kStarters, text).begin;
}

std::size_t divide_between_surrogates(std::string_view text) noexcept {
    constexpr std::size_t kSurrogateBytes = 3;
    if (text.size() < kSurrogateBytes) return text.size();
    const std::size_t last = text.size() - kSurrogateBytes;
    const bool is_high = text[last] == '\xed' && (text[last + 1] & 0xf0) == 0xa0;
    return is_high ? last : text.size();
}

}  // namespace nq::tool
