// The standalone host's base64 text of any bytes decodes to them again, in both alphabets; a text
// is decoded only when it is one that some bytes are encoded as.
#include "standalone/base/base64.hpp"

#include <algorithm>
#include <optional>
#include <string>

#include "fuzz/support/input.hpp"

namespace nq::fuzz {
namespace {

std::uint32_t digit_of(char letter, Base64Alphabet alphabet) {
    if (letter >= 'A' && letter <= 'Z') return static_cast<std::uint32_t>(letter - 'A');
    if (letter >= 'a' && letter <= 'z') return static_cast<std::uint32_t>(letter - 'a' + 26);
    if (letter >= '0' && letter <= '9') return static_cast<std::uint32_t>(letter - '0' + 52);
    const bool is_url_safe = alphabet == Base64Alphabet::kUrlSafe;
    NQ_REQUIRE(letter == (is_url_safe ? '-' : '+') || letter == (is_url_safe ? '_' : '/'));
    return letter == '+' || letter == '-' ? 62 : 63;
}

Bytes decoded(const std::string& text, Base64Alphabet alphabet) {
    const std::size_t letters = text.find_last_not_of('=') + 1;
    NQ_REQUIRE(text.size() % 4 == 0 && text.size() - letters < 3);
    Bytes bytes;
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < letters; ++i) {
        bits = bits << 6 | digit_of(text[i], alphabet);
        if (i % 4) bytes.push_back(static_cast<std::uint8_t>(bits >> (6 - 2 * (i % 4))));
    }
    // The bits of the last letter that belong to no byte are zero.
    if (letters % 4) NQ_REQUIRE((bits & (letters % 4 == 2 ? 15 : 3)) == 0);
    return bytes;
}

std::optional<Bytes> decoded_by_host(const std::string& text) {
    const std::optional<std::uint64_t> length = decoded_base64_length(text);
    if (!length) return std::nullopt;
    Bytes bytes(*length);
    decode_base64(text, bytes.data());
    return bytes;
}

// Digits of one alphabet, with or without what fills up the last group, whose last digit has no
// bits that belong to no byte.
bool is_base64(std::string text) {
    if (text.find('=') == text.npos) text.append((4 - text.size() % 4) % 4, '=');
    if (text.size() % 4) return false;
    for (const Base64Alphabet alphabet : {Base64Alphabet::kStandard, Base64Alphabet::kUrlSafe}) {
        const std::string_view digits =
            alphabet == Base64Alphabet::kUrlSafe
                ? "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"
                : "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const std::size_t letters = std::min(text.find_first_not_of(digits), text.size());
        if (text.size() - letters > 2 || text.find_first_not_of('=', letters) != text.npos)
            continue;
        if (letters % 4 == 0) return letters == text.size();
        const std::uint32_t last = digit_of(text[letters - 1], alphabet);
        return (last & (letters % 4 == 2 ? 15 : 3)) == 0;
    }
    return false;
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const auto alphabet =
        input.byte() & 1 ? nq::Base64Alphabet::kUrlSafe : nq::Base64Alphabet::kStandard;
    const Bytes bytes = input.rest();
    Bytes text(nq::base64_length(bytes.size()));
    nq::encode_base64(bytes.data(), bytes.size(), alphabet, text.data());
    const std::string encoded(text.begin(), text.end());
    NQ_REQUIRE(decoded(encoded, alphabet) == bytes);
    NQ_REQUIRE(decoded_by_host(encoded) == bytes);

    // The same bytes as a text.
    const std::string given(bytes.begin(), bytes.end());
    const std::optional<Bytes> content = decoded_by_host(given);
    NQ_REQUIRE(content.has_value() == is_base64(given));
    return 0;
}
