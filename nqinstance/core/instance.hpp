#pragma once
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

// Writes all ten words of a new instance's header; the count is 1.
void fill_header(InstanceHeader& header, const InstanceKind& kind, InstanceApi* api,
                 HostPool* pool) noexcept;

}  // namespace nq
