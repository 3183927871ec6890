#pragma once
#include <string_view>

#include "nqinstance/host/string.h"

namespace nq {

// The table of "nqstring", with its handle still empty.
//
// A string keeps its text in blocks of its own pool; its buffer doubles when it grows. Text may be
// appended to or inserted into a string from its own buffer. Encodings are 20 and 27; code units
// that are no Unicode scalar value become U+FFFD, UTF-8 bytes are taken as they are. `trim`
// removes the characters with the property White_Space. `insert` beyond the end, null text with a
// length and own text beyond its end give NQ_STATUS_INVALID_ARGUMENT, another encoding
// NQ_HOST_STATUS_UNKNOWN_ENCODING, base64 options other than 0 NQ_STATUS_UNSUPPORTED. Whatever
// fails leaves the string and the out-parameter as they were.
NQStringApi string_operations() noexcept;

// A new string of UTF-8 text, or null when there is no memory.
NQU8String* make_u8string(HostPool* pool, std::string_view text) noexcept;

// Replaces the string's text.
NQStatus assign(NQU8String& string, std::string_view text) noexcept;

// A new "NQString" object holding `length` units of NQChar text and a terminator, or null.
NQString* make_nqstring(HostPool* pool, const NQChar* text, uint64_t length) noexcept;

inline std::string_view text_of(const NQU8String& string) noexcept {
    return {reinterpret_cast<const char*>(string.bytes), string.length};
}

}  // namespace nq
