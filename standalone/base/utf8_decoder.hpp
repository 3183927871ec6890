#pragma once
#include <cstdint>
#include <cstring>

#include "standalone/base/utf8.hpp"

namespace nq {

// Decodes UTF-8 that comes in parts, strictly: over-long forms, surrogates, values above U+10FFFF
// and stray bytes are malformed. What belongs to one malformed sequence is its longest prefix that
// could have begun a character, as the Unicode standard recommends for replacement.
class Utf8Decoder {
  public:
    enum class Step {
        kMore,       // the part ends inside a character, whose bytes are kept
        kCharacter,  // `character` is complete
        kMalformed,  // no character
    };

    // Takes what comes next from the part that begins at `at`, which moves behind it. The part is
    // not empty.
    Step next(const uint8_t*& at, const uint8_t* end, NQChar& character) noexcept {
        const unsigned kept = kept_;
        const auto room = static_cast<std::ptrdiff_t>(U8_MAX_LENGTH - kept);
        const auto fresh = static_cast<unsigned>(std::min(end - at, room));
        std::memcpy(bytes_ + kept, at, fresh);
        const unsigned length = kept + fresh;
        unsigned used = 0;
        int32_t decoded;
        U8_NEXT(bytes_, used, length, decoded);
        at += used - kept;
        const unsigned whole = 1 + static_cast<unsigned>(U8_COUNT_TRAIL_BYTES(bytes_[0]));
        const bool is_cut_off = decoded < 0 && used == length && length < whole;
        kept_ = is_cut_off ? static_cast<uint8_t>(length) : 0;
        if (is_cut_off) return Step::kMore;
        if (decoded < 0) return Step::kMalformed;
        character = static_cast<NQChar>(decoded);
        return Step::kCharacter;
    }

  private:
    uint8_t bytes_[U8_MAX_LENGTH] = {};
    uint8_t kept_ = 0;  // of the character that the parts so far end in
};

}  // namespace nq
