#include "nqinstance/text/normalize.h"

#include "nqinstance/host/status.h"
#include "nqinstance/text/case_fold.hpp"

namespace nq {
namespace {

// The host's normaliser, made if there is none yet; null if it cannot be made.
HostNormalizer* normalizer() noexcept {
    HostUnicode* unicode = host_unicode();
    if (!unicode) return nullptr;
    // Another thread's call may be storing it.
    HostNormalizer* cached = __atomic_load_n(&unicode->normalizer, __ATOMIC_ACQUIRE);
    if (cached) return cached;
    HostNormalizer* created = nullptr;
    return unicode->createNormalizer(unicode, &created, 0) ? nullptr : created;
}

}  // namespace
}  // namespace nq

NQStatus nqzsu8ICUNormalize(const uint8_t* source, uint64_t sourceLength, uint32_t form,
                            uint32_t options, uint8_t* target, uint64_t capacity,
                            uint64_t* outLength) noexcept {
    HostNormalizer* normalizer = nq::normalizer();
    if (!normalizer) return NQ_STATUS_NO_MEMORY;
    return normalizer->normalize(normalizer, source, sourceLength, form, options, target, capacity,
                                 outLength);
}

int32_t nqzsu8ICUNormCompare(const uint8_t* a, uint64_t aLength, const uint8_t* b, uint64_t bLength,
                             uint32_t options, NQStatus* status) noexcept {
    HostNormalizer* normalizer = nq::normalizer();
    int32_t result = 0;
    const NQStatus compared =
        normalizer ? normalizer->compare(normalizer, a, aLength, b, bLength, options, &result)
                   : NQ_STATUS_NO_MEMORY;
    if (status) *status = compared;
    return result;
}

int32_t nqzsu8ICUNormEqual(const uint8_t* a, uint64_t aLength, const uint8_t* b, uint64_t bLength,
                           uint32_t options, NQStatus* status) noexcept {
    NQStatus compared = NQ_STATUS_OK;
    const int32_t result = nqzsu8ICUNormCompare(a, aLength, b, bLength, options, &compared);
    if (status) *status = compared;
    return result == 0 && compared == NQ_STATUS_OK;
}
