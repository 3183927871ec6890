#pragma once
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nqinstance/host/array.h"
#include "nqinstance/host/dictionary.h"
#include "tests/support/host_strings.hpp"

namespace nq::test {

// "nqarray" and the array objects.
class ArrayService {
  public:
    explicit ArrayService(HostCore& core);

    NQArrayApi* table() { return &table_; }
    HostCore& core() { return core_; }

    // For the host itself, outside the failure plan. Null and false when there is no memory.
    NQArray* make(HostPool* pool);
    static bool add(NQArray* array, InstanceHeader* item);

  private:
    HostCore& core_;
    ExtensionTable<NQArrayApi, ArrayService> table_{};
};

// "nqdictionary" and the dictionary objects: they list their keys in the order of insertion,
// replace the value of a key that is there already, and may be moved to another block.
class DictionaryService {
  public:
    DictionaryService(HostCore& core, StringService& strings, ArrayService& arrays);

    NQDictionaryApi* table() { return &table_; }
    HostCore& core() { return core_; }
    ArrayService& arrays() { return arrays_; }

    // For the host itself, outside the failure plan.
    NQDictionary* make(HostPool* pool);
    static bool put(NQDictionary* dictionary, NQU8String* key, InstanceHeader* value);

  private:
    HostCore& core_;
    ArrayService& arrays_;
    ExtensionTable<NQDictionaryApi, DictionaryService> table_{};
};

// Keys and borrowed values in order.
std::vector<std::pair<std::string, InstanceHeader*>> entries_of(NQDictionary* dictionary);

// The borrowed value of a key, or null.
InstanceHeader* value_of(NQDictionary* dictionary, std::string_view key);

}  // namespace nq::test
