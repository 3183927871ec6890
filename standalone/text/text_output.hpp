#pragma once
#include <cstdint>
#include <cstring>
#include <string_view>

#include "nqinstance/host/status.h"

namespace nq {

// Hands `text` to a caller's buffer: stores its length in *length (which may be null) and copies
// it, without a terminator. NQ_STATUS_BUFFER_TOO_SMALL: *length is the room that the text needs
// and the buffer is unchanged.
inline NQStatus put_text(std::string_view text, std::uint8_t* out, std::uint64_t capacity,
                         std::uint64_t* length) noexcept {
    if (length) *length = text.size();
    if (text.size() > capacity) return NQ_STATUS_BUFFER_TOO_SMALL;
    if (!text.empty()) std::memcpy(out, text.data(), text.size());
    return NQ_STATUS_OK;
}

}  // namespace nq
