#pragma once
#include <new>

#include "nqinstance/host/instance_header.h"
#include "nqinstance/host/status.h"

namespace nq {

// What the headers of the host's own objects (strings, arrays, dictionaries) differ in.
struct ObjectKind {
    const char* type_name;
    decltype(InstanceHeader::destroyHook) destroy_hook;
    decltype(InstanceHeader::clone) clone;
};

// Writes all ten words; the count is 1. The object's `api` word is null, for the library did not
// make it, and its validation finds every object valid.
void fill_object_header(InstanceHeader& header, const ObjectKind& kind, HostPool* pool) noexcept;

// A block for one object whose header is filled and the rest zero, or null. `extra` bytes of
// garbage follow the object.
template <class Object>
Object* make_object(const ObjectKind& kind, HostPool* pool, uint64_t extra = 0) noexcept {
    void* block = pool->alloc(pool, sizeof(Object) + extra, 0);
    if (!block) return nullptr;
    auto* object = new (block) Object{};
    fill_object_header(object->header, kind, pool);
    return object;
}

// One more reference; null is left alone.
void retain(InstanceHeader* instance) noexcept;

// One reference less, whoever made the instance; null is left alone.
void drop(InstanceHeader* instance) noexcept;

}  // namespace nq
