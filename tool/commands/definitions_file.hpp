#pragma once
#include <string>

#include "tool/commands/session.hpp"
#include "typed/definitions.hpp"

namespace nq::tool {

// A definitions file with the pool that it lives in.
class DefinitionsFile {
  public:
    // Ends the run when the file cannot be read or is no definitions file.
    DefinitionsFile(const Session& session, const std::string& name);

    const Definitions& get() const noexcept { return definitions_; }

  private:
    OwnedPool pool_;
    Definitions definitions_;
};

}  // namespace nq::tool
