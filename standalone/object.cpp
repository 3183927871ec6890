#include "standalone/object.hpp"

#include <atomic>
#include <cstring>

namespace nq {
namespace {

using RefCount = std::atomic_ref<uint64_t>;

NQStatus release(void* self) noexcept {
    auto* header = static_cast<InstanceHeader*>(self);
    if (RefCount(header->refCount).fetch_sub(1, std::memory_order_acq_rel) == 1) {
        header->destroyHook(header);
    }
    return NQ_STATUS_OK;
}

int32_t is_type(InstanceHeader* self, const char* name) noexcept {
    return name && std::strcmp(self->typeName, name) == 0;
}

NQStatus validate(InstanceHeader*, NQDictionary*, uint32_t* verdict, ValidationRun*) noexcept {
    if (!verdict) return NQ_STATUS_INVALID_ARGUMENT;
    *verdict = 0;
    return NQ_STATUS_OK;
}

}  // namespace

void fill_object_header(InstanceHeader& header, const ObjectKind& kind, HostPool* pool) noexcept {
    header = {.magic = NQ_MAGIC,
              .typeName = kind.type_name,
              .release = release,
              .refCount = 1,
              .isType = is_type,
              .destroyHook = kind.destroy_hook,
              .api = nullptr,
              .validate = validate,
              .clone = kind.clone,
              .pool = pool};
}

void retain(InstanceHeader* instance) noexcept {
    if (instance) RefCount(instance->refCount).fetch_add(1, std::memory_order_relaxed);
}

void drop(InstanceHeader* instance) noexcept {
    if (instance) instance->release(instance);
}

}  // namespace nq
