#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tool/exit_status.hpp"

namespace nq::tool {

// What a command line says. A field whose option a subcommand does not declare keeps its default.
struct Settings {
    std::vector<std::string> files;
    std::string output = "-";
    std::string library;  // empty: look for it
    std::vector<std::pair<std::string, std::string>> host_options;
    std::optional<int32_t> indent;
    bool is_compact = false;
    bool wants_help = false;
    bool wants_version = false;
};

// A whole number within bounds.
struct BoundedNumber {
    std::optional<int32_t> Settings::*field;
    int32_t least;
    int32_t most;
};

// A NAME=VALUE pair for each time the option is given.
struct Assignments {
    std::vector<std::pair<std::string, std::string>> Settings::*field;
};

// Where an option's value goes; a plain bool is a flag.
using Target = std::variant<bool Settings::*, std::string Settings::*, BoundedNumber, Assignments>;

struct Option {
    const char* short_name;  // "-o", or null
    const char* long_name;   // "--output"
    const char* value;       // what the help calls the value; null for a flag
    const char* help;
    Target target;
    const char* excludes = nullptr;  // the long name of an option that cannot stand beside it
};

struct Command {
    const char* name;     // empty for the program itself
    const char* operand;  // what the help calls the arguments; null when it takes none
    const char* summary;
    const char* details;
    std::span<const Option> options;
    ExitStatus (*run)(const Settings& settings);  // null for the program itself
};

// What nqtool understands: the one list that the command-line parser and the help are made from.
const Command& program() noexcept;
std::span<const Command> commands() noexcept;

std::string help_text(const Command& command);
std::string version_text();

struct CommandLine {
    const Command* command = nullptr;  // the program itself when no subcommand is named
    Settings settings;
};

// Null, with a message on the standard error, when the arguments are not understood.
std::optional<CommandLine> parse_command_line(int argc, const char* const* argv);

}  // namespace nq::tool
