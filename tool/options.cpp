#include "tool/options.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "tool/commands/check.hpp"
#include "tool/commands/describe.hpp"
#include "tool/commands/json.hpp"
#include "tool/commands/stream.hpp"
#include "tool/io/report.hpp"
#include "tool/text/commands.hpp"

namespace nq::tool {
namespace {

constexpr Option kHelp{"-h", "--help", nullptr, "print this help and exit", &Settings::wants_help};
constexpr Option kVersion{nullptr, "--version", nullptr, "print the version and exit",
                          &Settings::wants_version};

constexpr Option kOutput{"-o", "--output", "FILE", "write to FILE instead of the standard output",
                         &Settings::output};
constexpr Option kLibrary{nullptr, "--library", "PATH", "load the extension library from PATH",
                          &Settings::library};
constexpr Option kHostOption{nullptr, "--option", "NAME=VALUE",
                             "set a host option (may be given several times)",
                             Assignments{&Settings::host_options}};

constexpr Option kStrict{nullptr, "--strict", nullptr, "end at the first malformed sequence",
                         &Settings::is_strict};
// For tests. A window must hold a sequence that is not complete and more.
constexpr Option kBuffer{nullptr, "--buffer", "BYTES", nullptr,
                         BoundedNumber{&Settings::buffer, 16, 1 << 24}};
constexpr Option kLongZero{nullptr, "--long-zero", nullptr, "U+0000 is the bytes C0 80",
                           &Settings::has_long_zero};

// Wider indentation than this serves nobody and asks the library for absurd buffers.
constexpr int32_t kWidestIndent = 1000;

constexpr Option kPlainOptions[] = {kHelp, kVersion};
constexpr Option kRunOptions[] = {kOutput, kLibrary, kHostOption, kHelp, kVersion};
constexpr Option kTextOptions[] = {kStrict, kOutput,  kLibrary, kHostOption,
                                   kHelp,   kVersion, kBuffer};

constexpr Option kJsonOptions[] = {
    {nullptr, "--indent", "N", "indent by N blanks a level, 0 meaning 4 and -1 none",
     BoundedNumber{&Settings::indent, -1, kWidestIndent}},
    {nullptr, "--compact", nullptr, "write each value on one line, without blanks",
     &Settings::is_compact, "--indent"},
    {nullptr, "--definitions", "DEFS", "give each value the type that DEFS names for its key",
     &Settings::definitions},
};

constexpr Option kCheckOptions[] = {
    {nullptr, "--definitions", "DEFS", "what the keys and values are to be (required)",
     &Settings::definitions, nullptr, true},
    {nullptr, "--input", "SYNTAX", "configuration, json, or auto (the default): by the name",
     Choice{&Settings::input_syntax, kInputSyntaxNames}},
    {nullptr, "--require-all", nullptr, "report each definition whose key is missing",
     &Settings::wants_all_keys},
    {nullptr, "--no-unknown", nullptr, "report each key that has no definition",
     &Settings::refuses_unknown_keys},
    {nullptr, "--max-errors", "N", "show at most N faults (20 by default), 0 meaning all",
     BoundedNumber{&Settings::max_errors, 0, INT32_MAX}},
    {nullptr, "--format", "FORMAT", "text (the default), json or sarif",
     Choice{&Settings::fault_format, kFaultFormatNames}},
};

constexpr Option kDescribeOptions[] = {
    {nullptr, "--format", "FORMAT", "table (the default) or json",
     Choice{&Settings::table_format, kTableFormatNames}},
};

constexpr Option kStreamOptions[] = {
    {nullptr, "--definitions", "DEFS", "what the keys and values are to be (required)",
     &Settings::definitions, nullptr, true},
    {nullptr, "--continue", nullptr, "report bad lines and leave them out", &Settings::goes_on},
    {nullptr, "--rejects", "FILE", "the same, and write the bad lines to FILE", &Settings::rejects},
};

constexpr Option kCaseOptions[] = {
    {nullptr, "--locale", "TAG", "follow the rules of the language, such as tr or de-AT",
     &Settings::locale},
};

constexpr Option kCompareOptions[] = {
    {nullptr, "--files", nullptr, "A and B are files; - is the standard input",
     &Settings::are_files},
    {nullptr, "--exact", nullptr, "compare the bytes", &Settings::is_exact},
};

constexpr Option kNormalizeOptions[] = {
    {nullptr, "--form", "FORM", "nfc (the default), nfd, nfkc, nfkd or casefold",
     Choice{&Settings::form, kFormNames}},
};

constexpr Option kCountOptions[] = {
    {nullptr, "--lines", nullptr, "count each line by itself", &Settings::is_by_line},
};

constexpr Option kFindOptions[] = {
    {nullptr, "--character-boundary", nullptr, "find NEEDLE only where a character begins",
     &Settings::at_character_start},
};

constexpr Option kEncodeOptions[] = {
    kLongZero,
    {nullptr, "--no-pairs", nullptr, "replace supplementary characters",
     &Settings::is_without_pairs, "--long-zero"},
};

constexpr Option kDecodeOptions[] = {
    kLongZero,
    {nullptr, "--no-pairs", nullptr, "there are no pairs of surrogates: copy the text",
     &Settings::is_without_pairs, "--long-zero"},
};

constexpr Option kConvertOptions[] = {
    {nullptr, "--from", "ENCODING", "what FILE is in (utf-8 by default)",
     Choice{&Settings::from, kEncodingNames}},
    {nullptr, "--to", "ENCODING", "what to write (utf-8 by default)",
     Choice{&Settings::to, kEncodingNames}},
};

constexpr Operands kNone{nullptr, 0, 0};
constexpr Operands kFiles{"[FILE]..."};

constexpr Command kProgram{
    "",     kNone, "Works with the files and values of the nqinstance library.",
    "",     {},    kPlainOptions,
    nullptr};

constexpr const char* kTextDetails =
    "Without a FILE, or when a FILE is -, the standard input is read. Malformed sequences are\n"
    "replaced by U+FFFD and counted. The exit status is 0 when all went well, 1 when something\n"
    "was malformed, and 2 when something could not be read, written or loaded; the worst of\n"
    "several files counts.";

constexpr Command kCommands[] = {
    {"json", kFiles, "Reads configuration files and writes each as JSON text.",
     "Without a FILE, or when a FILE is -, the standard input is read. The exit status is 0 when\n"
     "all went well, 1 when a file is not valid, and 2 when something could not be read,\n"
     "written or loaded; the worst of several files counts.",
     kJsonOptions, kRunOptions, run_json},
    {"check", kFiles, "Checks configuration files against definitions.",
     "Prints FILE:LINE: KEY: FAULT for each value that is not what DEFS says. Without a FILE,\n"
     "or when a FILE is -, the standard input is read. The exit status is 0 when all is valid,\n"
     "1 when there are faults, and 2 when something could not be read, written or loaded, or\n"
     "DEFS is not usable.",
     kCheckOptions, kRunOptions, run_check},
    {"describe",
     {"DEFS", 1, 1},
     "Shows what a definitions file defines.",
     "Prints each key with its JSON type name, bounds and accepted values.",
     kDescribeOptions,
     kRunOptions,
     run_describe},
    {"stream",
     {"[FILE]", 0, 1},
     "Checks JSON values, one a line, and writes them typed.",
     "Prints each line that is valid in compact form, and FILE:LINE: KEY: FAULT on the standard\n"
     "error for the first one that is not, where it stops. Without a FILE, or when it is -, the\n"
     "standard input is read. The exit status is 0 when all lines are valid, 1 when one is not,\n"
     "and 2 when something could not be read, written or loaded, or DEFS is not usable.",
     kStreamOptions,
     kRunOptions,
     run_stream},
    {"text", kNone, "Works on UTF-8 text of any size.", "", {}, kPlainOptions, nullptr},
    {"text upper", kFiles, "Writes text in upper case.", kTextDetails, kCaseOptions, kTextOptions,
     run_text_upper},
    {"text lower", kFiles, "Writes text in lower case.", kTextDetails, kCaseOptions, kTextOptions,
     run_text_lower},
    {"text compare",
     {"A B", 2, 2},
     "Compares two texts without regard to case.",
     "Prints how A sorts and says so by the exit status: \"before\" (10), \"before by case\" "
     "(11),\n"
     "\"equal\" (0), \"after by case\" (12) or \"after\" (13). Blanks at the end do not count. "
     "The\n"
     "exit status is 1 when a text is malformed, and 2 when something could not be read,\n"
     "written or loaded.",
     kCompareOptions,
     kTextOptions,
     run_text_compare},
    {"text normalize", kFiles, "Writes text in a Unicode normalisation form.", kTextDetails,
     kNormalizeOptions, kTextOptions, run_text_normalize},
    {"text count", kFiles, "Counts characters and bytes.",
     "Prints CHARACTERS BYTES FILE, or CHARACTERS BYTES FILE:LINE. Without a FILE, or when a FILE\n"
     "is -, the standard input is read. The exit status is 0 when all went well, 1 when something\n"
     "was malformed, and 2 when something could not be read, written or loaded; the worst of\n"
     "several files counts.",
     kCountOptions, kTextOptions, run_text_count},
    {"text find",
     {"NEEDLE [FILE]...", 1},
     "Finds all places of a text.",
     "Prints FILE:LINE:COLUMN:OFFSET of each, where OFFSET counts the bytes before it. Without a\n"
     "FILE, or when a FILE is -, the standard input is read. The exit status is 0 when NEEDLE was\n"
     "found, 3 when it was not, 1 when something was malformed, and 2 when something could not be\n"
     "read, written or loaded.",
     kFindOptions,
     kTextOptions,
     run_text_find},
    {"text encode", kFiles, "Writes UTF-8 in the modified form, with pairs of surrogates.",
     kTextDetails, kEncodeOptions, kTextOptions, run_text_encode},
    {"text decode", kFiles, "Writes the modified form as UTF-8.", kTextDetails, kDecodeOptions,
     kTextOptions, run_text_decode},
    {"text convert", kFiles, "Converts between UTF-8, UTF-16 and UTF-32.",
     "An ENCODING is utf-8, utf-16le, utf-16be, utf-32le or utf-32be. Without a FILE, or when a\n"
     "FILE is -, the standard input is read. Malformed sequences are replaced by U+FFFD and\n"
     "counted. The exit status is 0 when all went well, 1 when something was malformed, and 2\n"
     "when something could not be read, written or loaded; the worst of several files counts.",
     kConvertOptions, kTextOptions, run_text_convert},
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

std::optional<uint32_t> index_in(const std::string& text, const Choice& target) {
    const auto found = std::find(target.words.begin(), target.words.end(), text);
    if (found == target.words.end()) return std::nullopt;
    return static_cast<uint32_t>(found - target.words.begin());
}

// The parser takes a value in brackets for a list, whether it is an argument of its own or the end
// of one. So it never sees a bracket: the argument holds two characters instead, which become the
// one again where a part of it is used.
constexpr char kEscape = '\x1f';
constexpr char kEscapedBracket = 'b';
constexpr char kEscapedEscape = 'e';

std::vector<std::string> escaped(int argc, const char* const* argv) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        std::string& argument = arguments.emplace_back();
        for (const char c : std::string_view(argv[i])) {
            if (c == '[')
                argument += {kEscape, kEscapedBracket};
            else if (c == kEscape)
                argument += {kEscape, kEscapedEscape};
            else
                argument += c;
        }
    }
    return arguments;
}

std::string plain(const std::string& escaped_text) {
    std::string text;
    for (std::size_t i = 0; i < escaped_text.size(); ++i) {
        if (escaped_text[i] == kEscape)
            text += escaped_text[++i] == kEscapedBracket ? '[' : kEscape;
        else
            text += escaped_text[i];
    }
    return text;
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
    CLI::Option* operator()(const Choice& target) const {
        const auto store = [this_settings = &settings, target](const std::string& text) {
            this_settings->*target.field = *index_in(text, target);
        };
        const auto check = [target](const std::string& text) -> std::string {
            if (index_in(text, target)) return "";
            std::string message = "'" + plain(text) + "' is none of";
            for (const char* word : target.words) message += std::string(" ") + word;
            return message;
        };
        return app.add_option_function<std::string>(names_of(option), store)->check(check);
    }
};

std::vector<const Option*> all_options(const Command& command) {
    std::vector<const Option*> all;
    for (const auto& options : {command.options, command.shared_options}) {
        for (const Option& option : options) all.push_back(&option);
    }
    return all;
}

void declare(CLI::App& app, const Command& command, Settings& settings) {
    app.set_help_flag();  // the help is written from the declarations
    app.allow_extras();   // and what they do not know is reported below
    const std::vector<const Option*> options = all_options(command);
    for (const Option* option : options) {
        CLI::Option* declared = std::visit(Declare{app, *option, settings}, option->target);
        if (option->value) declared->type_name(option->value);
    }
    for (const Option* option : options) {
        if (option->excludes) app.get_option(option->long_name)->excludes(option->excludes);
    }
    if (command.operands.shown) {
        const auto store = [&settings](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) settings.files.push_back(plain(text));
        };
        app.add_option_function<std::vector<std::string>>("arguments", store);
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

// Whether the command belongs to the group or program directly.
bool is_subcommand(const Command& command, const Command& group) {
    std::string_view name = command.name;
    const std::string prefix = *group.name ? group.name + std::string(" ") : "";
    if (!name.starts_with(prefix)) return false;
    name.remove_prefix(prefix.size());
    return name.find(' ') == name.npos;
}

std::string_view last_word(const Command& command) {
    const std::string_view name = command.name;
    return name.substr(name.rfind(' ') + 1);
}

// The command that the first arguments name, which are taken away; the program itself if they name
// none.
const Command& take_command(std::vector<std::string>& arguments) {
    const Command* found = &kProgram;
    for (const Command& command : kCommands) {
        if (arguments.empty()) break;
        if (!is_subcommand(command, *found) || arguments.front() != last_word(command)) continue;
        found = &command;
        arguments.erase(arguments.begin());
    }
    return *found;
}

// Reports wrong usage of a command; the result of a parse that failed.
std::nullopt_t refuse(const Command& command, const std::string& what) {
    report("nqtool", what);
    report_line("Try '" + qualified_name(command) + " --help'.");
    return std::nullopt;
}

}  // namespace

std::string help_text(const Command& command) {
    std::string text = "Usage: " + qualified_name(command);
    text += command.run ? " [OPTION]..." : " COMMAND [OPTION]... [ARGUMENT]...";
    if (command.operands.shown) text += std::string(" ") + command.operands.shown;
    text += "\n" + std::string(command.summary) + "\n";
    if (*command.details) text += "\n" + std::string(command.details) + "\n";
    if (!command.run) {
        std::vector<Row> rows;
        for (const Command& other : kCommands) {
            if (!is_subcommand(other, command)) continue;
            rows.push_back({std::string(last_word(other)), other.summary});
        }
        text += "\nCommands:\n";
        append_table(text, rows);
    }
    std::vector<Row> rows;
    for (const Option* option : all_options(command)) {
        if (option->help) rows.push_back({option_column(*option), option->help});
    }
    text += "\nOptions:\n";
    append_table(text, rows);
    return text;
}

std::string version_text() { return "nqtool " NQTOOL_VERSION "\n"; }

std::string version_number() { return NQTOOL_VERSION; }

std::optional<CommandLine> parse_command_line(int argc, const char* const* argv) {
    CommandLine line;
    std::vector<std::string> arguments = escaped(argc, argv);
    line.command = &take_command(arguments);
    CLI::App app;
    declare(app, *line.command, line.settings);
    try {
        std::reverse(arguments.begin(), arguments.end());  // as the parser wants them
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return refuse(*line.command, plain(error.what()));
    }
    if (line.settings.wants_help || line.settings.wants_version) return line;
    for (const std::string& unknown : app.remaining()) {
        if (unknown == "--") continue;  // only says that no options follow
        const bool is_option = unknown.starts_with('-');
        return refuse(*line.command, (is_option ? "unknown option '" : "unknown command '") +
                                         plain(unknown) + "'");
    }
    if (!line.command->run) return refuse(*line.command, "a command is missing");
    for (const Option* option : all_options(*line.command)) {
        if (option->is_required && !app.count(option->long_name)) {
            return refuse(*line.command, std::string(option->long_name) + " is missing");
        }
    }
    const Operands& operands = line.command->operands;
    const std::vector<std::string>& given = line.settings.files;
    if (given.size() < operands.least) return refuse(*line.command, "an argument is missing");
    if (given.size() > operands.most) {
        return refuse(*line.command, "unexpected argument '" + given[operands.most] + "'");
    }
    return line;
}

}  // namespace nq::tool
