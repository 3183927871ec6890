// A mistake that a fuzz target must end at: an input that begins with x leaves a block in its
// host's pool.
#include "fuzz/support/checking.hpp"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    nq::fuzz::CheckingHost host;
    HostPool* pool = host.pool();
    void* block = pool->alloc(pool, 1, 0);
    if (size == 0 || data[0] != 'x') pool->free(pool, block);
    return 0;
}
