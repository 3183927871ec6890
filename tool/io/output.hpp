#pragma once
#include <string>
#include <string_view>

#include "standalone/base/descriptor.hpp"

namespace nq::tool {

// Where a run's text goes: the standard output for "-", else a file. A regular file takes its new
// content only when the whole run went well: until then the text goes to a hidden file beside it,
// which a failed run removes. A device or a pipe is written directly.
//
// An operation that fails reports why and ends the run; a reader who went away is not reported.
class Output {
  public:
    Output() noexcept = default;
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { discard(); }

    void open(const std::string& name);
    // As it was opened.
    const std::string& name() const noexcept { return name_; }
    void write(std::string_view text);
    // Ends the output; a regular file has its new content from now on.
    void commit();

  private:
    void open_temporary(unsigned mode);
    [[noreturn]] void fail(int error_number) const;
    void discard() noexcept;

    std::string name_;
    std::string path_;       // the regular file that is to be replaced, or empty
    std::string temporary_;  // holds the text until then, or empty
    Descriptor file_;
};

}  // namespace nq::tool
