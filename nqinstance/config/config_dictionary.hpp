#pragma once
#include "nqinstance/host/dictionary.h"

namespace nq {

// A dictionary's destroy hook. Whatever it is called with beside the dictionary is handed on.
using DestroyHook = NQStatus (*)(void* self, void*, void*, void*, void*, void*) NQ_NOEXCEPT;

// The clone operation of a sibling extension's object, which is given the extension as well.
using CloneHook = NQStatus (*)(NQDictionary* self, HostPool* pool, uint32_t flags,
                               NQDictionary** out, NQDictionaryApi* extension) NQ_NOEXCEPT;

// A dictionary of the dictionary extension, moved into a larger block so that it can hold the
// extension for as long as it lives. The extension fills all but the three changed words.
struct ConfigDictionary {
    NQDictionary dictionary;
    DestroyHook saved_destroy;
    CloneHook saved_clone;
};
NQ_RECORD(ConfigDictionary, 352);
NQ_FIELD(ConfigDictionary, saved_destroy, 336);
NQ_FIELD(ConfigDictionary, saved_clone, 344);

// Stores a new empty dictionary, held once by the caller, in `*out`. On failure `*out` is
// untouched and nothing stays allocated or held.
// NQ_STATUS_NO_EXTENSION: "nqdictionary" could not be loaded. NQ_STATUS_NO_MEMORY: the pool
// refused. Any other status is that of "nqdictionary".
NQStatus createConfigDictionary(InstanceApi* api, HostPool* pool, NQDictionary** out) noexcept;

// The clone word of a configuration dictionary: a configuration dictionary of its own, with its
// own hold of the extension. `flags` goes to the extension's clone operation. `pool` is required.
// Statuses as above.
NQStatus configDictionaryClone(InstanceHeader* instance, HostPool* pool, uint32_t flags,
                               InstanceHeader** out) noexcept;

// The destroy hook: hands all arguments on, then gives the extension back. Always NQ_STATUS_OK.
NQStatus configDictionaryDestroy(void* self, void* second, void* third, void* fourth, void* fifth,
                                 void* sixth) noexcept;

}  // namespace nq
