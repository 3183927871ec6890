#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/json/services.hpp"
#include "typed/definitions.hpp"
#include "typed/fault_kind.hpp"
#include "typed/value.hpp"

namespace nq {

struct Fault {
    FaultKind kind = FaultKind::kType;
    std::vector<std::string> path;   // the keys from the root; the last one is the key
    std::string value;               // as the text has it, long text shortened; may be empty
    std::string expected;            // what would have been valid; may be empty
    std::string message;             // the whole of it in words, without place and path
    NQStatus status = NQ_STATUS_OK;  // the library's verdict, if it was asked
    uint32_t line = 0;               // from 1; 0 as long as nobody looked, or when there is none
    uint32_t column = 0;             // from 1; 0 when the line is all that is known

    std::string section() const;     // the keys before the last one, joined by "."
    std::string shown_path() const;  // all keys, joined by "."
};

// Where a configuration comes from.
enum class SourceSyntax : uint8_t { kConfiguration, kJson };

struct TypedOptions {
    SourceSyntax syntax = SourceSyntax::kConfiguration;
    bool wants_all = false;        // a definition without a key is a fault
    bool refuses_unknown = false;  // a key without a definition is a fault
};

// Makes the typed copy of a configuration in `pool`: a dictionary with the entries of `source` in
// their order, where each value that has a definition is the instance which its data type names,
// checked by the library; what has no definition is shared with the source. All faults are
// appended to `faults`, without their lines; values with faults are left out of the copy.
//
// An empty block stands for the empty text where the definition is not a section, for that is how
// the reader reads a key without a value.
//
// NQ_STATUS_OK also when there are faults. Any other status (want of memory, a service's failure)
// ends the copying with `*out` null.
NQStatus make_typed_configuration(const Services& services, HostPool* pool,
                                  const Definitions& definitions, NQDictionary* source,
                                  const TypedOptions& options, NQDictionary** out,
                                  std::vector<Fault>& faults);

// Puts text in the place of the single characters in a typed copy, for the library does not write
// characters as JSON. `section` is what the dictionary was made after.
NQStatus replace_characters(const Services& services, HostPool* pool, const DefinitionNode& section,
                            NQDictionary* typed);

// Gives each fault the line where its key stands in the text that was read; of a missing key the
// line of the innermost section around it that is there, if any is.
void find_lines(std::string_view text, SourceSyntax syntax, std::vector<Fault>& faults);

}  // namespace nq
