#include "nqinstance/text/normalize.h"
#include "standalone/text/normalizer.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/divide.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

constexpr uint32_t kForms[] = {kNormalFormC, kNormalFormD, kNormalFormKC, kNormalFormKD,
                               kNormalFormKCCasefolded};
static_assert(std::size(kForms) == std::size(kFormNames));

}  // namespace

void run_text_normalize(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    auto* routine = NQTOOL_ROUTINE(session, nqzsu8ICUNormalize);
    const uint32_t form = kForms[settings.form];
    const Make make = [&](std::string_view piece) {
        return session.buffered(
            2 * piece.size(), [&](uint8_t* target, uint64_t capacity, uint64_t* written) {
                return routine(bytes_of(piece), piece.size(), form, 0, target, capacity, written);
            });
    };
    run.for_each_input([&](const std::string& name) {
        TextSource source = session.open(name, Malformed::kReplace);
        return session.transform(source, divide_before_starter, make);
    });
}

}  // namespace nq::tool
