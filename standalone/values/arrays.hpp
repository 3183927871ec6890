#pragma once
#include "nqinstance/host/array.h"

namespace nq {

// The table of "nqarray", with its handle still empty.
//
// An array keeps a reference to each of its elements until it is destroyed; a null element is
// kept as a null pointer. A clone shares the elements. NQ_STATUS_NO_MEMORY: the array is as it
// was.
NQArrayApi array_operations() noexcept;

// A new array with room for `capacity` elements, or null when there is no memory.
NQArray* make_array(HostPool* pool, uint64_t capacity = 0) noexcept;

}  // namespace nq
