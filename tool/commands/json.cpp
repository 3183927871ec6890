#include "tool/commands/json.hpp"

#include "nqinstance/base/held.hpp"
#include "nqinstance/host/status.h"
#include "standalone/values/strings.hpp"
#include "tool/commands/definitions_file.hpp"
#include "tool/commands/fault_report.hpp"
#include "tool/commands/session.hpp"
#include "tool/commands/source.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

// Turns one input after the other into JSON text, each in a pool of its own. The pool also takes
// back what a reading that ended at a syntax error leaves behind.
class Converter {
  public:
    // `definitions` may be null.
    Converter(const Session& session, const JsonSettings& settings, const Definitions* definitions)
        : session_(session), settings_(settings), definitions_(definitions) {}

    ExitStatus convert(const std::string& name) const {
        const OwnedPool pool = session_.make_pool("nqtool input pool");
        Source source(session_, name);
        if (const auto error = source.parse(pool.get(), SourceSyntax::kConfiguration)) {
            report(place_in(source.shown_name(), error->line, error->column), error->what);
            return ExitStatus::kInvalid;
        }
        return definitions_ ? write_typed(source, pool.get())
                            : write(source, source.dictionary(), pool.get());
    }

  private:
    ExitStatus write_typed(const Source& source, HostPool* pool) const {
        const Services& services = session_.services();
        Held<NQDictionary> typed;
        std::vector<Fault> faults;
        NQStatus status = make_typed_configuration(services, pool, *definitions_,
                                                   source.dictionary(), {}, typed.out(), faults);
        if (!status && faults.empty()) {
            status = replace_characters(services, pool, definitions_->root(), typed.get());
        }
        if (status) session_.run().fail(source.shown_name(), status);
        if (faults.empty()) return write(source, typed.get(), pool);
        find_lines(source.bytes(), SourceSyntax::kConfiguration, faults);
        for (const Fault& fault : faults) report_line(fault_line(source.shown_name(), fault));
        return ExitStatus::kInvalid;
    }

    ExitStatus write(const Source& source, NQDictionary* dictionary, HostPool* pool) const {
        Held<NQU8String> text;
        const NQStatus status = make_text(pool, &dictionary->header, text.out());
        if (status == NQ_STATUS_BUFFER_TOO_SMALL) {
            // Doubles are written without exponents, into a buffer of the library.
            report(source.shown_name(), "a number too large to be written");
            return ExitStatus::kInvalid;
        }
        if (status) session_.run().fail(source.shown_name(), status);
        Output& output = session_.run().output();
        output.write(text_of(*text.get()));
        // The compact layout has no line feed of its own at the end.
        if (!text_of(*text.get()).ends_with('\n')) output.write("\n");
        return ExitStatus::kGood;
    }

    NQStatus make_text(HostPool* pool, InstanceHeader* value, NQU8String** text) const {
        InstanceApi* api = session_.services().api();
        NQStringApi* strings = session_.services().strings();
        if (settings_.is_compact) return api->toJSON2(api, strings, pool, 0, 0, value, text);
        if (!settings_.indent) return api->toJSON(api, pool, value, text);
        return api->toJSON2(api, strings, pool, 1, *settings_.indent, value, text);
    }

    const Session& session_;
    const JsonSettings& settings_;
    const Definitions* definitions_;
};

}  // namespace

void run_json(Run& run, const JsonSettings& settings) {
    const Session session(run);
    std::optional<DefinitionsFile> definitions;
    if (!settings.definitions.empty()) definitions.emplace(session, settings.definitions);
    const Converter converter(session, settings, definitions ? &definitions->get() : nullptr);
    run.for_each_input([&](const std::string& name) { return converter.convert(name); });
}

}  // namespace nq::tool
