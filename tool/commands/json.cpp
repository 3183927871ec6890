#include "tool/commands/json.hpp"

#include <algorithm>
#include <vector>

#include "nqinstance/base/held.hpp"
#include "nqinstance/host/status.h"
#include "standalone/values/strings.hpp"
#include "tool/commands/definitions_file.hpp"
#include "tool/commands/fault_report.hpp"
#include "tool/commands/pool.hpp"
#include "tool/commands/session.hpp"
#include "tool/commands/source.hpp"
#include "tool/io/input.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

// Turns one input after the other into JSON text, each in a pool of its own. The pool also takes
// back what a reading that ended at a syntax error leaves behind.
class Converter {
  public:
    // `definitions` may be null.
    Converter(Session& session, const Settings& settings, const Definitions* definitions)
        : host_(session.host()),
          services_(session.services()),
          settings_(settings),
          definitions_(definitions),
          output_(session.output()) {}

    ExitStatus convert(const std::string& name) {
        const OwnedPool pool(host_.make_pool("nqtool input pool"));
        if (!pool) return report_status(host_, shown_input_name(name), NQ_STATUS_NO_MEMORY);
        Source source(host_, name);
        if (!source.read()) return ExitStatus::kTrouble;
        SourceError error;
        const ExitStatus result =
            source.parse(pool.get(), services_.json(), SourceSyntax::kConfiguration, error);
        if (result == ExitStatus::kInvalid) {
            report(place_in(source.shown_name(), error.line, error.column), error.what);
        }
        if (result != ExitStatus::kGood) return result;
        return definitions_ ? write_typed(source, pool.get())
                            : write(source, source.dictionary(), pool.get());
    }

    // No further input makes sense after this.
    bool has_lost_output() const noexcept { return has_lost_output_; }

  private:
    ExitStatus write_typed(const Source& source, HostPool* pool) {
        Held<NQDictionary> typed;
        std::vector<Fault> faults;
        NQStatus status = make_typed_configuration(services_, pool, *definitions_,
                                                   source.dictionary(), {}, typed.out(), faults);
        if (!status && faults.empty()) {
            status = replace_characters(services_, pool, definitions_->root(), typed.get());
        }
        if (status) return report_status(host_, source.shown_name(), status);
        if (faults.empty()) return write(source, typed.get(), pool);
        find_lines(source.bytes(), SourceSyntax::kConfiguration, faults);
        for (const Fault& fault : faults) {
            report_line(fault_line(source.shown_name(), fault));
        }
        return ExitStatus::kInvalid;
    }

    ExitStatus write(const Source& source, NQDictionary* dictionary, HostPool* pool) {
        Held<NQU8String> text;
        const NQStatus status = write_json(pool, &dictionary->header, text.out());
        if (status == NQ_STATUS_BUFFER_TOO_SMALL) {
            // Doubles are written without exponents, into a buffer of the library.
            report(source.shown_name(), "a number too large to be written");
            return ExitStatus::kInvalid;
        }
        if (status) return report_status(host_, source.shown_name(), status);
        return print(text_of(*text.get()));
    }

    NQStatus write_json(HostPool* pool, InstanceHeader* value, NQU8String** text) {
        InstanceApi* api = host_.api();
        NQStringApi* strings = services_.strings();
        if (settings_.is_compact) return api->toJSON2(api, strings, pool, 0, 0, value, text);
        if (!settings_.indent) return api->toJSON(api, pool, value, text);
        return api->toJSON2(api, strings, pool, 1, *settings_.indent, value, text);
    }

    ExitStatus print(std::string_view text) {
        // The compact layout has no line feed of its own at the end.
        const bool is_line = text.ends_with('\n');
        if (output_.write(text) && (is_line || output_.write("\n"))) return ExitStatus::kGood;
        has_lost_output_ = true;
        return ExitStatus::kTrouble;
    }

    Host& host_;
    const Services& services_;
    const Settings& settings_;
    const Definitions* definitions_;
    Output& output_;
    bool has_lost_output_ = false;
};

}  // namespace

ExitStatus run_json(const Settings& settings) {
    Session session;
    DefinitionsFile definitions;
    const bool is_typed = !settings.definitions.empty();
    if (!session.open(settings) || (is_typed && !definitions.load(session, settings.definitions))) {
        return ExitStatus::kTrouble;
    }
    Converter converter(session, settings, is_typed ? &definitions.get() : nullptr);
    ExitStatus worst = ExitStatus::kGood;
    for (const std::string& file : inputs_of(settings.files)) {
        worst = std::max(worst, converter.convert(file));
        if (converter.has_lost_output()) return worst;
    }
    if (worst == ExitStatus::kGood && !session.output().commit()) return ExitStatus::kTrouble;
    return worst;
}

}  // namespace nq::tool
