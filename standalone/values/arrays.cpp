#include "standalone/values/arrays.hpp"

#include <cstring>
#include <new>

#include "standalone/values/object.hpp"

namespace nq {
namespace {

constexpr uint64_t kFirstCapacity = 4;

struct ArrayObject : NQArray {
    uint64_t capacity;
};

ArrayObject& object(void* array) noexcept {
    return *static_cast<ArrayObject*>(static_cast<NQArray*>(array));
}

bool set_capacity(ArrayObject& array, uint64_t capacity) noexcept {
    HostPool* pool = array.header.pool;
    uint64_t bytes;
    // The elements are pointers. NOLINTNEXTLINE(bugprone-sizeof-expression)
    if (__builtin_mul_overflow(capacity, sizeof *array.elements, &bytes)) return false;
    void* elements = pool->realloc(pool, array.elements, bytes, 0);
    if (!elements) return false;
    array.elements = static_cast<InstanceHeader**>(elements);
    array.capacity = capacity;
    return true;
}

NQStatus append(NQArray* self, void* item, uint64_t) noexcept {
    ArrayObject& array = object(self);
    if (array.count == array.capacity) {
        const uint64_t capacity = array.capacity ? array.capacity * 2 : kFirstCapacity;
        if (!set_capacity(array, capacity)) return NQ_STATUS_NO_MEMORY;
    }
    auto* element = static_cast<InstanceHeader*>(item);
    retain(element);
    array.elements[array.count++] = element;
    return NQ_STATUS_OK;
}

NQStatus destroy(InstanceHeader* self) noexcept {
    HostPool* pool = self->pool;
    ArrayObject& array = object(self);
    for (uint64_t i = 0; i < array.count; ++i) drop(array.elements[i]);
    if (array.elements) pool->free(pool, array.elements);
    return pool->free(pool, &array);
}

NQStatus clone(InstanceHeader* self, HostPool* pool, uint32_t, InstanceHeader** out) noexcept {
    const ArrayObject& source = object(self);
    NQArray* made = make_array(pool ? pool : self->pool, source.count);
    if (!made) return NQ_STATUS_NO_MEMORY;
    for (uint64_t i = 0; i < source.count; ++i) append(made, source.elements[i], 0);
    *out = &made->header;
    return NQ_STATUS_OK;
}

constexpr ObjectKind kArrayKind = object_kind<"NQArray">(destroy, clone);

NQStatus create_array(NQArrayApi*, HostPool* pool, uint64_t, NQArray** out) noexcept {
    NQArray* array = make_array(pool);
    if (!array) return NQ_STATUS_NO_MEMORY;
    *out = array;
    return NQ_STATUS_OK;
}

}  // namespace

NQArrayApi array_operations() noexcept {
    NQArrayApi api{};
    api.createArray = create_array;
    return api;
}

NQArray* make_array(HostPool* pool, uint64_t capacity) noexcept {
    auto* array = make_object<ArrayObject>(kArrayKind, pool);
    if (!array) return nullptr;
    array->append = append;
    if (capacity && !set_capacity(*array, capacity)) {
        pool->free(pool, array);
        return nullptr;
    }
    return array;
}

}  // namespace nq
