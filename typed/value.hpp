#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "nqinstance/host/status.h"
#include "typed/definitions.hpp"

namespace nq {

// A value before it has the type of its definition. It borrows what it refers to.
struct PlainValue {
    enum class Kind : uint8_t {
        kText,    // of a configuration: the text may stand for a value of any type
        kString,  // of JSON: only for types that JSON has no notation of its own for
        kInt64,
        kUInt64,  // only above the range of kInt64
        kDouble,
        kBoolean,
        kNull,
        kContainer,  // an array or a dictionary
    };

    Kind kind = Kind::kNull;
    union {
        int64_t int64 = 0;
        uint64_t uint64;
        double real;
        bool boolean;
        InstanceHeader* container;
    };
    std::string_view text{};  // of kText and kString; UTF-8

    static PlainValue of_text(std::string_view text) noexcept { return with(Kind::kText, text); }
    static PlainValue of_string(std::string_view text) noexcept {
        return with(Kind::kString, text);
    }
    static PlainValue of(int64_t value) noexcept {
        return holding(Kind::kInt64, &PlainValue::int64, value);
    }
    static PlainValue of(uint64_t value) noexcept {
        return holding(Kind::kUInt64, &PlainValue::uint64, value);
    }
    static PlainValue of(double value) noexcept {
        return holding(Kind::kDouble, &PlainValue::real, value);
    }
    static PlainValue of(bool value) noexcept {
        return holding(Kind::kBoolean, &PlainValue::boolean, value);
    }
    static PlainValue of(InstanceHeader* container) noexcept {
        return holding(Kind::kContainer, &PlainValue::container, container);
    }
    template <class Value>
    static PlainValue holding(Kind kind, Value PlainValue::*field, Value value) noexcept {
        PlainValue plain = with(kind, {});
        plain.*field = value;
        return plain;
    }
    static PlainValue with(Kind kind, std::string_view text) noexcept {
        PlainValue plain;
        plain.kind = kind;
        plain.text = text;
        return plain;
    }
};

// What an instance of a configuration (`text_kind` kText) or of JSON text (kString) says; null is
// kNull.
PlainValue plain_value_of(InstanceHeader* instance, PlainValue::Kind text_kind) noexcept;

// Makes the instance that the leaf's data type names, in `pool`, held once by the caller:
//   int32, uint32, int64, uint64   decimal digits with or without a sign, within the range of the
//                                  type; of JSON also a double that is a whole number below 2^53
//   integer                        the same as Int64, above its range UInt64
//   double                         a decimal number, with or without an exponent; an integer must
//                                  be one that a double holds exactly
//   boolean                        true yes on 1, false no off 0, in any case
//   char                           one character
//   string                         any text
//   data                           base64 in one of the two alphabets, with or without padding
//   date, time, datetime           see docs/typed-configurations.md
//   array, dictionary              JSON text
//   instance                       the first of the expected types that fits; any value when the
//                                  definition has no "expectedTypes"
// Nothing is rounded or cut: what does not fit is NQ_STATUS_WRONG_TYPE with `*out` null. Another
// status is want of memory or a service's failure. Takes no memory but the instance's, save for
// JSON text.
NQStatus make_typed_value(const JsonServices& services, HostPool* pool, const DefinitionNode& leaf,
                          const PlainValue& value, InstanceHeader** out) noexcept;

// Checks the instance with the library's nqInstanceValidateData, and text and characters against
// the texts that the definition accepts. Stores the verdict: 0, NQ_STATUS_WRONG_TYPE,
// NQ_STATUS_OUT_OF_BOUNDS or NQ_STATUS_NOT_ACCEPTED. `run` may be null. Another status than
// NQ_STATUS_OK: the check itself failed.
NQStatus check_typed_value(InstanceApi* api, const DefinitionNode& leaf, InstanceHeader* instance,
                           NQStatus* verdict, ValidationRun* run) noexcept;

}  // namespace nq
