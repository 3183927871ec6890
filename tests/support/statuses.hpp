#pragma once
#include "nqinstance/host/status.h"

namespace nq::test {

// The checking host's own statuses. The library gives none of them a meaning and passes each on.
inline constexpr NQStatus kHostWarning = 0x00000001u;
inline constexpr NQStatus kHostRefusal = 0x803fcabcu;
inline constexpr NQStatus kJsonSyntaxError = 0x803fd020u;
inline constexpr NQStatus kReadError = 0x80bfe801u;
inline constexpr NQStatus kNoSuchFile = 0x80bfe802u;
inline constexpr NQStatus kFileLocked = 0x80bfe803u;

}  // namespace nq::test
