#include <new>

#include "nqinstance/base/units.hpp"
#include "nqinstance/config/configuration.hpp"
#include "nqinstance/core/api.h"
#include "nqinstance/json/json_writer.h"
#include "nqinstance/validate/definition.h"
#include "nqinstance/validate/validation.h"

HostKernel* Exported_NQHandle = nullptr;

namespace nq {
namespace {

constexpr auto kRegisteredName = units("nqinstance.handle");

// Every word but the pool and those that setConfOps fills.
constexpr InstanceApi kOperations{
    .magic = NQ_MAGIC,
    .zero_1_to_2 = {},
    .getReqVersion = getReqVersion,
    .getVersion = getVersion,
    .zero_5 = 0,
    .realDestroy = realDestroy,
    .zero_7_to_8 = {},
    .pool = nullptr,
    .createHandle = nqInstanceHandleCreate,
    .release = nqInstanceDestroy,
    .createBoolean = nqInstanceCreateBoolean,
    .createInt32 = nqInstanceCreateInt32,
    .createInt64 = nqInstanceCreateInt64,
    .createUInt32 = nqInstanceCreateUInt32,
    .createUInt64 = nqInstanceCreateUInt64,
    .createDouble = nqInstanceCreateDouble,
    .createData = nqDataCreate,
    .isType = instanceIsType,
    .createSizedData = nqDataCreateSized,
    .readConfiguration = nullptr,
    .createNQChar = nqInstanceCreateNQChar,
    .toJSON = nqInstanceToJSON,
    .createCalendarDate = nqInstanceCreateCalendarDate,
    .createTime = nqInstanceCreateTime,
    .createCalendarDateTime = nqInstanceCreateCalendarDateTime,
    .createTextReader = nullptr,
    .openTextReader = nullptr,
    .readLine = nullptr,
    .createDateTime = nqInstanceCreateDateTime,
    .validate = nqInstanceValidate,
    .validateU8 = nqInstanceValidateU8,
    .isDefinitionType = nqInstanceIsDefinitionType,
    .typeForDefinition = jsonTypeForDefinition,
    .startValidate = nqInstanceStartValidate,
    .typeForInstance = jsonTypeForInstance,
    .cloneRefused = cloneInstance,
    .createClone = nqInstanceCreateClone,
    .validateData = nqInstanceValidateData,
    .toJSON2 = nqInstanceToJSON2,
};

InstanceApi* undo(HostPool* pool, void* table) noexcept {
    if (table) pool->free(pool, table);
    pool->destroy(pool);
    return nullptr;
}

}  // namespace
}  // namespace nq

NQStatus nqextent(HostKernel* kernel) noexcept {
    Exported_NQHandle = kernel;
    return NQ_STATUS_OK;
}

NQStatus nqextver(HostKernel* kernel, uint64_t* major, uint64_t* minor) noexcept {
    *major = 9;
    *minor = 1;
    return nqextent(kernel);
}

InstanceApi* nqinstance(HostKernel* registrar) noexcept {
    HostKernel* kernel = Exported_NQHandle;
    const uint64_t parameters[3] = {};
    HostPool* pool = kernel->createPool(kernel, parameters, 0, "nqinstance pool");
    if (!pool) return nullptr;
    void* block = pool->alloc(pool, sizeof(InstanceApi), ALLOC_ZERO_FILL);
    if (!block) return nq::undo(pool, nullptr);
    constexpr auto& name = nq::kRegisteredName;
    if (registrar->registerHandle(registrar, name.data(), name.size(), 3, 5, block, 8, 0, 0)) {
        return nq::undo(pool, block);
    }
    auto* api = new (block) InstanceApi(nq::kOperations);
    api->pool = pool;
    nq::setConfOps(api);
    return api;
}

NQStatus realDestroy(InstanceApi* api) noexcept {
    HostPool* pool = api->pool;
    HostKernel* kernel = Exported_NQHandle;
    constexpr auto& name = nq::kRegisteredName;
    kernel->unregisterHandle(kernel, name.data(), name.size());
    pool->free(pool, api);
    pool->destroy(pool);
    return NQ_STATUS_OK;
}
