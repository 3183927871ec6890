#include "nqinstance/validate/validation.h"

#include "nqinstance/base/held.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/text/memory.h"
#include "nqinstance/validate/definition.h"
#include "nqinstance/validate/lookup.hpp"

namespace nq {
namespace {

// A pool of the host for the duration of one operation.
class TemporaryPool {
  public:
    TemporaryPool() noexcept : pool_(Exported_NQHandle->getTempPool(Exported_NQHandle)) {}
    TemporaryPool(const TemporaryPool&) = delete;
    TemporaryPool& operator=(const TemporaryPool&) = delete;
    ~TemporaryPool() {
        if (pool_) Exported_NQHandle->releaseTempPool(Exported_NQHandle, pool_);
    }

    HostPool* get() const noexcept { return pool_; }

  private:
    HostPool* pool_;
};

NQStatus parse(NQInstJsonApi* json, HostPool* pool, const char* text,
               Held<InstanceHeader>& parsed) noexcept {
    constexpr uint8_t kOptions[6] = {};
    uint32_t unused[2] = {};
    return json->parse(json, pool, reinterpret_cast<const uint8_t*>(text), mwStrLen(text), kOptions,
                       parsed.out(), &unused[0], &unused[1]);
}

// Objects of sibling extensions may come without a validation of their own.
auto validator_of(const InstanceHeader* instance) noexcept {
    return instance->validate ? instance->validate : nqInstanceValidate;
}

// The definition as the dictionary that it is or wraps.
NQStatus open_definition(InstanceHeader* given, NQDictionary** definition) noexcept {
    if (!given) return NQ_STATUS_INVALID_ARGUMENT;
    *definition = as<NQDictionary>(given);
    return *definition ? NQ_STATUS_OK : NQ_STATUS_NOT_A_DICTIONARY;
}

}  // namespace
}  // namespace nq

NQStatus nqInstanceValidateData(InstanceHeader* instance, NQDictionary* definition,
                                uint32_t* validationStatus, ValidationRun* run) noexcept {
    auto* given = reinterpret_cast<InstanceHeader*>(definition);
    NQ_TRY(nq::open_definition(given, &definition));
    if (!instance || !validationStatus) return NQ_STATUS_INVALID_ARGUMENT;
    *validationStatus = nqInstanceIsDefinitionType(instance, definition);
    if (*validationStatus) return NQ_STATUS_OK;
    return nq::validator_of(instance)(instance, definition, validationStatus, run);
}

NQStatus nqInstanceValidate(InstanceHeader*, NQDictionary*, uint32_t* validationStatus,
                            ValidationRun*) noexcept {
    if (!validationStatus) return NQ_STATUS_INVALID_ARGUMENT;
    *validationStatus = NQ_STATUS_OK;
    return NQ_STATUS_OK;
}

NQStatus nqInstanceValidateU8(NQInstJsonApi* json, InstanceHeader* instance,
                              const char* definitionText, uint32_t* validationStatus,
                              ValidationRun* run) noexcept {
    const nq::Held<NQInstJsonApi> loaded(json ? nullptr : nq::load_extension<NQInstJsonApi>());
    if (!json) json = loaded.get();
    if (!json || !instance) return NQ_STATUS_INVALID_ARGUMENT;
    const nq::TemporaryPool pool;
    if (!pool.get()) return NQ_STATUS_NO_MEMORY;
    nq::Held<InstanceHeader> parsed;
    NQ_TRY(nq::parse(json, pool.get(), definitionText, parsed));
    const auto validate = nq::validator_of(instance);
    NQDictionary* definition = nullptr;
    const NQStatus status = nq::open_definition(parsed.get(), &definition);
    // Any text will do for the kinds that are always valid.
    if (status && validate != nqInstanceValidate) return status;
    return validate(instance, definition, validationStatus, run);
}
