#include "bench/text/plain_loops.hpp"

#include <wctype.h>

#include <cstring>

namespace nq::bench::plain {
namespace {

template <class Element>
std::size_t find_other_element(const Element* elements, std::size_t count, Element value) {
    for (std::size_t i = 0; i < count; ++i) {
        if (elements[i] != value) return i;
    }
    return count;
}

std::uint32_t load(const std::uint8_t* bytes) {
    std::uint32_t unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return unit;
}

void store(std::uint8_t* bytes, std::uint32_t unit) { std::memcpy(bytes, &unit, sizeof unit); }

std::uint16_t load16(const std::uint8_t* bytes) {
    std::uint16_t unit;
    std::memcpy(&unit, bytes, sizeof unit);
    return unit;
}

void store16(std::uint8_t* bytes, std::uint32_t unit) {
    const auto low = static_cast<std::uint16_t>(unit);
    std::memcpy(bytes, &low, sizeof low);
}

std::uint8_t byte_of(std::uint32_t value) { return static_cast<std::uint8_t>(value); }

}  // namespace

std::size_t find_other(const std::uint8_t* bytes, std::size_t length, std::uint8_t value) {
    return find_other_element(bytes, length, value);
}

std::size_t find_other(const std::uint32_t* units, std::size_t count, std::uint32_t value) {
    return find_other_element(units, count, value);
}

bool are_all(const std::uint8_t* bytes, std::size_t length, std::uint8_t value) {
    for (std::size_t i = 0; i < length; ++i) {
        if (bytes[i] != value) return false;
    }
    return true;
}

bool are_all(const std::uint32_t* units, std::size_t count, std::uint32_t value) {
    for (std::size_t i = 0; i < count; ++i) {
        if (units[i] != value) return false;
    }
    return true;
}

bool has_nan(const double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (values[i] != values[i]) return true;
    }
    return false;
}

std::size_t utf8_to_utf32(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                          std::size_t capacity) {
    std::size_t produced = 0;
    for (std::size_t i = 0; i < bytes && capacity - produced >= 4; produced += 4) {
        const std::uint32_t lead = source[i];
        const std::size_t size = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || bytes - i < size) break;
        std::uint32_t unit = lead;
        if (size == 2) {
            unit = (lead & 0x1F) << 6 | (source[i + 1] & 0x3F);
        } else if (size == 3) {
            unit = (lead & 0x0F) << 12 | (source[i + 1] & 0x3F) << 6 | (source[i + 2] & 0x3F);
        } else if (size == 4) {
            unit = (lead & 0x07) << 18 | (source[i + 1] & 0x3F) << 12 |
                   (source[i + 2] & 0x3F) << 6 | (source[i + 3] & 0x3F);
        }
        store(target + produced, unit);
        i += size;
    }
    return produced;
}

std::size_t utf32_to_utf8(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                          std::size_t capacity) {
    std::size_t produced = 0;
    for (std::size_t i = 0; i + 4 <= bytes; i += 4) {
        const std::uint32_t unit = load(source + i);
        const std::size_t size = unit < 0x80 ? 1 : unit < 0x800 ? 2 : unit < 0x10000 ? 3 : 4;
        if (capacity - produced < size) break;
        std::uint8_t* at = target + produced;
        if (size == 1) {
            at[0] = byte_of(unit);
        } else if (size == 2) {
            at[0] = byte_of(0xC0 | unit >> 6);
            at[1] = byte_of(0x80 | (unit & 0x3F));
        } else if (size == 3) {
            at[0] = byte_of(0xE0 | unit >> 12);
            at[1] = byte_of(0x80 | (unit >> 6 & 0x3F));
            at[2] = byte_of(0x80 | (unit & 0x3F));
        } else {
            at[0] = byte_of(0xF0 | unit >> 18);
            at[1] = byte_of(0x80 | (unit >> 12 & 0x3F));
            at[2] = byte_of(0x80 | (unit >> 6 & 0x3F));
            at[3] = byte_of(0x80 | (unit & 0x3F));
        }
        produced += size;
    }
    return produced;
}

std::size_t utf16_to_utf32(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                           std::size_t capacity) {
    std::size_t produced = 0;
    for (std::size_t i = 0; i + 2 <= bytes && capacity - produced >= 4; produced += 4) {
        std::uint32_t unit = load16(source + i);
        i += 2;
        if (unit >= 0xD800 && unit < 0xE000) {
            if (unit >= 0xDC00 || i + 2 > bytes) break;
            const std::uint32_t second = load16(source + i);
            if (second < 0xDC00 || second >= 0xE000) break;
            unit = 0x10000 + ((unit - 0xD800) << 10) + (second - 0xDC00);
            i += 2;
        }
        store(target + produced, unit);
    }
    return produced;
}

std::size_t utf32_to_utf16(const std::uint8_t* source, std::size_t bytes, std::uint8_t* target,
                           std::size_t capacity) {
    std::size_t produced = 0;
    for (std::size_t i = 0; i + 4 <= bytes; i += 4) {
        const std::uint32_t unit = load(source + i);
        if (unit < 0x10000) {
            if (capacity - produced < 2) break;
            store16(target + produced, unit);
            produced += 2;
        } else {
            if (capacity - produced < 4) break;
            store16(target + produced, 0xD800 + ((unit - 0x10000) >> 10));
            store16(target + produced + 2, 0xDC00 + (unit & 0x3FF));
            produced += 4;
        }
    }
    return produced;
}

std::size_t count_characters(const std::uint8_t* text, std::size_t bytes) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < bytes; ++count) {
        const std::uint8_t lead = text[i];
        i += lead < 0xC0 ? 1u : lead < 0xE0 ? 2u : lead < 0xF0 ? 3u : 4u;
    }
    return count;
}

void lower_units(std::uint32_t* units, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) units[i] = towlower(units[i]);
}

}  // namespace nq::bench::plain
