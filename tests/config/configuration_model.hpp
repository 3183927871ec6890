#pragma once
#include <string_view>

#include "tests/config/config_support.hpp"

namespace nq::test {

// The configuration syntax over a whole document in memory, written for the tests from the rules
// alone. The reading host is taken to keep incomplete characters in its transcoder, to flag bytes
// that are no UTF-8, to trim ASCII white space and to replace repeated keys.
Outcome model_of(std::string_view document);

}  // namespace nq::test
