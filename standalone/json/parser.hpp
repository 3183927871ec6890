#pragma once
#include "nqinstance/core/api.h"

namespace nq {

// What builds the instances of a JSON text.
struct JsonServices {
    InstanceApi* instances;
    NQStringApi* strings;
    NQArrayApi* arrays;
    NQDictionaryApi* dictionaries;
};

// How many containers may lie in one another.
inline constexpr uint64_t kMaxJsonDepth = 16384;

// Reads `length` bytes of JSON text, with or without a byte-order mark, into a new instance in
// `pool`, held once by the caller:
//   number without point and exponent   Int64; UInt64 above its range
//   other numbers, integers beyond      Double
//   string                              NQU8String
//   true, false                         Boolean
//   null                                a null pointer, as the top value and in a container
//   array, object                       NQArray, NQDictionary; keys are set in the text's order
// On failure nothing stays allocated, `*out` is null, and `*line` and `*column` say where, counted
// from 1 and in characters, or are 0 when that is not known (always so on success).
// NQ_HOST_STATUS_JSON_SYNTAX, _JSON_NUMBER, _JSON_ENCODING, _JSON_TOO_DEEP, _JSON_TOO_LARGE,
// NQ_STATUS_INVALID_ARGUMENT for null text with a length, NQ_STATUS_NO_MEMORY, or what a service
// reports.
NQStatus parse_json(const JsonServices& services, HostPool* pool, const uint8_t* text,
                    uint64_t length, InstanceHeader** out, uint32_t* line,
                    uint32_t* column) noexcept;

}  // namespace nq
