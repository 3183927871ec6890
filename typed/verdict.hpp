#pragma once
#include <optional>
#include <string>

#include "typed/fault_kind.hpp"
#include "typed/value.hpp"

namespace nq {

// What is wrong with a value.
struct ValueFault {
    FaultKind kind = FaultKind::kType;
    NQStatus status = NQ_STATUS_OK;  // the library's verdict
    std::string message;
};

// The fault of a value of which no instance of the leaf's type can be made.
ValueFault wrong_type(const DefinitionNode& leaf, const PlainValue& value);

// Checks the instance that was made of the value; `fault` stays empty when it is valid. Another
// status than NQ_STATUS_OK: the check itself failed, for want of memory or in a service.
NQStatus check_value(const JsonServices& services, HostPool* pool, const DefinitionNode& leaf,
                     const PlainValue& value, InstanceHeader* made,
                     std::optional<ValueFault>& fault);

}  // namespace nq
