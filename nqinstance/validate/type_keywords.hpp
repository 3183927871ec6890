#pragma once
#include "nqinstance/validate/short_text.hpp"

namespace nq {

// A word that "dataType" may hold, and all that hangs on it.
struct TypeKeyword {
    ShortText keyword;
    const char* json_name;  // null: "instance", which "expectedTypes" explain
    KindSet accepts;        // the instances that match it
};

// The keyword that "dataType" holds, or null.
const TypeKeyword* keyword_of(InstanceHeader* data_type) noexcept;

// The JSON name of the instance, or null where it has none.
const char* json_name_of(InstanceHeader* instance) noexcept;

}  // namespace nq
