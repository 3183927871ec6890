#pragma once
#include <string>

#include "nqinstance/host/instance_header.h"
#include "typed/data_type.hpp"

namespace nq {

// What "min", "max" and the numbers of "values" may be for one numeric type.
class BoundRule {
  public:
    explicit BoundRule(DataType type) noexcept : type_(type) {}

    // Empty when the library reads the bound as what it says; else what it must be.
    std::string refusal(InstanceHeader* bound) const;

    // Whether nothing lies between two bounds, neither of which is refused.
    bool is_above(InstanceHeader* least, InstanceHeader* most) const noexcept;

  private:
    bool is_usable(InstanceHeader* bound) const noexcept;

    DataType type_;
};

}  // namespace nq
