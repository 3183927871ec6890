#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tool/io/input.hpp"

namespace nq::tool {

// A file's lines, as they can be read. A line ends at a line feed or with the file.
class LineSource {
  public:
    // Longer lines come in parts.
    static constexpr std::size_t kLongestLine = std::size_t{16} << 20;

    // `padding`: so many bytes behind a line can be read too.
    LineSource(const std::string& name, std::size_t padding);

    struct Part {
        std::string_view text;  // without the line feed, and valid until `fill`
        bool is_first = true;
        bool is_last = true;  // both: the whole line
    };

    // The next part. False: there is none in memory.
    bool next(Part& part) noexcept;

    // Reads what can be read at once, waiting for a byte at least, unless the file has ended.
    void fill();

    // All has been read and taken.
    bool is_at_end() const noexcept { return is_complete_ && begin_ == end_ && !is_inside_; }

    const std::string& shown_name() const noexcept { return file_.shown_name(); }
    // Of the last part, from 1.
    uint64_t line() const noexcept { return line_; }

  private:
    void make_room();
    bool take(std::size_t length, bool is_last, Part& part) noexcept;

    InputFile file_;
    std::size_t padding_;
    std::size_t room_;
    std::unique_ptr<char[]> buffer_;
    std::size_t begin_ = 0;
    std::size_t scanned_ = 0;  // from there on nobody looked for a line feed
    std::size_t end_ = 0;
    bool is_inside_ = false;  // of a line that comes in parts
    bool is_complete_ = false;
    uint64_t line_ = 0;
};

}  // namespace nq::tool
