#pragma once
#include <array>
#include <cstdint>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/host/kernel.h"
#include "nqinstance/text/case_tables.hpp"
#include "nqinstance/text/kernels/utf8_tables.hpp"

// Maps the case of one character, inline, for the case mappings and the comparisons.
namespace nq {

// The mappings of single bytes: they change ASCII letters only.
inline constexpr auto ansi_upcasetable = detail::byte_table<std::uint8_t>(
    [](std::size_t byte) { return byte >= 'a' && byte <= 'z' ? byte - 32 : byte; });
inline constexpr auto ansi_lowcasetable = detail::byte_table<std::uint8_t>(
    [](std::size_t byte) { return byte >= 'A' && byte <= 'Z' ? byte + 32 : byte; });

namespace detail {

// Goes on through the whole list with the replaced value. Stopping at the first match would give
// another result for a letter whose mapping is in the list too.
inline NQChar map_by_list(const std::uint32_t* pairs, NQChar unit) noexcept {
    for (; pairs[0]; pairs += 2) {
        if (pairs[0] == unit) unit = pairs[1];
    }
    return unit;
}

inline NQChar map_by_table(const std::int8_t* shifts, const std::uint32_t* list,
                           NQChar unit) noexcept {
    if (unit >= 0x10000) return unit;
    const std::int32_t row = mwz_metatable[unit >> kCaseBlockBits];
    if (row < 0) return unit;
    const std::int32_t shift = shifts[static_cast<std::uint32_t>(row) + unit % kCaseBlockUnits];
    if (shift == kSeeCaseList) return map_by_list(list, unit);
    return static_cast<NQChar>(static_cast<std::int32_t>(unit) + shift);
}

inline NQChar map_by_wide_table(const std::int32_t* rows, const std::int32_t* shifts,
                                NQChar unit) noexcept {
    if (unit >= 0x10000) return unit;
    // All ones where the block has a row, else 0; then the first row's shift is read and not used.
    // Blocks with and without rows alternate in texts, so a branch could not be predicted.
    const std::int32_t row = rows[unit >> kCaseBlockBits];
    const auto has_row = static_cast<std::uint32_t>(~(row >> 31));
    const std::int32_t shift =
        shifts[(static_cast<std::uint32_t>(row) & has_row) + unit % kCaseBlockUnits];
    return wrapping_add(unit, static_cast<std::uint32_t>(shift) & has_row);
}

}  // namespace detail

// The built-in mapping of one unit; those from U+10000 up stay as they are.
inline NQChar table_upper(NQChar unit) noexcept {
    return detail::map_by_table(mwz_upshift, mwz_upaux, unit);
}
inline NQChar table_lower(NQChar unit) noexcept {
    return detail::map_by_table(mwz_downshift, mwz_downaux, unit);
}

// The wide mapping of one unit; those from U+10000 up stay as they are.
inline NQChar table_min(NQChar unit) noexcept {
    return detail::map_by_wide_table(mwz_min_meta, mwz_minshift, unit);
}
inline NQChar table_max(NQChar unit) noexcept {
    return detail::map_by_wide_table(mwz_max_meta, mwz_maxshift, unit);
}

// The host's Unicode service; null when it has none, or when no host loaded the library.
inline HostUnicode* host_unicode() noexcept {
    const HostKernel* kernel = Exported_NQHandle;
    return kernel ? kernel->unicode : nullptr;
}

// An operation of HostUnicode that maps one code point, or a function that takes its place.
using CaseOperation = decltype(HostUnicode::toUpper);

// The host's mapping of any code point, ASCII too; without a service the built-in one.
inline NQChar host_upper(HostUnicode* unicode, NQChar code_point) noexcept {
    return unicode ? unicode->toUpper(unicode, code_point, 1) : table_upper(code_point);
}
inline NQChar host_lower(HostUnicode* unicode, NQChar code_point) noexcept {
    return unicode ? unicode->toLower(unicode, code_point, 1) : table_lower(code_point);
}

}  // namespace nq
