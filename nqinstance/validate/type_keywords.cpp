#include "nqinstance/validate/type_keywords.hpp"

#include "nqinstance/validate/data_types.hpp"

namespace nq {
namespace {

constexpr KindSet kIntegers{Kind::kInt32, Kind::kInt64, Kind::kUInt32, Kind::kUInt64};
constexpr KindSet kStrings{Kind::kString, Kind::kU8String};

// The instances that match each data type. The odd ones are on purpose and part of the contract of
// nqInstanceIsDefinitionType; made regular, they would refuse what definitions accept today.
constexpr KindSet accepted_by(DataType type) noexcept {
    switch (type) {
        case DataType::kArray:
            return {Kind::kArray};
        case DataType::kDictionary:
            return {Kind::kDictionary};
        case DataType::kInteger:
            return kIntegers.with(Kind::kDouble);
        case DataType::kDouble:
            return {Kind::kDouble, Kind::kInt64};
        case DataType::kBoolean:
            return {Kind::kBoolean};
        case DataType::kInt32:
        case DataType::kUInt32:
        case DataType::kInt64:
        case DataType::kUInt64:
            return kIntegers;
        case DataType::kChar:
            return {Kind::kChar};
        case DataType::kString:
            return kStrings;
        case DataType::kData:
            return {Kind::kData};
        case DataType::kDate:
            return {Kind::kCalendarDate};
        case DataType::kTime:
            return {Kind::kTime};
        case DataType::kDateTime:
            return {Kind::kDateTime};
        case DataType::kInstance:
            break;
    }
    return {};
}

constexpr TypeKeyword kKeywords[] = {
#define NQ_KEYWORD(type, keyword, json_name) \
    {ShortText(keyword), json_name, accepted_by(DataType::type)},
    NQ_DATA_TYPES(NQ_KEYWORD)
#undef NQ_KEYWORD
};

struct JsonName {
    const char* name;
    KindSet kinds;
};

// In the order in which they are tested, which is not that of the keywords: an instance that
// answers to the names of two kinds has the JSON name of the first row.
// clang-format off
constexpr JsonName kJsonNames[] = {
    {"object", {Kind::kDictionary}},
    {"integer", kIntegers},
    {"double", {Kind::kDouble}},
    {"data", {Kind::kData}},
    {"date", {Kind::kCalendarDate}},
    {"datetime", {Kind::kDateTime, Kind::kCalendarDateTime}},
    {"time", {Kind::kTime}},
    {"string", kStrings},
    {"boolean", {Kind::kBoolean}},
};
// clang-format on

}  // namespace

const TypeKeyword* keyword_of(InstanceHeader* data_type) noexcept {
    const ShortText text(data_type);
    for (const TypeKeyword& row : kKeywords) {
        if (row.keyword == text) return &row;
    }
    return nullptr;
}

const char* json_name_of(InstanceHeader* instance) noexcept {
    for (const JsonName& row : kJsonNames) {
        if (is_one_of(instance, row.kinds)) return row.name;
    }
    return nullptr;
}

}  // namespace nq
