#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nq::tool {

// Reads the whole named file, or the standard input for "-", into `bytes`. 0, or the errno value
// of what failed.
int read_input(const std::string& name, std::string& bytes);

// The inputs that a command line names: its FILEs, or the standard input when there are none.
std::vector<std::string> inputs_of(const std::vector<std::string>& files);

// How messages call an input.
std::string shown_input_name(const std::string& name);

// Both from 1. Lines end where the configuration reader ends them; a column is a character.
struct TextPosition {
    uint64_t line = 1;
    uint64_t column = 1;
};

// Where the first byte sequence begins that is not UTF-8, if there is one.
std::optional<TextPosition> find_malformed(std::string_view bytes) noexcept;

}  // namespace nq::tool
