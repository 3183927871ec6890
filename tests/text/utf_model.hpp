#pragma once
#include <array>
#include <cstdint>
#include <vector>

#include "nqinstance/host/status.h"

// A slow model of the UTF conversions, bit by bit from the written rules.
namespace nq::test::model {

using Bytes = std::vector<std::uint8_t>;

struct Read {
    NQStatus status;
    NQChar code_point;
    std::uint64_t consumed;
    bool operator==(const Read&) const = default;
};

inline std::uint64_t announced_length(std::uint8_t lead) {
    if (lead < 0xC0) return 1;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    if (lead < 0xF8) return 4;
    return lead < 0xFC ? 5 : 6;
}

inline bool is_continuation(std::uint8_t byte) { return byte >= 0x80 && byte <= 0xBF; }

inline Read read_utf8(const std::uint8_t* text, std::uint64_t available) {
    if (available == 0) return {NQ_STATUS_TRUNCATED, 0xFFFD, 0};
    const std::uint8_t lead = text[0];
    if (lead < 0x80) return {0, lead, 1};
    const std::uint64_t length = announced_length(lead);
    if (lead < 0xC2 || lead > 0xF4) {
        std::uint64_t count = 1;
        while (count < length && count < available && is_continuation(text[count])) ++count;
        return {NQ_STATUS_MALFORMED, 0xFFFD, count};
    }
    if (available < length) return {NQ_STATUS_TRUNCATED, 0xFFFD, available};
    constexpr std::array<std::uint32_t, 7> kMasks{0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};
    NQChar code_point = lead & kMasks[length];
    for (std::uint64_t i = 1; i < length; ++i) code_point = code_point * 64 + text[i] % 64;
    return {0, code_point, length};
}

inline std::uint32_t unit_at(const std::uint8_t* text, bool is_big) {
    return is_big ? text[0] * 256u + text[1] : text[1] * 256u + text[0];
}

inline Read read_utf16(const std::uint8_t* text, std::uint64_t available, bool is_big) {
    if (available < 2) return {NQ_STATUS_TRUNCATED, 0xFFFD, available};
    const std::uint32_t unit = unit_at(text, is_big);
    if (unit >= 0xDC00 && unit <= 0xDFFF) return {NQ_STATUS_MALFORMED, 0xFFFD, 2};
    if (unit < 0xD800 || unit > 0xDFFF) return {0, unit, 2};
    if (available < 4) return {NQ_STATUS_MALFORMED, 0xFFFD, 4};
    const std::uint32_t second = unit_at(text + 2, is_big);
    if (second < 0xDC00 || second > 0xDFFF) return {NQ_STATUS_MALFORMED, 0xFFFD, 4};
    return {0, 0x10000 + (unit - 0xD800) * 0x400 + (second - 0xDC00), 4};
}

inline Bytes utf8_of(NQChar code_point) {
    if (code_point < 0x80) return {static_cast<std::uint8_t>(code_point)};
    const unsigned tails = code_point < 0x800 ? 1 : code_point < 0x10000 ? 2 : 3;
    constexpr std::array<std::uint32_t, 4> kMarks{0, 0xC0, 0xE0, 0xF0};
    Bytes bytes(tails + 1);
    for (unsigned i = tails; i > 0; --i) {
        bytes[i] = static_cast<std::uint8_t>(0x80 + code_point % 64);
        code_point /= 64;
    }
    bytes[0] = static_cast<std::uint8_t>(kMarks[tails] + code_point);
    return bytes;
}

}  // namespace nq::test::model
