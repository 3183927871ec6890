#include "standalone/base64.hpp"

namespace nq {
namespace {

constexpr char kStandard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kUrlSafe[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

}  // namespace

void encode_base64(const uint8_t* bytes, uint64_t length, Base64Alphabet alphabet,
                   uint8_t* out) noexcept {
    const char* letters = alphabet == Base64Alphabet::kUrlSafe ? kUrlSafe : kStandard;
    const auto put = [&](uint32_t group, uint64_t count) noexcept {
        for (uint64_t i = 0; i < 4; ++i, group <<= 6) {
            const char letter = i < count ? letters[group >> 18 & 63] : '=';
            *out++ = static_cast<uint8_t>(letter);
        }
    };
    uint64_t i = 0;
    for (; length - i >= 3; i += 3) {
        put(uint32_t{bytes[i]} << 16 | uint32_t{bytes[i + 1]} << 8 | bytes[i + 2], 4);
    }
    if (length - i == 1) put(uint32_t{bytes[i]} << 16, 2);
    if (length - i == 2) put(uint32_t{bytes[i]} << 16 | uint32_t{bytes[i + 1]} << 8, 3);
}

}  // namespace nq
