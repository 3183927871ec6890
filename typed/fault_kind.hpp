#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace nq {

// The kinds of faults with their names in machine-readable output.
//   type         not of the type that the definition names
//   bounds       below the minimum or above the maximum
//   values       none of the accepted values
//   section      a value where a section belongs, or the other way round
//   unknown-key  there is no definition for the key
//   missing-key  a definition without its key
//   definition   the library refused to check the value
//   syntax       the text itself is not valid; nothing else of it is known
#define NQ_FAULT_KINDS(row)                                                                   \
    row(kType, "type") row(kBounds, "bounds") row(kValues, "values") row(kSection, "section") \
        row(kUnknownKey, "unknown-key") row(kMissingKey, "missing-key")                       \
            row(kDefinition, "definition") row(kSyntax, "syntax")

#define NQ_KIND(kind, name) kind,
enum class FaultKind : uint8_t { NQ_FAULT_KINDS(NQ_KIND) };
#undef NQ_KIND

#define NQ_NAME(kind, name) name,
inline constexpr std::string_view kFaultKindNames[] = {NQ_FAULT_KINDS(NQ_NAME)};
#undef NQ_NAME
inline constexpr std::size_t kFaultKindCount = sizeof kFaultKindNames / sizeof *kFaultKindNames;

inline constexpr std::string_view name_of(FaultKind kind) noexcept {
    return kFaultKindNames[static_cast<std::size_t>(kind)];
}

}  // namespace nq
