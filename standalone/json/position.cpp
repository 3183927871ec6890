#include "standalone/json/position.hpp"

#include <algorithm>
#include <charconv>
#include <string>

#include "standalone/base/utf8.hpp"

namespace nq {
namespace {

// Whether a number in JSON notation is beyond the doubles.
bool is_too_great(std::string_view number) noexcept {
    double value;
    const char* end = number.data() + number.size();
    if (std::from_chars(number.data(), end, value).ec != std::errc::result_out_of_range)
        return false;
    // That is said of what is too small as well.
    const std::size_t e = std::min(number.find_first_of("eE"), number.size());
    int64_t magnitude = 0;  // the power of ten above the first digit that is not 0
    bool is_fraction = false;
    bool is_significant = false;
    for (const char character : number.substr(0, e)) {
        is_fraction |= character == '.';
        is_significant |= character >= '1' && character <= '9';
        if (character < '0') continue;
        if (is_fraction == is_significant) continue;
        magnitude += is_fraction ? -1 : 1;
    }
    std::string_view exponent = number.substr(std::min(e + 1, number.size()));
    if (exponent.starts_with('+')) exponent.remove_prefix(1);
    int64_t power = 0;
    const auto read = std::from_chars(exponent.data(), end, power);
    if (read.ec == std::errc::result_out_of_range) return !exponent.starts_with('-');
    return power > -magnitude;
}

class Checker {
  public:
    Checker(std::string_view text, uint64_t max_depth, bool refuses_great_numbers = false) noexcept
        : text_(text), max_depth_(max_depth), refuses_great_numbers_(refuses_great_numbers) {}

    // The text is one JSON value; if not, `at` is the offending byte.
    bool check() {
        do {
            skip_blanks();
            if (!value_or_opening()) return false;
        } while (is_value_expected_);
        skip_blanks();
        return at_ == text_.size();
    }
    uint64_t at() const noexcept { return at_; }

  private:
    // Every byte that is looked at and is none of the text's is a NUL, which fits nowhere.
    char peek() const noexcept { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool take(char character) noexcept {
        if (peek() != character || at_ == text_.size()) return false;
        ++at_;
        return true;
    }
    bool take_any(std::string_view characters) noexcept {
        return at_ != text_.size() && characters.find(peek()) != characters.npos && take(peek());
    }
    void skip_blanks() noexcept {
        while (take_any(" \t\r\n")) {
        }
    }

    // Takes a scalar with all that closes after it, or an opening bracket; then
    // is_value_expected_ says whether another value must follow.
    bool value_or_opening() {
        is_value_expected_ = true;
        switch (peek()) {
            case '[':
                return open(']') && (!take(']') || close());
            case '{':
                return open('}') && (take('}') ? close() : key());
            case '"':
                return string() && after_value();
            case 't':
                return word("true") && after_value();
            case 'f':
                return word("false") && after_value();
            case 'n':
                return word("null") && after_value();
            default:
                return number() && after_value();
        }
    }

    bool open(char closing) {
        if (closings_.size() == max_depth_) return false;
        ++at_;
        closings_.push_back(closing);
        skip_blanks();
        return true;
    }

    // After a closing bracket.
    bool close() {
        closings_.pop_back();
        return after_value();
    }

    bool after_value() {
        for (;; closings_.pop_back()) {
            if (closings_.empty()) {
                is_value_expected_ = false;
                return true;
            }
            skip_blanks();
            if (take(',')) {
                skip_blanks();
                return closings_.back() == ']' || key();
            }
            if (!take(closings_.back())) return false;
        }
    }

    bool key() noexcept {
        if (!string()) return false;
        skip_blanks();
        return take(':');
    }

    bool word(std::string_view expected) noexcept {
        return std::all_of(expected.begin(), expected.end(),
                           [&](char character) { return take(character); });
    }

    bool string() noexcept {
        if (!take('"')) return false;
        while (!take('"')) {
            if (take('\\')) {
                if (!escape()) return false;
                continue;
            }
            if (at_ == text_.size() || static_cast<uint8_t>(peek()) < 0x20) return false;
            const auto* bytes = reinterpret_cast<const uint8_t*>(text_.data());
            const auto character = decode_utf8(bytes + at_, text_.size() - at_);
            if (!character.valid) return false;
            at_ += character.bytes;
        }
        return true;
    }

    bool escape() noexcept {
        if (peek() != 'u') return take_any("\"\\/bfnrt");
        unsigned unit = 0;
        if (!code_unit(unit) || is_low_surrogate(unit)) return false;
        if (unit < 0xd800 || unit > 0xdbff) return true;
        return take('\\') && code_unit(unit) && is_low_surrogate(unit);
    }

    static bool is_low_surrogate(unsigned unit) noexcept {
        return unit >= 0xdc00 && unit <= 0xdfff;
    }

    // u and four hexadecimal digits.
    bool code_unit(unsigned& unit) noexcept {
        if (!take('u')) return false;
        const uint64_t begin = at_;
        while (at_ - begin != 4) {
            if (!take_any("0123456789abcdefABCDEF")) return false;
        }
        std::from_chars(text_.data() + begin, text_.data() + at_, unit, 16);
        return true;
    }

    bool digits() noexcept {
        if (!take_any(kDigits)) return false;
        while (take_any(kDigits)) {
        }
        return true;
    }

    bool number() noexcept {
        const uint64_t begin = at_;
        if (!number_of_any_size()) return false;
        if (!refuses_great_numbers_ || !is_too_great(text_.substr(begin, at_ - begin))) return true;
        at_ = begin;
        return false;
    }

    bool number_of_any_size() noexcept {
        take('-');
        if (!take('0') && !digits()) return false;
        if (take('.') && !digits()) return false;
        if (!take_any("eE")) return true;
        take_any("+-");
        return digits();
    }

    static constexpr std::string_view kDigits = "0123456789";

    std::string_view text_;
    uint64_t max_depth_;
    bool refuses_great_numbers_;
    uint64_t at_ = 0;
    bool is_value_expected_ = true;
    std::string closings_;  // what closes the open containers
};

}  // namespace

std::optional<uint64_t> find_json_error(std::string_view text, uint64_t max_depth) {
    Checker checker(text, max_depth);
    if (checker.check()) return std::nullopt;
    return checker.at();
}

std::optional<uint64_t> find_great_json_number(std::string_view text) {
    Checker checker(text, UINT64_MAX, true);
    if (checker.check()) return std::nullopt;
    return checker.at();
}

TextPosition position_of(std::string_view text, uint64_t offset) noexcept {
    const std::string_view before = text.substr(0, offset);
    const std::size_t last_break = before.rfind('\n');
    const std::string_view line =
        last_break == before.npos ? before : before.substr(last_break + 1);
    const auto is_first_byte = [](char byte) {
        return (static_cast<uint8_t>(byte) & 0xc0) != 0x80;
    };
    return {
        .line = static_cast<uint32_t>(std::count(before.begin(), before.end(), '\n') + 1),
        .column = static_cast<uint32_t>(std::count_if(line.begin(), line.end(), is_first_byte) + 1),
    };
}

}  // namespace nq
