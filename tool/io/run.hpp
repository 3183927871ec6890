#pragma once
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "nqinstance/host/status.h"
#include "standalone/host.hpp"
#include "tool/io/exit_status.hpp"
#include "tool/io/output.hpp"

namespace nq::tool {

// One run of a command: what it works on, and how it comes out. The run alone decides which exit
// status the program has and whether the outputs are kept.
class Run {
  public:
    // `host` has loaded the library. Opens the output, or ends the run.
    Run(Host& host, std::vector<std::string> operands, const std::string& output);

    Host& host() noexcept { return host_; }
    const std::vector<std::string>& operands() const noexcept { return operands_; }
    Output& output() noexcept { return outputs_.front(); }
    // Opens one more output, which is kept when the first one is.
    Output& open_output(const std::string& name);
    bool has_output(const std::string& name) const;

    // The outputs are kept when nothing worse than this happened. It is kGood at first.
    void keep_despite(ExitStatus worst) noexcept { kept_ = worst; }
    // The exit status of a run in which nothing went wrong. It is kGood at first.
    void answer(ExitStatus status) noexcept { answer_ = status; }
    // Of all that is noted the worst counts.
    void note(ExitStatus status) noexcept;

    // Works on one input after the other and notes what `work` returns. The inputs are the operands
    // from `first` on, or the standard input when there are none.
    void for_each_input(const std::function<ExitStatus(const std::string& name)>& work,
                        std::size_t first = 0);

    // Ends the run because the command cannot do what it was asked for.
    [[noreturn]] void refuse(std::string_view what) const;
    // Ends the run, or the work on one input, because the library refused to go on.
    [[noreturn]] void fail(NQStatus status) const;
    [[noreturn]] void fail(std::string_view input, NQStatus status) const;

    // Runs the command, then ends the outputs in the order in which they were opened. A run that
    // ends before its time keeps none.
    ExitStatus carry_out(const std::function<void(Run& run)>& command);

  private:
    Host& host_;
    std::vector<std::string> operands_;
    std::deque<Output> outputs_;
    ExitStatus kept_ = ExitStatus::kGood;
    ExitStatus answer_ = ExitStatus::kGood;
    ExitStatus worst_ = ExitStatus::kGood;
};

}  // namespace nq::tool
