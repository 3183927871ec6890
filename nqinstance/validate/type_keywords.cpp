#include "nqinstance/validate/type_keywords.hpp"

namespace nq {
namespace {

constexpr KindSet kIntegers{Kind::kInt32, Kind::kInt64, Kind::kUInt32, Kind::kUInt64};
constexpr KindSet kNumbers{Kind::kInt32, Kind::kInt64, Kind::kUInt32, Kind::kUInt64, Kind::kDouble};
constexpr KindSet kStrings{Kind::kString, Kind::kU8String};

// In the order in which they are tested. The odd rows are meant: see the contract of
// nqInstanceIsDefinitionType.
// clang-format off
constexpr TypeKeyword kKeywords[] = {
    {ShortText("array"), "array", {Kind::kArray}, {}},
    {ShortText("dictionary"), "object", {Kind::kDictionary}, {Kind::kDictionary}},
    {ShortText("integer"), "integer", kNumbers, kIntegers},
    {ShortText("double"), "double", {Kind::kDouble, Kind::kInt64}, {Kind::kDouble}},
    {ShortText("boolean"), "boolean", {Kind::kBoolean}, {Kind::kBoolean}},
    {ShortText("int32"), "int32", kIntegers, {}},
    {ShortText("uint32"), "uint32", kIntegers, {}},
    {ShortText("int64"), "int64", kIntegers, {}},
    {ShortText("uint64"), "uint64", kIntegers, {}},
    {ShortText("char"), "char", {Kind::kChar}, {}},
    {ShortText("string"), "string", kStrings, kStrings},
    {ShortText("data"), "data", {Kind::kData}, {Kind::kData}},
    {ShortText("date"), "date", {Kind::kCalendarDate}, {Kind::kCalendarDate}},
    {ShortText("time"), "time", {Kind::kTime}, {Kind::kTime}},
    {ShortText("datetime"), "datetime", {Kind::kDateTime}, {Kind::kDateTime, Kind::kCalendarDateTime}},
    {ShortText("instance"), nullptr, {}, {}},
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
    for (const TypeKeyword& row : kKeywords) {
        if (is_one_of(instance, row.describes)) return row.json_name;
    }
    return nullptr;
}

}  // namespace nq
