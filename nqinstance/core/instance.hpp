#pragma once
#include "nqinstance/base/type_name.hpp"
#include "nqinstance/core/api.h"

namespace nq {

// The words of a header that differ from kind to kind.
struct InstanceKind {
    const char* type_name;
    NQStatus (*destroy_hook)(InstanceHeader*) NQ_NOEXCEPT;
    // Null: the table's own operation.
    decltype(InstanceHeader::validate) validate;
    decltype(InstanceHeader::clone) clone;
};

inline constexpr const char kHandleTypeName[] = "NQHandleInstance";

// A wrapped handle answers to the type of what it wraps, but only that has the type's fields. Null
// when nothing is wrapped.
inline InstanceHeader* unwrapped(InstanceHeader* instance) noexcept {
    const char* type_name = instance->typeName;
    if (!type_name || !is_same_name(type_name, kHandleTypeName)) return instance;
    return reinterpret_cast<InstanceHeader*>(reinterpret_cast<NQHandleInstance*>(instance)->inner);
}

// Writes all ten words of a new instance's header; the count is 1.
void fill_header(InstanceHeader& header, const InstanceKind& kind, InstanceApi* api,
                 HostPool* pool) noexcept;

}  // namespace nq
