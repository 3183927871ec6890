#include "nqinstance/text/utf8.h"

#include "nqinstance/text/utf8_tables.hpp"

int32_t utf8_len(const uint8_t* text) noexcept { return nq::kUtf8Length[*text]; }
