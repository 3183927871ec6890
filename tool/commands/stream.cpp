#include "tool/commands/stream.hpp"

#include <optional>
#include <string>
#include <string_view>

#include "standalone/base/utf8.hpp"
#include "tool/commands/definitions_file.hpp"
#include "tool/commands/session.hpp"
#include "tool/io/line_source.hpp"
#include "tool/io/report.hpp"
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

    void add(std::string_view text) {
        text_ += text;
        if (text_.size() >= kBlock) flush();
    }
    void flush() {
        output_.write(text_);
        text_.clear();
    }

  private:
    Output& output_;
    std::string text_;
};

class Stream {
  public:
    // `rejects` may be null.
    Stream(const Session& session, const DefinitionNode& root, const std::string& name,
           bool goes_on, Output* rejects)
        : session_(session),
          pool_(session.make_pool("nqtool record pool")),
          checker_(session.services().json(), pool_.get(), root),
          source_(name, RecordChecker::kPadding),
          goes_on_(goes_on),
          rejects_(rejects ? std::optional<Collected>(*rejects) : std::nullopt) {}

    ExitStatus run() {
        while (!source_.is_at_end()) {
            source_.fill();
            LineSource::Part part;
            while (source_.next(part)) take(part);
            // What was read is answered before the next wait for more.
            flush();
        }
        return worst_;
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
        const std::string_view text = source_.line() == 1 ? without_byte_order_mark(line) : line;
        const bool has_mark = text.size() != line.size();
        if (is_blank(text)) return;
        if (const NQStatus status = checker_.check(text, fault_)) {
            flush();
            session_.run().fail(place(0), status);
        }
        if (fault_.what.empty()) {
            if (checker_.output().size() >= kBlock) flush();
        } else {
            refuse(fault_.column ? fault_.column + has_mark : 0, fault_.what);
            reject(line, true);
        }
    }

    std::string place(uint64_t column) const {
        return place_in(source_.shown_name(), source_.line(), column);
    }

    void refuse(uint64_t column, std::string_view what) {
        // Valid lines before the one that ends the run are written first.
        if (!goes_on_) flush();
        report(place(column), what);
        if (!goes_on_) throw RunEnded{{ExitStatus::kInvalid}};
        worst_ = ExitStatus::kInvalid;
    }

    void reject(std::string_view text, bool ends_line) {
        if (!rejects_) return;
        rejects_->add(text);
        if (ends_line) rejects_->add("\n");
    }

    void flush() {
        session_.run().output().write(checker_.output());
        checker_.clear_output();
        if (rejects_) rejects_->flush();
    }

    const Session& session_;
    OwnedPool pool_;
    RecordChecker checker_;
    LineSource source_;
    bool goes_on_;
    std::optional<Collected> rejects_;
    RecordFault fault_;
    ExitStatus worst_ = ExitStatus::kGood;
};

}  // namespace

void run_stream(Run& run, const StreamSettings& settings) {
    const bool has_rejects = !settings.rejects.empty();
    if (has_rejects && run.has_output(settings.rejects)) {
        run.refuse("--rejects and --output must not be the same");
    }
    Output* rejects = has_rejects ? &run.open_output(settings.rejects) : nullptr;
    const Session session(run);
    const DefinitionsFile definitions(session, settings.definitions);
    const bool goes_on = settings.goes_on || has_rejects;
    run.keep_despite(ExitStatus::kInvalid);
    run.for_each_input([&](const std::string& name) {
        return Stream(session, definitions.get().root(), name, goes_on, rejects).run();
    });
}

}  // namespace nq::tool
