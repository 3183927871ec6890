#include "typed/verdict.hpp"

#include "standalone/text/messages.hpp"
#include "typed/sentence.hpp"
#include "typed/validation.hpp"
#include "typed/value_text.hpp"

namespace nq {
namespace {

ValueFault fault_of(const DefinitionNode& leaf, const PlainValue& value, NQStatus verdict,
                    std::string_view run_message) {
    FaultKind kind = FaultKind::kType;
    if (verdict == NQ_STATUS_OUT_OF_BOUNDS) kind = FaultKind::kBounds;
    if (verdict == NQ_STATUS_NOT_ACCEPTED) kind = FaultKind::kValues;
    return {kind, verdict, fault_text(leaf, value, verdict, run_message)};
}

ValueFault unusable_definition(NQStatus status) {
    std::string message = "the definition cannot be used: ";
    message += without_stop(message_text(status));
    return {FaultKind::kDefinition, status, std::move(message)};
}

}  // namespace

ValueFault wrong_type(const DefinitionNode& leaf, const PlainValue& value) {
    return fault_of(leaf, value, NQ_STATUS_WRONG_TYPE, {});
}

NQStatus check_value(const JsonServices& services, HostPool* pool, const DefinitionNode& leaf,
                     const PlainValue& value, InstanceHeader* made,
                     std::optional<ValueFault>& fault) {
    InstanceApi* api = services.instances;
    NQStatus verdict = NQ_STATUS_OK;
    NQStatus status = check_typed_value(api, leaf, made, &verdict, nullptr);
    if (status == NQ_STATUS_NO_MEMORY) return status;
    if (status) {
        fault = unusable_definition(status);
        return NQ_STATUS_OK;
    }
    if (!verdict) return NQ_STATUS_OK;
    // Only a value with a fault is checked in a run, which makes the message.
    Validation validation;
    status = validation.start(api, services.strings, services.arrays, pool);
    if (!status) status = check_typed_value(api, leaf, made, &verdict, validation.get());
    if (status) return status;
    const uint64_t count = validation.count();
    fault =
        fault_of(leaf, value, verdict, count ? validation.message(count - 1) : std::string_view());
    return NQ_STATUS_OK;
}

}  // namespace nq
