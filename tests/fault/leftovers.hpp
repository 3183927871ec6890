#pragma once
#include <array>
#include <cstdint>

#include "nqinstance/config/text_reader.h"
#include "tests/support/checking_host.hpp"

namespace nq::test {

// What the library leaves with its host on purpose.
enum class Kept : std::uint8_t {
    kConversionState,
    kEarlierFile,
    kCommentLine,
    kReaderOfSyntaxError,
    kLineOfSyntaxError,
    kDictionaryOfSyntaxError,
    kTextOfSyntaxError,
    kRunOfFailedStart,
    kStringsOfFailedStart,
    kArraysOfFailedStart,
    kCount
};

inline constexpr std::size_t kKeptKinds = static_cast<std::size_t>(Kept::kCount);

struct KnownLeftover {
    Kept kept;
    const char* operation;  // whose documentation says so
    HostState each;         // bytes only where all blocks are the library's own
    const char* reason;
};

// A reader holds five blocks: itself, the conversion state, the characters, and its raw buffer's
// two. A string is two blocks, a configuration dictionary as well.
// clang-format off
inline constexpr std::array<KnownLeftover, kKeptKinds> kKnownLeftovers{{
    {Kept::kConversionState, "nqTextReaderCreate", {.blocks = 1, .bytes = sizeof(TranscoderState)}, "without a character buffer the reader alone is freed, not its conversion state"},
    {Kept::kEarlierFile, "nqTextReaderOpen", {.files = 1}, "opening a reader again replaces the file without closing it"},
    {Kept::kCommentLine, "nqInstanceReadConfiguration", {.blocks = 2, .strings = 1}, "the line object of a comment is not released"},
    {Kept::kReaderOfSyntaxError, "nqInstanceReadConfiguration", {.blocks = 5, .files = 1, .transcoders = 1, .string_holds = 1, .file_holds = 1}, "a syntax error returns at once: the reader stays open"},
    {Kept::kLineOfSyntaxError, "nqInstanceReadConfiguration", {.blocks = 2, .strings = 1}, "a syntax error returns at once: the faulty line stays"},
    {Kept::kDictionaryOfSyntaxError, "nqInstanceReadConfiguration", {.blocks = 2, .dictionaries = 1, .dictionary_holds = 1}, "a syntax error returns at once: the root stays, and what it holds"},
    {Kept::kTextOfSyntaxError, "nqInstanceReadConfiguration", {.blocks = 2, .strings = 1}, "a syntax error returns at once: the keys and values of the entries so far stay"},
    {Kept::kRunOfFailedStart, "nqInstanceStartValidate", {.blocks = 1, .bytes = sizeof(ValidationRun)}, "a start that fails cleans up the place of the run, not its unfinished record"},
    {Kept::kStringsOfFailedStart, "nqInstanceStartValidate", {.string_holds = 1}, "a start that fails keeps the string extension that it loaded"},
    {Kept::kArraysOfFailedStart, "nqInstanceStartValidate", {.array_holds = 1}, "a start that fails keeps the array extension that it loaded"},
}};
// clang-format on

// How often each of them stays after one call of an operation.
class Leftover {
  public:
    Leftover& keep(Kept kept, std::uint64_t times = 1) {
        times_[static_cast<std::size_t>(kept)] += times;
        return *this;
    }
    Leftover& add(const Leftover& other) {
        for (std::size_t i = 0; i < kKeptKinds; ++i) times_[i] += other.times_[i];
        return *this;
    }
    std::uint64_t times(Kept kept) const { return times_[static_cast<std::size_t>(kept)]; }

    HostState state() const;

    // Host objects have as many bytes as the host likes.
    bool has_exact_bytes() const;

  private:
    std::array<std::uint64_t, kKeptKinds> times_{};
};

}  // namespace nq::test
