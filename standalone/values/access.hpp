#pragma once
#include <optional>
#include <span>
#include <string_view>

#include "nqinstance/core/instance.h"
#include "nqinstance/host/array.h"
#include "nqinstance/host/dictionary.h"
#include "standalone/values/strings.hpp"

namespace nq {

// Looks into instances whose types are not known. None of these takes a reference.

// The name by which an instance knows its type.
template <class Instance>
inline constexpr const char* kTypeName = nullptr;
#define NQ_TYPE_NAME(type) \
    template <>            \
    inline constexpr const char* kTypeName<type> = #type
NQ_TYPE_NAME(NQArray);
NQ_TYPE_NAME(NQBooleanInstance);
NQ_TYPE_NAME(NQCharInstance);
NQ_TYPE_NAME(NQDictionary);
NQ_TYPE_NAME(NQDoubleInstance);
NQ_TYPE_NAME(NQInt64Instance);
NQ_TYPE_NAME(NQU8String);
NQ_TYPE_NAME(NQUInt64Instance);
#undef NQ_TYPE_NAME

// The instance as what it is; null for null and for another type.
template <class Instance>
Instance* as(InstanceHeader* instance) noexcept {
    static_assert(kTypeName<Instance>);
    const bool is_one = instance && instance->isType(instance, kTypeName<Instance>) == 1;
    return is_one ? reinterpret_cast<Instance*>(instance) : nullptr;
}

inline std::span<InstanceHeader* const> elements_of(const NQArray& array) noexcept {
    return {array.elements, array.count};
}

inline std::optional<std::string_view> string_of(InstanceHeader* instance) noexcept {
    const auto* string = as<NQU8String>(instance);
    return string ? std::optional(text_of(*string)) : std::nullopt;
}

// The entry, or nothing when the dictionary lacks the key; a null entry is null.
inline std::optional<InstanceHeader*> entry_of(NQDictionary* dictionary,
                                               std::string_view key) noexcept {
    InstanceHeader* value = nullptr;
    const auto* bytes = reinterpret_cast<const uint8_t*>(key.data());
    if (!dictionary->find(dictionary, bytes, key.size(), &value)) return std::nullopt;
    return value;
}

}  // namespace nq
