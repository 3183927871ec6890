#include "tool/commands/definitions_file.hpp"

#include "tool/io/input.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {

DefinitionsFile::DefinitionsFile(const Session& session, const std::string& name)
    : pool_(session.make_pool("nqtool definitions pool")) {
    InputFile file(name);
    const std::string bytes = file.read_whole();
    DefinitionsError error;
    if (definitions_.load(session.services().json(), pool_.get(), bytes, error)) return;
    report(place_in(file.shown_name(), error.line, error.column), on_one_line(error.what));
    throw RunEnded{{ExitStatus::kTrouble}};
}

}  // namespace nq::tool
