#pragma once
#include "nqinstance/base/try.hpp"
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

// The instance that has the fields of the type. A wrapped handle answers to the type of what it
// wraps and has none of them itself; null when it wraps nothing.
inline InstanceHeader* unwrapped(InstanceHeader* instance) noexcept {
    const char* type_name = instance->typeName;
    if (!type_name || !is_same_name(type_name, kHandleTypeName)) return instance;
    return reinterpret_cast<InstanceHeader*>(reinterpret_cast<NQHandleInstance*>(instance)->inner);
}

// Writes all ten words of a new instance's header; the count is 1.
void fill_header(InstanceHeader& header, const InstanceKind& kind, InstanceApi* api,
                 HostPool* pool) noexcept;

// A block for one instance, held once, with its header written and its payload as the pool gives it
// with these flags; or null, and NQ_STATUS_NO_MEMORY in `*status`.
template <class Instance>
Instance* create(const InstanceKind& kind, InstanceApi* api, HostPool* pool, uint32_t alloc_flags,
                 NQStatus* status) noexcept {
    auto* instance = static_cast<Instance*>(pool->alloc(pool, sizeof(Instance), alloc_flags));
    if (!instance) {
        *status = NQ_STATUS_NO_MEMORY;
        return nullptr;
    }
    fill_header(instance->header, kind, api, pool);
    *status = NQ_STATUS_OK;
    return instance;
}

// A block for a copy of the source in `pool`, held once, with the header copied and the payload
// zero, in `*out` and `clone`.
template <class Instance>
NQStatus create_clone(InstanceHeader* source, HostPool* pool, InstanceHeader** out,
                      Instance*& clone) noexcept {
    NQ_TRY(nqInstanceCreateClone(source, pool, sizeof(Instance), out));
    (*out)->pool = pool;
    clone = reinterpret_cast<Instance*>(*out);
    return NQ_STATUS_OK;
}

}  // namespace nq
