#include "nqinstance/core/instance.hpp"

#include <atomic>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/core/kinds.hpp"
#include "nqinstance/validate/numeric.h"

namespace nq {
namespace {

using RefCount = std::atomic_ref<uint64_t>;

// What the header of each scalar holds: X(name in the operations, record, validate word, clone
// word). The characters have no clone word on purpose: with one, a clone through their header would
// succeed, which is to be refused.
#define NQ_SCALARS(X)                                                            \
    X(Boolean, NQBooleanInstance, nullptr, nqInstanceCloneBoolean)               \
    X(Int32, NQInt32Instance, nqInstanceValidateInt32, nqInstanceCloneInt32)     \
    X(Int64, NQInt64Instance, nqInstanceValidateInt64, nqInstanceCloneInt64)     \
    X(UInt32, NQUInt32Instance, nqInstanceValidateUInt32, nqInstanceCloneUInt32) \
    X(UInt64, NQUInt64Instance, nqInstanceValidateUInt64, nqInstanceCloneUInt64) \
    X(Double, NQDoubleInstance, nqInstanceValidateDouble, nqInstanceCloneDouble) \
    X(NQChar, NQCharInstance, nullptr, nullptr)

template <class Instance>
constexpr InstanceKind kScalarKind{};
#define NQ_SCALAR_KIND(Name, Instance, validate_word, clone_word) \
    template <>                                                   \
    constexpr InstanceKind kScalarKind<Instance>{                 \
        type_name(kKindOf<Instance>), nqHandleNumericDestroy, validate_word, clone_word};
NQ_SCALARS(NQ_SCALAR_KIND)
#undef NQ_SCALAR_KIND

constexpr InstanceKind kHandleKind{kHandleTypeName, nqHandleInstanceDestroy, nullptr, nullptr};

template <class Instance>
Instance* create_scalar(InstanceApi* api, HostPool* pool, decltype(Instance::value) value,
                        NQStatus* status) noexcept {
    auto* instance = create<Instance>(kScalarKind<Instance>, api, pool, 0, status);
    if (instance) instance->value = value;
    return instance;
}

template <class Instance>
NQStatus clone_scalar(InstanceHeader* source, HostPool* pool, InstanceHeader** out) noexcept {
    Instance* clone;
    NQ_TRY(create_clone(source, pool ? pool : source->pool, out, clone));
    clone->value = reinterpret_cast<Instance*>(source)->value;
    return NQ_STATUS_OK;
}

}  // namespace

void fill_header(InstanceHeader& header, const InstanceKind& kind, InstanceApi* api,
                 HostPool* pool) noexcept {
    header.magic = NQ_MAGIC;
    header.typeName = kind.type_name;
    header.release = api->release;
    RefCount(header.refCount).exchange(1, std::memory_order_relaxed);
    header.isType = api->isType;
    header.destroyHook = kind.destroy_hook;
    header.api = api;
    header.validate = kind.validate ? kind.validate : api->validate;
    header.clone = kind.clone ? kind.clone : api->cloneRefused;
    header.pool = pool;
}

}  // namespace nq

NQHandleInstance* nqInstanceHandleCreate(InstanceApi* api, HostPool* pool, NQHandle* inner,
                                         NQStatus* status) noexcept {
    auto* instance = nq::create<NQHandleInstance>(nq::kHandleKind, api, pool, 0, status);
    if (instance) instance->inner = inner;
    return instance;
}

#define NQ_SCALAR_OPERATIONS(Name, Instance, validate_word, clone_word)                            \
    Instance* nqInstanceCreate##Name(InstanceApi* api, HostPool* pool,                             \
                                     decltype(Instance::value) value, NQStatus* status) noexcept { \
        return nq::create_scalar<Instance>(api, pool, value, status);                              \
    }                                                                                              \
    NQStatus nqInstanceClone##Name(InstanceHeader* source, HostPool* pool, uint32_t,               \
                                   InstanceHeader** out) noexcept {                                \
        return nq::clone_scalar<Instance>(source, pool, out);                                      \
    }
NQ_SCALARS(NQ_SCALAR_OPERATIONS)
#undef NQ_SCALAR_OPERATIONS
#undef NQ_SCALARS

NQStatus nqInstanceCreateClone(InstanceHeader* source, HostPool* pool, uint64_t size,
                               InstanceHeader** out) noexcept {
    auto* clone = static_cast<InstanceHeader*>(pool->alloc(pool, size, ALLOC_ZERO_FILL));
    *out = clone;
    if (!clone) return NQ_STATUS_NO_MEMORY;
    clone->magic = source->magic;
    clone->typeName = source->typeName;
    clone->release = source->release;
    nq::RefCount(clone->refCount).exchange(1, std::memory_order_relaxed);
    clone->destroyHook = source->destroyHook;
    clone->isType = source->isType;
    clone->api = source->api;
    clone->validate = source->validate;
    clone->clone = source->clone;
    return NQ_STATUS_OK;
}

NQStatus cloneInstance(InstanceHeader*, HostPool*, uint32_t, InstanceHeader**) noexcept {
    return NQ_STATUS_UNSUPPORTED;
}

NQStatus nqInstanceDestroy(void* object) noexcept {
    auto* instance = static_cast<InstanceHeader*>(object);
    nq::RefCount count(instance->refCount);
    uint64_t held = count.load(std::memory_order_acquire);
    if (held == 1) {
        // Nobody else can reach the instance, so no locked instruction is needed.
        count.store(0, std::memory_order_relaxed);
        instance->destroyHook(instance);
        return NQ_STATUS_OK;
    }
    while (!count.compare_exchange_weak(held, nq::wrapping_sub(held, uint64_t{1}),
                                        std::memory_order_acq_rel, std::memory_order_acquire)) {
    }
    if (held == 1) instance->destroyHook(instance);
    return NQ_STATUS_OK;
}

int32_t instanceIsType(InstanceHeader* instance, const char* name) noexcept {
    const char* own = instance->typeName;
    if (!own) return name == nullptr;
    const bool is_handle = nq::is_same_name(own, nq::kHandleTypeName);
    const NQHandle* inner =
        is_handle ? reinterpret_cast<NQHandleInstance*>(instance)->inner : nullptr;
    const char* inner_name = inner ? inner->name : nullptr;
    if (!name) return is_handle && !inner_name;
    if (nq::is_same_name(own, name)) return 1;
    return inner_name && nq::is_same_name(inner_name, name);
}

NQStatus nqHandleInstanceDestroy(InstanceHeader* instance) noexcept {
    NQHandle* inner = reinterpret_cast<NQHandleInstance*>(instance)->inner;
    if (inner) inner->release(inner);
    return instance->pool->free(instance->pool, instance);
}

NQStatus nqHandleNumericDestroy(InstanceHeader* instance) noexcept {
    return instance->pool->free(instance->pool, instance);
}
