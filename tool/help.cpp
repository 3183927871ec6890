#include <algorithm>

#include "tool/io/version.hpp"
#include "tool/options.hpp"

namespace nq::tool {
namespace {

std::string option_column(const Option& option) {
    std::string text(4, ' ');
    if (option.short_name) text = {'-', option.short_name, ',', ' '};
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
        text.append(2, ' ').append(row.left).append(width - row.left.size() + 2, ' ');
        text.append(row.right).append(1, '\n');
    }
}

}  // namespace

std::string help_text(const Command& command) {
    std::string text = "Usage: ";
    text += command.full_name();
    text += command.run ? " [OPTION]..." : " COMMAND [OPTION]... [ARGUMENT]...";
    if (command.operands.shown) text += std::string(" ") + command.operands.shown;
    text.append("\n").append(command.summary).append("\n");
    if (*command.details) text.append("\n").append(command.details).append("\n");
    if (!command.run) {
        std::vector<Row> rows;
        for (const Command& other : all_commands()) {
            if (other.is_in(command))
                rows.push_back({std::string(other.last_word()), other.summary});
        }
        text += "\nCommands:\n";
        append_table(text, rows);
    }
    std::vector<Row> rows;
    for (const Option* option : command.all_options()) {
        if (option->help) rows.push_back({option_column(*option), option->help});
    }
    text += "\nOptions:\n";
    append_table(text, rows);
    return text;
}

std::string version_text() { return "nqtool " NQTOOL_VERSION "\n"; }

}  // namespace nq::tool
