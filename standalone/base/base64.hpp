#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

// The two alphabets of RFC 4648; both encodings are padded.
enum class Base64Alphabet { kStandard, kUrlSafe };

// The length of the text that `bytes` bytes become; UINT64_MAX when it does not fit 64 bits.
constexpr uint64_t base64_length(uint64_t bytes) noexcept {
    const uint64_t groups = bytes / 3 + (bytes % 3 != 0);
    return groups > UINT64_MAX / 4 ? UINT64_MAX : groups * 4;
}

// Writes base64_length(length) characters to `out`, without a terminator.
void encode_base64(const uint8_t* bytes, uint64_t length, Base64Alphabet alphabet,
                   uint8_t* out) noexcept;

// How many bytes a text stands for: digits of one of the two alphabets, the last group padded or
// not. Nothing when it is no such text, or when its last digit holds bits of no byte.
std::optional<uint64_t> decoded_base64_length(std::string_view text) noexcept;

// Writes the bytes of a text that has such a length.
void decode_base64(std::string_view text, uint8_t* out) noexcept;

}  // namespace nq
