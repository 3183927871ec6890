#pragma once
#include "nqinstance/host/unicode.h"
#include "tests/support/host_core.hpp"

namespace nq::test {

// The kernel's Unicode service: ASCII letters have cases and nothing has a property. Its normaliser
// is made when it is first asked for; the normal form of a text is the text, and texts compare as
// bytes.
class HostUnicodeService {
  public:
    explicit HostUnicodeService(HostCore& core);
    HostUnicodeService(const HostUnicodeService&) = delete;
    HostUnicodeService& operator=(const HostUnicodeService&) = delete;

    HostUnicode* table() { return &table_; }

  private:
    struct Table : HostUnicode {
        HostUnicodeService* service;
    };
    struct Normalizer : HostNormalizer {
        HostUnicodeService* service;
    };

    static NQStatus create(HostUnicode* self, HostNormalizer** out, std::uint64_t zero) noexcept;
    static NQStatus normalize(HostNormalizer* self, const std::uint8_t* source,
                              std::uint64_t length, std::uint32_t form, std::uint32_t options,
                              std::uint8_t* target, std::uint64_t capacity,
                              std::uint64_t* out_length) noexcept;
    static NQStatus compare(HostNormalizer* self, const std::uint8_t* a, std::uint64_t a_length,
                            const std::uint8_t* b, std::uint64_t b_length, std::uint32_t options,
                            std::int32_t* result) noexcept;

    HostCore& core_;
    Table table_{};
    Normalizer normalizer_{};
};

}  // namespace nq::test
