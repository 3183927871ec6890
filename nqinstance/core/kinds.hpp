#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

// The kinds of instances that have a value, as X(kind, type name, record): those of the sibling
// extensions, then those that the library makes. A wrapped handle is of the kind that it wraps. The
// type name of kDateTime really ends in "Name", unlike its siblings.
// clang-format off
#define NQ_INSTANCE_KINDS(X)                                                 \
    X(kU8String,         "NQU8String",                 NQU8String)           \
    X(kString,           "NQString",                   NQString)             \
    X(kArray,            "NQArray",                    NQArray)              \
    X(kDictionary,       "NQDictionary",               NQDictionary)         \
    X(kBoolean,          "NQBooleanInstance",          NQBooleanInstance)    \
    X(kInt32,            "NQInt32Instance",            NQInt32Instance)      \
    X(kInt64,            "NQInt64Instance",            NQInt64Instance)      \
    X(kUInt32,           "NQUInt32Instance",           NQUInt32Instance)     \
    X(kUInt64,           "NQUInt64Instance",           NQUInt64Instance)     \
    X(kDouble,           "NQDoubleInstance",           NQDoubleInstance)     \
    X(kTime,             "NQTimeInstance",             NQTime)               \
    X(kCalendarDate,     "NQCalendarDateInstance",     NQCalendarDate)       \
    X(kDateTime,         "NQDateTimeInstanceName",     NQDateTime)           \
    X(kCalendarDateTime, "NQCalendarDateTimeInstance", NQCalendarDateTime)   \
    X(kData,             "NQData",                     NQData)               \
    X(kChar,             "NQCharInstance",             NQCharInstance)
// clang-format on

#define NQ_DECLARE_RECORD(kind, name, Record) struct Record;
NQ_INSTANCE_KINDS(NQ_DECLARE_RECORD)
#undef NQ_DECLARE_RECORD

namespace nq {

enum class Kind : uint8_t {
#define NQ_KIND(kind, name, Record) kind,
    NQ_INSTANCE_KINDS(NQ_KIND)
#undef NQ_KIND
    // How many there are; also: none of them.
    kCount
};

// The kind of each record.
template <class Record>
inline constexpr Kind kKindOf = Kind::kCount;
#define NQ_KIND_OF(kind, name, Record) \
    template <>                        \
    inline constexpr Kind kKindOf<Record> = Kind::kind;
NQ_INSTANCE_KINDS(NQ_KIND_OF)
#undef NQ_KIND_OF

// The type names at a fixed distance: the place of a name tells the kind.
inline constexpr std::size_t kTypeNameBytes = 32;
inline constexpr char kTypeNames[][kTypeNameBytes] = {
#define NQ_TYPE_NAME(kind, name, Record) name,
    NQ_INSTANCE_KINDS(NQ_TYPE_NAME)
#undef NQ_TYPE_NAME
};

constexpr const char* type_name(Kind kind) noexcept {
    return kTypeNames[static_cast<std::size_t>(kind)];
}

class KindSet {
  public:
    constexpr KindSet() noexcept = default;
    constexpr KindSet(std::initializer_list<Kind> kinds) noexcept {
        for (const Kind kind : kinds) bits_ |= uint32_t{1} << static_cast<uint32_t>(kind);
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

}  // namespace nq
