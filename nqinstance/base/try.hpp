#pragma once
#include "nqinstance/host/status.h"

// Passes a status other than NQ_STATUS_OK on: the function that holds this line returns it.
#define NQ_TRY(call)                                             \
    do {                                                         \
        if (const NQStatus passed_on = (call)) return passed_on; \
    } while (false)
