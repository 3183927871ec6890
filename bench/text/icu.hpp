#pragma once
#include <unicode/utypes.h>
#include <unicode/uvernum.h>

#include "bench/require.hpp"

namespace nq::bench {

inline void must(UErrorCode status) {
    if (U_FAILURE(status)) require(false, u_errorName(status));
}

}  // namespace nq::bench
