#include "standalone/text/unicode.hpp"

#include <unicode/uchar.h>

#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include "nqinstance/host/status.h"
#include "standalone/text/normalizer.hpp"
#include "standalone/text/special_casing.hpp"

namespace nq {
namespace {

static_assert(kCaseMappingMaximum <= NQ_CASE_MAPPING_UNITS);

// What mapInContext was told, until the mapForLanguage that belongs to it.
struct OfferedContext {
    const HostUnicode* service = nullptr;
    LanguageCode language = kLanguageNone;
    std::uint32_t code_point = 0;
    CasingContext context;
};

constinit thread_local OfferedContext offered;

bool is_code_point(std::uint32_t value) { return value <= UCHAR_MAX_VALUE; }

// The simple mappings of one direction. Every character outside ASCII of every text comes here, so
// rows of 128 code points are looked up in ICU when the first of them is asked for, and kept.
template <UChar32 (*kMap)(UChar32)>
class CaseRows {
  public:
    CaseRows() = default;
    CaseRows(const CaseRows&) = delete;
    CaseRows& operator=(const CaseRows&) = delete;
    ~CaseRows() {
        for (const auto& row : rows_) {
            if (row.load() != &kUnchanged) delete row.load();
        }
    }

    // Inlined into the operations, which then are a few instructions.
    [[gnu::always_inline]] std::uint32_t map(std::uint32_t value) noexcept {
        if (!is_code_point(value)) [[unlikely]]
            return value;
        const Row* row = rows_[value / kRowUnits].load(std::memory_order_acquire);
        if (!row) [[unlikely]]
            return map_first(value);
        // The sum wraps around where the mapping is to a smaller code point.
        return value + (*row)[value % kRowUnits];
    }

  private:
    static constexpr std::uint32_t kRowUnits = 128;
    using Row = std::array<std::uint32_t, kRowUnits>;
    static constexpr Row kUnchanged{};

    static std::uint32_t simple(std::uint32_t code_point) noexcept {
        return static_cast<std::uint32_t>(kMap(static_cast<UChar32>(code_point)));
    }

    // Apart, so that the usual way is short.
    [[gnu::noinline]] std::uint32_t map_first(std::uint32_t value) noexcept {
        add(value / kRowUnits);
        return simple(value);
    }

    // Without memory the row is left for the next time. Two threads may make the same row; one of
    // the two is kept.
    void add(std::uint32_t index) noexcept {
        Row distances;
        for (std::uint32_t i = 0; i < kRowUnits; ++i) {
            const std::uint32_t code_point = index * kRowUnits + i;
            distances[i] = simple(code_point) - code_point;
        }
        const Row* made = &kUnchanged;
        if (distances != kUnchanged) made = new (std::nothrow) Row(distances);
        const Row* present = nullptr;
        const bool kept = rows_[index].compare_exchange_strong(present, made);
        if (!kept && made != &kUnchanged) delete made;
    }

    std::array<std::atomic<const Row*>, (UCHAR_MAX_VALUE + 1) / kRowUnits> rows_{};
};

}  // namespace

struct UnicodeService::Table : HostUnicode {
    CaseRows<u_toupper> upper;
    CaseRows<u_tolower> lower;
    std::mutex creating;
    std::unique_ptr<Normalizer> owned;
};

struct UnicodeService::Operations {
    [[gnu::aligned(64)]] static std::uint32_t to_upper(HostUnicode* self, std::uint32_t code_point,
                                                       std::uint64_t) noexcept {
        return static_cast<Table&>(*self).upper.map(code_point);
    }

    [[gnu::aligned(64)]] static std::uint32_t to_lower(HostUnicode* self, std::uint32_t code_point,
                                                       std::uint64_t) noexcept {
        return static_cast<Table&>(*self).lower.map(code_point);
    }

    static std::int32_t has_property(HostUnicode*, std::uint32_t code_point,
                                     std::uint32_t selector) noexcept {
        if (selector != NQ_PROPERTY_COMBINING || !is_code_point(code_point)) return 0;
        const auto character = static_cast<UChar32>(code_point);
        return (U_GET_GC_MASK(character) & U_GC_M_MASK) != 0 ||
               u_hasBinaryProperty(character, UCHAR_GRAPHEME_EXTEND);
    }

    static NQStatus create_normalizer(HostUnicode* self, HostNormalizer** out,
                                      std::uint64_t) noexcept {
        auto& table = static_cast<Table&>(*self);
        const std::lock_guard lock(table.creating);
        if (!table.owned) {
            NQStatus status = NQ_STATUS_NO_MEMORY;
            std::unique_ptr<Normalizer> made(new (std::nothrow) Normalizer(status));
            if (!made || status != NQ_STATUS_OK) return NQ_STATUS_NO_MEMORY;
            table.owned = std::move(made);
            // Callers look at the word without a lock.
            std::atomic_ref(table.normalizer)
                .store(table.owned->table(), std::memory_order_release);
        }
        *out = table.owned->table();
        return NQ_STATUS_OK;
    }

    static std::int32_t has_special_casing(HostUnicode*, std::uint32_t language) noexcept {
        return language != kLanguageNone;
    }

    static std::int32_t map_for_language(HostUnicode* self, std::uint32_t language,
                                         std::uint32_t code_point, std::uint32_t* out,
                                         std::uint32_t mode) noexcept {
        const bool is_offered = offered.service == self && offered.language == language &&
                                offered.code_point == code_point;
        const CasingContext context = is_offered ? offered.context : CasingContext{};
        offered.service = nullptr;
        const auto direction = static_cast<CaseDirection>(mode);
        if (direction != CaseDirection::lower && direction != CaseDirection::upper) return 0;
        return static_cast<std::int32_t>(
            map_special(language, code_point, context, direction, out));
    }

    static NQStatus map_in_context(HostUnicode* self, std::uint32_t language,
                                   const std::uint32_t* code_points, std::uint64_t count,
                                   std::uint32_t*, std::uint64_t* out_count, void* state,
                                   std::uint64_t) noexcept {
        *out_count = 0;
        if (count == 0) return NQ_STATUS_INVALID_ARGUMENT;
        CasingState before;
        std::memcpy(&before, state, sizeof before);
        const CasingContext context{.before = before,
                                    .next = count > 1 ? code_points[1] : kNoCodePoint};
        offered = {.service = self,
                   .language = language,
                   .code_point = code_points[0],
                   .context = context};
        const CasingState after = advance_casing(context, code_points[0]);
        std::memcpy(state, &after, sizeof after);
        return NQ_STATUS_UNSUPPORTED;
    }

    static NQStatus release(void*) noexcept { return NQ_STATUS_OK; }
};

UnicodeService::UnicodeService() : table_(std::make_unique<Table>()) {
    HostUnicode& table = *table_;
    table = {
        .handle = {.magic = NQ_MAGIC, .name = "standalone unicode", .release = Operations::release},
        .normalizer = nullptr,
        .toUpper = Operations::to_upper,
        .toLower = Operations::to_lower,
        .hasProperty = Operations::has_property,
        .createNormalizer = Operations::create_normalizer,
        .hasSpecialCasing = Operations::has_special_casing,
        .mapForLanguage = Operations::map_for_language,
        .mapInContext = Operations::map_in_context,
    };
}

UnicodeService::~UnicodeService() = default;

HostUnicode* UnicodeService::table() noexcept { return table_.get(); }

}  // namespace nq
