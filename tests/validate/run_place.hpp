#pragma once
#include <algorithm>
#include <cstring>
#include <iterator>

#include "nqinstance/host/validation_run.h"

namespace nq::test {

// The place of a started run as a start that may fail needs it: as large as a run, and zeroed.
class RunPlace {
  public:
    RunPlace() { clear(); }

    ValidationRun** out() { return &place_.run; }
    // What a start that succeeded stored.
    ValidationRun* run() { return place_.run; }
    // What a start that fails takes the place for.
    ValidationRun& record() { return place_.record; }

    // Padding included.
    void clear() { std::memset(place_.bytes, 0, sizeof place_.bytes); }
    bool is_clear() const {
        return std::all_of(std::begin(place_.bytes), std::end(place_.bytes),
                           [](unsigned char byte) { return byte == 0; });
    }

  private:
    union {
        ValidationRun* run;
        ValidationRun record;
        unsigned char bytes[sizeof(ValidationRun)];
    } place_;
};

}  // namespace nq::test
