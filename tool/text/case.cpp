#include "nqinstance/text/case_mapping.h"
#include "tool/io/report.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/divide.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

using MapSimply = decltype(::nqzsu8Upper2);
using MapForLocale = decltype(::nqzsu8LocaleUpper);

// A character rarely grows to more than three times its bytes.
constexpr std::size_t kGrowth = 3;

ExitStatus map_case(TextSession& session, MapSimply* simply, MapForLocale* for_locale) {
    const Settings& settings = session.settings();
    NQLocale* locale = nullptr;
    if (!settings.locale.empty()) {
        locale = session.host().locale(settings.locale);
        if (!locale) {
            report("nqtool", "'" + settings.locale + "' is not a language tag");
            return ExitStatus::kTrouble;
        }
    }
    const Make make = [&](std::string_view piece) {
        return session.buffered(
            kGrowth * piece.size(), [&](uint8_t* target, uint64_t capacity, uint64_t* written) {
                const uint8_t* source = bytes_of(piece);
                return locale ? for_locale(locale, source, piece.size(), target, capacity, written)
                              : simply(source, piece.size(), target, capacity, written);
            });
    };
    const Divide divide = locale ? divide_between_words : divide_anywhere;
    return session.run(settings.files, [&](const std::string& name) {
        TextSource source = session.open(name, Malformed::kReplace);
        return session.transform(source, divide, make);
    });
}

ExitStatus upper(TextSession& session) {
    return map_case(session, NQTOOL_ROUTINE(session, nqzsu8Upper2),
                    NQTOOL_ROUTINE(session, nqzsu8LocaleUpper));
}

ExitStatus lower(TextSession& session) {
    return map_case(session, NQTOOL_ROUTINE(session, nqzsu8Lower2),
                    NQTOOL_ROUTINE(session, nqzsu8LocaleLower));
}

}  // namespace

ExitStatus run_text_upper(const Settings& settings) { return run_text(settings, upper); }

ExitStatus run_text_lower(const Settings& settings) { return run_text(settings, lower); }

}  // namespace nq::tool
