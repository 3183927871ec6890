#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "nqinstance/text/utf.h"
#include "nqinstance/text/utf8.h"
#include "nqinstance/text/utf8_strings.h"
#include "tool/io/exit_status.hpp"
#include "tool/io/input.hpp"

namespace nq::tool {

// The library's routines take bytes.
inline const uint8_t* bytes_of(std::string_view text) noexcept {
    return reinterpret_cast<const uint8_t*>(text.data());
}

// A file's bytes, a window of limited size at a time.
class ByteSource {
  public:
    // Opens the named file, or the standard input for "-".
    ByteSource(const std::string& name, std::size_t room);
    // A text that is in memory already.
    ByteSource(std::string shown_name, std::string bytes);

    // Adds what can be read at once to the window, which must have been consumed in part if it was
    // full. Waits for a byte at least, unless the file ends.
    void fill();

    std::string_view bytes() const noexcept { return {buffer_.data() + begin_, end_ - begin_}; }
    void consume(std::size_t count) noexcept { begin_ += count; }
    // Nothing follows the window.
    bool is_at_end() const noexcept { return is_at_end_; }
    std::size_t room() const noexcept { return buffer_.size(); }
    const std::string& shown_name() const noexcept { return shown_name_; }

  private:
    std::string shown_name_;
    std::string buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::optional<InputFile> file_;  // none: the text is in memory
    bool is_at_end_ = false;
};

// A byte that begins a UTF-8 character, with the continuation bytes after it that belong to it: as
// many as it announces, as long as there are some.
struct Utf8Sequence {
    std::size_t bytes;
    bool is_valid;
    bool may_go_on;  // more continuation bytes would belong to it
};

// What the library knows of UTF-8 sequences.
struct Utf8Rules {
    decltype(&::utf8_len) announced_length;
    decltype(&::isLegalUTF8) is_legal;
    decltype(&::nqzsu8NumChars) count_characters;

    // Valid are the legal sequences but those above U+10FFFF. The text must not be empty.
    Utf8Sequence first_sequence(std::string_view text) const noexcept;
    // The length of the valid sequences that the text begins with.
    std::size_t valid_prefix(std::string_view text) const noexcept;
    // Moves a position past the text. Lines end at a line feed.
    void advance(TextPosition& position, std::string_view text) const noexcept;
};

// "1 character was replaced", "2 characters were replaced", where `what` is "character".
std::string replaced_message(uint64_t number, const std::string& what);
// Reports how many malformed sequences a file has, if there are any.
ExitStatus report_malformed(const std::string& name, uint64_t number, bool are_replaced);

// What happens to malformed sequences.
enum class Malformed {
    kReplace,  // by U+FFFD
    kKeep,     // as they stand; counted nevertheless
    kPass,     // as they stand, for the reader judges text by other rules
};

// UTF-8 text in pieces of whole sequences, made of a file that is read bit by bit.
class TextSource {
  public:
    // With `is_strict` the text ends before the first malformed sequence, if one is not passed.
    TextSource(const Utf8Rules& rules, ByteSource bytes, Malformed policy, bool is_strict);

    // Adds to text() what can be read at once, unless as much as the bytes have room for is there.
    void refill();
    // Adds until so many bytes are there or the text is complete.
    void refill_to(std::size_t size);

    std::string_view text() const noexcept { return std::string_view(text_).substr(consumed_); }
    // Takes whole sequences from the front.
    void consume(std::size_t count) noexcept;
    // Nothing follows text().
    bool is_complete() const noexcept { return is_complete_; }

    std::size_t room() const noexcept { return bytes_.room(); }
    const std::string& shown_name() const noexcept { return bytes_.shown_name(); }
    // Of the text's front.
    const TextPosition& position() const noexcept { return position_; }
    uint64_t offset() const noexcept { return offset_; }

    // To be called when the text is used up: ends the run if it was cut off by a malformed
    // sequence, else reports the sequences that were counted.
    ExitStatus finish() const;
    // Ends the run because of what stands in text() at `offset`.
    [[noreturn]] void refuse(std::size_t offset, const std::string& what) const;

  private:
    void add_window();
    std::size_t take_sequences(std::string_view window);

    Utf8Rules rules_;
    ByteSource bytes_;
    Malformed policy_;
    bool is_strict_;
    std::string text_;
    std::size_t consumed_ = 0;  // of text_
    bool is_complete_ = false;
    bool is_cut_off_ = false;
    uint64_t malformed_ = 0;
    TextPosition position_;
    uint64_t offset_ = 0;
};

}  // namespace nq::tool
