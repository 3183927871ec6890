#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tool/commands/check.hpp"
#include "tool/commands/describe.hpp"
#include "tool/commands/json.hpp"
#include "tool/commands/stream.hpp"
#include "tool/io/run.hpp"
#include "tool/library.hpp"
#include "tool/text/commands.hpp"

namespace nq::tool {

// What a command line says. Each command takes the part that is its own; a field whose option it
// does not declare keeps its default.
struct Settings : LibrarySettings,
                  JsonSettings,
                  CheckSettings,
                  DescribeSettings,
                  StreamSettings,
                  TextSettings {
    std::vector<std::string> operands;
    std::string output = "-";
    bool wants_help = false;
    bool wants_version = false;

    bool operator==(const Settings&) const = default;
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

// One of several words, kept as its index.
struct Choice {
    uint32_t Settings::*field;
    std::span<const char* const> words;
};

// Where an option's value goes; a plain bool is a flag.
using Target =
    std::variant<bool Settings::*, std::string Settings::*, BoundedNumber, Assignments, Choice>;

struct Option {
    char short_name;        // 'o', or 0
    const char* long_name;  // "--output"
    const char* value;      // what the help calls the value; null for a flag
    const char* help;       // null for an option that the help does not show
    Target target;
    const char* excludes = nullptr;  // the long name of an option that cannot stand beside it
    bool is_required = false;
};

// The arguments that are no options.
struct Operands {
    const char* shown;  // as the help shows them; null when there are none
    std::size_t least = 0;
    std::size_t most = SIZE_MAX;
};

struct Command {
    const char* name;  // "text upper"; "text" for the group; empty for the program itself
    Operands operands;
    const char* summary;
    const char* details;
    std::span<const Option> options;
    std::span<const Option> shared_options;  // with other commands; the help shows them last
    void (*run)(Run& run, const Settings& settings);  // null for what only has subcommands

    std::string full_name() const;           // with the program's
    std::string_view last_word() const;      // of the name
    bool is_in(const Command& group) const;  // directly
    std::vector<const Option*> all_options() const;
};

// The one declaration of all that nqtool understands. The program itself comes first.
std::span<const Command> all_commands();

std::string help_text(const Command& command);
std::string version_text();

struct CommandLine {
    const Command* command = nullptr;  // the group or the program when no subcommand is named
    Settings settings;
};

// Understands the words behind the program's name. Null, with a message on the standard error,
// when they make no command line.
std::optional<CommandLine> parse_command_line(std::vector<std::string> words);

}  // namespace nq::tool
