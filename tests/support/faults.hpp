#pragma once
#include <string>
#include <vector>

namespace nq::test {

// Something that no correct caller of the host does: a double free, a write outside a block, the
// use of an object that is gone. Prints the message and aborts, unless a FaultTrap is there.
void report_fault(const std::string& message);

// While one lives, faults are collected instead of ending the process, so that a test can plant a
// fault and see it caught. One at a time.
class FaultTrap {
  public:
    FaultTrap();
    ~FaultTrap();
    FaultTrap(const FaultTrap&) = delete;
    FaultTrap& operator=(const FaultTrap&) = delete;

    std::vector<std::string> take();

  private:
    friend void report_fault(const std::string& message);
    std::vector<std::string> messages_;
};

}  // namespace nq::test
