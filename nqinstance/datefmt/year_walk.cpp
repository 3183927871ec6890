#include "nqinstance/datefmt/year_walk.hpp"

namespace nq {
namespace {

constexpr const YearWalkBody* kBodies[] = {&year_walk_avx2, &year_walk_generic};

}  // namespace

constinit const YearWalkBody year_walk_generic{
    "generic", [](YearWalk from) noexcept { return finish_walk(from); }};

std::span<const YearWalkBody* const> year_walk_bodies() noexcept {
    __builtin_cpu_init();
    const bool has_avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
    return std::span(kBodies).subspan(has_avx2 ? 0 : 1);
}

}  // namespace nq
