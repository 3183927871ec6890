#pragma once
#include "nqinstance/validate/short_text.hpp"

namespace nq {

// A keyword that "dataType" may hold, and what it stands for.
struct TypeKeyword {
    ShortText keyword;
    const char* json_name;  // null for "instance", whose "expectedTypes" have the names
    KindSet accepts;        // the instances that match it
};

// The keyword that "dataType" holds, or null.
const TypeKeyword* keyword_of(InstanceHeader* data_type) noexcept;

// The JSON name of the instance, or null where it has none.
const char* json_name_of(InstanceHeader* instance) noexcept;

}  // namespace nq
