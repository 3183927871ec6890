#include "tool/commands/check.hpp"

#include <algorithm>

#include "tool/commands/definitions_file.hpp"
#include "tool/commands/fault_report.hpp"
#include "tool/commands/session.hpp"
#include "tool/commands/source.hpp"
#include "tool/io/input.hpp"

namespace nq::tool {
namespace {

constexpr int32_t kDefaultMaxErrors = 20;

constexpr uint32_t kSyntaxAuto = 0;
constexpr uint32_t kSyntaxJson = 2;

class Checker {
  public:
    Checker(Session& session, const Settings& settings, const Definitions& definitions)
        : host_(session.host()),
          services_(session.services()),
          settings_(settings),
          definitions_(definitions) {
        const int32_t most = settings.max_errors.value_or(kDefaultMaxErrors);
        room_ = most ? static_cast<uint64_t>(most) : UINT64_MAX;
    }

    ExitStatus check(const std::string& name) {
        const OwnedPool pool(host_.make_pool("nqtool input pool"));
        if (!pool) return report_status(host_, shown_input_name(name), NQ_STATUS_NO_MEMORY);
        Source source(host_, name);
        if (!source.read()) return ExitStatus::kTrouble;

        const TypedOptions options{.syntax = syntax_of(name),
                                   .wants_all = settings_.wants_all_keys,
                                   .refuses_unknown = settings_.refuses_unknown_keys};
        std::vector<Fault> faults;
        SourceError error;
        const ExitStatus result = source.parse(pool.get(), services_.json(), options.syntax, error);
        if (result == ExitStatus::kTrouble) return result;
        if (result == ExitStatus::kInvalid) {
            Fault fault;
            fault.kind = FaultKind::kSyntax;
            fault.message = error.what;
            fault.line = static_cast<uint32_t>(error.line);
            fault.column = static_cast<uint32_t>(error.column);
            faults.push_back(std::move(fault));
        } else {
            Held<NQDictionary> typed;
            const NQStatus status =
                make_typed_configuration(services_, pool.get(), definitions_, source.dictionary(),
                                         options, typed.out(), faults);
            if (status) return report_status(host_, source.shown_name(), status);
            if (!faults.empty()) find_lines(source.bytes(), options.syntax, faults);
        }
        take(source.shown_name(), faults);
        return faults.empty() ? ExitStatus::kGood : ExitStatus::kInvalid;
    }

    const FaultReport& report() const noexcept { return report_; }

  private:
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

    Host& host_;
    const Services& services_;
    const Settings& settings_;
    const Definitions& definitions_;
    uint64_t room_;
    FaultReport report_;
};

constexpr std::string (*kReports[])(const FaultReport&) = {text_report, json_report, sarif_report};
static_assert(std::size(kReports) == std::size(kFaultFormatNames));

}  // namespace

ExitStatus run_check(const Settings& settings) {
    Session session;
    DefinitionsFile definitions;
    if (!session.open(settings) || !definitions.load(session, settings.definitions)) {
        return ExitStatus::kTrouble;
    }
    Checker checker(session, settings, definitions.get());
    ExitStatus worst = ExitStatus::kGood;
    for (const std::string& file : inputs_of(settings.files)) {
        worst = std::max(worst, checker.check(file));
    }
    const std::string report = kReports[settings.fault_format](checker.report());
    return session.print(report) ? worst : ExitStatus::kTrouble;
}

}  // namespace nq::tool
