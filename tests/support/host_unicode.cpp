#include "tests/support/host_unicode.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "nqinstance/host/status.h"
#include "tests/support/faults.hpp"

namespace nq::test {
namespace {

std::uint32_t map(std::uint32_t code_point, std::uint32_t first, std::uint64_t one) {
    if (one != 1) report_fault("a case mapping with an argument that is not one");
    return code_point >= first && code_point < first + 26 ? code_point ^ 0x20 : code_point;
}

std::string_view view(const std::uint8_t* text, std::uint64_t length) {
    return {reinterpret_cast<const char*>(text), length};
}

}  // namespace

HostUnicodeService::HostUnicodeService(HostCore& core) : core_(core) {
    table_.handle = {NQ_MAGIC, "unicode", nullptr};
    table_.toUpper = [](HostUnicode*, std::uint32_t code_point, std::uint64_t one) noexcept {
        return map(code_point, 'a', one);
    };
    table_.toLower = [](HostUnicode*, std::uint32_t code_point, std::uint64_t one) noexcept {
        return map(code_point, 'A', one);
    };
    table_.hasProperty = [](HostUnicode*, std::uint32_t, std::uint32_t) noexcept {
        return std::int32_t{0};
    };
    table_.createNormalizer = create;
    table_.hasSpecialCasing = [](HostUnicode*, std::uint32_t) noexcept { return std::int32_t{0}; };
    table_.mapForLanguage = [](HostUnicode*, std::uint32_t, std::uint32_t, std::uint32_t*,
                               std::uint32_t) noexcept { return std::int32_t{0}; };
    table_.mapInContext = [](HostUnicode*, std::uint32_t, const std::uint32_t*, std::uint64_t,
                             std::uint32_t*, std::uint64_t*, void*,
                             std::uint64_t) noexcept { return NQStatus{NQ_STATUS_UNSUPPORTED}; };
    table_.service = this;
    normalizer_.handle = {NQ_MAGIC, "normalizer", nullptr};
    normalizer_.normalize = normalize;
    normalizer_.compare = compare;
    normalizer_.service = this;
}

NQStatus HostUnicodeService::create(HostUnicode* self, HostNormalizer** out,
                                    std::uint64_t zero) noexcept {
    HostUnicodeService& service = *static_cast<Table*>(self)->service;
    if (zero) report_fault("createNormalizer with an argument that is not zero");
    if (const NQStatus status = service.core_.plan.next(Call::kCreateNormalizer)) return status;
    *out = service.table_.normalizer = &service.normalizer_;
    return NQ_STATUS_OK;
}

NQStatus HostUnicodeService::normalize(HostNormalizer* self, const std::uint8_t* source,
                                       std::uint64_t length, std::uint32_t, std::uint32_t,
                                       std::uint8_t* target, std::uint64_t capacity,
                                       std::uint64_t* out_length) noexcept {
    HostUnicodeService& service = *static_cast<Normalizer*>(self)->service;
    if (const NQStatus status = service.core_.plan.next(Call::kNormalize)) return status;
    if (length > capacity) return NQ_STATUS_BUFFER_TOO_SMALL;
    if (length) std::memcpy(target, source, length);
    *out_length = length;
    return NQ_STATUS_OK;
}

NQStatus HostUnicodeService::compare(HostNormalizer* self, const std::uint8_t* a,
                                     std::uint64_t a_length, const std::uint8_t* b,
                                     std::uint64_t b_length, std::uint32_t,
                                     std::int32_t* result) noexcept {
    HostUnicodeService& service = *static_cast<Normalizer*>(self)->service;
    if (const NQStatus status = service.core_.plan.next(Call::kCompareTexts)) return status;
    *result = view(a, a_length).compare(view(b, b_length));
    return NQ_STATUS_OK;
}

}  // namespace nq::test
