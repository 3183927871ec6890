#include "tool/commands/check.hpp"

#include <algorithm>

#include "tool/commands/definitions_file.hpp"
#include "tool/commands/fault_report.hpp"
#include "tool/commands/session.hpp"
#include "tool/commands/source.hpp"

namespace nq::tool {
namespace {

constexpr int32_t kDefaultMaxErrors = 20;

constexpr uint32_t kSyntaxAuto = 0;
constexpr uint32_t kSyntaxJson = 2;

class Checker {
  public:
    Checker(const Session& session, const CheckSettings& settings, const Definitions& definitions)
        : session_(session), settings_(settings), definitions_(definitions) {
        const int32_t most = settings.max_errors.value_or(kDefaultMaxErrors);
        room_ = most ? static_cast<uint64_t>(most) : UINT64_MAX;
    }

    ExitStatus check(const std::string& name) {
        const OwnedPool pool = session_.make_pool("nqtool input pool");
        Source source(session_, name);
        std::vector<Fault> faults = faults_of(source, syntax_of(name), pool.get());
        const bool is_valid = faults.empty();
        take(source.shown_name(), faults);
        return is_valid ? ExitStatus::kGood : ExitStatus::kInvalid;
    }

    const FaultReport& report() const noexcept { return report_; }

  private:
    std::vector<Fault> faults_of(Source& source, SourceSyntax syntax, HostPool* pool) const {
        std::vector<Fault> faults;
        if (auto error = source.parse(pool, syntax)) {
            Fault fault;
            fault.kind = FaultKind::kSyntax;
            fault.message = std::move(error->what);
            fault.line = static_cast<uint32_t>(error->line);
            fault.column = static_cast<uint32_t>(error->column);
            faults.push_back(std::move(fault));
            return faults;
        }
        const TypedOptions options{.syntax = syntax,
                                   .wants_all = settings_.wants_all_keys,
                                   .refuses_unknown = settings_.refuses_unknown_keys};
        Held<NQDictionary> typed;
        const NQStatus status =
            make_typed_configuration(session_.services(), pool, definitions_, source.dictionary(),
                                     options, typed.out(), faults);
        if (status) session_.run().fail(source.shown_name(), status);
        if (!faults.empty()) find_lines(source.bytes(), syntax, faults);
        return faults;
    }

    SourceSyntax syntax_of(const std::string& name) const noexcept {
        const bool is_json = settings_.input_syntax == kSyntaxAuto
                                 ? name.ends_with(".json")
                                 : settings_.input_syntax == kSyntaxJson;
        return is_json ? SourceSyntax::kJson : SourceSyntax::kConfiguration;
    }

    // In the order of the lines; what has none comes last.
    void take(const std::string& file, std::vector<Fault>& faults) {
        const auto rank = [](const Fault& fault) { return fault.line ? fault.line : UINT32_MAX; };
        std::stable_sort(faults.begin(), faults.end(),
                         [&](const Fault& a, const Fault& b) { return rank(a) < rank(b); });
        report_.count += faults.size();
        for (Fault& fault : faults) {
            if (report_.shown.size() == room_) break;
            report_.shown.push_back({file, std::move(fault)});
        }
    }

    const Session& session_;
    const CheckSettings& settings_;
    const Definitions& definitions_;
    uint64_t room_;
    FaultReport report_;
};

constexpr std::string (*kReports[])(const FaultReport&) = {text_report, json_report, sarif_report};
static_assert(std::size(kReports) == std::size(kFaultFormatNames));

}  // namespace

void run_check(Run& run, const CheckSettings& settings) {
    const Session session(run);
    const DefinitionsFile definitions(session, settings.definitions);
    Checker checker(session, settings, definitions.get());
    // The report is what the command is for: it says what was found in the files that were read.
    run.keep_despite(ExitStatus::kTrouble);
    run.for_each_input([&](const std::string& name) { return checker.check(name); });
    run.output().write(kReports[settings.fault_format](checker.report()));
}

}  // namespace nq::tool
