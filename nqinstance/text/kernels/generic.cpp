#include <string.h>
#include <wchar.h>

#include "nqinstance/text/kernels/case_loops.hpp"
#include "nqinstance/text/kernels/compare_loops.hpp"

namespace nq {
namespace {

// Compares eight bytes at a time. No compiler does that to a loop that may end at any element.
//   value 0x20 -> pattern 0x2020'2020'2020'2020; unit 0x20 -> pattern 0x0000'0020'0000'0020
template <class Element>
std::size_t find_first_not(const Element* elements, std::size_t count, Element value) noexcept {
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
    return i + loops::find_first_not(elements + i, count - i, value);
}

void fill_bytes(std::uint8_t* to, std::uint8_t value, std::size_t length) noexcept {
    memset(to, value, length);
}

void fill_units(NQChar* to, NQChar value, std::size_t count) noexcept {
    wmemset(reinterpret_cast<wchar_t*>(to), static_cast<wchar_t>(value), count);
}

std::uint8_t* move(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept {
    return static_cast<std::uint8_t*>(memmove(to, from, length));
}

std::uint64_t scan_first_not_unit(const NQChar* units, std::size_t count, NQChar value) noexcept {
    const std::size_t i = find_first_not(units, count, value);
    return i == count ? NQ_NOT_FOUND : i;
}

std::int32_t all_units_equal(const NQChar* units, std::size_t count, NQChar value) noexcept {
    return find_first_not(units, count, value) == count;
}

std::uint64_t scan(const std::uint8_t* text, std::size_t length, std::uint8_t value) noexcept {
    const void* found = memchr(text, value, length);
    if (!found) return NQ_NOT_FOUND;
    return static_cast<std::uint64_t>(static_cast<const std::uint8_t*>(found) - text);
}

std::int32_t compare(const std::uint8_t* a, const std::uint8_t* b, std::size_t length) noexcept {
    const int order = memcmp(a, b, length);
    return (order > 0) - (order < 0);
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

Steps count_steps(const std::uint8_t* text, std::size_t length) noexcept {
    Steps steps{0, 0};
    while (steps.end < length) {
        if (length - steps.end >= 8 && is_ascii(load64(text + steps.end))) {
            steps.count += 8;
            steps.end += 8;
            continue;
        }
        // Steps byte by byte for a while, so that text outside ASCII seldom pays for a look at
        // eight bytes that does not help.
        const Steps more =
            loops::count_steps(text + steps.end, std::min<std::uint64_t>(length - steps.end, 16));
        steps.count += more.count;
        steps.end += more.end;
    }
    return steps;
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
    .map_ascii = loops::map_ascii,
    .map_ascii_units = loops::map_ascii_units,
    .fill_bytes = fill_bytes,
    .fill_units = fill_units,
    .move = move,
    .find_first_not_byte = find_first_not<std::uint8_t>,
    .first_mismatch = loops::first_mismatch,
    .scan_first_not_unit = scan_first_not_unit,
    .all_units_equal = all_units_equal,
    .has_nan = loops::has_nan,
    .scan = scan,
    .compare = compare,
    .find_pair = find_pair,
    .equal_prefix_ignoring_ascii_case_utf8 = loops::equal_prefix_ignoring_ascii_case_utf8,
    .equal_prefix_ignoring_ascii_case_bytes = loops::equal_prefix_ignoring_ascii_case_bytes,
    .equal_prefix_ignoring_ascii_case_units = loops::equal_prefix_ignoring_ascii_case_units,
    .count_characters = loops::count_characters,
    .size_of_characters = loops::size_of_characters,
    .count_steps = count_steps,
    .utf8_bytes = loops::utf8_bytes,
    .swap_units = loops::swap_units,
    .utf8_to_utf32 = utf8_to_utf32,
    .utf16_to_utf32 = utf16_to_utf32,
    .utf32_to_utf8 = utf32_to_utf8,
    .utf32_to_utf16 = utf32_to_utf16,
};

}  // namespace nq
