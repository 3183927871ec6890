#pragma once
#include <optional>
#include <span>
#include <string_view>

#include "nqinstance/host/array.h"
#include "nqinstance/host/dictionary.h"
#include "standalone/values/strings.hpp"

namespace nq {

// Looks into instances whose types are not known. None of these takes a reference.

inline bool is(InstanceHeader* instance, const char* type) noexcept {
    return instance && instance->isType(instance, type) == 1;
}

inline NQDictionary* dictionary_of(InstanceHeader* instance) noexcept {
    return is(instance, "NQDictionary") ? reinterpret_cast<NQDictionary*>(instance) : nullptr;
}

inline NQArray* array_of(InstanceHeader* instance) noexcept {
    return is(instance, "NQArray") ? reinterpret_cast<NQArray*>(instance) : nullptr;
}

inline std::span<InstanceHeader* const> elements_of(const NQArray& array) noexcept {
    return {array.elements, array.count};
}

inline std::optional<std::string_view> string_of(InstanceHeader* instance) noexcept {
    if (!is(instance, "NQU8String")) return std::nullopt;
    return text_of(*reinterpret_cast<NQU8String*>(instance));
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
