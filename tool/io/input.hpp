#pragma once
#include <unicode/utf8.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "standalone/base/descriptor.hpp"

namespace nq::tool {

// A byte of a UTF-8 character that is not its first.
inline bool is_continuation(char byte) noexcept { return U8_IS_TRAIL(static_cast<uint8_t>(byte)); }

// How messages call an input.
std::string shown_input_name(const std::string& name);

// A file or, for "-", the standard input. An operation that fails reports why and ends the work on
// this input.
class InputFile {
  public:
    explicit InputFile(const std::string& name);

    const std::string& shown_name() const noexcept { return shown_name_; }
    // Reads what can be read at once, waiting for a byte at least. 0: the file has ended.
    std::size_t read(char* target, std::size_t room);
    // Reads to the end.
    std::string read_whole();

  private:
    int descriptor() const noexcept { return file_ ? file_.get() : STDIN_FILENO; }
    [[noreturn]] void fail(int error_number) const;

    std::string shown_name_;
    Descriptor file_;  // none: the standard input
};

// Both from 1. Lines end where the configuration reader ends them; a column is a character.
struct TextPosition {
    uint64_t line = 1;
    uint64_t column = 1;
};

// Where the first byte sequence begins that is not UTF-8, if there is one.
std::optional<TextPosition> find_malformed(std::string_view bytes) noexcept;

}  // namespace nq::tool
