#include "tool/text/stream.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";

std::size_t ascii_prefix(std::string_view text) noexcept {
    std::size_t length = 0;
    for (uint64_t block; length + sizeof block <= text.size(); length += sizeof block) {
        std::memcpy(&block, text.data() + length, sizeof block);
        if (block & 0x8080808080808080) break;
    }
    while (length < text.size() && static_cast<uint8_t>(text[length]) < 0x80) ++length;
    return length;
}

}  // namespace

ByteSource::ByteSource(const std::string& name, std::size_t room)
    : shown_name_(shown_input_name(name)), buffer_(room, '\0'), file_(name) {}

ByteSource::ByteSource(std::string shown_name, std::string bytes)
    : shown_name_(std::move(shown_name)),
      buffer_(std::move(bytes)),
      end_(buffer_.size()),
      is_at_end_(true) {}

void ByteSource::fill() {
    if (is_at_end_) return;
    if (begin_ != 0) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= std::exchange(begin_, 0);
    }
    const std::size_t count = file_->read(buffer_.data() + end_, buffer_.size() - end_);
    end_ += count;
    is_at_end_ = count == 0;
}

Utf8Sequence Utf8Rules::first_sequence(std::string_view text) const noexcept {
    const auto announced = static_cast<std::size_t>(announced_length(bytes_of(text)));
    const std::size_t most = std::min(announced, text.size());
    std::size_t bytes = 1;
    while (bytes < most && is_continuation(text[bytes])) ++bytes;
    uint64_t plausible;
    // The library leaves two things to its callers: sequences too long to be judged at all, and
    // values above U+10FFFF.
    const bool is_valid = bytes == announced && bytes <= 4 &&
                          is_legal(bytes_of(text), bytes, &plausible) != 0 &&
                          !(text[0] == '\xf4' && static_cast<uint8_t>(text[1]) > 0x8f);
    return {bytes, is_valid, bytes < announced && bytes == text.size()};
}

std::size_t Utf8Rules::valid_prefix(std::string_view text) const noexcept {
    std::size_t length = 0;
    for (;;) {
        length += ascii_prefix(text.substr(length));
        // Text beyond ASCII seldom returns to it for a single character only.
        do {
            if (length == text.size()) return length;
            const Utf8Sequence sequence = first_sequence(text.substr(length));
            if (!sequence.is_valid) return length;
            length += sequence.bytes;
        } while (length < text.size() && static_cast<uint8_t>(text[length]) >= 0x80);
    }
}

void Utf8Rules::advance(TextPosition& position, std::string_view text) const noexcept {
    const std::size_t line_feed = text.rfind('\n');
    if (line_feed != text.npos) {
        position.line += static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
        position.column = 1;
        text.remove_prefix(line_feed + 1);
    }
    position.column += count_characters(bytes_of(text), text.size());
}

std::string replaced_message(uint64_t number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? " was" : "s were") + " replaced";
}

ExitStatus report_malformed(const std::string& name, uint64_t number, bool are_replaced) {
    if (number == 0) return ExitStatus::kGood;
    const std::string what = "malformed sequence";
    report(name, are_replaced ? replaced_message(number, what)
                              : std::to_string(number) + " " + what + (number == 1 ? "" : "s"));
    return ExitStatus::kInvalid;
}

TextSource::TextSource(const Utf8Rules& rules, ByteSource bytes, Malformed policy, bool is_strict)
    : rules_(rules), bytes_(std::move(bytes)), policy_(policy), is_strict_(is_strict) {}

void TextSource::refill() {
    text_.erase(0, std::exchange(consumed_, 0));
    const bool is_full = !text_.empty() && text_.size() >= bytes_.room();
    if (is_complete_ || is_full) return;
    bytes_.fill();
    add_window();
}

void TextSource::refill_to(std::size_t size) {
    text_.erase(0, std::exchange(consumed_, 0));
    // Every byte of the last window may be replaced by three.
    text_.reserve(size + 3 * bytes_.room());
    while (!is_complete_ && text_.size() < size) {
        bytes_.fill();
        add_window();
    }
}

void TextSource::add_window() {
    const std::string_view window = bytes_.bytes();
    const std::size_t taken = take_sequences(window);
    bytes_.consume(taken);
    is_complete_ = is_cut_off_ || (bytes_.is_at_end() && taken == window.size());
}

// The bytes that are done with: all but a sequence that goes on past the window.
std::size_t TextSource::take_sequences(std::string_view window) {
    std::string_view rest = window;
    while (!rest.empty()) {
        const std::size_t valid = rules_.valid_prefix(rest);
        text_.append(rest.substr(0, valid));
        rest.remove_prefix(valid);
        if (rest.empty()) break;
        const Utf8Sequence sequence = rules_.first_sequence(rest);
        if (sequence.may_go_on && !bytes_.is_at_end()) break;
        if (policy_ != Malformed::kPass) {
            ++malformed_;
            is_cut_off_ = is_strict_;
            if (is_cut_off_) break;
        }
        text_.append(policy_ == Malformed::kReplace ? kReplacement
                                                    : rest.substr(0, sequence.bytes));
        rest.remove_prefix(sequence.bytes);
    }
    return window.size() - rest.size();
}

void TextSource::consume(std::size_t count) noexcept {
    rules_.advance(position_, text().substr(0, count));
    offset_ += count;
    consumed_ += count;
}

ExitStatus TextSource::finish() const {
    if (is_cut_off_) refuse(text().size(), "not valid UTF-8");
    return report_malformed(shown_name(), malformed_, policy_ == Malformed::kReplace);
}

void TextSource::refuse(std::size_t offset, const std::string& what) const {
    TextPosition position = position_;
    rules_.advance(position, text().substr(0, offset));
    report(place_in(shown_name(), position.line, position.column), what);
    throw RunEnded{{ExitStatus::kInvalid}};
}

}  // namespace nq::tool
