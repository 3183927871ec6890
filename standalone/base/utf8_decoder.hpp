#pragma once
#include <cstdint>

#include "standalone/base/utf8.hpp"

namespace nq {

// Decodes UTF-8 byte by byte, for text whose end is not known beforehand, and strictly: over-long
// forms, surrogates, values above U+10FFFF and stray bytes are malformed. What belongs to one
// malformed sequence is its longest prefix that could have begun a character, as the Unicode
// standard recommends for replacement.
class Utf8Decoder {
  public:
    enum class Step {
        kMore,             // the byte belongs to a character that is not complete yet
        kCharacter,        // the byte completes a character
        kMalformed,        // the byte can neither begin nor continue a character
        kMalformedBefore,  // the bytes before are malformed; the byte itself is to be pushed again
    };

    Step push(uint8_t byte, NQChar& character) noexcept {
        if (missing_ == 0) return begin(byte, character);
        if (byte < lowest_ || byte > highest_) {
            *this = Utf8Decoder();
            return Step::kMalformedBefore;
        }
        lowest_ = 0x80;
        highest_ = 0xbf;
        value_ = value_ << 6 | (byte & 0x3fu);
        if (--missing_ != 0) return Step::kMore;
        character = value_;
        return Step::kCharacter;
    }

    // The bytes pushed so far end inside a character.
    bool is_inside() const noexcept { return missing_ != 0; }

  private:
    Step begin(uint8_t byte, NQChar& character) noexcept {
        if (byte < 0x80) {
            character = byte;
            return Step::kCharacter;
        }
        if (byte < 0xc2 || byte > 0xf4) return Step::kMalformed;
        missing_ = byte < 0xe0 ? 1 : byte < 0xf0 ? 2 : 3;
        value_ = byte & (0x3fu >> missing_);
        if (byte == 0xe0) lowest_ = 0xa0;   // less would be over-long
        if (byte == 0xed) highest_ = 0x9f;  // more would be a surrogate
        if (byte == 0xf0) lowest_ = 0x90;   // less would be over-long
        if (byte == 0xf4) highest_ = 0x8f;  // more would be above U+10FFFF
        return Step::kMore;
    }

    NQChar value_ = 0;
    uint8_t missing_ = 0;
    uint8_t lowest_ = 0x80;  // what the next byte may be
    uint8_t highest_ = 0xbf;
};

}  // namespace nq
