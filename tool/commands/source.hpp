#pragma once
#include <optional>
#include <string>

#include "nqinstance/base/held.hpp"
#include "standalone/host.hpp"
#include "tool/io/exit_status.hpp"
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
    Source(Host& host, const std::string& name);

    // Reads the bytes. False: they could not be read, which is reported.
    bool read();

    // Makes the dictionary in `pool`. kInvalid: the text is not valid, `error` says why; kTrouble:
    // something else went wrong, which is reported.
    ExitStatus parse(HostPool* pool, const JsonServices& services, SourceSyntax syntax,
                     SourceError& error);

    const std::string& shown_name() const noexcept { return shown_name_; }
    const std::string& bytes() const noexcept { return bytes_; }
    NQDictionary* dictionary() const noexcept { return dictionary_.get(); }

  private:
    ExitStatus parse_configuration(HostPool* pool, SourceError& error);
    ExitStatus parse_json(HostPool* pool, const JsonServices& services, SourceError& error);

    Host& host_;
    std::string name_;
    std::string shown_name_;
    std::string bytes_;
    Held<NQDictionary> dictionary_;  // in the caller's pool, which outlives this
};

}  // namespace nq::tool
