#pragma once
#include <array>
#include <cstddef>

#include "nqinstance/host/base.h"

namespace nq {

// A format of the host's formatter, as constant text.
struct Format {
    std::array<NQChar, 48> units{};
    uint64_t length = 0;

    template <std::size_t N>
    consteval Format(const char (&text)[N]) {  // NOLINT: a literal stands for its format
        for (std::size_t i = 0; i + 1 < N; ++i) add(text[i]);
    }

    // The same between double quotes.
    consteval Format quoted() const {
        Format result("\"");
        for (uint64_t i = 0; i < length; ++i) result.add(static_cast<char>(units[i]));
        result.add('"');
        return result;
    }

  private:
    consteval void add(char character) { units[length++] = static_cast<unsigned char>(character); }
};

}  // namespace nq
