#pragma once
#include <optional>

#include "nqinstance/host/status.h"
#include "standalone/json/services.hpp"
#include "tool/io/output.hpp"
#include "tool/library.hpp"

namespace nq::tool {

// What a command needs that makes values: a host with the library, its services, and the output.
class Session {
  public:
    // False: something is missing, which is reported.
    bool open(const Settings& settings) {
        if (!load_library(host_, settings) || !output_.open(settings.output)) return false;
        services_.emplace(host_.kernel(), host_.api());
        if (*services_) return true;
        report_status(host_, "nqtool", NQ_STATUS_NO_EXTENSION);
        return false;
    }

    Host& host() noexcept { return host_; }
    Output& output() noexcept { return output_; }
    const Services& services() const noexcept { return *services_; }

    // Writes the whole of what a command prints.
    bool print(std::string_view text) { return output_.write(text) && output_.commit(); }

  private:
    Host host_;
    Output output_;
    std::optional<Services> services_;  // gives its holds back before the host ends
};

}  // namespace nq::tool
