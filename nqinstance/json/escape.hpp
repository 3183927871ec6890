#pragma once
#include "nqinstance/base/held.hpp"
#include "nqinstance/host/status.h"

namespace nq {

// Stores a new UTF-8 string with the escaped text of a string instance, an "NQString" or a string
// of the NQU8String layout. A failing status of the string service is passed on. Takes time linear
// in the length.
NQStatus escape_string(NQStringApi* strings, HostPool* pool, InstanceHeader* instance,
                       Held<NQU8String>& escaped) noexcept;

}  // namespace nq
