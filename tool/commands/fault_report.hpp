#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "typed/configuration.hpp"

namespace nq::tool {

// "FILE:LINE: section.key: message", without what is not known.
std::string fault_line(const std::string& file, const Fault& fault);

struct FaultOfFile {
    std::string file;  // as messages call it
    Fault fault;
};

// What a run found: the faults that are shown, and how many there are.
struct FaultReport {
    std::vector<FaultOfFile> shown;
    uint64_t count = 0;

    uint64_t omitted() const noexcept { return count - shown.size(); }
};

// The report in the formats of kFaultFormatNames. The text is empty when there are no faults; the
// others are one JSON value each.
std::string text_report(const FaultReport& report);
std::string json_report(const FaultReport& report);
std::string sarif_report(const FaultReport& report);

}  // namespace nq::tool
