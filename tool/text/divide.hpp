#pragma once
#include <string_view>

namespace nq::tool {

// Where text that goes on may be divided so that its parts are handled as the whole would be; 0
// when there is no such place. The text is well-formed where nothing else is said.

// Anywhere: for routines that look at each character by itself.
std::size_t divide_anywhere(std::string_view text) noexcept;

// Behind the last character that has no case and ends the word before it, so that no rule of a
// language looks across.
std::size_t divide_between_words(std::string_view text) noexcept;

// Before the last character that no normalisation form joins to what stands before it.
std::size_t divide_before_starter(std::string_view text) noexcept;

// Not behind a high surrogate, whose other half may follow. Any whole sequences.
std::size_t divide_between_surrogates(std::string_view text) noexcept;

}  // namespace nq::tool
