#include "tool/options.hpp"

namespace nq::tool {
namespace {

constexpr Option kHelp{'h', "--help", nullptr, "print this help and exit", &Settings::wants_help};
constexpr Option kVersion{0, "--version", nullptr, "print the version and exit",
                          &Settings::wants_version};

constexpr Option kOutput{'o', "--output", "FILE", "write to FILE instead of the standard output",
                         &Settings::output};
constexpr Option kLibrary{0, "--library", "PATH", "load the extension library from PATH",
                          &LibrarySettings::library};
constexpr Option kHostOption{0, "--option", "NAME=VALUE",
                             "set a host option (may be given several times)",
                             Assignments{&LibrarySettings::host_options}};

constexpr Option kStrict{0, "--strict", nullptr, "end at the first malformed sequence",
                         &TextSettings::is_strict};
// For tests. A window must hold a sequence that is not complete and more.
constexpr Option kBuffer{0, "--buffer", "BYTES", nullptr,
                         BoundedNumber{&TextSettings::buffer, 16, 1 << 24}};
constexpr Option kLongZero{0, "--long-zero", nullptr, "U+0000 is the bytes C0 80",
                           &TextSettings::has_long_zero};

// Wider indentation than this serves nobody and asks the library for absurd buffers.
constexpr int32_t kWidestIndent = 1000;

constexpr Option kPlainOptions[] = {kHelp, kVersion};
constexpr Option kRunOptions[] = {kOutput, kLibrary, kHostOption, kHelp, kVersion};
constexpr Option kTextOptions[] = {kStrict, kOutput,  kLibrary, kHostOption,
                                   kHelp,   kVersion, kBuffer};

constexpr Option kJsonOptions[] = {
    {0, "--indent", "N", "indent by N blanks a level, 0 meaning 4 and -1 none",
     BoundedNumber{&JsonSettings::indent, -1, kWidestIndent}},
    {0, "--compact", nullptr, "write each value on one line, without blanks",
     &JsonSettings::is_compact, "--indent"},
    {0, "--definitions", "DEFS", "give each value the type that DEFS names for its key",
     &JsonSettings::definitions},
};

constexpr Option kCheckOptions[] = {
    {0, "--definitions", "DEFS", "what the keys and values are to be (required)",
     &CheckSettings::definitions, nullptr, true},
    {0, "--input", "SYNTAX", "configuration, json, or auto (the default): by the name",
     Choice{&CheckSettings::input_syntax, kInputSyntaxNames}},
    {0, "--require-all", nullptr, "report each definition whose key is missing",
     &CheckSettings::wants_all_keys},
    {0, "--no-unknown", nullptr, "report each key that has no definition",
     &CheckSettings::refuses_unknown_keys},
    {0, "--max-errors", "N", "show at most N faults (20 by default), 0 meaning all",
     BoundedNumber{&CheckSettings::max_errors, 0, INT32_MAX}},
    {0, "--format", "FORMAT", "text (the default), json or sarif",
     Choice{&CheckSettings::fault_format, kFaultFormatNames}},
};

constexpr Option kDescribeOptions[] = {
    {0, "--format", "FORMAT", "table (the default) or json",
     Choice{&DescribeSettings::table_format, kTableFormatNames}},
};

constexpr Option kStreamOptions[] = {
    {0, "--definitions", "DEFS", "what the keys and values are to be (required)",
     &StreamSettings::definitions, nullptr, true},
    {0, "--continue", nullptr, "report bad lines and leave them out", &StreamSettings::goes_on},
    {0, "--rejects", "FILE", "the same, and write the bad lines to FILE", &StreamSettings::rejects},
};

constexpr Option kCaseOptions[] = {
    {0, "--locale", "TAG", "follow the rules of the language, such as tr or de-AT",
     &TextSettings::locale},
};

constexpr Option kCompareOptions[] = {
    {0, "--files", nullptr, "A and B are files; - is the standard input", &TextSettings::are_files},
    {0, "--exact", nullptr, "compare the bytes", &TextSettings::is_exact},
};

constexpr Option kNormalizeOptions[] = {
    {0, "--form", "FORM", "nfc (the default), nfd, nfkc, nfkd or casefold",
     Choice{&TextSettings::form, kFormNames}},
};

constexpr Option kCountOptions[] = {
    {0, "--lines", nullptr, "count each line by itself", &TextSettings::is_by_line},
};

constexpr Option kFindOptions[] = {
    {0, "--character-boundary", nullptr, "find NEEDLE only where a character begins",
     &TextSettings::at_character_start},
};

constexpr Option kEncodeOptions[] = {
    kLongZero,
    {0, "--no-pairs", nullptr, "replace supplementary characters", &TextSettings::is_without_pairs,
     "--long-zero"},
};

constexpr Option kDecodeOptions[] = {
    kLongZero,
    {0, "--no-pairs", nullptr, "there are no pairs of surrogates: copy the text",
     &TextSettings::is_without_pairs, "--long-zero"},
};

constexpr Option kConvertOptions[] = {
    {0, "--from", "ENCODING", "what FILE is in (utf-8 by default)",
     Choice{&TextSettings::from, kEncodingNames}},
    {0, "--to", "ENCODING", "what to write (utf-8 by default)",
     Choice{&TextSettings::to, kEncodingNames}},
};

// Hands a command the part of the settings that is its own.
template <auto kRun>
void run_with(Run& run, const Settings& settings) {
    kRun(run, settings);
}

constexpr Operands kNone{nullptr, 0, 0};
constexpr Operands kFiles{"[FILE]..."};

constexpr const char* kTextDetails =
    "Without a FILE, or when a FILE is -, the standard input is read. Malformed sequences are\n"
    "replaced by U+FFFD and counted. The exit status is 0 when all went well, 1 when something\n"
    "was malformed, and 2 when something could not be read, written or loaded; the worst of\n"
    "several files counts.";

constexpr Command kCommands[] = {
    {"",
     kNone,
     "Works with the files and values of the nqinstance library.",
     "",
     {},
     kPlainOptions,
     nullptr},
    {"json", kFiles, "Reads configuration files and writes each as JSON text.",
     "Without a FILE, or when a FILE is -, the standard input is read. The exit status is 0 when\n"
     "all went well, 1 when a file is not valid, and 2 when something could not be read,\n"
     "written or loaded; the worst of several files counts.",
     kJsonOptions, kRunOptions, run_with<run_json>},
    {"check", kFiles, "Checks configuration files against definitions.",
     "Prints FILE:LINE: KEY: FAULT for each value that is not what DEFS says. Without a FILE,\n"
     "or when a FILE is -, the standard input is read. The exit status is 0 when all is valid,\n"
     "1 when there are faults, and 2 when something could not be read, written or loaded, or\n"
     "DEFS is not usable.",
     kCheckOptions, kRunOptions, run_with<run_check>},
    {"describe",
     {"DEFS", 1, 1},
     "Shows what a definitions file defines.",
     "Prints each key with its JSON type name, bounds and accepted values.",
     kDescribeOptions,
     kRunOptions,
     run_with<run_describe>},
    {"stream",
     {"[FILE]", 0, 1},
     "Checks JSON values, one a line, and writes them typed.",
     "Prints each line that is valid in compact form, and FILE:LINE: KEY: FAULT on the standard\n"
     "error for the first one that is not, where it stops. Without a FILE, or when it is -, the\n"
     "standard input is read. The exit status is 0 when all lines are valid, 1 when one is not,\n"
     "and 2 when something could not be read, written or loaded, or DEFS is not usable.",
     kStreamOptions,
     kRunOptions,
     run_with<run_stream>},
    {"text", kNone, "Works on UTF-8 text of any size.", "", {}, kPlainOptions, nullptr},
    {"text upper", kFiles, "Writes text in upper case.", kTextDetails, kCaseOptions, kTextOptions,
     run_with<run_text_upper>},
    {"text lower", kFiles, "Writes text in lower case.", kTextDetails, kCaseOptions, kTextOptions,
     run_with<run_text_lower>},
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
     run_with<run_text_compare>},
    {"text normalize", kFiles, "Writes text in a Unicode normalisation form.", kTextDetails,
     kNormalizeOptions, kTextOptions, run_with<run_text_normalize>},
    {"text count", kFiles, "Counts characters and bytes.",
     "Prints CHARACTERS BYTES FILE, or CHARACTERS BYTES FILE:LINE. Without a FILE, or when a FILE\n"
     "is -, the standard input is read. The exit status is 0 when all went well, 1 when something\n"
     "was malformed, and 2 when something could not be read, written or loaded; the worst of\n"
     "several files counts.",
     kCountOptions, kTextOptions, run_with<run_text_count>},
    {"text find",
     {"NEEDLE [FILE]...", 1},
     "Finds all places of a text.",
     "Prints FILE:LINE:COLUMN:OFFSET of each, where OFFSET counts the bytes before it. Without a\n"
     "FILE, or when a FILE is -, the standard input is read. The exit status is 0 when NEEDLE was\n"
     "found, 3 when it was not, 1 when something was malformed, and 2 when something could not be\n"
     "read, written or loaded.",
     kFindOptions,
     kTextOptions,
     run_with<run_text_find>},
    {"text encode", kFiles, "Writes UTF-8 in the modified form, with pairs of surrogates.",
     kTextDetails, kEncodeOptions, kTextOptions, run_with<run_text_encode>},
    {"text decode", kFiles, "Writes the modified form as UTF-8.", kTextDetails, kDecodeOptions,
     kTextOptions, run_with<run_text_decode>},
    {"text convert", kFiles, "Converts between UTF-8, UTF-16 and UTF-32.",
     "An ENCODING is utf-8, utf-16le, utf-16be, utf-32le or utf-32be. Without a FILE, or when a\n"
     "FILE is -, the standard input is read. Malformed sequences are replaced by U+FFFD and\n"
     "counted. The exit status is 0 when all went well, 1 when something was malformed, and 2\n"
     "when something could not be read, written or loaded; the worst of several files counts.",
     kConvertOptions, kTextOptions, run_with<run_text_convert>},
};

}  // namespace

std::span<const Command> all_commands() { return kCommands; }

std::string Command::full_name() const { return *name ? std::string("nqtool ") + name : "nqtool"; }

std::string_view Command::last_word() const {
    const std::string_view words = name;
    return words.substr(words.rfind(' ') + 1);
}

bool Command::is_in(const Command& group) const {
    const std::string_view words = name;
    const std::size_t space = words.rfind(' ');
    return *name && words.substr(0, space == words.npos ? 0 : space) == group.name;
}

std::vector<const Option*> Command::all_options() const {
    std::vector<const Option*> all;
    for (const auto& part : {options, shared_options}) {
        for (const Option& option : part) all.push_back(&option);
    }
    return all;
}

}  // namespace nq::tool
