#include "nqinstance/datefmt/year_walk.hpp"

namespace nq {
namespace {

constexpr const YearWalkBody* kBodies[] = {
#if defined(__x86_64__)
    &year_walk_avx2,
#endif
    &year_walk_generic};

}  // namespace

constinit const YearWalkBody year_walk_generic{
    "generic", [](YearWalk from) noexcept { return finish_walk(from); }};

constinit BodyChoice<YearWalkBody> year_walk_in_use;

std::span<const YearWalkBody* const> year_walk_bodies() noexcept {
    return has_avx2() ? std::span(kBodies) : std::span(kBodies).last(1);
}

const YearWalkBody& choose_year_walk() noexcept {
    return year_walk_in_use.choose(year_walk_bodies());
}

}  // namespace nq
