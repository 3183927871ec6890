#include <new>

#include "nqinstance/base/held.hpp"
#include "nqinstance/validate/validation.h"

namespace nq {
namespace {

constexpr auto kLogOption = units("nqinstance.logValidateErrors");

NQStatus addContextMessage(ValidationRun* run, NQU8String** message) noexcept {
    *message = nullptr;
    NQStringApi* strings = run->strings;
    const Held<NQU8String> string(strings->newString(strings, run->pool, nullptr, 0, 1));
    if (!string) return NQ_STATUS_NO_MEMORY;
    const NQStatus status = run->messages->append(run->messages, string.get(), 0);
    // From now on the array's reference alone keeps the string.
    if (!status) *message = string.get();
    return status;
}

// Validation errors are logged unless the option says otherwise.
void read_log_option(ValidationRun& run) noexcept {
    HostKernel* kernel = Exported_NQHandle;
    uint64_t size = sizeof run.logValidateErrors;
    if (kernel->getOption(kernel, kLogOption.data(), kLogOption.size(), 0, &run.logValidateErrors,
                          &size)) {
        run.logValidateErrors = 1;
    }
}

// Takes the caller's extension, or a loaded one which the run then owns.
template <class Api>
bool take_extension(Api* given, Api*& extension, uint8_t& owns) noexcept {
    extension = given ? given : load_extension<Api>();
    owns = !given && extension;
    return extension != nullptr;
}

NQStatus open(ValidationRun& run, NQStringApi* strings, NQArrayApi* arrays) noexcept {
    if (!take_extension(strings, run.strings, run.ownsStrings) ||
        !take_extension(arrays, run.arrays, run.ownsArrays)) {
        return NQ_STATUS_NO_EXTENSION;
    }
    return run.arrays->createArray(run.arrays, run.pool, 0, &run.messages);
}

}  // namespace
}  // namespace nq

NQStatus nqInstanceStartValidate(InstanceApi*, NQStringApi* strings, NQArrayApi* arrays,
                                 HostPool* pool, void* userData, ValidationRun** out) noexcept {
    void* block = pool->alloc(pool, sizeof(ValidationRun), ALLOC_ZERO_FILL);
    if (!block) return NQ_STATUS_NO_MEMORY;
    auto* run = new (block) ValidationRun{};
    run->pool = pool;
    run->userData = userData;
    run->addContextMessage = nq::addContextMessage;
    run->finish = nqInstanceFinishValidate;
    nq::read_log_option(*run);
    if (const NQStatus status = nq::open(*run, strings, arrays)) {
        // The place of the pointer and not the record, on purpose: the contract tells the caller
        // what to have there. The record and what it holds stay with the pool; finished, they would
        // be missing from what a host finds there.
        nqInstanceFinishValidate(reinterpret_cast<ValidationRun*>(out));
        return status;
    }
    *out = run;
    return NQ_STATUS_OK;
}

NQStatus nqInstanceFinishValidate(ValidationRun* run) noexcept {
    if (run->messages) nq::release(run->messages);
    if (run->ownsStrings && run->strings) nq::release(run->strings);
    if (run->ownsArrays && run->arrays) nq::release(run->arrays);
    return run->pool ? run->pool->free(run->pool, run) : NQ_STATUS_OK;
}
