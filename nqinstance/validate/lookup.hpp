#pragma once
#include <string_view>

#include "nqinstance/core/known.hpp"
#include "nqinstance/host/array.h"
#include "nqinstance/host/dictionary.h"

namespace nq {

inline bool is_one_of(InstanceHeader* instance, KindSet kinds) noexcept {
    return known_as(instance, kinds).kind != Kind::kCount;
}

// The record when the instance answers to its name; else null.
template <class Record>
Record* as(InstanceHeader* instance) noexcept {
    static_assert(kKindOf<Record> != Kind::kCount);
    return reinterpret_cast<Record*>(known_as(instance, {kKindOf<Record>}).fields);
}

// The value under the key, which may be null, in `*value`; false when there is no such key.
inline bool find(NQDictionary* dictionary, std::string_view key, InstanceHeader** value) noexcept {
    *value = nullptr;
    return dictionary->find(dictionary, reinterpret_cast<const uint8_t*>(key.data()), key.size(),
                            value);
}

// The record when the library itself made the instance as one of its kind. After null the instance
// may still answer to the name of the kind.
template <class Record>
const Record* made_as(InstanceHeader* instance) noexcept {
    const bool is_own = instance && instance->typeName == type_name(kKindOf<Record>) &&
                        instance->isType == instanceIsType;
    return is_own ? reinterpret_cast<Record*>(instance) : nullptr;
}

}  // namespace nq
