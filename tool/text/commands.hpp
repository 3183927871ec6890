#pragma once
#include "tool/options.hpp"

namespace nq::tool {

// The subcommands of `nqtool text`, each on files or the standard input, of any size in limited
// memory.

ExitStatus run_text_upper(const Settings& settings);
ExitStatus run_text_lower(const Settings& settings);
ExitStatus run_text_compare(const Settings& settings);
ExitStatus run_text_normalize(const Settings& settings);
ExitStatus run_text_count(const Settings& settings);
ExitStatus run_text_find(const Settings& settings);
ExitStatus run_text_encode(const Settings& settings);
ExitStatus run_text_decode(const Settings& settings);
ExitStatus run_text_convert(const Settings& settings);

// The values of options, in the order in which they are declared below.
inline constexpr const char* kFormNames[] = {"nfc", "nfd", "nfkc", "nfkd", "casefold"};
inline constexpr const char* kEncodingNames[] = {"utf-8", "utf-16le", "utf-16be", "utf-32le",
                                                 "utf-32be"};

}  // namespace nq::tool
