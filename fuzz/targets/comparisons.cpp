// The comparisons of two texts: every body answers as the slow model does, behind the standalone
// host's Unicode service.
#include "fuzz/support/input.hpp"
#include "fuzz/support/unicode_host.hpp"
#include "nqinstance/text/case_mapping.h"
#include "nqinstance/text/compare.h"
#include "nqinstance/text/memory.h"
#include "tests/text/compare_model.hpp"

namespace nq::fuzz {
namespace {

namespace model = test::model;

std::string_view view(const Bytes& text) {
    return {reinterpret_cast<const char*>(text.data()), text.size()};
}

model::Units units_of(const Bytes& text) {
    model::Units units;
    for (std::size_t at = 0; at < text.size();) {
        const model::Read read = model::read_utf8(text.data() + at, text.size() - at);
        units.push_back(read.code_point);
        at += read.consumed;
    }
    return units;
}

// The built-in tables, which have tests of their own, without the host.
NQChar lower_by_tables(NQChar unit) {
    if (unit >= 0x10000) return unit;
    HostKernel* const kernel = Exported_NQHandle;
    Exported_NQHandle = nullptr;
    nqzstlo(&unit, 1);
    Exported_NQHandle = kernel;
    return unit;
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    UnicodeHost& host = unicode_host();
    Input input(data, size);
    const std::uint32_t split = input.number();
    const Bytes a = input.text(split % (input.left() + 1));
    const Bytes b = input.rest();
    const auto ask = [&](auto compare) {
        return in_all_bodies([&] { return compare(a.data(), a.size(), b.data(), b.size()); });
    };
    const auto lower = [&host](NQChar code_point) { return host.lower(code_point); };
    NQ_REQUIRE(ask(nqzsu8Compare) == model::compare(view(a), view(b)));
    NQ_REQUIRE(ask(nqzsu8NormCompare) == model::norm_compare(view(a), view(b), lower));
    NQ_REQUIRE(ask(nqzsu8NormEqual) == model::norm_equal(view(a), view(b), lower));
    NQ_REQUIRE(ask(nqzsu8NormASCIIEqual) == model::ascii_equal(view(a), view(b)));

    const std::size_t shorter = std::min(a.size(), b.size());
    NQ_REQUIRE(in_all_bodies([&] { return mwMemCmp(a.data(), b.data(), shorter); }) ==
               model::compare(view(a).substr(0, shorter), view(b).substr(0, shorter)));

    const model::Units units_a = units_of(a);
    const model::Units units_b = units_of(b);
    NQ_REQUIRE(in_all_bodies([&] {
                   return nqzsncmp(units_a.data(), static_cast<std::int64_t>(units_a.size()),
                                   units_b.data(), static_cast<std::int64_t>(units_b.size()));
               }) == model::units_compare(units_a, units_b, lower_by_tables));
    NQ_REQUIRE(in_all_bodies([&] {
                   return nqzseqn(units_a.data(), units_a.size(), units_b.data(), units_b.size());
               }) == model::units_equal(units_a, units_b, lower_by_tables));
    return 0;
}
