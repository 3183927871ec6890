#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

// Where JSON text breaks the grammar: the first byte that cannot stand there (its end when the
// text is cut off), or the bracket that nests deeper than `max_depth`. Nothing when the text is
// well-formed. Slow beside a parser: it is for the message after a failure.
std::optional<uint64_t> find_json_error(std::string_view text, uint64_t max_depth);

// Where the first number begins that is greater than any double, in well-formed JSON text; nothing
// when there is none. As slow.
std::optional<uint64_t> find_great_json_number(std::string_view text);

struct TextPosition {
    uint32_t line;    // from 1
    uint32_t column;  // from 1, in characters
};

// The position of the byte at `offset` in UTF-8 text.
TextPosition position_of(std::string_view text, uint64_t offset) noexcept;

}  // namespace nq
