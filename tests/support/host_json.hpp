#pragma once
#include "nqinstance/core/api.h"
#include "nqinstance/host/json_parser.h"
#include "tests/support/host_containers.hpp"

namespace nq::test {

// "nqinstjson": JSON text as instances. Integers become Int64, or UInt64 where they only fit there,
// other numbers Double; null is a null pointer. Strings have no escapes but for quote and
// backslash.
class JsonService {
  public:
    JsonService(HostCore& core, StringService& strings, ArrayService& arrays,
                DictionaryService& dictionaries);

    NQInstJsonApi* table() { return &table_; }
    HostCore& core() { return core_; }
    StringService& strings() { return strings_; }
    ArrayService& arrays() { return arrays_; }
    DictionaryService& dictionaries() { return dictionaries_; }

    // Makes the scalars: the loaded library.
    InstanceApi* instances = nullptr;

  private:
    HostCore& core_;
    StringService& strings_;
    ArrayService& arrays_;
    DictionaryService& dictionaries_;
    ExtensionTable<NQInstJsonApi, JsonService> table_{};
};

}  // namespace nq::test
