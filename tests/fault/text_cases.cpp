#include <string>
#include <string_view>

#include "nqinstance/text/normalize.h"
#include "tests/fault/cases.hpp"
#include "tests/support/bytes.hpp"

namespace nq::test {
namespace {

constexpr std::string_view kText = "text";
constexpr std::string_view kOther = "other";

// What uses the host's normaliser hands its status on.
class UseNormalizer : public Operation {
  public:
    NQStatus status_for(const FailedCall& failed) const override {
        return failed.call == Call::kCreateNormalizer ? NQ_STATUS_NO_MEMORY : failed.status;
    }
};

class NormalizeText : public UseNormalizer {
  public:
    NQStatus call(CheckingHost&) override {
        length_ = 77;
        return NQ_LIBRARY(nqzsu8ICUNormalize)(bytes_of(kText), kText.size(), 1, 0, target_,
                                              sizeof target_, &length_);
    }
    std::string result(CheckingHost&) override {
        return std::string(reinterpret_cast<const char*>(target_), length_);
    }
    std::string check_failure(const Round&) override {
        return length_ == 77 ? "" : "a length in spite of the failure";
    }

  private:
    std::uint8_t target_[16]{};
    std::uint64_t length_ = 0;
};

// The comparison or, by it, the equality of two texts; the result of a failure is 0 for both.
class CompareTexts : public UseNormalizer {
  public:
    using Routine = decltype(&::nqzsu8ICUNormCompare);
    CompareTexts(const char* name, std::string_view other)
        : compare_(reinterpret_cast<Routine>(library_symbol(name))), other_(other) {}

    NQStatus call(CheckingHost&) override {
        NQStatus status = 77;
        result_ =
            compare_(bytes_of(kText), kText.size(), bytes_of(other_), other_.size(), 0, &status);
        return status;
    }
    std::string result(CheckingHost&) override { return std::to_string(result_); }
    std::string check_failure(const Round&) override {
        return result_ ? "a result in spite of the failure" : "";
    }

  private:
    const Routine compare_;
    const std::string_view other_;
    std::int32_t result_ = 0;
};

}  // namespace

std::vector<SweepCase> text_cases() {
    const auto compare = [](const char* name, std::string_view other) {
        return made_of<CompareTexts>(name, other);
    };
    return {
        {"nqzsu8ICUNormalize", {"nqzsu8ICUNormalize"}, made_of<NormalizeText>()},
        {"nqzsu8ICUNormCompare", {"nqzsu8ICUNormCompare"}, compare("nqzsu8ICUNormCompare", kOther)},
        {"nqzsu8ICUNormEqual", {"nqzsu8ICUNormEqual"}, compare("nqzsu8ICUNormEqual", kText)},
    };
}

}  // namespace nq::test
