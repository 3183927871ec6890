#include <string.h>

#include "nqinstance/text/kernel_loops.hpp"

namespace nq {
namespace {

// Eight bytes at a time, which no compiler makes of a loop with an early way out.
template <class Element>
std::size_t find_other(const Element* elements, std::size_t count, Element value) noexcept {
    constexpr std::size_t kStep = 8 / sizeof(Element);
    std::uint64_t pattern = value;
    for (std::size_t width = sizeof(Element); width < 8; width *= 2) {
        pattern |= pattern << 8 * width;
    }
    std::size_t i = 0;
    for (; i + kStep <= count; i += kStep) {
        std::uint64_t block;
        memcpy(&block, elements + i, sizeof block);
        if (block != pattern) break;
    }
    return i + loops::find_other(elements + i, count - i, value);
}

std::size_t find_pair(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                      std::uint8_t first, std::uint8_t second) noexcept {
    for (std::size_t i = 0; i < positions; ++i) {
        const void* found = memchr(text + i, first, positions - i);
        if (!found) break;
        i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - text);
        if (text[i + distance] == second) return i;
    }
    return positions;
}

NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept {
    return loops::utf8_to_utf32(cursor, out, loops::kToTheEnd);
}

NQStatus utf16_to_utf32(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept {
    return loops::utf16_to_utf32(cursor, in, out, loops::kToTheEnd);
}

NQStatus utf32_to_utf8(Cursor& cursor, ByteOrder in) noexcept {
    return loops::utf32_to_utf8(cursor, in, loops::kToTheEnd);
}

NQStatus utf32_to_utf16(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept {
    return loops::utf32_to_utf16(cursor, in, out, pairs, loops::kToTheEnd);
}

}  // namespace

constinit const TextKernels kGenericTextKernels = {
    .name = "generic",
    .to_upper = loops::to_upper,
    .to_lower = loops::to_lower,
    .find_other_byte = find_other<std::uint8_t>,
    .find_other_unit = find_other<NQChar>,
    .find_unequal = loops::find_unequal,
    .find_nan = loops::find_nan,
    .find_pair = find_pair,
    .utf8_bytes = loops::utf8_bytes,
    .swap_units = loops::swap_units,
    .utf8_to_utf32 = utf8_to_utf32,
    .utf16_to_utf32 = utf16_to_utf32,
    .utf32_to_utf8 = utf32_to_utf8,
    .utf32_to_utf16 = utf32_to_utf16,
};

}  // namespace nq
