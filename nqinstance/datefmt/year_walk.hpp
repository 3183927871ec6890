#pragma once
#include <span>

#include "nqinstance/base/calendar.hpp"
#include "nqinstance/base/cpu.hpp"

namespace nq {

// The year after INT32_MAX is INT32_MIN.
constexpr int32_t years_later(int32_t year, uint32_t count) noexcept {
    return static_cast<int32_t>(int64_t{year} + count);
}

// A place in the walk over the years: days left to go from the first day of `year`.
struct YearWalk {
    int64_t days_left;
    int32_t year;
};

// The loop worth a SIMD body. The generic body defines the answer; every other body gives the same
// place once finish_walk has ended it.
struct YearWalkBody {
    const char* name;
    // Walks past years for as long as the days left surely reach beyond them; may stop early.
    YearWalk (*walk)(YearWalk from) noexcept;
};

// Declared as hidden: else each use in another file would load the address from the global offset
// table first.
#pragma GCC visibility push(hidden)

extern const YearWalkBody year_walk_generic;
#if defined(__x86_64__)
extern const YearWalkBody year_walk_avx2;
#endif

extern BodyChoice<YearWalkBody> year_walk_in_use;

#pragma GCC visibility pop

// The bodies this CPU can run, best first; the last is always the generic one.
std::span<const YearWalkBody* const> year_walk_bodies() noexcept;

const YearWalkBody& choose_year_walk() noexcept;

inline const YearWalkBody& year_walk_body() noexcept {
    const YearWalkBody* chosen = year_walk_in_use.in_use();
    return chosen ? *chosen : choose_year_walk();
}

// Walks the rest, year by year, to the first year that the days left do not reach beyond.
inline YearWalk finish_walk(YearWalk at) noexcept {
    for (int32_t length = days_in_year(at.year); at.days_left >= length;
         length = days_in_year(at.year)) {
        at.days_left -= length;
        at.year = years_later(at.year, 1);
    }
    return at;
}

}  // namespace nq
