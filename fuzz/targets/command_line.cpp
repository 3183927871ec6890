// Arguments that nqtool is given: they are understood or refused with a message, whatever they
// are; what is understood keeps to what the options promise, and says the same when it is written
// out in another way.
#include <cstring>
#include <string>

#include "fuzz/support/input.hpp"
#include "tool/io/report.hpp"
#include "tool/options.hpp"

namespace nq::tool {
namespace {

unsigned lines_reported = 0;

}  // namespace

// Messages are counted instead of shown.
void report_line(std::string_view) { ++lines_reported; }

// The command is named, not run.
#define NQ_NOT_RUN(name, Part) \
    void name(Run&, const Part&) {}
NQ_NOT_RUN(run_json, JsonSettings)
NQ_NOT_RUN(run_check, CheckSettings)
NQ_NOT_RUN(run_describe, DescribeSettings)
NQ_NOT_RUN(run_stream, StreamSettings)
NQ_NOT_RUN(run_text_upper, TextSettings)
NQ_NOT_RUN(run_text_lower, TextSettings)
NQ_NOT_RUN(run_text_compare, TextSettings)
NQ_NOT_RUN(run_text_normalize, TextSettings)
NQ_NOT_RUN(run_text_count, TextSettings)
NQ_NOT_RUN(run_text_find, TextSettings)
NQ_NOT_RUN(run_text_encode, TextSettings)
NQ_NOT_RUN(run_text_decode, TextSettings)
NQ_NOT_RUN(run_text_convert, TextSettings)

}  // namespace nq::tool

namespace nq::fuzz {
namespace {

using Words = std::vector<std::string>;

std::optional<tool::CommandLine> parse(const Words& words) {
    tool::lines_reported = 0;
    auto line = tool::parse_command_line(words);
    NQ_REQUIRE(line.has_value() == (tool::lines_reported == 0));
    return line;
}

void require_promised(const tool::Settings& settings, const tool::Command& command) {
    NQ_REQUIRE(settings.operands.size() >= command.operands.least &&
               settings.operands.size() <= command.operands.most);
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
    for (const tool::Option* row : line.command->all_options()) {
        const tool::Option& option = *row;
        const auto flag = std::get_if<bool tool::Settings::*>(&option.target);
        if (flag && settings.**flag) words.push_back(option.long_name);
        const auto text = std::get_if<std::string tool::Settings::*>(&option.target);
        if (text && (option.is_required || settings.**text != tool::Settings().**text)) {
            add(option.long_name, settings.**text);
        }
        const auto number = std::get_if<tool::BoundedNumber>(&option.target);
        if (number && settings.*number->field) {
            add(option.long_name, std::to_string(*(settings.*number->field)));
        }
        const auto choice = std::get_if<tool::Choice>(&option.target);
        if (choice) add(option.long_name, choice->words[settings.*choice->field]);
    }
    for (const auto& [option, value] : settings.host_options) {
        words.push_back("--option");
        words.push_back(option + "=" + value);
    }
    words.push_back("--");
    words.insert(words.end(), settings.operands.begin(), settings.operands.end());
    return words;
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
    const auto again = parse(written_out(*line));
    NQ_REQUIRE(again && again->command == line->command && again->settings == settings);
    return 0;
}
