#pragma once
#include <algorithm>
#include <functional>
#include <string>
#include <string_view>

#include "tests/text/utf_model.hpp"

// A slow model of the comparisons, character by character from the written rules.
namespace nq::test::model {

using Lower = std::function<NQChar(NQChar)>;

inline int order_of(std::int64_t a, std::int64_t b) { return a < b ? -1 : a > b; }

inline std::uint8_t byte_at(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

inline NQChar lower_ascii(NQChar unit) {
    return unit >= 'A' && unit <= 'Z' ? unit - 'A' + 'a' : unit;
}

inline Read read_at(std::string_view text, std::size_t at) {
    return read_utf8(reinterpret_cast<const std::uint8_t*>(text.data()) + at, text.size() - at);
}

// The character at the place, as long as its first byte announces, or what is there of it.
inline std::string_view character_at(std::string_view text, std::size_t at) {
    return text.substr(at, announced_length(byte_at(text, at)));
}

inline bool is_blank(std::string_view text) {
    return text.find_first_not_of(' ') == std::string_view::npos;
}

inline int compare(std::string_view a, std::string_view b) {
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (byte_at(a, i) != byte_at(b, i)) return order_of(byte_at(a, i), byte_at(b, i));
    }
    return order_of(static_cast<std::int64_t>(a.size()), static_cast<std::int64_t>(b.size()));
}

inline int norm_compare(std::string_view a, std::string_view b, const Lower& lower) {
    const std::size_t most = std::min(a.size(), b.size());
    int tie = 0;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < most && j < b.size()) {
        const std::uint8_t x = byte_at(a, i);
        const std::uint8_t y = byte_at(b, j);
        const std::string_view character = character_at(a, i);
        if (x == y && character == character_at(b, j)) {
            i += character.size();
            j += character.size();
        } else if (x < 0x80 && y < 0x80) {
            if (lower_ascii(x) != lower_ascii(y)) {
                return 2 * order_of(lower_ascii(x), lower_ascii(y));
            }
            if (tie == 0) tie = x > y ? 1 : -1;
            ++i;
            ++j;
        } else {
            const Read of_a = read_at(a, i);
            const Read of_b = read_at(b, j);
            if (tie == 0) tie = of_a.code_point < of_b.code_point ? -1 : 1;
            const auto low_a = static_cast<std::int32_t>(lower(of_a.code_point));
            const auto low_b = static_cast<std::int32_t>(lower(of_b.code_point));
            if (low_a != low_b) return 2 * order_of(low_a, low_b);
            i += of_a.consumed;
            j += of_b.consumed;
        }
    }
    const std::string_view rest_a = a.substr(i);
    const std::string_view rest_b = b.substr(j);
    if (rest_a.size() == rest_b.size()) return tie;
    if (rest_b.size() > rest_a.size()) return is_blank(rest_b) ? tie : -2;
    return is_blank(rest_a) ? tie : 2;
}

// `lower` is the host's mapping; ASCII is lowered without it.
inline int norm_equal(std::string_view a, std::string_view b, const Lower& lower) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (character_at(a, i) == character_at(b, j)) {
            const std::size_t size = character_at(a, i).size();
            i += size;
            j += size;
            continue;
        }
        const Read of_a = read_at(a, i);
        const Read of_b = read_at(b, j);
        const auto fold = [&](NQChar unit) {
            return unit < 0x80 ? lower_ascii(unit) : lower(unit);
        };
        if (fold(of_a.code_point) != fold(of_b.code_point)) return 0;
        i += of_a.consumed;
        j += of_b.consumed;
    }
    return i == a.size() && j == b.size();
}

inline int ascii_equal(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, [](char x, char y) {
        return lower_ascii(static_cast<std::uint8_t>(x)) ==
               lower_ascii(static_cast<std::uint8_t>(y));
    });
}

using Units = std::basic_string<NQChar>;

inline int units_equal(const Units& a, const Units& b, const Lower& lower) {
    return std::ranges::equal(a, b, {}, lower, lower);
}

inline int units_compare(const Units& a, const Units& b, const Lower& lower) {
    const std::size_t most = std::min(a.size(), b.size());
    int tie = 0;
    for (std::size_t i = 0; i < most; ++i) {
        if (a[i] == b[i]) continue;
        if (tie == 0)
            tie = order_of(static_cast<std::int32_t>(a[i]), static_cast<std::int32_t>(b[i]));
        const auto low_a = static_cast<std::int32_t>(lower(a[i]));
        const auto low_b = static_cast<std::int32_t>(lower(b[i]));
        if (low_a != low_b) return 2 * order_of(low_a, low_b);
    }
    const Units& longer = a.size() > b.size() ? a : b;
    const bool is_padded = longer.find_first_not_of(U' ', most) == Units::npos;
    if (is_padded) return tie;
    return a.size() > b.size() ? 2 : -2;
}

}  // namespace nq::test::model
