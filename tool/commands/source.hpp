#pragma once
#include <optional>
#include <string>

#include "nqinstance/base/held.hpp"
#include "tool/commands/session.hpp"
#include "tool/io/input.hpp"
#include "typed/configuration.hpp"

namespace nq::tool {

// What a file is that cannot be made a dictionary of.
struct SourceError {
    uint64_t line = 0;    // from 1; 0 where there is none
    uint64_t column = 0;  // the same
    std::string what;
};

// A configuration, or JSON text that takes the place of one, and the dictionary made of it.
class Source {
  public:
    // Reads the bytes, or ends the work on this input.
    Source(const Session& session, const std::string& name);

    // Makes the dictionary in `pool`, or says why the text is not valid. Ends the work on this
    // input when something else goes wrong.
    std::optional<SourceError> parse(HostPool* pool, SourceSyntax syntax);

    const std::string& shown_name() const noexcept { return file_.shown_name(); }
    const std::string& bytes() const noexcept { return bytes_; }
    NQDictionary* dictionary() const noexcept { return dictionary_.get(); }

  private:
    std::optional<SourceError> parse_configuration(HostPool* pool);
    std::optional<SourceError> parse_json(HostPool* pool);

    const Session& session_;
    InputFile file_;
    std::string bytes_;
    Held<NQDictionary> dictionary_;  // in the caller's pool, which outlives this
};

}  // namespace nq::tool
