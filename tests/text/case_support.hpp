#pragma once
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "nqinstance/host/kernel.h"
#include "tests/text/kernels/bodies.hpp"

namespace nq::test {

using Units = std::vector<NQChar>;

// A Unicode service that does what the test says and writes down what it was asked.
class ScriptedUnicode {
  public:
    static constexpr std::uint32_t kLanguage = 0x7878;  // "xx"

    std::map<NQChar, NQChar> upper;
    std::map<NQChar, NQChar> lower;
    bool has_rules = true;
    // By mode and code point; what is longer than a mapping may be is only announced.
    std::map<std::pair<std::uint32_t, NQChar>, Units> by_language;

    struct Context {
        Units code_points;
        std::uint64_t state;
        bool operator==(const Context&) const = default;
    };
    // The status, the mapping and the state of each context mapping; none by default.
    std::function<NQStatus(const Context&, Units&, std::uint64_t&)> in_context;

    std::vector<Context> contexts;
    std::vector<NQChar> asked_simply;
    std::vector<std::uint32_t> languages;

    ScriptedUnicode() {
        table_.service.handle = {.magic = NQ_MAGIC, .name = "scripted", .release = nullptr};
        table_.service.toUpper = [](HostUnicode* self, std::uint32_t code_point,
                                    std::uint64_t one) noexcept {
            return of(self).map_simply(of(self).upper, code_point, one);
        };
        table_.service.toLower = [](HostUnicode* self, std::uint32_t code_point,
                                    std::uint64_t one) noexcept {
            return of(self).map_simply(of(self).lower, code_point, one);
        };
        table_.service.hasSpecialCasing = [](HostUnicode* self, std::uint32_t language) noexcept {
            of(self).languages.push_back(language);
            return static_cast<std::int32_t>(of(self).has_rules);
        };
        table_.service.mapForLanguage = [](HostUnicode* self, std::uint32_t language,
                                           std::uint32_t code_point, std::uint32_t* out,
                                           std::uint32_t mode) noexcept {
            of(self).languages.push_back(language);
            const auto found = of(self).by_language.find({mode, code_point});
            if (found == of(self).by_language.end()) return std::int32_t{-1};
            return static_cast<std::int32_t>(deliver(found->second, out));
        };
        table_.service.mapInContext = [](HostUnicode* self, std::uint32_t language,
                                         const std::uint32_t* code_points, std::uint64_t count,
                                         std::uint32_t* out, std::uint64_t* out_count, void* state,
                                         std::uint64_t one) noexcept {
            EXPECT_EQ(one, 1u);
            of(self).languages.push_back(language);
            auto& word = *static_cast<std::uint64_t*>(state);
            const Context context{Units(code_points, code_points + count), word};
            of(self).contexts.push_back(context);
            if (!of(self).in_context) return NQStatus{NQ_STATUS_UNSUPPORTED};
            Units mapped;
            const NQStatus status = of(self).in_context(context, mapped, word);
            *out_count = deliver(mapped, out);
            return status;
        };
    }

    HostUnicode* table() { return &table_.service; }

  private:
    struct Table {
        HostUnicode service{};
        ScriptedUnicode* owner;
    };

    static ScriptedUnicode& of(HostUnicode* self) { return *reinterpret_cast<Table*>(self)->owner; }

    NQChar map_simply(const std::map<NQChar, NQChar>& mappings, NQChar code_point,
                      std::uint64_t one) {
        EXPECT_EQ(one, 1u);
        asked_simply.push_back(code_point);
        const auto found = mappings.find(code_point);
        return found == mappings.end() ? code_point : found->second;
    }

    static std::uint64_t deliver(const Units& mapped, std::uint32_t* out) {
        std::copy_n(mapped.begin(), std::min<std::size_t>(mapped.size(), NQ_CASE_MAPPING_UNITS),
                    out);
        return mapped.size();
    }

    Table table_{{}, this};
};

// A library, and linked bodies, whose host has the given kernel.
inline void set_kernel(HostKernel* kernel) {
    Exported_NQHandle = kernel;
    *static_cast<HostKernel**>(library_symbol("Exported_NQHandle")) = kernel;
}

// Tests with a host behind that has a scripted Unicode service.
class CaseBody : public TextBody {
  protected:
    void SetUp() override {
        TextBody::SetUp();
        kernel.unicode = unicode.table();
        set_kernel(&kernel);
    }
    void TearDown() override {
        set_kernel(nullptr);
        TextBody::TearDown();
    }

    ScriptedUnicode unicode;
    HostKernel kernel{};
};

}  // namespace nq::test
