#pragma once
#include "nqinstance/host/dictionary.h"

namespace nq {

// The table of "nqdictionary", with its handle and `strings` still empty.
//
// A dictionary lists its keys in the order in which they were first set; setting a key again
// replaces its value and keeps the key object and its place. It takes a reference to each key and
// value; a null value is kept as a null pointer. A key's text must not change while it is in a
// dictionary. Keys are found by a hash seeded for the process.
//
// A dictionary holds the extension that its `extension` word names until it is destroyed. The
// object may be moved: its 336 bytes are copied to another block of its pool and the old block is
// freed, after which all operations, the destroy hook and the clone are called with the new one.
// A clone is a plain dictionary that shares keys and values with its source.
//
// Statuses: NQ_STATUS_NO_MEMORY; NQ_STATUS_INVALID_ARGUMENT for a null key;
// NQ_HOST_STATUS_UNKNOWN_KEY from `get`, with a null value. Whatever else fails leaves the
// dictionary and the out-parameter as they were.
NQDictionaryApi dictionary_operations() noexcept;

}  // namespace nq
