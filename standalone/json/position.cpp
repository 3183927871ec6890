#include "standalone/json/position.hpp"

#include <algorithm>

#include "standalone/json/scan.hpp"

namespace nq {

std::optional<uint64_t> find_json_error(std::string_view text, uint64_t max_depth) {
    JsonEvents unheard;
    return scan_json(text, max_depth, unheard);
}

TextPosition position_of(std::string_view text, uint64_t offset) noexcept {
    const std::string_view before = text.substr(0, offset);
    const std::size_t last_break = before.rfind('\n');
    const std::string_view line =
        last_break == before.npos ? before : before.substr(last_break + 1);
    const auto is_first_byte = [](char byte) {
        return (static_cast<uint8_t>(byte) & 0xc0) != 0x80;
    };
    return {
        .line = static_cast<uint32_t>(std::count(before.begin(), before.end(), '\n') + 1),
        .column = static_cast<uint32_t>(std::count_if(line.begin(), line.end(), is_first_byte) + 1),
    };
}

}  // namespace nq
