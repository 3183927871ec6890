#pragma once
#include <cstdint>

#include "standalone/text/language.hpp"

namespace nq {

// Full case mapping, one code point at a time, by the rules of the Unicode Standard and of the
// language: one code point may become up to three ("ß" upper-cases to "SS"), Turkish and Azeri
// know a dotless i, Lithuanian keeps the dot of an i under further accents, Greek has a final
// sigma and drops its accents in capitals.
//
// A case operation walks a text and sees, at each code point, the one after it, and what a
// CasingState remembers of those before. Next to a mapping of the whole text this costs four
// things, all of them rare in text that people write:
//
// - Nothing can be mapped to nothing. The combining dot above stays where it should go: after a
//   Turkish or Azeri I in lower case and after a Lithuanian soft-dotted letter in upper case; and
//   Greek capitals keep accents that are written as combining marks of their own.
// - A Turkish or Azeri I becomes dotted only if the combining dot follows it at once, not if
//   another mark stands between the two.
// - Whether a word goes on after a sigma, or after an eta with accent, is seen only from the next
//   code point. A mark or a format character there counts as going on, other characters that the
//   rules pass over (an apostrophe, a full stop) as the word's end.
// - A Lithuanian dot stands directly before the accent that calls for it, which is canonically
//   equivalent to its place directly after the letter.

enum class CaseDirection : std::uint32_t { lower = 1, upper = 2 };

// What a case operation remembers of the code points before the present one: flags, 0 at the
// start. It depends on the text alone, not on language or direction.
using CasingState = std::uint64_t;

// "There is no next code point."
inline constexpr std::uint32_t kNoCodePoint = UINT32_MAX;

// Where a code point stands. The default is a text of that one code point.
struct CasingContext {
    CasingState before = 0;
    std::uint32_t next = kNoCodePoint;
};

// The state after `code_point`, which stands in `context`.
CasingState advance_casing(const CasingContext& context, std::uint32_t code_point) noexcept;

// The longest mapping.
inline constexpr unsigned kCaseMappingMaximum = 4;

// Maps `code_point` into `out` (kCaseMappingMaximum units) and returns the number of code points
// stored, or 0 and leaves `out` alone when the simple mapping says the same.
unsigned map_special(LanguageCode language, std::uint32_t code_point, const CasingContext& context,
                     CaseDirection direction, std::uint32_t* out) noexcept;

}  // namespace nq
