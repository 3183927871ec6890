#include "standalone/base/utf8.hpp"

#include <unicode/uchar.h>

namespace nq {
namespace {

bool is_white_space(int32_t character) noexcept {
    // Almost all that is asked about is ASCII, where a look-up would cost more than the rest.
    if (character >= 0x80) return u_isUWhiteSpace(character);
    return character == ' ' || (character >= '\t' && character <= '\r');
}

}  // namespace

std::string_view trimmed(std::string_view text) noexcept {
    while (!text.empty()) {
        std::size_t next = 0;
        int32_t character;
        U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), next, text.size(), character);
        if (!is_white_space(character)) break;
        text.remove_prefix(next);
    }
    while (!text.empty()) {
        // Positions of the macro have 32 bits, so it sees the end of the text alone.
        const std::string_view end =
            text.substr(text.size() - std::min<std::size_t>(text.size(), U8_MAX_LENGTH));
        auto last = static_cast<int32_t>(end.size());
        int32_t character;
        U8_PREV(reinterpret_cast<const uint8_t*>(end.data()), 0, last, character);
        if (!is_white_space(character)) break;
        text.remove_suffix(end.size() - static_cast<std::size_t>(last));
    }
    return text;
}

}  // namespace nq
