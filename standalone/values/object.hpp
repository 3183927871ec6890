#pragma once
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <new>

#include "nqinstance/host/instance_header.h"
#include "nqinstance/host/status.h"

namespace nq {

// What the headers of the host's own objects (strings, arrays, dictionaries) differ in.
struct ObjectKind {
    const char* type_name;
    decltype(InstanceHeader::isType) is_type;
    decltype(InstanceHeader::destroyHook) destroy_hook;
    decltype(InstanceHeader::clone) clone;
};

template <std::size_t N>
struct ObjectName {
    char text[N]{};
    consteval ObjectName(const char (&name)[N]) {  // NOLINT: a literal stands for its name
        std::copy_n(name, N, text);
    }
};

// Whether the name is that of the kind. Each kind has a test of its own, since an object is asked
// many times, and most often for the type that it has.
template <ObjectName kName>
int32_t is_named(InstanceHeader*, const char* name) noexcept {
    if (!name) return 0;
    for (const char character : kName.text) {
        if (*name++ != character) return 0;
    }
    return 1;
}

template <ObjectName kName>
constexpr ObjectKind object_kind(decltype(ObjectKind::destroy_hook) destroy_hook,
                                 decltype(ObjectKind::clone) clone) noexcept {
    return {kName.text, is_named<kName>, destroy_hook, clone};
}

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
inline void retain(InstanceHeader* instance) noexcept {
    if (!instance) return;
    std::atomic_ref(instance->refCount).fetch_add(1, std::memory_order_relaxed);
}

// One reference less, whoever made the instance; null is left alone.
inline void drop(InstanceHeader* instance) noexcept {
    if (instance) instance->release(instance);
}

}  // namespace nq
