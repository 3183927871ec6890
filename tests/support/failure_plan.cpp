#include "tests/support/failure_plan.hpp"

#include "nqinstance/host/status.h"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

constexpr std::size_t kFailuresKept = 256;

// What the services may report, by their family.
constexpr std::array kFile{kReadError, NQ_STATUS_NO_MEMORY, kHostWarning};
constexpr std::array kConvert{NQ_STATUS_MALFORMED, NQ_STATUS_UNCONVERTIBLE, NQ_STATUS_NO_MEMORY};
constexpr std::array kText{NQ_STATUS_NO_MEMORY, NQ_STATUS_MALFORMED, kHostWarning};
constexpr std::array kFormat{NQ_STATUS_BUFFER_TOO_SMALL, NQ_STATUS_NO_MEMORY, kHostRefusal};
constexpr std::array kOther{kHostRefusal, NQ_STATUS_NO_MEMORY, kHostWarning};

struct CallRow {
    const char* name;
    std::span<const NQStatus> statuses;
};
constexpr CallRow kCalls[] = {
#define NQ_CALL_ROW(call, name, statuses) {name, statuses},
    NQ_HOST_CALLS(NQ_CALL_ROW)
#undef NQ_CALL_ROW
};

}  // namespace

const char* call_name(Call call) { return kCalls[static_cast<std::size_t>(call)].name; }

std::span<const NQStatus> statuses_of(Call call) {
    return kCalls[static_cast<std::size_t>(call)].statuses;
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
