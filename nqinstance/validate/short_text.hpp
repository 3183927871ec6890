#pragma once
#include <string.h>

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "nqinstance/validate/lookup.hpp"

namespace nq {

// A text of up to 16 bytes as two words that overlap where it is shorter, so that texts are
// compared without a loop. Longer texts, and what is no text, equal no keyword.
class ShortText {
  public:
    static constexpr KindSet kKinds{Kind::kU8String, Kind::kString};

    constexpr explicit ShortText(std::string_view text) noexcept { set(text); }

    // The text of a string of either kind; exact, so case, blanks and normalisation all count.
    explicit ShortText(const Known& known) noexcept {
        if (known.kind == Kind::kU8String) {
            const auto& string = *reinterpret_cast<NQU8String*>(known.fields);
            if (string.length <= kMaxBytes)
                set({reinterpret_cast<char*>(string.bytes), string.length});
        } else if (known.kind == Kind::kString) {
            set_units(*reinterpret_cast<NQString*>(known.fields));
        }
    }
    explicit ShortText(InstanceHeader* instance) noexcept : ShortText(known_as(instance, kKinds)) {}

    constexpr bool operator==(const ShortText&) const noexcept = default;

  private:
    static constexpr uint64_t kMaxBytes = 16;
    static constexpr uint64_t kNoText = UINT64_MAX;

    template <class Word>
    static constexpr uint64_t load(const char* bytes) noexcept {
        Word word = 0;
        if (std::is_constant_evaluated()) {
            for (std::size_t i = sizeof word; i-- > 0;) {
                word = static_cast<Word>(word << 8 | static_cast<uint8_t>(bytes[i]));
            }
        } else {
            memcpy(&word, bytes, sizeof word);
        }
        return word;
    }

    constexpr void set(std::string_view text) noexcept {
        const char* bytes = text.data();
        length_ = text.size();
        if (length_ >= 8) {
            first_ = load<uint64_t>(bytes);
            last_ = load<uint64_t>(bytes + length_ - 8);
        } else if (length_ >= 4) {
            first_ = load<uint32_t>(bytes);
            last_ = load<uint32_t>(bytes + length_ - 4);
        } else {
            for (std::size_t i = 0; i < length_; ++i) {
                first_ = first_ << 8 | static_cast<uint8_t>(bytes[i]);
            }
        }
    }

    void set_units(const NQString& string) noexcept {
        if (string.length > kMaxBytes) return;
        char ascii[kMaxBytes];
        for (uint64_t i = 0; i < string.length; ++i) {
            if (string.text[i] > 0x7f) return;
            ascii[i] = static_cast<char>(string.text[i]);
        }
        set({ascii, string.length});
    }

    uint64_t length_ = kNoText;
    uint64_t first_ = 0;
    uint64_t last_ = 0;
};

}  // namespace nq
