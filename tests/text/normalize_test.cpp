#include "nqinstance/text/normalize.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "nqinstance/host/kernel.h"
#include "nqinstance/host/status.h"
#include "standalone/text/normalizer.hpp"
#include "standalone/text/unicode.hpp"
#include "tests/support/bytes.hpp"
#include "tests/support/library.hpp"

namespace nq::test {
namespace {

// A Unicode service that only makes a normaliser, and a normaliser that notes what it is given.
class RecordingHost {
  public:
    RecordingHost() {
        unicode_.createNormalizer = create;
        unicode_.host = this;
        normalizer_.normalize = normalize;
        normalizer_.compare = compare;
        normalizer_.host = this;
        kernel_.unicode = &unicode_;
    }
    RecordingHost(const RecordingHost&) = delete;
    RecordingHost& operator=(const RecordingHost&) = delete;

    HostKernel* kernel() { return &kernel_; }
    void cache() { unicode_.normalizer = &normalizer_; }

    struct Normalized {
        const std::uint8_t* source;
        std::uint64_t source_length;
        std::uint32_t form, options;
        std::uint8_t* target;
        std::uint64_t capacity;
        std::uint64_t* out_length;
        bool operator==(const Normalized&) const = default;
    };
    struct Compared {
        const std::uint8_t* a;
        std::uint64_t a_length;
        const std::uint8_t* b;
        std::uint64_t b_length;
        std::uint32_t options;
        bool operator==(const Compared&) const = default;
    };

    // What the service answers.
    NQStatus create_status = NQ_STATUS_OK;
    bool stores_normalizer = true;
    bool caches_normalizer = true;
    NQStatus status = NQ_STATUS_OK;
    std::int32_t result = 0;
    bool stores_result = true;

    // What it was asked.
    int created = 0;
    std::vector<Normalized> normalized;
    std::vector<Compared> compared;

  private:
    struct Unicode : HostUnicode {
        RecordingHost* host;
    };
    struct Normalizer : HostNormalizer {
        RecordingHost* host;
    };

    static NQStatus create(HostUnicode* self, HostNormalizer** out, std::uint64_t zero) noexcept {
        RecordingHost& host = *static_cast<Unicode*>(self)->host;
        EXPECT_EQ(zero, 0u);
        ++host.created;
        if (host.stores_normalizer) *out = &host.normalizer_;
        if (host.create_status == NQ_STATUS_OK && host.caches_normalizer) host.cache();
        return host.create_status;
    }
    static NQStatus normalize(HostNormalizer* self, const std::uint8_t* source,
                              std::uint64_t source_length, std::uint32_t form,
                              std::uint32_t options, std::uint8_t* target, std::uint64_t capacity,
                              std::uint64_t* out_length) noexcept {
        RecordingHost& host = *static_cast<Normalizer*>(self)->host;
        host.normalized.push_back(
            {source, source_length, form, options, target, capacity, out_length});
        return host.status;
    }
    static NQStatus compare(HostNormalizer* self, const std::uint8_t* a, std::uint64_t a_length,
                            const std::uint8_t* b, std::uint64_t b_length, std::uint32_t options,
                            std::int32_t* out_result) noexcept {
        RecordingHost& host = *static_cast<Normalizer*>(self)->host;
        host.compared.push_back({a, a_length, b, b_length, options});
        if (host.stores_result) *out_result = host.result;
        return host.status;
    }

    Unicode unicode_{};
    Normalizer normalizer_{};
    HostKernel kernel_{};
};

class Normalize : public testing::Test {
  protected:
    Normalize() { serve(host.kernel()); }
    ~Normalize() override { serve(nullptr); }

    static void serve(HostKernel* kernel) {
        *static_cast<HostKernel**>(library_symbol("Exported_NQHandle")) = kernel;
    }

    static std::int32_t compare(std::string_view a, std::string_view b, std::uint32_t options,
                                NQStatus* status) {
        return NQ_LIBRARY(nqzsu8ICUNormCompare)(bytes_of(a), a.size(), bytes_of(b), b.size(),
                                                options, status);
    }
    static std::int32_t equal(std::string_view a, std::string_view b, std::uint32_t options,
                              NQStatus* status) {
        return NQ_LIBRARY(nqzsu8ICUNormEqual)(bytes_of(a), a.size(), bytes_of(b), b.size(), options,
                                              status);
    }

    // Each routine finds that there is no normaliser.
    static void expect_none() {
        std::uint64_t length = 77;
        std::uint8_t target[4] = {1, 2, 3, 4};
        EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormalize)(target, 1, 1, 0, target, 4, &length),
                  NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(length, 77u);
        NQStatus status = 0;
        EXPECT_EQ(compare("a", "b", 0, &status), 0);
        EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
        status = 0;
        EXPECT_EQ(equal("a", "a", 0, &status), 0);
        EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(compare("a", "b", 0, nullptr), 0);
        EXPECT_EQ(equal("a", "a", 0, nullptr), 0);
    }

    RecordingHost host;
};

TEST_F(Normalize, ArgumentsArePassedUnchanged) {
    host.status = 0x12345678;
    std::uint8_t target[3];
    std::uint64_t length = 5;
    const std::string_view text = "text";
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormalize)(bytes_of(text), 4, 0x80000001, 0xFFFFFFFE, target, 3,
                                             &length),
              0x12345678u);
    ASSERT_EQ(host.normalized.size(), 1u);
    EXPECT_EQ(host.normalized[0], (RecordingHost::Normalized{bytes_of(text), 4, 0x80000001,
                                                             0xFFFFFFFE, target, 3, &length}));
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormalize)(nullptr, 0, 0, 0, nullptr, 0, nullptr), 0x12345678u);
    EXPECT_EQ(host.normalized[1], (RecordingHost::Normalized{}));
    EXPECT_EQ(length, 5u);
}

TEST_F(Normalize, ComparisonIsTheNormalizers) {
    const std::string_view a = "first";
    const std::string_view b = "other text";
    for (const std::int32_t result : {0, -7, 3, INT32_MIN, INT32_MAX}) {
        host.result = result;
        NQStatus status = 1;
        EXPECT_EQ(compare(a, b, 0xFFFFFFFF, &status), result);
        EXPECT_EQ(status, NQ_STATUS_OK);
        EXPECT_EQ(compare(a, b, 0xFFFFFFFF, nullptr), result);
        EXPECT_EQ(host.compared.back(),
                  (RecordingHost::Compared{bytes_of(a), 5, bytes_of(b), 10, 0xFFFFFFFF}));
    }
}

TEST_F(Normalize, EqualityNeedsSuccess) {
    NQStatus status = 1;
    EXPECT_EQ(equal("a", "b", 3, &status), 1);
    EXPECT_EQ(status, NQ_STATUS_OK);
    EXPECT_EQ(host.compared.back().options, 3u);
    EXPECT_EQ(equal("a", "b", 3, nullptr), 1);
    host.result = 1;
    EXPECT_EQ(equal("a", "a", 0, &status), 0);
    host.result = -1;
    EXPECT_EQ(equal("a", "a", 0, &status), 0);
    EXPECT_EQ(status, NQ_STATUS_OK);
    host.result = 0;
    host.status = NQ_STATUS_MALFORMED;
    EXPECT_EQ(equal("a", "a", 0, &status), 0);
    EXPECT_EQ(status, NQ_STATUS_MALFORMED);
    EXPECT_EQ(equal("a", "a", 0, nullptr), 0);
}

TEST_F(Normalize, AFailedComparisonMayStoreNothing) {
    host.status = NQ_STATUS_NO_MEMORY;
    host.stores_result = false;
    NQStatus status = 0;
    EXPECT_EQ(compare("a", "b", 0, &status), 0);
    EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
    host.stores_result = true;
    host.result = -5;
    EXPECT_EQ(compare("a", "b", 0, &status), -5) << "what it stores is handed on";
}

TEST_F(Normalize, ACachedNormalizerIsUsed) {
    host.cache();
    NQStatus status = 1;
    compare("a", "b", 0, &status);
    equal("a", "b", 0, &status);
    NQ_LIBRARY(nqzsu8ICUNormalize)(nullptr, 0, 0, 0, nullptr, 0, nullptr);
    EXPECT_EQ(host.created, 0);
    EXPECT_EQ(host.compared.size(), 2u);
    EXPECT_EQ(host.normalized.size(), 1u);
}

TEST_F(Normalize, WithoutOneItIsCreatedOnce) {
    EXPECT_EQ(equal("a", "a", 0, nullptr), 1);
    EXPECT_EQ(equal("a", "a", 0, nullptr), 1);
    EXPECT_EQ(host.created, 1);
    EXPECT_EQ(host.compared.size(), 2u);
}

// The cache is the host's; what it hands out is used all the same.
TEST_F(Normalize, AHostThatDoesNotCacheIsAskedEachTime) {
    host.caches_normalizer = false;
    host.result = 9;
    EXPECT_EQ(compare("a", "a", 0, nullptr), 9);
    EXPECT_EQ(compare("a", "a", 0, nullptr), 9);
    EXPECT_EQ(host.created, 2);
}

TEST_F(Normalize, AFailedCreationIsReported) {
    for (const NQStatus status : {NQ_STATUS_NO_MEMORY, NQ_STATUS_UNSUPPORTED, 1u, 0xFFFFFFFFu}) {
        host.create_status = status;
        for (const bool stores : {true, false}) {
            host.stores_normalizer = stores;
            expect_none();
        }
    }
    EXPECT_TRUE(host.compared.empty());
    EXPECT_TRUE(host.normalized.empty());
    host.create_status = NQ_STATUS_OK;
    host.stores_normalizer = true;
    EXPECT_EQ(equal("a", "a", 0, nullptr), 1) << "the next call asks again";
}

TEST_F(Normalize, ACreationOfNothingIsAFailure) {
    host.stores_normalizer = false;
    host.caches_normalizer = false;
    expect_none();
}

TEST_F(Normalize, WithoutAUnicodeServiceThereIsNone) {
    host.kernel()->unicode = nullptr;
    expect_none();
    serve(nullptr);
    expect_none();
    EXPECT_EQ(host.created, 0);
}

// The standalone host's service, which is ICU.
class NormalizeStandalone : public Normalize {
  protected:
    NormalizeStandalone() {
        kernel_.unicode = service_.table();
        serve(&kernel_);
    }

  private:
    UnicodeService service_;
    HostKernel kernel_{};
};

TEST_F(NormalizeStandalone, TextsAreNormalized) {
    std::array<std::uint8_t, 16> target{};
    std::uint64_t length = 0;
    const std::string_view text = "A\u030A";
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormalize)(bytes_of(text), text.size(), kNormalFormC, 0,
                                             target.data(), target.size(), &length),
              NQ_STATUS_OK);
    EXPECT_EQ(std::string_view(reinterpret_cast<char*>(target.data()), length), "\u00C5");
    EXPECT_EQ(NQ_LIBRARY(nqzsu8ICUNormalize)(bytes_of(text), text.size(), kNormalFormC, 0,
                                             target.data(), 1, &length),
              NQ_STATUS_BUFFER_TOO_SMALL);
}

TEST_F(NormalizeStandalone, EquivalentTextsAreEqual) {
    NQStatus status = 1;
    EXPECT_EQ(equal("\u00C5", "A\u030A", 0, &status), 1);
    EXPECT_EQ(status, NQ_STATUS_OK);
    EXPECT_EQ(equal("\u00C5", "a\u030A", 0, &status), 0);
    EXPECT_EQ(equal("\u00C5", "a\u030A", kNormalizeIgnoreCase, &status), 1);
    EXPECT_LT(compare("a", "b", 0, &status), 0);
    EXPECT_GT(compare("b", "a", 0, &status), 0);
    EXPECT_EQ(compare("\uFB01", "fi", kCompareCompatibility, &status), 0);
}

TEST_F(NormalizeStandalone, ThreadsMayMakeTheFirstCallAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 200; ++round) {
                EXPECT_EQ(equal("\u00C5", "A\u030A", 0, nullptr), 1);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace nq::test
