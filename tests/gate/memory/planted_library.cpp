#include <cstdint>

#include "nqinstance/host/pool.h"

// Looks at a block's content before anything stands there, unless the pool has cleared it.
extern "C" int planted_sign(HostPool* pool, std::uint32_t flags) {
    auto* word = static_cast<std::int32_t*>(pool->alloc(pool, sizeof(std::int32_t), flags));
    const int sign = *word < 0 ? -1 : *word > 0 ? 1 : 0;
    pool->free(pool, word);
    return sign;
}

extern "C" void planted_fill(std::uint8_t* bytes, std::uint64_t written) {
    for (std::uint64_t i = 0; i < written; ++i) bytes[i] = 1;
}
