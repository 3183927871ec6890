#include "tool/options.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "tool/json.hpp"
#include "tool/report.hpp"

namespace nq::tool {
namespace {

constexpr Option kHelp{"-h", "--help", nullptr, "print this help and exit", &Settings::wants_help};
constexpr Option kVersion{nullptr, "--version", nullptr, "print the version and exit",
                          &Settings::wants_version};

// Wider indentation than this serves nobody and asks the library for absurd buffers.
constexpr int32_t kWidestIndent = 1000;

constexpr Option kProgramOptions[] = {kHelp, kVersion};

constexpr Option kJsonOptions[] = {
    {nullptr, "--indent", "N", "indent by N blanks a level, 0 meaning 4 and -1 none",
     BoundedNumber{&Settings::indent, -1, kWidestIndent}},
    {nullptr, "--compact", nullptr, "write each value on one line, without blanks",
     &Settings::is_compact, "--indent"},
    {"-o", "--output", "FILE", "write to FILE instead of the standard output", &Settings::output},
    {nullptr, "--library", "PATH", "load the extension library from PATH", &Settings::library},
    {nullptr, "--option", "NAME=VALUE", "set a host option (may be given several times)",
     Assignments{&Settings::host_options}},
    kHelp,
    kVersion,
};

constexpr Command kProgram{
    "", nullptr,         "Works with the files and values of the nqinstance library.",
    "", kProgramOptions, nullptr};

constexpr Command kCommands[] = {
    {"json", "FILE", "Reads configuration files and writes each as JSON text.",
     "Without a FILE, or when a FILE is -, the standard input is read. The exit status is 0 when\n"
     "all went well, 1 when a file is not valid, and 2 when something could not be read,\n"
     "written or loaded; the worst of several files counts.",
     kJsonOptions, run_json},
};

// The value as a number within the target's bounds, or nothing.
std::optional<int32_t> number_in(const std::string& text, const BoundedNumber& target) {
    int32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) return std::nullopt;
    if (number < target.least || number > target.most) return std::nullopt;
    return number;
}

// The parser takes an argument in brackets for a list. A character before the bracket hides it and
// is dropped again where an argument is used.
constexpr char kGuard = '\x1f';

std::vector<std::string> guarded(int argc, const char* const* argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    for (std::string& argument : arguments) {
        if (argument.starts_with('[') || argument.starts_with(kGuard)) {
            argument.insert(0, 1, kGuard);
        }
    }
    return arguments;
}

std::string plain(const std::string& argument) {
    return argument.substr(argument.starts_with(kGuard) ? 1 : 0);
}

std::string names_of(const Option& option) {
    const std::string long_name = option.long_name;
    return option.short_name ? option.short_name + ("," + long_name) : long_name;
}

// One overload for each kind of target declares the option to the parser.
struct Declare {
    CLI::App& app;
    const Option& option;
    Settings& settings;

    CLI::Option* operator()(bool Settings::*field) const {
        return app.add_flag(names_of(option), settings.*field);
    }
    CLI::Option* operator()(std::string Settings::*field) const {
        const auto store = [this_settings = &settings, field](const std::string& text) {
            this_settings->*field = plain(text);
        };
        return app.add_option_function<std::string>(names_of(option), store);
    }
    CLI::Option* operator()(const BoundedNumber& target) const {
        const auto store = [this_settings = &settings, target](const std::string& text) {
            this_settings->*target.field = number_in(text, target);
        };
        const auto check = [target](const std::string& text) -> std::string {
            if (number_in(text, target)) return "";
            return "'" + plain(text) + "' is not a number from " + std::to_string(target.least) +
                   " to " + std::to_string(target.most);
        };
        return app.add_option_function<std::string>(names_of(option), store)->check(check);
    }
    CLI::Option* operator()(const Assignments& target) const {
        const auto store = [this_settings = &settings,
                            target](const std::vector<std::string>& texts) {
            for (const std::string& argument : texts) {
                const std::string text = plain(argument);
                const auto equals = text.find('=');
                (this_settings->*target.field)
                    .emplace_back(text.substr(0, equals), text.substr(equals + 1));
            }
        };
        const auto check = [](const std::string& argument) -> std::string {
            const std::string text = plain(argument);
            const auto equals = text.find('=');
            if (equals != 0 && equals != std::string::npos) return "";
            return "'" + text + "' is not of the form NAME=VALUE";
        };
        // Each occurrence takes one value, so that the FILE after it stays a FILE.
        return app.add_option_function<std::vector<std::string>>(names_of(option), store)
            ->expected(1)
            ->allow_extra_args(false)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->check(check);
    }
};

void declare(CLI::App& app, const Command& command, Settings& settings) {
    app.set_help_flag();  // the help is written from the declarations
    app.allow_extras();   // and what they do not know is reported below
    for (const Option& option : command.options) {
        CLI::Option* declared = std::visit(Declare{app, option, settings}, option.target);
        if (option.value) declared->type_name(option.value);
    }
    for (const Option& option : command.options) {
        if (option.excludes) app.get_option(option.long_name)->excludes(option.excludes);
    }
    if (command.operand) {
        const auto store = [&settings](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) settings.files.push_back(plain(text));
        };
        app.add_option_function<std::vector<std::string>>(command.operand, store);
    }
}

std::string option_column(const Option& option) {
    std::string text = option.short_name ? option.short_name + std::string(", ") : "    ";
    text += option.long_name;
    if (option.value) text += std::string(" ") + option.value;
    return text;
}

struct Row {
    std::string left;
    const char* right;
};

void append_table(std::string& text, const std::vector<Row>& rows) {
    std::size_t width = 0;
    for (const Row& row : rows) width = std::max(width, row.left.size());
    for (const Row& row : rows) {
        text += "  " + row.left + std::string(width - row.left.size() + 2, ' ') + row.right + "\n";
    }
}

std::string qualified_name(const Command& command) {
    return *command.name ? std::string("nqtool ") + command.name : "nqtool";
}

// The command that the first argument names, or the program itself.
const Command* find_command(const std::vector<std::string>& arguments) noexcept {
    if (arguments.empty()) return &kProgram;
    for (const Command& command : kCommands) {
        if (arguments.front() == command.name) return &command;
    }
    return &kProgram;
}

// Reports wrong usage of a command; the result of a parse that failed.
std::nullopt_t refuse(const Command& command, const std::string& what) {
    report("nqtool", what);
    report_line("Try '" + qualified_name(command) + " --help'.");
    return std::nullopt;
}

}  // namespace

const Command& program() noexcept { return kProgram; }

std::span<const Command> commands() noexcept { return kCommands; }

std::string help_text(const Command& command) {
    std::string text = "Usage: " + qualified_name(command);
    text += command.run ? " [OPTION]..." : " COMMAND [OPTION]... [ARGUMENT]...";
    if (command.operand) text += " [" + std::string(command.operand) + "]...";
    text += "\n" + std::string(command.summary) + "\n";
    if (*command.details) text += "\n" + std::string(command.details) + "\n";
    if (!command.run) {
        std::vector<Row> rows;
        for (const Command& other : kCommands) rows.push_back({other.name, other.summary});
        text += "\nCommands:\n";
        append_table(text, rows);
    }
    std::vector<Row> rows;
    for (const Option& option : command.options) {
        rows.push_back({option_column(option), option.help});
    }
    text += "\nOptions:\n";
    append_table(text, rows);
    return text;
}

std::string version_text() { return "nqtool " NQTOOL_VERSION "\n"; }

std::optional<CommandLine> parse_command_line(int argc, const char* const* argv) {
    CommandLine line;
    std::vector<std::string> arguments = guarded(argc, argv);
    line.command = find_command(arguments);
    if (line.command->run) arguments.erase(arguments.begin());
    CLI::App app;
    declare(app, *line.command, line.settings);
    try {
        std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return refuse(*line.command, error.what());
    }
    if (line.settings.wants_help || line.settings.wants_version) return line;
    for (const std::string& unknown : app.remaining()) {
        if (unknown == "--") continue;  // only says that no options follow
        const bool is_option = unknown.starts_with('-');
        return refuse(*line.command, (is_option ? "unknown option '" : "unknown command '") +
                                         plain(unknown) + "'");
    }
    if (!line.command->run) return refuse(*line.command, "a command is missing");
    return line;
}

}  // namespace nq::tool
