#include <fcntl.h>
#include <unistd.h>

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

ExitStatus print(const std::string& text) {
    Output output;
    const bool is_done = output.open("-") && output.write(text) && output.commit();
    return is_done ? ExitStatus::kGood : ExitStatus::kTrouble;
}

ExitStatus run(int argc, const char* const* argv) {
    const std::optional<CommandLine> line = parse_command_line(argc, argv);
    if (!line) return ExitStatus::kTrouble;
    if (line->settings.wants_help) return print(help_text(*line->command));
    if (line->settings.wants_version) return print(version_text());
    return line->command->run(line->settings);
}

}  // namespace
}  // namespace nq::tool

int main(int argc, char** argv) {
    using nq::tool::ExitStatus;
    nq::tool::occupy_standard_descriptors();
    ExitStatus status = ExitStatus::kTrouble;
    try {
        status = nq::tool::run(argc, argv);
    } catch (const std::bad_alloc&) {
        nq::tool::report("nqtool", "out of memory");
    } catch (const std::exception& error) {
        nq::tool::report("nqtool", error.what());
    }
    return static_cast<int>(status);
}
