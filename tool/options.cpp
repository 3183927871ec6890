#include "tool/options.hpp"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

// What getopt_long returns: this for an operand, a short option's letter, or an option's place
// among those of the command after the first number that is no letter.
constexpr int kOperandCode = 1;
constexpr int kFirstOptionCode = 256;

// The value as a number within the target's bounds, or nothing.
std::optional<int32_t> number_in(const std::string& text, const BoundedNumber& target) {
    int32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) return std::nullopt;
    if (number < target.least || number > target.most) return std::nullopt;
    return number;
}

// One overload for each kind of target stores the value, or says what is wrong about it.
struct Store {
    Settings& settings;
    const std::string& text;

    std::string operator()(bool Settings::*field) const {
        settings.*field = true;
        return "";
    }
    std::string operator()(std::string Settings::*field) const {
        settings.*field = text;
        return "";
    }
    std::string operator()(const BoundedNumber& target) const {
        settings.*target.field = number_in(text, target);
        if (settings.*target.field) return "";
        return quoted(text) + " is not a number from " + std::to_string(target.least) + " to " +
               std::to_string(target.most);
    }
    std::string operator()(const Assignments& target) const {
        const std::size_t equals = text.find('=');
        if (equals == 0 || equals == text.npos) {
            return quoted(text) + " is not of the form NAME=VALUE";
        }
        (settings.*target.field).emplace_back(text.substr(0, equals), text.substr(equals + 1));
        return "";
    }
    std::string operator()(const Choice& target) const {
        const auto found = std::find(target.words.begin(), target.words.end(), text);
        if (found != target.words.end()) {
            settings.*target.field = static_cast<uint32_t>(found - target.words.begin());
            return "";
        }
        std::string message = quoted(text) + " is none of";
        for (const char* word : target.words) message += std::string(" ") + word;
        return message;
    }
};

// Understands the words that follow a command's name, as far as the command's options go.
class Parser {
  public:
    Parser(const Command& command, Settings& settings)
        : command_(command), settings_(settings), options_(command.all_options()) {
        for (const Option* option : options_) {
            const int code = kFirstOptionCode + static_cast<int>(long_options_.size());
            const bool has_value = option->value != nullptr;
            long_options_.push_back({option->long_name + 2, has_value, nullptr, code});
            if (!option->short_name) continue;
            short_options_ += option->short_name;
            if (has_value) short_options_ += ':';
        }
        long_options_.push_back({});
    }

    // What is wrong with the words, or nothing.
    std::string parse(std::vector<std::string>& words) {
        std::string program = "nqtool";
        std::vector<char*> arguments{program.data()};
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int count = static_cast<int>(arguments.size()) - 1;
        optind = 0;  // a new beginning
        opterr = 0;
        for (;;) {
            // The word that is looked at; getopt_long puts 0 in place of 1 at the beginning.
            const char* word = arguments[static_cast<std::size_t>(std::max(optind, 1))];
            const int code = getopt_long(count, arguments.data(), short_options_.c_str(),
                                         long_options_.data(), nullptr);
            if (code == -1) break;
            std::string fault = take(code, word);
            if (!fault.empty()) return fault;
        }
        for (int i = optind; i < count; ++i) take_operand(arguments[static_cast<std::size_t>(i)]);
        return verdict();
    }

  private:
    std::string take(int code, const std::string& word) {
        if (code == kOperandCode) {
            take_operand(optarg);
            return "";
        }
        if (code == ':') {
            const Option& option = *options_[place_of(optopt)];
            return std::string(option.long_name) + ": " + option.value + " is missing";
        }
        if (code == '?' && optopt >= kFirstOptionCode) {
            return std::string(options_[place_of(optopt)]->long_name) + " takes no value";
        }
        if (code == '?') {
            const bool is_ambiguous = word.starts_with("--") && options_like(word) > 1;
            refuse((is_ambiguous ? "ambiguous option " : "unknown option ") + quoted(word));
            return "";
        }
        return take_option(place_of(code));
    }

    std::string take_option(std::size_t place) {
        const Option& option = *options_[place];
        const std::string name = option.long_name;
        const bool may_be_repeated =
            !option.value || std::holds_alternative<Assignments>(option.target);
        if (is_given_[name] && !may_be_repeated) return name + " is given twice";
        is_given_[name] = true;
        const std::string value = optarg ? optarg : "";
        const std::string fault = std::visit(Store{settings_, value}, option.target);
        return fault.empty() ? "" : name + ": " + fault;
    }

    void take_operand(const std::string& word) {
        settings_.operands.push_back(word);
        if (!command_.operands.shown) refuse("unknown command " + quoted(word));
    }

    // What is wrong, unless the help is asked for.
    void refuse(const std::string& fault) {
        if (fault_.empty()) fault_ = fault;
    }

    std::size_t place_of(int code) const {
        if (code >= kFirstOptionCode) return static_cast<std::size_t>(code - kFirstOptionCode);
        const auto found =
            std::find_if(options_.begin(), options_.end(),
                         [&](const Option* option) { return option->short_name == code; });
        return static_cast<std::size_t>(found - options_.begin());
    }

    long options_like(const std::string& word) const {
        const std::string name = word.substr(0, word.find('='));
        return std::count_if(options_.begin(), options_.end(), [&](const Option* option) {
            return std::string_view(option->long_name).starts_with(name);
        });
    }

    std::string verdict() {
        for (const Option* option : options_) {
            if (option->excludes && is_given_[option->long_name] && is_given_[option->excludes]) {
                return std::string(option->long_name) + " excludes " + option->excludes;
            }
        }
        if (settings_.wants_help || settings_.wants_version) return "";
        if (!fault_.empty()) return fault_;
        if (!command_.run) return "a command is missing";
        for (const Option* option : options_) {
            if (option->is_required && !is_given_[option->long_name]) {
                return std::string(option->long_name) + " is missing";
            }
        }
        const Operands& operands = command_.operands;
        const std::vector<std::string>& given = settings_.operands;
        if (given.size() < operands.least) return "an argument is missing";
        if (given.size() <= operands.most) return "";
        return "unexpected argument " + quoted(given[operands.most]);
    }

    const Command& command_;
    Settings& settings_;
    std::vector<const Option*> options_;
    std::vector<option> long_options_;
    // The minus sign keeps operands in their order among the options, and the colon tells an option
    // without its value from one that is unknown.
    std::string short_options_ = "-:";
    std::map<std::string, bool> is_given_;
    std::string fault_;
};

// The command that the first words name, which are taken away; the program itself when they name
// none.
const Command& take_command(std::vector<std::string>& words) {
    const Command* found = &all_commands().front();
    for (const Command& command : all_commands()) {
        if (words.empty()) break;
        if (!command.is_in(*found) || words.front() != command.last_word()) continue;
        found = &command;
        words.erase(words.begin());
    }
    return *found;
}

}  // namespace

std::optional<CommandLine> parse_command_line(std::vector<std::string> words) {
    CommandLine line;
    line.command = &take_command(words);
    const std::string fault = Parser(*line.command, line.settings).parse(words);
    if (fault.empty()) return line;
    report(fault);
    report_line("Try '" + line.command->full_name() + " --help'.");
    return std::nullopt;
}

}  // namespace nq::tool
