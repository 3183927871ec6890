#include "standalone/base/base64.hpp"

#include <array>

namespace nq {
namespace {

constexpr char kStandard[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kUrlSafe[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr uint8_t kNoDigit = 0xFF;

// The value of each digit of either alphabet.
constexpr std::array<uint8_t, 256> kDigits = [] {
    std::array<uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (const char* letters : {kStandard, kUrlSafe}) {
        for (uint8_t i = 0; i < 64; ++i) digits[static_cast<uint8_t>(letters[i])] = i;
    }
    return digits;
}();

uint8_t digit_of(char letter) noexcept { return kDigits[static_cast<uint8_t>(letter)]; }

// The digits alone; nothing when the padding does not fill a group.
std::optional<std::string_view> without_padding(std::string_view text) noexcept {
    const std::size_t before = text.find_last_not_of('=') + 1;  // 0 when there is nothing else
    const std::size_t padding = text.size() - before;
    if (padding && (padding > 2 || text.size() % 4)) return std::nullopt;
    return text.substr(0, before);
}

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

std::optional<uint64_t> decoded_base64_length(std::string_view text) noexcept {
    const auto digits = without_padding(text);
    if (!digits || digits->size() % 4 == 1) return std::nullopt;
    bool is_standard = false;
    bool is_url_safe = false;
    for (const char letter : *digits) {
        if (digit_of(letter) == kNoDigit) return std::nullopt;
        is_standard |= letter == '+' || letter == '/';
        is_url_safe |= letter == '-' || letter == '_';
    }
    if (is_standard && is_url_safe) return std::nullopt;
    const std::size_t rest = digits->size() % 4;
    // Two digits hold a byte and four bits more, three hold two bytes and two bits more.
    const uint8_t spare = rest == 2 ? 0x0F : rest == 3 ? 0x03 : 0;
    if (rest && (digit_of(digits->back()) & spare)) return std::nullopt;
    return digits->size() / 4 * 3 + (rest ? rest - 1 : 0);
}

void decode_base64(std::string_view text, uint8_t* out) noexcept {
    uint32_t bits = 0;
    unsigned count = 0;
    for (const char letter : without_padding(text).value_or(std::string_view())) {
        bits = bits << 6 | digit_of(letter);
        count += 6;
        if (count < 8) continue;
        count -= 8;
        *out++ = static_cast<uint8_t>(bits >> count);
    }
}

}  // namespace nq
