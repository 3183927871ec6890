#pragma once
#include <string>

#include "standalone/host.hpp"
#include "tool/commands/pool.hpp"
#include "tool/commands/session.hpp"
#include "typed/definitions.hpp"

namespace nq::tool {

// A definitions file with the pool that it lives in.
class DefinitionsFile {
  public:
    // False: it could not be read or is no definitions file, which is reported.
    bool load(Host& host, const Services& services, const std::string& name);
    bool load(Session& session, const std::string& name) {
        return load(session.host(), session.services(), name);
    }

    const Definitions& get() const noexcept { return definitions_; }

  private:
    OwnedPool pool_;
    Definitions definitions_;
};

}  // namespace nq::tool
