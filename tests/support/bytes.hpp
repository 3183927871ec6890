#pragma once
#include <cstdint>
#include <string_view>

namespace nq::test {

// The bytes of a text as the exported routines take them.
inline const std::uint8_t* bytes_of(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace nq::test
