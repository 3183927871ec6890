#pragma once
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

#include "nqinstance/host/kernel.h"
#include "nqinstance/text/compare.h"
#include "standalone/text/unicode.hpp"
#include "tests/support/bytes.hpp"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {

// A kernel table with nothing but a Unicode service that lower-cases as a test wants.
class LoweringHost {
  public:
    explicit LoweringHost(std::function<NQChar(NQChar)> lower) : unicode_(std::move(lower)) {
        unicode_.toLower = [](HostUnicode* self, std::uint32_t code_point,
                              std::uint64_t one) noexcept -> std::uint32_t {
            EXPECT_EQ(one, 1u);
            auto& unicode = *static_cast<Unicode*>(self);
            unicode.asked.push_back(code_point);
            return unicode.lower(code_point);
        };
        kernel_.unicode = &unicode_;
    }
    LoweringHost(const LoweringHost&) = delete;
    LoweringHost& operator=(const LoweringHost&) = delete;

    HostKernel* kernel() { return &kernel_; }
    const std::basic_string<NQChar>& asked() const { return unicode_.asked; }

  private:
    struct Unicode : HostUnicode {
        explicit Unicode(std::function<NQChar(NQChar)> mapping)
            : HostUnicode{}, lower(std::move(mapping)) {}
        std::function<NQChar(NQChar)> lower;
        std::basic_string<NQChar> asked;
    };
    Unicode unicode_;
    HostKernel kernel_{};
};

// The comparisons in the way under test, with the standalone host's Unicode service unless a test
// serves them by another kernel.
class CompareBody : public TextBody {
  protected:
    void SetUp() override {
        TextBody::SetUp();
        kernel_.unicode = unicode_.table();
        served_by(&kernel_);
        norm_compare_ = NQ_UNDER_TEST(nqzsu8NormCompare);
        norm_equal_ = NQ_UNDER_TEST(nqzsu8NormEqual);
        units_compare_ = NQ_UNDER_TEST(nqzsncmp);
        units_equal_ = NQ_UNDER_TEST(nqzseqn);
    }
    void TearDown() override {
        served_by(nullptr);
        TextBody::TearDown();
    }

    void served_by(HostKernel* kernel) {
        HostKernel** global = &::Exported_NQHandle;
        if (!GetParam()) global = static_cast<HostKernel**>(library_symbol("Exported_NQHandle"));
        *global = kernel;
    }

    NQChar host_lower(NQChar code_point) {
        HostUnicode* unicode = unicode_.table();
        return unicode->toLower(unicode, code_point, 1);
    }

    int compare(std::string_view a, std::string_view b) {
        return NQ_UNDER_TEST(nqzsu8Compare)(bytes_of(a), a.size(), bytes_of(b), b.size());
    }
    int norm_compare(std::string_view a, std::string_view b) {
        return norm_compare_(bytes_of(a), a.size(), bytes_of(b), b.size());
    }
    int norm_equal(std::string_view a, std::string_view b) {
        return norm_equal_(bytes_of(a), a.size(), bytes_of(b), b.size());
    }
    int ascii_equal(std::string_view a, std::string_view b) {
        return NQ_UNDER_TEST(nqzsu8NormASCIIEqual)(bytes_of(a), a.size(), bytes_of(b), b.size());
    }

    using Units = std::basic_string<NQChar>;
    static Units units(std::u32string_view text) { return {text.begin(), text.end()}; }

    int units_compare(const Units& a, const Units& b) {
        return units_compare_(a.data(), static_cast<std::int64_t>(a.size()), b.data(),
                              static_cast<std::int64_t>(b.size()));
    }
    int units_compare(std::u32string_view a, std::u32string_view b) {
        return units_compare(units(a), units(b));
    }
    int units_equal(const Units& a, const Units& b) {
        return units_equal_(a.data(), a.size(), b.data(), b.size());
    }
    int units_equal(std::u32string_view a, std::u32string_view b) {
        return units_equal(units(a), units(b));
    }

  private:
    UnicodeService unicode_;
    HostKernel kernel_{};
    decltype(&::nqzsu8NormCompare) norm_compare_ = nullptr;
    decltype(&::nqzsu8NormEqual) norm_equal_ = nullptr;
    decltype(&::nqzsncmp) units_compare_ = nullptr;
    decltype(&::nqzseqn) units_equal_ = nullptr;
};

}  // namespace nq::test
