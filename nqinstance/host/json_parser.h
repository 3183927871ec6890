#pragma once
#include "nqinstance/host/instance_header.h"

NQ_BEGIN_C

/* The sibling extension "nqinstjson": reads JSON text into instances. */
typedef struct NQInstJsonApi NQInstJsonApi;
struct NQInstJsonApi {
    NQHandle handle;
    void* host_3_to_9[7];

    /* A new instance of the JSON text. `options`: six zero bytes. The meaning of the last two
     * outputs is the host's. */
    NQStatus (*parse)(NQInstJsonApi* self, HostPool* pool, const uint8_t* text, uint64_t length,
                      const void* options, InstanceHeader** out, uint32_t* host1,
                      uint32_t* host2) NQ_NOEXCEPT;
};

NQ_END_C

NQ_TABLE(NQInstJsonApi, 11);
NQ_WORD(NQInstJsonApi, parse, 10);
