#pragma once
#include <unicode/normalizer2.h>

#include <array>

#include "nqinstance/host/unicode.h"

namespace nq {

// Values of HostNormalizer::normalize's `form`. Any other is NQ_STATUS_INVALID_ARGUMENT.
inline constexpr std::uint32_t kNormalFormC = 1;             // NFC
inline constexpr std::uint32_t kNormalFormD = 2;             // NFD
inline constexpr std::uint32_t kNormalFormKC = 3;            // NFKC
inline constexpr std::uint32_t kNormalFormKD = 4;            // NFKD
inline constexpr std::uint32_t kNormalFormKCCasefolded = 5;  // NFKC_Casefold
inline constexpr std::uint32_t kNormalFormLast = kNormalFormKCCasefolded;

// Bits of the `options` of normalize and compare; other bits mean nothing. Both operations fold
// case by the full, language-independent folding ("ß" equals "SS").
inline constexpr std::uint32_t kNormalizeIgnoreCase = 1;
// compare only: compatibility equivalents are equal, as are canonical ones without this bit.
inline constexpr std::uint32_t kCompareCompatibility = 2;

// The normaliser of the host's Unicode service. Threads may use it at once.
//
// `normalize` answers NQ_STATUS_BUFFER_TOO_SMALL with the length that the result needs in
// *outLength and the target unchanged; a null target of capacity 0 measures. Malformed UTF-8 is
// replaced by U+FFFD: the result is complete and the status NQ_STATUS_MALFORMED.
//
// `compare` orders by the code points of the decomposed texts, and malformed UTF-8 compares as
// U+FFFD without being reported.
class Normalizer {
  public:
    // NQ_STATUS_NO_MEMORY from `status` when ICU's data could not be loaded.
    explicit Normalizer(NQStatus& status) noexcept;
    Normalizer(const Normalizer&) = delete;
    Normalizer& operator=(const Normalizer&) = delete;

    HostNormalizer* table() noexcept { return &table_; }

  private:
    struct Table : HostNormalizer {
        std::array<const icu::Normalizer2*, kNormalFormLast + 1> forms;  // by form; 0 is unused
    };
    struct Operations;
    Table table_{};
};

}  // namespace nq
