#include "tool/io/run.hpp"

#include <algorithm>
#include <span>
#include <utility>

#include "tool/io/report.hpp"

namespace nq::tool {

Run::Run(Host& host, std::vector<std::string> operands, const std::string& output)
    : host_(host), operands_(std::move(operands)) {
    open_output(output);
}

Output& Run::open_output(const std::string& name) {
    Output& output = outputs_.emplace_back();
    output.open(name);
    return output;
}

bool Run::has_output(const std::string& name) const {
    return std::any_of(outputs_.begin(), outputs_.end(),
                       [&](const Output& output) { return output.name() == name; });
}

void Run::note(ExitStatus status) noexcept { worst_ = std::max(worst_, status); }

void Run::for_each_input(const std::function<ExitStatus(const std::string& name)>& work,
                         std::size_t first) {
    const std::string standard_input[] = {"-"};
    std::span<const std::string> inputs = std::span(operands_).subspan(first);
    if (inputs.empty()) inputs = standard_input;
    for (const std::string& name : inputs) {
        try {
            note(work(name));
        } catch (const InputEnded& end) {
            note(end.status);
        }
    }
}

void Run::refuse(std::string_view what) const {
    report(what);
    throw RunEnded{{ExitStatus::kTrouble}};
}

void Run::fail(NQStatus status) const {
    report_status(host_, "nqtool", status);
    throw RunEnded{{ExitStatus::kTrouble}};
}

void Run::fail(std::string_view input, NQStatus status) const {
    report_status(host_, input, status);
    throw InputEnded{{ExitStatus::kTrouble}};
}

ExitStatus Run::carry_out(const std::function<void(Run& run)>& command) {
    try {
        command(*this);
        if (worst_ <= kept_) {
            for (Output& output : outputs_) output.commit();
        }
    } catch (const Ended& end) {
        note(end.status);
    }
    return worst_ == ExitStatus::kGood ? answer_ : worst_;
}

}  // namespace nq::tool
