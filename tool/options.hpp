#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tool/io/exit_status.hpp"

namespace nq::tool {

// What a command line says. A field whose option a subcommand does not declare keeps its default.
struct Settings {
    std::vector<std::string> files;
    std::string output = "-";
    std::string library;  // empty: look for it
    std::vector<std::pair<std::string, std::string>> host_options;
    std::optional<int32_t> indent;
    bool is_compact = false;
    std::string definitions;    // empty: none
    uint32_t input_syntax = 0;  // of kInputSyntaxNames
    uint32_t fault_format = 0;  // of kFaultFormatNames
    uint32_t table_format = 0;  // of kTableFormatNames
    bool wants_all_keys = false;
    bool refuses_unknown_keys = false;
    std::optional<int32_t> max_errors;
    bool goes_on = false;           // past bad lines
    std::string rejects;            // empty: none
    std::string locale;             // empty: none
    uint32_t form = 0;              // of kFormNames
    uint32_t from = 0;              // of kEncodingNames
    uint32_t to = 0;                // of kEncodingNames
    std::optional<int32_t> buffer;  // bytes
    bool is_strict = false;
    bool are_files = false;
    bool is_exact = false;
    bool is_by_line = false;
    bool at_character_start = false;
    bool has_long_zero = false;
    bool is_without_pairs = false;
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

// One of several words, kept as its index.
struct Choice {
    uint32_t Settings::*field;
    std::span<const char* const> words;
};

// Where an option's value goes; a plain bool is a flag.
using Target =
    std::variant<bool Settings::*, std::string Settings::*, BoundedNumber, Assignments, Choice>;

struct Option {
    const char* short_name;  // "-o", or null
    const char* long_name;   // "--output"
    const char* value;       // what the help calls the value; null for a flag
    const char* help;        // null for an option that the help does not show
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
    std::span<const Option> shared_options;       // with other commands; the help shows them last
    ExitStatus (*run)(const Settings& settings);  // null for what only has subcommands
};

// What nqtool understands is declared in one list, which the command-line parser and the help are
// made from.
std::string help_text(const Command& command);
std::string version_text();
std::string version_number();

struct CommandLine {
    const Command* command = nullptr;  // the group or the program when no subcommand is named
    Settings settings;
};

// Null, with a message on the standard error, when the arguments are not understood.
std::optional<CommandLine> parse_command_line(int argc, const char* const* argv);

}  // namespace nq::tool
