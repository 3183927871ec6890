#include "standalone/values/object.hpp"

#include <atomic>

namespace nq {
namespace {

using RefCount = std::atomic_ref<uint64_t>;

NQStatus release(void* self) noexcept {
    auto* header = static_cast<InstanceHeader*>(self);
    RefCount count(header->refCount);
    // Nobody else can reach an object that is held once, so it needs no locked instruction.
    if (count.load(std::memory_order_acquire) == 1 ||
        count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        header->destroyHook(header);
    }
    return NQ_STATUS_OK;
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
              .isType = kind.is_type,
              .destroyHook = kind.destroy_hook,
              .api = nullptr,
              .validate = validate,
              .clone = kind.clone,
              .pool = pool};
}

}  // namespace nq
