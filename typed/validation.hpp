#pragma once
#include <string_view>

#include "nqinstance/core/api.h"
#include "nqinstance/host/status.h"
#include "nqinstance/host/validation_run.h"

namespace nq {

// A validation run for the scope's time. A start that fails hands the place of its result to the
// library's clean-up as if it were a run, so that place is always a whole run, zeroed.
//
// What a start that fails leaves behind stays with the pool until that is destroyed.
class Validation {
  public:
    // The run uses its pool, and whichever of the tables is not null, until it ends.
    NQStatus start(InstanceApi* api, NQStringApi* strings, NQArrayApi* arrays, HostPool* pool,
                   void* user_data = nullptr) noexcept {
        finish();
        place_ = {};
        const NQStatus status =
            api->startValidate(api, strings, arrays, pool, user_data, &place_.started);
        // A start that fails may have written to the place.
        if (status == NQ_STATUS_OK) run_ = place_.started;
        return status;
    }

    Validation() noexcept = default;
    Validation(const Validation&) = delete;
    Validation& operator=(const Validation&) = delete;
    ~Validation() { finish(); }

    // Null before the start and after one that failed.
    ValidationRun* get() const noexcept { return run_; }

    // The messages that were added since the start.
    uint64_t count() const noexcept { return run_ ? run_->messages->count : 0; }
    std::string_view message(uint64_t index) const noexcept {
        const auto& text = *reinterpret_cast<NQU8String*>(run_->messages->elements[index]);
        return {reinterpret_cast<const char*>(text.bytes), text.length};
    }

    void finish() noexcept {
        if (!run_) return;
        run_->finish(run_);
        run_ = nullptr;
    }

  private:
    union Place {
        ValidationRun run;
        ValidationRun* started;
        Place() noexcept : run{} {}
    };

    Place place_;
    ValidationRun* run_ = nullptr;
};

}  // namespace nq
