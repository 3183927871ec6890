#pragma once
#include <cstdint>
#include <string_view>

namespace nq {

// A language code, the value of NQLocale's word 3: the lower-case ASCII letters of the ISO 639
// code, the first letter highest: "tr" is 0x7472 and "fil" is 0x66696c. 0 is no language: text
// under it is mapped one code point at a time, without special casing.
using LanguageCode = std::uint32_t;

// The letters that fit into a code; ISO 639 has no longer ones.
inline constexpr unsigned kLanguageLetters = 3;

// 0 unless `letters` are two or three lower-case ASCII letters.
constexpr LanguageCode language_code(std::string_view letters) noexcept {
    if (letters.size() < 2 || letters.size() > kLanguageLetters) return 0;
    LanguageCode code = 0;
    for (const char letter : letters) {
        if (letter < 'a' || letter > 'z') return 0;
        code = code << 8 | static_cast<unsigned char>(letter);
    }
    return code;
}

inline constexpr LanguageCode kLanguageNone = 0;
inline constexpr LanguageCode kLanguageAzeri = language_code("az");
inline constexpr LanguageCode kLanguageGreek = language_code("el");
inline constexpr LanguageCode kLanguageLithuanian = language_code("lt");
inline constexpr LanguageCode kLanguageTurkish = language_code("tr");

// The letters of a code with a terminating zero, as locale names are given to ICU; empty when
// `code` is not one that language_code makes.
struct LanguageLetters {
    char text[kLanguageLetters + 1];
};

constexpr LanguageLetters language_letters(LanguageCode code) noexcept {
    LanguageLetters letters{};
    unsigned count = 0;
    for (int shift = 8 * (kLanguageLetters - 1); shift >= 0; shift -= 8) {
        const auto letter = static_cast<char>(code >> shift & 0xff);
        if (letter) letters.text[count++] = letter;
    }
    return language_code({letters.text, count}) == code ? letters : LanguageLetters{};
}

static_assert(kLanguageTurkish == 0x7472 && language_code("fil") == 0x66696c);
static_assert(language_code("") == 0 && language_code("TR") == 0 && language_code("root") == 0);
static_assert(std::string_view(language_letters(kLanguageTurkish).text) == "tr");

}  // namespace nq
