#include <algorithm>
#include <charconv>
#include <vector>

#include "standalone/base/utf8.hpp"
#include "typed/key_lines.hpp"

namespace nq {
namespace {

// The characters of a JSON string between its quotes.
std::string unescaped(std::string_view text) {
    std::string result;
    const auto unit_at = [&](std::size_t at) {
        unsigned unit = 0;
        if (at + 4 <= text.size()) std::from_chars(&text[at], text.data() + at + 4, unit, 16);
        return unit;
    };
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\' || at + 1 == text.size()) {
            result += text[at];
            continue;
        }
        constexpr std::string_view kLetters = "bfnrt";
        constexpr std::string_view kMeanings = "\b\f\n\r\t";
        const char letter = text[++at];
        if (letter != 'u') {
            const std::size_t index = kLetters.find(letter);
            result += index == kLetters.npos ? letter : kMeanings[index];
            continue;
        }
        NQChar character = unit_at(at + 1);
        at += 4;
        if (character >= 0xD800 && character < 0xDC00) {
            character = 0x10000 + ((character - 0xD800) << 10) + (unit_at(at + 3) - 0xDC00);
            at += 6;
        }
        uint8_t bytes[4];
        const unsigned count = encode_utf8(character, bytes);
        result.append(reinterpret_cast<const char*>(bytes), count);
    }
    return result;
}

// Walks over well-formed text: only quotes, brackets, colons and line feeds matter.
class Walker {
  public:
    Walker(std::string_view text, const KeyVisitor& visit) : text_(text), visit_(visit) {}

    void walk() {
        while (at_ < text_.size()) {
            const char character = text_[at_++];
            switch (character) {
                case '\n':
                    ++line_;
                    break;
                case '{':
                case '[':
                    open(character == '{');
                    break;
                case '}':
                case ']':
                    close();
                    break;
                case '"':
                    string();
                    break;
                default:
                    break;
            }
        }
    }

  private:
    // Objects within arrays are passed over.
    void open(bool is_object) {
        is_object = is_object && arrays_ == 0;
        if (!is_object)
            ++arrays_;
        else
            ++objects_;
    }

    void close() {
        if (arrays_) {
            --arrays_;
        } else if (objects_) {
            --objects_;
            path_.resize(std::min<std::size_t>(path_.size(), objects_));
        }
    }

    void string() {
        const std::size_t start = at_;
        while (at_ < text_.size() && text_[at_] != '"') at_ += text_[at_] == '\\' ? 2 : 1;
        const std::size_t end = std::min(at_, text_.size());
        at_ = end + 1;
        if (arrays_ || !is_key()) return;
        path_.resize(std::min<std::size_t>(path_.size(), objects_ - 1));
        path_.push_back(unescaped(text_.substr(start, end - start)));
        visit_(path_, line_);
    }

    // Only a key has a colon behind it.
    bool is_key() const noexcept {
        const std::size_t next = text_.find_first_not_of(" \t\r\n", std::min(at_, text_.size()));
        return objects_ && next != text_.npos && text_[next] == ':';
    }

    std::string_view text_;
    const KeyVisitor& visit_;
    std::size_t at_ = 0;
    uint32_t line_ = 1;
    std::size_t objects_ = 0;  // open ones outside of arrays
    std::size_t arrays_ = 0;   // open containers from the outermost array inwards
    std::vector<std::string> path_;
};

}  // namespace

void visit_json_keys(std::string_view text, const KeyVisitor& visit) { Walker(text, visit).walk(); }

}  // namespace nq
