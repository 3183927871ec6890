#include "nqinstance/core/data.h"

#include <stddef.h>
#include <string.h>

#include "nqinstance/base/held.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/core/instance.hpp"
#include "nqinstance/core/kinds.hpp"

namespace nq {
namespace {

constexpr InstanceKind kDataKind{type_name(kKindOf<NQData>), nqDataDestroy, nullptr, nqDataClone};

// An empty blob that owns nothing, or null and the status.
NQData* create_empty(InstanceApi* api, HostPool* pool, NQStatus* status) noexcept {
    auto* data = create<NQData>(kDataKind, api, pool, 0, status);
    if (!data) return nullptr;
    memset(&data->bytes, 0, sizeof(NQData) - offsetof(NQData, bytes));
    data->encodeBase64URL = nqDataEncodeBase64URLU8;
    data->encodeBase64 = nqDataEncodeBase64U8;
    data->resize = nqDataResize;
    return data;
}

// Gives an empty blob a buffer of its own with `length` bytes of content.
bool own_buffer(NQData& data, uint64_t length) noexcept {
    HostPool* pool = data.header.pool;
    data.bytes = static_cast<uint8_t*>(pool->alloc(pool, length, 0));
    if (!data.bytes) return false;
    data.length = data.capacity = length;
    data.owned = 1;
    return true;
}

NQData* refuse(NQData* unfinished, HostPool* pool, NQStatus* status) noexcept {
    pool->free(pool, unfinished);
    *status = NQ_STATUS_NO_MEMORY;
    return nullptr;
}

NQStatus encode(NQData& data, NQU8String** out, uint32_t option1, uint32_t option2,
                decltype(NQStringApi::base64EncodeU8) NQStringApi::*operation) noexcept {
    Held<NQStringApi> strings(load_extension<NQStringApi>());
    if (!strings) return NQ_STATUS_NO_EXTENSION;
    return (strings.get()->*operation)(strings.get(), data.bytes, data.length, data.header.pool,
                                       out, option1, option2);
}

}  // namespace
}  // namespace nq

NQData* nqDataCreate(InstanceApi* api, HostPool* pool, const void* source, uint64_t length,
                     uint8_t copy, uint8_t takeOwnership, NQStatus* status) noexcept {
    NQData* data = nq::create_empty(api, pool, status);
    if (!data) return nullptr;
    if (source && length) {
        if (copy) {
            if (!nq::own_buffer(*data, length)) return nq::refuse(data, pool, status);
            memcpy(data->bytes, source, length);
        } else {
            data->bytes = static_cast<uint8_t*>(const_cast<void*>(source));
            data->length = data->capacity = length;
            data->owned = takeOwnership;
        }
    }
    return data;
}

NQData* nqDataCreateSized(InstanceApi* api, HostPool* pool, uint64_t size,
                          NQStatus* status) noexcept {
    NQData* data = nq::create_empty(api, pool, status);
    if (!data) return nullptr;
    if (size && !nq::own_buffer(*data, size)) return nq::refuse(data, pool, status);
    data->owned = 1;  // also without a buffer, so that it can be given one by nqDataResize
    return data;
}

NQStatus nqDataResize(NQData* data, uint64_t capacity, uint8_t zeroFill) noexcept {
    if (data->owned == 0 || capacity < data->length) return NQ_STATUS_INVALID_ARGUMENT;
    HostPool* pool = data->header.pool;
    void* bytes = pool->realloc(pool, data->bytes, capacity, zeroFill == 1 ? ALLOC_ZERO_FILL : 0);
    if (!bytes) return NQ_STATUS_NO_MEMORY;
    data->bytes = static_cast<uint8_t*>(bytes);
    data->capacity = capacity;
    return NQ_STATUS_OK;
}

NQStatus nqDataClone(InstanceHeader* source, HostPool* pool, uint32_t,
                     InstanceHeader** out) noexcept {
    NQData* clone;
    NQ_TRY(nq::create_clone(source, pool, out, clone));
    const auto* from = reinterpret_cast<NQData*>(source);
    clone->encodeBase64URL = from->encodeBase64URL;
    clone->encodeBase64 = from->encodeBase64;
    clone->wipeOnDestroy = from->wipeOnDestroy;
    clone->resize = from->resize;
    clone->length = from->length;
    clone->capacity = from->capacity ? from->capacity : from->length;
    if (clone->capacity == 0) return NQ_STATUS_OK;
    clone->bytes = static_cast<uint8_t*>(pool->alloc(pool, clone->capacity, 0));
    if (!clone->bytes) {
        clone->header.release(clone);
        *out = nullptr;
        return NQ_STATUS_NO_MEMORY;
    }
    clone->owned = 1;
    if (from->length) memcpy(clone->bytes, from->bytes, from->length);
    return NQ_STATUS_OK;
}

NQStatus nqDataDestroy(InstanceHeader* instance) noexcept {
    auto* data = reinterpret_cast<NQData*>(instance);
    HostPool* pool = instance->pool;
    if (data->bytes) {
        if (data->wipeOnDestroy && data->length) {
            memset(data->bytes, 0, data->length);
            // The buffer is about to be freed; without this the compiler may drop the wiping.
            __asm__ volatile("" : : "r"(data->bytes) : "memory");
        }
        if (data->owned == 1) pool->free(pool, data->bytes);
    }
    return pool->free(pool, data);
}

NQStatus nqDataEncodeBase64U8(NQData* data, NQU8String** out, uint32_t option1,
                              uint32_t option2) noexcept {
    return nq::encode(*data, out, option1, option2, &NQStringApi::base64EncodeU8);
}

NQStatus nqDataEncodeBase64URLU8(NQData* data, NQU8String** out, uint32_t option1,
                                 uint32_t option2) noexcept {
    return nq::encode(*data, out, option1, option2, &NQStringApi::base64URLEncodeU8);
}
