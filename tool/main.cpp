#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <new>

#include "tool/io/output.hpp"
#include "tool/io/report.hpp"
#include "tool/options.hpp"

namespace nq::tool {
namespace {

// A standard stream that the caller closed would otherwise be given to the next file that is
// opened, and messages would end up in it. The stand-in refuses to be read or written.
void occupy_standard_descriptors() noexcept {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0) continue;
        open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void print(const std::string& text) {
    Output output;
    output.open("-");
    output.write(text);
    output.commit();
}

ExitStatus run(std::vector<std::string> words) {
    const std::optional<CommandLine> line = parse_command_line(std::move(words));
    if (!line) return ExitStatus::kTrouble;
    const Settings& settings = line->settings;
    if (settings.wants_help || settings.wants_version) {
        print(settings.wants_help ? help_text(*line->command) : version_text());
        return ExitStatus::kGood;
    }
    Host host;
    load_library(host, settings);
    Run run(host, settings.operands, settings.output);
    return run.carry_out([&](Run& this_run) { line->command->run(this_run, settings); });
}

}  // namespace
}  // namespace nq::tool

int main(int argc, char** argv) {
    using namespace nq::tool;
    occupy_standard_descriptors();
    ExitStatus status = ExitStatus::kTrouble;
    try {
        status = run({argv + std::min(argc, 1), argv + argc});
    } catch (const Ended& end) {
        status = end.status;
    } catch (const std::bad_alloc&) {
        report("out of memory");
    } catch (const std::exception& error) {
        report(error.what());
    }
    return static_cast<int>(status);
}
