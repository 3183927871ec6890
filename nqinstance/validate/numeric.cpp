#include "nqinstance/validate/numeric.h"

#include <limits>

#include "nqinstance/base/truncate.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/base/variadic.hpp"
#include "nqinstance/validate/short_text.hpp"

namespace nq {
namespace {

constexpr uint32_t truncate_uint32(double value) noexcept {
    return static_cast<uint32_t>(truncate_int64(value));
}

// Wraps from 2^64 on: what does not fit into the signed conversion has the top bit already.
constexpr uint64_t truncate_uint64(double value) noexcept {
    constexpr uint64_t kTopBit = uint64_t{1} << 63;
    if (!(value >= 0x1p63)) return static_cast<uint64_t>(truncate_int64(value));
    return static_cast<uint64_t>(truncate_int64(value - 0x1p63)) | kTopBit;
}

constexpr double same_double(double value) noexcept { return value; }

struct MessageCodes {
    NQStatus below_min;
    NQStatus above_max;
    NQStatus not_accepted;
};

constexpr MessageCodes kSignedCodes{NQ_MESSAGE_SIGNED_BELOW_MIN, NQ_MESSAGE_SIGNED_ABOVE_MAX,
                                    NQ_MESSAGE_SIGNED_NOT_ACCEPTED};
constexpr MessageCodes kUnsignedCodes{NQ_MESSAGE_UNSIGNED_BELOW_MIN, NQ_MESSAGE_UNSIGNED_ABOVE_MAX,
                                      NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED};
constexpr MessageCodes kDoubleCodes{NQ_MESSAGE_DOUBLE_BELOW_MIN, NQ_MESSAGE_DOUBLE_ABOVE_MAX,
                                    NQ_MESSAGE_DOUBLE_NOT_ACCEPTED};

// How the members of the family differ.
template <class Value>
struct Facts {
    bool takes_keywords;
    Value (*from_double)(double) noexcept;
    MessageCodes codes;
};

template <class Instance>
using ValueOf = decltype(Instance::value);

// The unsigned 64-bit numbers take no keywords, on purpose: "max" as their bound is refused and
// does not stand for the largest value.
template <class Instance>
constexpr Facts<ValueOf<Instance>> kFacts{};
template <>
constexpr Facts<int32_t> kFacts<NQInt32Instance>{true, truncate_int32, kSignedCodes};
template <>
constexpr Facts<uint32_t> kFacts<NQUInt32Instance>{true, truncate_uint32, kUnsignedCodes};
template <>
constexpr Facts<int64_t> kFacts<NQInt64Instance>{true, truncate_int64, kSignedCodes};
template <>
constexpr Facts<uint64_t> kFacts<NQUInt64Instance>{false, truncate_uint64, kUnsignedCodes};
template <>
constexpr Facts<double> kFacts<NQDoubleInstance>{true, same_double, kDoubleCodes};

// The smallest value of a double is its smallest positive normal one, on purpose: "min" as a bound
// refuses 0 and every negative double.
template <class Value>
bool take_keyword(const Known& known, Value* value) noexcept {
    constexpr ShortText kMin("min");
    constexpr ShortText kMax("max");
    const ShortText text(known);
    if (text == kMin) {
        *value = std::numeric_limits<Value>::min();
    } else if (text == kMax) {
        *value = std::numeric_limits<Value>::max();
    } else {
        return false;
    }
    return true;
}

// What can be a number, and what else may be among the accepted values.
constexpr KindSet kConvertible{Kind::kInt32,  Kind::kInt64,  Kind::kUInt32,  Kind::kUInt64,
                               Kind::kDouble, Kind::kString, Kind::kU8String};
constexpr KindSet kAcceptable = kConvertible.with(Kind::kDictionary);

// The low bits of an integer that does not fit.
template <class Source, class Value>
NQStatus take(const Known& known, Value* value) noexcept {
    *value = static_cast<Value>(reinterpret_cast<Source*>(known.fields)->value);
    return NQ_STATUS_OK;
}

// Not inlined: its callers treat the usual case, a number of the kind itself, before they call it.
template <class Instance>
[[gnu::noinline]] NQStatus convert(const Known& known, ValueOf<Instance>* value) noexcept {
    constexpr auto& facts = kFacts<Instance>;
    switch (known.kind) {
        case Kind::kInt32:
            return take<NQInt32Instance>(known, value);
        case Kind::kInt64:
            return take<NQInt64Instance>(known, value);
        case Kind::kUInt32:
            return take<NQUInt32Instance>(known, value);
        case Kind::kUInt64:
            return take<NQUInt64Instance>(known, value);
        case Kind::kDouble:
            *value = facts.from_double(reinterpret_cast<NQDoubleInstance*>(known.fields)->value);
            return NQ_STATUS_OK;
        case Kind::kString:
        case Kind::kU8String:
            if constexpr (facts.takes_keywords) {
                if (take_keyword(known, value)) return NQ_STATUS_OK;
            }
            return NQ_STATUS_NOT_CONVERTIBLE;
        default:
            return NQ_STATUS_NOT_CONVERTIBLE;
    }
}

template <class Instance>
NQStatus convert(InstanceHeader* instance, ValueOf<Instance>* value) noexcept {
    if (const auto* same = made_as<Instance>(instance)) {
        *value = same->value;
        return NQ_STATUS_OK;
    }
    return convert<Instance>(known_as(instance, kConvertible), value);
}

template <class Value>
struct Range {
    Value min;
    Value max;
    bool holds(Value value) const noexcept { return min <= value && value <= max; }
};

template <class Instance>
NQStatus read_range(NQDictionary* dictionary, Range<ValueOf<Instance>>* range) noexcept {
    InstanceHeader* min;
    InstanceHeader* max;
    if (!find(dictionary, "min", &min)) return NQ_STATUS_RANGE_WITHOUT_MIN;
    if (!find(dictionary, "max", &max)) return NQ_STATUS_RANGE_WITHOUT_MAX;
    NQ_TRY(convert<Instance>(min, &range->min));
    return convert<Instance>(max, &range->max);
}

template <class Instance>
NQStatus matches(InstanceHeader* accepted, ValueOf<Instance> value, bool* matched) noexcept {
    if (const auto* same = made_as<Instance>(accepted)) {
        *matched = value == same->value;
        return NQ_STATUS_OK;
    }
    const Known known = known_as(accepted, kAcceptable);
    if (known.kind == Kind::kDictionary) {
        Range<ValueOf<Instance>> range{};
        NQ_TRY(read_range<Instance>(reinterpret_cast<NQDictionary*>(known.fields), &range));
        *matched = range.holds(value);
    } else {
        ValueOf<Instance> scalar{};
        NQ_TRY(convert<Instance>(known, &scalar));
        *matched = value == scalar;
    }
    return NQ_STATUS_OK;
}

// Where the verdict on one value goes.
struct Report {
    uint32_t* verdict;
    ValidationRun* run;

    NQStatus valid() const noexcept {
        *verdict = NQ_STATUS_OK;
        return NQ_STATUS_OK;
    }

    // The verdict, and in the run, if there is one, a message with these arguments.
    template <class... Values>
    NQStatus invalid(NQStatus status, NQStatus code, Values... values) const noexcept {
        *verdict = status;
        if (!run) return NQ_STATUS_OK;
        NQU8String* message = nullptr;
        NQ_TRY(run->addContextMessage(run, &message));
        return message->methods->formatMessage(message, run->userData, code, widened(values)...);
    }
};

template <class Instance>
NQStatus check_accepted(NQDictionary* definition, ValueOf<Instance> value,
                        const Report& report) noexcept {
    InstanceHeader* values;
    if (!find(definition, "values", &values)) return report.valid();
    const auto* array = as<NQArray>(values);
    if (!array) return NQ_STATUS_VALUES_NOT_ARRAY;
    for (uint64_t i = 0; i < array->count; ++i) {
        bool matched = false;
        NQ_TRY(matches<Instance>(array->elements[i], value, &matched));
        if (matched) return report.valid();
    }
    return report.invalid(NQ_STATUS_NOT_ACCEPTED, kFacts<Instance>.codes.not_accepted, value);
}

template <class Instance>
NQStatus validate(InstanceHeader* instance, NQDictionary* definition,
                  const Report& report) noexcept {
    if (!definition || !report.verdict) return NQ_STATUS_INVALID_ARGUMENT;
    const auto* number = as<Instance>(instance);
    if (!number) {
        *report.verdict = NQ_STATUS_WRONG_TYPE;
        return NQ_STATUS_OK;
    }
    constexpr const MessageCodes& codes = kFacts<Instance>.codes;
    const auto value = number->value;
    ValueOf<Instance> bound{};
    InstanceHeader* limit;
    if (find(definition, "min", &limit)) {
        NQ_TRY(convert<Instance>(limit, &bound));
        if (value < bound) {
            return report.invalid(NQ_STATUS_OUT_OF_BOUNDS, codes.below_min, value, bound);
        }
    }
    if (find(definition, "max", &limit)) {
        NQ_TRY(convert<Instance>(limit, &bound));
        if (value > bound) {
            return report.invalid(NQ_STATUS_OUT_OF_BOUNDS, codes.above_max, value, bound);
        }
    }
    return check_accepted<Instance>(definition, value, report);
}

}  // namespace
}  // namespace nq

#define NQ_NUMERIC_OPERATIONS(Kind, Instance)                                                    \
    NQStatus nqInstanceValidate##Kind(InstanceHeader* instance, NQDictionary* definition,        \
                                      uint32_t* validationStatus, ValidationRun* run) noexcept { \
        return nq::validate<Instance>(instance, definition, {validationStatus, run});            \
    }                                                                                            \
    NQStatus nqInstanceGet##Kind(InstanceHeader* instance,                                       \
                                 nq::ValueOf<Instance>* value) noexcept {                        \
        return nq::convert<Instance>(instance, value);                                           \
    }
NQ_NUMERIC_OPERATIONS(Int32, NQInt32Instance)
NQ_NUMERIC_OPERATIONS(Int64, NQInt64Instance)
NQ_NUMERIC_OPERATIONS(UInt32, NQUInt32Instance)
NQ_NUMERIC_OPERATIONS(UInt64, NQUInt64Instance)
NQ_NUMERIC_OPERATIONS(Double, NQDoubleInstance)
#undef NQ_NUMERIC_OPERATIONS
