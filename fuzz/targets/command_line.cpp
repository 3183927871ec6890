// Arguments that nqtool is given: they are understood or refused with a message, whatever they
// are; what is understood keeps to what the options promise, and says the same when it is written
// out in another way.
#include <cstring>
#include <string>

#include "fuzz/support/input.hpp"
#include "tool/commands/check.hpp"
#include "tool/commands/describe.hpp"
#include "tool/commands/json.hpp"
#include "tool/commands/stream.hpp"
#include "tool/io/report.hpp"
#include "tool/options.hpp"
#include "tool/text/commands.hpp"

namespace nq::tool {
namespace {

unsigned lines_reported = 0;

}  // namespace

// Messages are counted instead of shown.
void report_line(std::string_view) { ++lines_reported; }
void report(std::string_view, std::string_view) { ++lines_reported; }

// The command is named, not run.
#define NQ_NOT_RUN(name) \
    ExitStatus name(const Settings&) { return ExitStatus::kTrouble; }
NQ_NOT_RUN(run_json)
NQ_NOT_RUN(run_check)
NQ_NOT_RUN(run_describe)
NQ_NOT_RUN(run_stream)
NQ_NOT_RUN(run_text_upper)
NQ_NOT_RUN(run_text_lower)
NQ_NOT_RUN(run_text_compare)
NQ_NOT_RUN(run_text_normalize)
NQ_NOT_RUN(run_text_count)
NQ_NOT_RUN(run_text_find)
NQ_NOT_RUN(run_text_encode)
NQ_NOT_RUN(run_text_decode)
NQ_NOT_RUN(run_text_convert)

}  // namespace nq::tool

namespace nq::fuzz {
namespace {

using Words = std::vector<std::string>;

std::optional<tool::CommandLine> parse(const Words& words) {
    std::vector<const char*> arguments{"nqtool"};
    for (const std::string& word : words) arguments.push_back(word.c_str());
    tool::lines_reported = 0;
    auto line = tool::parse_command_line(static_cast<int>(arguments.size()), arguments.data());
    NQ_REQUIRE(line.has_value() == (tool::lines_reported == 0));
    return line;
}

void require_promised(const tool::Settings& settings, const tool::Command& command) {
    NQ_REQUIRE(settings.files.size() >= command.operands.least &&
               settings.files.size() <= command.operands.most);
    NQ_REQUIRE(!settings.indent || (*settings.indent >= -1 && *settings.indent <= 1000));
    NQ_REQUIRE(!settings.indent || !settings.is_compact);
    NQ_REQUIRE(!settings.buffer || (*settings.buffer >= 16 && *settings.buffer <= 1 << 24));
    NQ_REQUIRE(settings.form < std::size(tool::kFormNames));
    NQ_REQUIRE(settings.from < std::size(tool::kEncodingNames));
    NQ_REQUIRE(settings.to < std::size(tool::kEncodingNames));
    for (const auto& [name, value] : settings.host_options) {
        NQ_REQUIRE(!name.empty() && name.find('=') == std::string::npos);
    }
}

// The settings in long options, each with its value behind an equals sign, and the files after
// all of them.
Words written_out(const tool::CommandLine& line) {
    Words words;
    std::string name = line.command->name;
    for (std::size_t space; (space = name.find(' ')) != name.npos; name.erase(0, space + 1)) {
        words.push_back(name.substr(0, space));
    }
    words.push_back(name);
    const tool::Settings& settings = line.settings;
    const auto add = [&](const char* option, const std::string& value) {
        words.push_back(std::string(option) + "=" + value);
    };
    for (const auto* options : {&line.command->options, &line.command->shared_options}) {
        for (const tool::Option& option : *options) {
            const auto flag = std::get_if<bool tool::Settings::*>(&option.target);
            if (flag && settings.**flag) words.push_back(option.long_name);
            const auto text = std::get_if<std::string tool::Settings::*>(&option.target);
            if (text && !(settings.**text).empty()) add(option.long_name, settings.**text);
            const bool may_be_left_out =
                !option.is_required && text && (tool::Settings().**text).empty();
            if (text && (settings.**text).empty() && !may_be_left_out) {
                words.insert(words.end(), {option.long_name, ""});
            }
            const auto number = std::get_if<tool::BoundedNumber>(&option.target);
            if (number && settings.*number->field) {
                add(option.long_name, std::to_string(*(settings.*number->field)));
            }
            const auto choice = std::get_if<tool::Choice>(&option.target);
            if (choice) add(option.long_name, choice->words[settings.*choice->field]);
        }
    }
    for (const auto& [option, value] : settings.host_options) {
        words.push_back("--option");
        words.push_back(option + "=" + value);
    }
    words.push_back("--");
    words.insert(words.end(), settings.files.begin(), settings.files.end());
    return words;
}

bool equal(const tool::Settings& a, const tool::Settings& b) {
    return a.files == b.files && a.output == b.output && a.library == b.library &&
           a.host_options == b.host_options && a.indent == b.indent &&
           a.is_compact == b.is_compact && a.locale == b.locale && a.form == b.form &&
           a.from == b.from && a.to == b.to && a.buffer == b.buffer && a.is_strict == b.is_strict &&
           a.are_files == b.are_files && a.is_exact == b.is_exact && a.is_by_line == b.is_by_line &&
           a.at_character_start == b.at_character_start && a.has_long_zero == b.has_long_zero &&
           a.is_without_pairs == b.is_without_pairs;
}

// The parser takes an option's word for a value only where it does not begin as an option does.
bool can_be_written_out(const tool::Settings& settings) {
    for (const auto& [name, value] : settings.host_options) {
        if (name.starts_with('-')) return false;
    }
    return true;
}

}  // namespace
}  // namespace nq::fuzz

// The arguments are separated by line feeds.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Words words;
    std::string word;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n') words.push_back(std::exchange(word, {}));
        // No argument holds a NUL.
        else if (data[i])
            word += static_cast<char>(data[i]);
    }
    words.push_back(word);
    const auto line = parse(words);
    if (!line) return 0;
    const nq::tool::Settings& settings = line->settings;
    const std::string help = nq::tool::help_text(*line->command);
    NQ_REQUIRE(help.starts_with("Usage: nqtool") && help.ends_with('\n'));
    if (settings.wants_help || settings.wants_version) {
        NQ_REQUIRE(nq::tool::version_text().starts_with("nqtool "));
        return 0;
    }
    NQ_REQUIRE(line->command->run != nullptr);
    require_promised(settings, *line->command);
    if (!can_be_written_out(settings)) return 0;
    const auto again = parse(written_out(*line));
    NQ_REQUIRE(again && again->command == line->command && equal(again->settings, settings));
    return 0;
}
