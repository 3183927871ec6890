#include <string.h>

#include "build_texts.hpp"
#include "nqinstance/core/api.h"

namespace {

constexpr VersionRecord kVersion{
    .productVersion = NQ_PRODUCT_VERSION,
    .buildLabel = NQ_BUILD_LABEL,
    .empty_2 = "",
    .buildTime = NQ_BUILD_TIME,
    .coreName = "nqcore",
    .coreBuild = NQ_CORE_BUILD,
    .moduleName = "nqinstance",
    .moduleBuild = NQ_MODULE_BUILD,
    .empty_8 = "",
    .versionWord = "version",
    .separator = "::",
    .empty_11 = "",
    .hotFixMarker = NQ_HOT_FIX_MARKER,
    .empty_13 = "",
    .imageMarker = NQ_IMAGE_MARKER,
    .buildHost = NQ_BUILD_HOST,
    .buildDate = NQ_BUILD_DATE,
    .zero = {},
};

NQStatus store_version(uint64_t* major, uint64_t* minor, uint64_t* patch, uint64_t first,
                       uint64_t second, uint64_t third) noexcept {
    *major = first;
    *minor = second;
    *patch = third;
    return NQ_STATUS_OK;
}

}  // namespace

void nqvercn1(void* buffer) noexcept { memcpy(buffer, &kVersion, sizeof kVersion); }

NQStatus getReqVersion(InstanceApi*, uint64_t* major, uint64_t* minor, uint64_t* patch) noexcept {
    return store_version(major, minor, patch, 9, 1, 1);
}

NQStatus getVersion(InstanceApi*, uint64_t* major, uint64_t* minor, uint64_t* patch) noexcept {
    return store_version(major, minor, patch, NQ_VERSION_MAJOR, NQ_VERSION_MINOR, NQ_VERSION_PATCH);
}
