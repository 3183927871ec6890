#include "tool/commands/stream.hpp"

#include <optional>
#include <string>
#include <string_view>

#include "standalone/json/services.hpp"
#include "tool/commands/definitions_file.hpp"
#include "tool/io/line_source.hpp"
#include "tool/io/output.hpp"
#include "tool/io/report.hpp"
#include "tool/library.hpp"
#include "typed/record_checker.hpp"

namespace nq::tool {
namespace {

// So much is written at once.
constexpr std::size_t kBlock = std::size_t{256} << 10;

bool is_blank(std::string_view line) noexcept {
    return line.find_first_not_of(" \t\r") == line.npos;
}

// Text for an output that is kept until it is worth writing.
class Collected {
  public:
    explicit Collected(Output& output) noexcept : output_(output) {}

    bool add(std::string_view text) {
        text_ += text;
        return text_.size() < kBlock || flush();
    }
    bool flush() {
        const bool is_written = output_.write(text_);
        text_.clear();
        return is_written;
    }

  private:
    Output& output_;
    std::string text_;
};

class Stream {
  public:
    // `rejects` may be null.
    Stream(Host& host, const Settings& settings, RecordChecker& checker, LineSource& source,
           Output& output, Output* rejects)
        : host_(host),
          goes_on_(settings.goes_on || rejects),
          checker_(checker),
          source_(source),
          output_(output),
          rejects_(rejects ? std::optional<Collected>(*rejects) : std::nullopt) {}

    // kTrouble has been reported, unless a reader went away.
    ExitStatus run() {
        while (is_good_ && !source_.is_at_end()) {
            if (!source_.fill()) return ExitStatus::kTrouble;
            LineSource::Part part;
            while (is_good_ && source_.next(part)) take(part);
            // What was read is answered before the next wait for more.
            if (!flush()) return ExitStatus::kTrouble;
        }
        return is_good_ || has_stopped_ ? worst_ : ExitStatus::kTrouble;
    }

  private:
    void take(const LineSource::Part& part) {
        if (part.is_first && part.is_last) {
            take_line(part.text);
        } else {
            if (part.is_first) {
                refuse(0, "the line is longer than " + std::to_string(LineSource::kLongestLine) +
                              " bytes");
            }
            reject(part.text, part.is_last);
        }
    }

    void take_line(std::string_view line) {
        constexpr std::string_view kMark = "\xef\xbb\xbf";
        std::string_view text = line;
        const bool has_mark = source_.line() == 1 && text.starts_with(kMark);
        if (has_mark) text.remove_prefix(kMark.size());
        if (is_blank(text)) return;
        if (const NQStatus status = checker_.check(text, fault_)) {
            report_status(host_, place(0), status);
            is_good_ = false;
        } else if (fault_.what.empty()) {
            if (checker_.output().size() >= kBlock) is_good_ = flush();
        } else {
            refuse(fault_.column ? fault_.column + has_mark : 0, fault_.what);
            reject(line, true);
        }
    }

    std::string place(uint64_t column) const {
        std::string text = source_.shown_name() + ":" + std::to_string(source_.line());
        return column ? text + ":" + std::to_string(column) : text;
    }

    void refuse(uint64_t column, std::string_view what) {
        worst_ = ExitStatus::kInvalid;
        if (!goes_on_) {
            has_stopped_ = flush();
            is_good_ = false;
        }
        report(place(column), what);
    }

    void reject(std::string_view text, bool ends_line) {
        if (!rejects_ || !is_good_) return;
        is_good_ = rejects_->add(text) && (!ends_line || rejects_->add("\n"));
    }

    bool flush() {
        const bool is_written = output_.write(checker_.output());
        checker_.clear_output();
        return is_written && (!rejects_ || rejects_->flush());
    }

    Host& host_;
    bool goes_on_;
    RecordChecker& checker_;
    LineSource& source_;
    Output& output_;
    std::optional<Collected> rejects_;
    RecordFault fault_;
    ExitStatus worst_ = ExitStatus::kGood;
    bool is_good_ = true;       // there is no reason to end
    bool has_stopped_ = false;  // at a bad line, which is reported
};

}  // namespace

ExitStatus run_stream(const Settings& settings) {
    const bool has_rejects = !settings.rejects.empty();
    if (has_rejects && settings.rejects == settings.output) {
        report("nqtool", "--rejects and --output must not be the same");
        return ExitStatus::kTrouble;
    }
    Host host;
    Output output;
    Output rejects;
    if (!load_library(host, settings) || !output.open(settings.output) ||
        (has_rejects && !rejects.open(settings.rejects))) {
        return ExitStatus::kTrouble;
    }
    const Services services(host.kernel(), host.api());
    if (!services) return report_status(host, "nqtool", NQ_STATUS_NO_EXTENSION);
    DefinitionsFile definitions;
    if (!definitions.load(host, services, settings.definitions)) return ExitStatus::kTrouble;
    const OwnedPool pool(host.make_pool("nqtool record pool"));
    if (!pool) return report_status(host, "nqtool", NQ_STATUS_NO_MEMORY);

    RecordChecker checker(services.json(), pool.get(), definitions.get().root());
    LineSource source(settings.files.empty() ? "-" : settings.files.front(),
                      RecordChecker::kPadding);
    if (!source.open()) return ExitStatus::kTrouble;
    Stream stream(host, settings, checker, source, output, has_rejects ? &rejects : nullptr);
    const ExitStatus result = stream.run();
    // Files are replaced only by what is complete.
    const bool is_complete = result == ExitStatus::kGood ||
                             (result == ExitStatus::kInvalid && (settings.goes_on || has_rejects));
    if (is_complete && (!output.commit() || (has_rejects && !rejects.commit()))) {
        return ExitStatus::kTrouble;
    }
    return result;
}

}  // namespace nq::tool
