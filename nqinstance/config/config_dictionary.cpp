#include "nqinstance/config/config_dictionary.hpp"

#include <string.h>

#include "nqinstance/base/held.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/host/status.h"

namespace nq {
namespace {

using HeaderDestroy = decltype(InstanceHeader::destroyHook);
using HeaderClone = decltype(InstanceHeader::clone);

// Casts a function pointer: a word of the header may hold an operation that takes more arguments
// than the header's type says.
template <class To, class From>
To hook_cast(From hook) noexcept {
    return reinterpret_cast<To>(reinterpret_cast<void (*)()>(hook));
}

NQDictionaryApi* load_dictionaries() noexcept {
    return load_extension<NQDictionaryApi>(&Exported_NQHandle);
}

ConfigDictionary* alloc_block(HostPool* pool) noexcept {
    return static_cast<ConfigDictionary*>(pool->alloc(pool, sizeof(ConfigDictionary), 0));
}

// Moves `plain`, whose block goes back to the pool, into `block`, which takes over the hold of the
// extension.
void adopt(ConfigDictionary* block, NQDictionary* plain, HostPool* pool,
           NQDictionaryApi* extension) noexcept {
    memcpy(&block->dictionary, plain, sizeof *plain);
    pool->free(pool, plain);
    InstanceHeader& header = block->dictionary.header;
    block->dictionary.extension = extension;
    block->saved_destroy = hook_cast<DestroyHook>(header.destroyHook);
    block->saved_clone = hook_cast<CloneHook>(header.clone);
    header.destroyHook = hook_cast<HeaderDestroy>(configDictionaryDestroy);
    header.clone = configDictionaryClone;
}

}  // namespace

NQStatus createConfigDictionary(InstanceApi*, HostPool* pool, NQDictionary** out) noexcept {
    Held<NQDictionaryApi> extension(load_dictionaries());
    if (!extension) return NQ_STATUS_NO_EXTENSION;
    Held<NQDictionary> plain;
    NQ_TRY(
        extension->createDictionary(extension.get(), pool, nullptr, plain.out(), extension.get()));
    ConfigDictionary* block = alloc_block(pool);
    if (!block) return NQ_STATUS_NO_MEMORY;
    adopt(block, plain.take(), pool, extension.take());
    *out = &block->dictionary;
    return NQ_STATUS_OK;
}

NQStatus configDictionaryClone(InstanceHeader* instance, HostPool* pool, uint32_t flags,
                               InstanceHeader** out) noexcept {
    auto* source = reinterpret_cast<ConfigDictionary*>(instance);
    Held<NQDictionaryApi> extension(load_dictionaries());
    if (!extension) return NQ_STATUS_NO_EXTENSION;
    ConfigDictionary* block = alloc_block(pool);
    if (!block) return NQ_STATUS_NO_MEMORY;
    Held<NQDictionary> plain;
    const NQStatus status =
        source->saved_clone(&source->dictionary, pool, flags, plain.out(), extension.get());
    if (status) {
        pool->free(pool, block);
        return status;
    }
    adopt(block, plain.take(), pool, extension.take());
    *out = &block->dictionary.header;
    return NQ_STATUS_OK;
}

NQStatus configDictionaryDestroy(void* self, void* second, void* third, void* fourth, void* fifth,
                                 void* sixth) noexcept {
    auto* block = static_cast<ConfigDictionary*>(self);
    NQDictionaryApi* extension = block->dictionary.extension;
    block->saved_destroy(self, second, third, fourth, fifth, sixth);
    release(extension);
    return NQ_STATUS_OK;
}

}  // namespace nq
