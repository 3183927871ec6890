#pragma once
#include "tests/support/checking_host.hpp"
#include "tests/validate/validation_model.hpp"

namespace nq::test::model {

// The values of the model as instances in the host's pool, held once by the caller.
InstanceHeader* make_instance(CheckingHost& host, const Value& value);
NQDictionary* make_dictionary(CheckingHost& host, const Entries& entries);

}  // namespace nq::test::model
