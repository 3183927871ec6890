#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

// The data types that a definition can name.
enum class DataType : uint8_t {
    kArray,
    kDictionary,
    kInteger,
    kDouble,
    kBoolean,
    kInt32,
    kUInt32,
    kInt64,
    kUInt64,
    kChar,
    kString,
    kData,
    kDate,
    kTime,
    kDateTime,
    kInstance,
};

// The keywords as "dataType" holds them, in the order of the types.
inline constexpr std::string_view kDataTypeKeywords[] = {
    "array",  "dictionary", "integer", "double", "boolean", "int32", "uint32",   "int64",
    "uint64", "char",       "string",  "data",   "date",    "time",  "datetime", "instance",
};
inline constexpr std::size_t kDataTypeCount = sizeof kDataTypeKeywords / sizeof *kDataTypeKeywords;
static_assert(kDataTypeCount == static_cast<std::size_t>(DataType::kInstance) + 1);

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

}  // namespace nq
