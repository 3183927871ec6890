#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "tool/io/run.hpp"

namespace nq::tool {

// The values of options, in the order in which they are declared below.
inline constexpr const char* kFormNames[] = {"nfc", "nfd", "nfkc", "nfkd", "casefold"};
inline constexpr const char* kEncodingNames[] = {"utf-8", "utf-16le", "utf-16be", "utf-32le",
                                                 "utf-32be"};

// What the subcommands of `nqtool text` are told. Each looks at its own fields and the first two.
struct TextSettings {
    bool is_strict = false;
    std::optional<int32_t> buffer;  // bytes
    std::string locale;             // empty: none
    bool are_files = false;
    bool is_exact = false;
    uint32_t form = 0;  // of kFormNames
    bool is_by_line = false;
    bool at_character_start = false;
    bool has_long_zero = false;
    bool is_without_pairs = false;
    uint32_t from = 0;  // of kEncodingNames
    uint32_t to = 0;    // of kEncodingNames

    bool operator==(const TextSettings&) const = default;
};

// The subcommands, each on files or the standard input, of any size in limited memory.
void run_text_upper(Run& run, const TextSettings& settings);
void run_text_lower(Run& run, const TextSettings& settings);
void run_text_compare(Run& run, const TextSettings& settings);
void run_text_normalize(Run& run, const TextSettings& settings);
void run_text_count(Run& run, const TextSettings& settings);
void run_text_find(Run& run, const TextSettings& settings);
void run_text_encode(Run& run, const TextSettings& settings);
void run_text_decode(Run& run, const TextSettings& settings);
void run_text_convert(Run& run, const TextSettings& settings);

}  // namespace nq::tool
