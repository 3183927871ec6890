#pragma once
#include <cstdint>

// The data types that a definition can name, as X(type, keyword, JSON name), in the order in which
// the keywords are tested. "instance" has no JSON name: its "expectedTypes" have one each.
// clang-format off
#define NQ_DATA_TYPES(X)                        \
    X(kArray,      "array",      "array")       \
    X(kDictionary, "dictionary", "object")      \
    X(kInteger,    "integer",    "integer")     \
    X(kDouble,     "double",     "double")      \
    X(kBoolean,    "boolean",    "boolean")     \
    X(kInt32,      "int32",      "int32")       \
    X(kUInt32,     "uint32",     "uint32")      \
    X(kInt64,      "int64",      "int64")       \
    X(kUInt64,     "uint64",     "uint64")      \
    X(kChar,       "char",       "char")        \
    X(kString,     "string",     "string")      \
    X(kData,       "data",       "data")        \
    X(kDate,       "date",       "date")        \
    X(kTime,       "time",       "time")        \
    X(kDateTime,   "datetime",   "datetime")    \
    X(kInstance,   "instance",   nullptr)
// clang-format on

namespace nq {

enum class DataType : uint8_t {
#define NQ_DATA_TYPE(type, keyword, json_name) type,
    NQ_DATA_TYPES(NQ_DATA_TYPE)
#undef NQ_DATA_TYPE
};

}  // namespace nq
