#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "nqinstance/validate/data_types.hpp"

namespace nq {

// The keywords as "dataType" holds them, in the order of the types.
#define NQ_KEYWORD(type, keyword, json_name) keyword,
inline constexpr std::string_view kDataTypeKeywords[] = {NQ_DATA_TYPES(NQ_KEYWORD)};
#undef NQ_KEYWORD
inline constexpr std::size_t kDataTypeCount = sizeof kDataTypeKeywords / sizeof *kDataTypeKeywords;

inline constexpr std::string_view keyword_of(DataType type) noexcept {
    return kDataTypeKeywords[static_cast<std::size_t>(type)];
}

inline constexpr std::optional<DataType> data_type_of(std::string_view keyword) noexcept {
    for (std::size_t i = 0; i < kDataTypeCount; ++i) {
        if (kDataTypeKeywords[i] == keyword) return static_cast<DataType>(i);
    }
    return std::nullopt;
}

// The types that the library checks against bounds and accepted values.
inline constexpr bool is_numeric(DataType type) noexcept {
    switch (type) {
        case DataType::kInteger:
        case DataType::kDouble:
        case DataType::kInt32:
        case DataType::kUInt32:
        case DataType::kInt64:
        case DataType::kUInt64:
            return true;
        default:
            return false;
    }
}

// The least and the greatest number of a type of whole numbers; those of Int64 for all others.
struct WholeRange {
    int64_t least = INT64_MIN;
    uint64_t most = INT64_MAX;
};

inline constexpr WholeRange whole_range(DataType type) noexcept {
    switch (type) {
        case DataType::kInt32:
            return {INT32_MIN, INT32_MAX};
        case DataType::kUInt32:
            return {0, UINT32_MAX};
        case DataType::kUInt64:
            return {0, UINT64_MAX};
        default:
            return {};
    }
}

}  // namespace nq
