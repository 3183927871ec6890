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

void map_case(TextSession& session, MapSimply* simply, MapForLocale* for_locale) {
    Run& run = session.run();
    const std::string& tag = session.settings().locale;
    NQLocale* locale = tag.empty() ? nullptr : run.host().locale(tag);
    if (!tag.empty() && !locale) run.refuse(quoted(tag) + " is not a language tag");
    const Make make = [&](std::string_view piece) {
        return session.buffered(
            kGrowth * piece.size(), [&](uint8_t* target, uint64_t capacity, uint64_t* written) {
                const uint8_t* source = bytes_of(piece);
                return locale ? for_locale(locale, source, piece.size(), target, capacity, written)
                              : simply(source, piece.size(), target, capacity, written);
            });
    };
    const Divide divide = locale ? divide_between_words : divide_anywhere;
    run.for_each_input([&](const std::string& name) {
        TextSource source = session.open(name, Malformed::kReplace);
        return session.transform(source, divide, make);
    });
}

}  // namespace

void run_text_upper(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    map_case(session, NQTOOL_ROUTINE(session, nqzsu8Upper2),
             NQTOOL_ROUTINE(session, nqzsu8LocaleUpper));
}

void run_text_lower(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    map_case(session, NQTOOL_ROUTINE(session, nqzsu8Lower2),
             NQTOOL_ROUTINE(session, nqzsu8LocaleLower));
}

}  // namespace nq::tool
