#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

// Where JSON text breaks the grammar, as `scan_json` says it.
std::optional<uint64_t> find_json_error(std::string_view text, uint64_t max_depth);

struct TextPosition {
    uint32_t line;    // from 1
    uint32_t column;  // from 1, in characters
};

// The position of the byte at `offset` in UTF-8 text.
TextPosition position_of(std::string_view text, uint64_t offset) noexcept;

}  // namespace nq
