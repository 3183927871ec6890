#include "tests/support/failure_plan.hpp"

#include "nqinstance/host/status.h"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

constexpr std::array<const char*, kCallKinds> kNames{
    "alloc",
    "realloc",
    "createPool",
    "registerHandle",
    "loadExtension",
    "getOption",
    "getTempPool",
    "newString",
    "createFromUtf8",
    "createEncoded",
    "createWithCapacity",
    "copyText",
    "base64EncodeU8",
    "base64URLEncodeU8",
    "string append",
    "string insert",
    "string trim",
    "string formatMessage",
    "clone",
    "createArray",
    "array append",
    "createDictionary",
    "dictionary set",
    "dictionary get",
    "dictionary listKeys",
    "openFile",
    "read",
    "JSON parse",
    "createTranscoder",
    "convert",
    "captureMessage",
    "formatToBuffer",
    "renderMessage",
    "renderFormatted",
    "formatStatus",
    "createNormalizer",
    "normalize",
    "normalizer compare",
    "free",
    "pool destroy",
    "unregisterHandle",
    "releaseTempPool",
    "extension release",
    "object release",
    "file release",
    "transcoder release",
};
static_assert(kNames.back() != nullptr);

constexpr std::size_t kFailuresKept = 256;

constexpr std::array kFileStatuses{kReadError, NQ_STATUS_NO_MEMORY, kHostWarning};
constexpr std::array kConvertStatuses{NQ_STATUS_MALFORMED, NQ_STATUS_UNCONVERTIBLE,
                                      NQ_STATUS_NO_MEMORY};
constexpr std::array kTextStatuses{NQ_STATUS_NO_MEMORY, NQ_STATUS_MALFORMED, kHostWarning};
constexpr std::array kFormatStatuses{NQ_STATUS_BUFFER_TOO_SMALL, NQ_STATUS_NO_MEMORY, kHostRefusal};
constexpr std::array kOtherStatuses{kHostRefusal, NQ_STATUS_NO_MEMORY, kHostWarning};

}  // namespace

const char* call_name(Call call) { return kNames[static_cast<std::size_t>(call)]; }

std::span<const NQStatus> statuses_of(Call call) {
    switch (call) {
        case Call::kOpenFile:
        case Call::kReadFile:
            return kFileStatuses;
        case Call::kConvert:
            return kConvertStatuses;
        case Call::kNewString:
        case Call::kCreateFromUtf8:
        case Call::kCreateEncoded:
        case Call::kCreateWithCapacity:
        case Call::kCopyText:
        case Call::kBase64:
        case Call::kBase64Url:
        case Call::kStringAppend:
        case Call::kStringInsert:
        case Call::kStringTrim:
            return kTextStatuses;
        case Call::kCaptureMessage:
        case Call::kFormatToBuffer:
        case Call::kRenderMessage:
        case Call::kRenderFormatted:
        case Call::kFormatStatus:
        case Call::kFormatMessage:
            return kFormatStatuses;
        default:
            return kOtherStatuses;
    }
}

void FailurePlan::fail(Call kind, std::uint64_t n, NQStatus status, bool sticky) {
    rules_[static_cast<std::size_t>(kind)] = {calls(kind) + n, sticky, status};
}

void FailurePlan::fail_any(std::uint64_t n, std::size_t variant, bool sticky) {
    any_ = {total_ + n, sticky, 0};
    any_other_ = {};
    variant_ = variant;
}

void FailurePlan::fail_pair(std::uint64_t first, std::uint64_t second, std::size_t first_variant,
                            std::size_t second_variant) {
    fail_any(first, first_variant);
    any_other_ = {total_ + second, false, 0};
    other_variant_ = second_variant;
}

void FailurePlan::clear() {
    rules_ = {};
    any_ = any_other_ = {};
    for (auto& count : counts_) count = 0;
    total_ = 0;
    failures_.clear();
    recorded_.clear();
}

std::vector<FailedCall> FailurePlan::failures() const {
    const std::lock_guard lock(mutex_);
    return failures_;
}

NQStatus FailurePlan::next(Call kind) {
    const auto index = static_cast<std::size_t>(kind);
    const std::uint64_t n = counts_[index]++;
    const std::uint64_t n_of_all = total_++;
    if (recording_) recorded_.push_back(kind);
    NQStatus status = NQ_STATUS_OK;
    if (rules_[index].hits(n)) {
        status = rules_[index].status;
    } else if (any_.hits(n_of_all) || any_other_.hits(n_of_all)) {
        const auto statuses = statuses_of(kind);
        status = statuses[(any_.hits(n_of_all) ? variant_ : other_variant_) % statuses.size()];
    }
    if (status) {
        const std::lock_guard lock(mutex_);
        if (failures_.size() < kFailuresKept) failures_.push_back({kind, status});
    }
    return status;
}

}  // namespace nq::test
