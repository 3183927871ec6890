#pragma once
#include "nqinstance/core/instance.hpp"
#include "nqinstance/core/kinds.hpp"

namespace nq {

// An instance as one of the kinds, and where its fields are.
struct Known {
    Kind kind = Kind::kCount;  // kCount: it is none of them
    InstanceHeader* fields = nullptr;
};

// The first of the kinds to whose name the instance answers. Null answers to none. An instance that
// the library made is recognised by the address of its type name and is not asked. A wrapped handle
// has a type name of its own, so it is asked.
inline Known known_as(InstanceHeader* instance, KindSet kinds) noexcept {
    if (!instance) return {};
    // A name that stands before the list wraps to a place far behind it.
    uintptr_t place;
    __builtin_sub_overflow(reinterpret_cast<uintptr_t>(instance->typeName),
                           reinterpret_cast<uintptr_t>(&kTypeNames[0][0]), &place);
    if (place < sizeof kTypeNames && place % kTypeNameBytes == 0 &&
        instance->isType == instanceIsType) {
        const auto own = static_cast<Kind>(place / kTypeNameBytes);
        return kinds.has(own) ? Known{own, instance} : Known{};
    }
    for (; !kinds.is_empty(); kinds.remove_first()) {
        const Kind kind = kinds.first();
        if (instance->isType(instance, type_name(kind))) return {kind, unwrapped(instance)};
    }
    return {};
}

}  // namespace nq
