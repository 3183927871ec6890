#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "nqinstance/core/instance.hpp"

namespace nq {

// The kinds of instances that have a value: those of the sibling extensions, then those that the
// library makes. A wrapped handle is of the kind that it wraps.
enum class Kind : uint8_t {
    kU8String,
    kString,
    kArray,
    kDictionary,
    kBoolean,
    kInt32,
    kInt64,
    kUInt32,
    kUInt64,
    kDouble,
    kTime,
    kCalendarDate,
    kDateTime,
    kCalendarDateTime,
    kData,
    kChar,
    kCount
};

// Their type names, at a fixed distance: the place of a name tells the kind.
inline constexpr std::size_t kTypeNameBytes = 32;
inline constexpr char kTypeNames[][kTypeNameBytes] = {
    "NQU8String",
    "NQString",
    "NQArray",
    "NQDictionary",
    "NQBooleanInstance",
    "NQInt32Instance",
    "NQInt64Instance",
    "NQUInt32Instance",
    "NQUInt64Instance",
    "NQDoubleInstance",
    "NQTimeInstance",
    "NQCalendarDateInstance",
    "NQDateTimeInstanceName",
    "NQCalendarDateTimeInstance",
    "NQData",
    "NQCharInstance",
};
static_assert(sizeof kTypeNames == static_cast<std::size_t>(Kind::kCount) * kTypeNameBytes);

constexpr const char* type_name(Kind kind) noexcept {
    return kTypeNames[static_cast<std::size_t>(kind)];
}

class KindSet {
  public:
    constexpr KindSet() noexcept = default;
    constexpr KindSet(std::initializer_list<Kind> kinds) noexcept {
        for (const Kind kind : kinds) bits_ |= uint32_t{1} << static_cast<uint32_t>(kind);
    }

    // All that are declared before this one.
    static constexpr KindSet before(Kind end) noexcept {
        KindSet set;
        set.bits_ = (uint32_t{1} << static_cast<uint32_t>(end)) - 1;
        return set;
    }

    constexpr KindSet with(Kind kind) const noexcept {
        KindSet set(*this);
        set.bits_ |= uint32_t{1} << static_cast<uint32_t>(kind);
        return set;
    }

    constexpr bool has(Kind kind) const noexcept {
        return (bits_ >> static_cast<uint32_t>(kind) & 1) != 0;
    }
    constexpr bool is_empty() const noexcept { return bits_ == 0; }
    // In the order of their declaration; not of an empty set.
    constexpr Kind first() const noexcept { return static_cast<Kind>(std::countr_zero(bits_)); }
    constexpr void remove_first() noexcept { bits_ &= bits_ - 1; }

  private:
    uint32_t bits_ = 0;
};

// An instance as one of the kinds, and where its fields are.
struct Known {
    Kind kind = Kind::kCount;  // kCount: it is none of them
    InstanceHeader* fields = nullptr;
};

// The first of the kinds to whose name the instance answers. Null answers to none. What the library
// made is told by the address of its name and need not be asked; a wrapped handle has a name of its
// own.
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
