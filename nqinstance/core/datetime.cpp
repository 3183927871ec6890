#include "nqinstance/core/datetime.h"

#include "nqinstance/base/calendar.hpp"
#include "nqinstance/base/modular.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/core/instance.hpp"
#include "nqinstance/core/kinds.hpp"

namespace nq {
namespace {

constexpr double kSecondsPerDay = 86400.0;
constexpr int32_t kEpochYear = 1960;

// Products of integers are 32-bit and wrap for fields far outside their range.
constexpr double product(int32_t count, uint32_t seconds) noexcept {
    return static_cast<int32_t>(wrapping_mul(static_cast<uint32_t>(count), seconds));
}

// Days of the whole years between the epoch and `year`; before 1960 without `year` itself.
double days_of_years(int32_t year) noexcept {
    int64_t days = 0;
    if (year >= kEpochYear) {
        for (int32_t y = kEpochYear; y < year; ++y) days += days_in_year(y);
    } else {
        for (int32_t y = kEpochYear - 1; y > year; --y) days += days_in_year(y);
    }
    return static_cast<double>(days);
}

// Before 1960 all of it counts away from the epoch, on purpose: 1959-12-31 lies farther from it
// than 1959-01-01. Days counted forwards inside the year would change the seconds of those dates.
double calendar_seconds(int32_t year, int32_t month_count, int32_t day) noexcept {
    const double sign = year >= kEpochYear ? 1.0 : -1.0;
    const MonthLengths& lengths = month_lengths(year);
    double seconds = days_of_years(year) * (sign * kSecondsPerDay);
    for (int32_t m = 0; m < month_count && m < 12; ++m) {
        seconds += sign * product(lengths[m], 86400);
    }
    return seconds + sign * (product(day, 86400) - kSecondsPerDay);
}

double clock_seconds(int32_t hour, int32_t minute, int32_t second, int32_t millisecond) noexcept {
    return product(hour, 3600) + product(minute, 60) + second + millisecond / 1000.0;
}

double zone_seconds(double offset, uint8_t has_offset) noexcept {
    return has_offset == 1 ? offset : 0.0;
}

// Copies the fields that the kind has. A clone's getDate stays null.
template <class Instance>
void copy_fields(Instance& to, const Instance& from) noexcept {
    if constexpr (requires { to.year; }) {
        to.month = from.month;
        to.day = from.day;
        to.year = from.year;
    }
    if constexpr (requires { to.hour; }) {
        to.hour = from.hour;
        to.minute = from.minute;
        to.second = from.second;
        to.millisecond = from.millisecond;
    }
    if constexpr (requires { to.value; }) to.value = from.value;
    if constexpr (requires { to.zoneOffset; }) {
        to.zoneOffset = from.zoneOffset;
        to.hasZoneOffset = from.hasZoneOffset;
    }
}

template <class Instance>
NQStatus clone_date(InstanceHeader* source, HostPool* pool, InstanceHeader** out) noexcept {
    Instance* clone;
    NQ_TRY(create_clone(source, pool, out, clone));
    copy_fields(*clone, *reinterpret_cast<Instance*>(source));
    return NQ_STATUS_OK;
}

// What the header of each kind holds: X(name in the operations, record, destroy hook).
#define NQ_DATES(X)                                                            \
    X(CalendarDate, NQCalendarDate, nqInstanceDateDestroy)                     \
    X(Time, NQTime, nqInstanceTimeDestroy)                                     \
    X(CalendarDateTime, NQCalendarDateTime, nqInstanceCalendarDateTimeDestroy) \
    X(DateTime, NQDateTime, nqInstanceDateTimeDestroy)

template <class Instance>
constexpr InstanceKind kDateKind{};
#define NQ_DATE_KIND(Name, Instance, destroy_hook)                                         \
    template <>                                                                            \
    constexpr InstanceKind kDateKind<Instance>{type_name(kKindOf<Instance>), destroy_hook, \
                                               nullptr, nqInstance##Name##Clone};
NQ_DATES(NQ_DATE_KIND)
#undef NQ_DATE_KIND

template <class Instance>
Instance* create_date(InstanceApi* api, HostPool* pool, NQStatus* status) noexcept {
    return create<Instance>(kDateKind<Instance>, api, pool, ALLOC_ZERO_FILL, status);
}

template <class Instance>
Instance* create_calendar(InstanceApi* api, HostPool* pool, decltype(Instance::getDate) get_date,
                          NQStatus* status) noexcept {
    auto* instance = create_date<Instance>(api, pool, status);
    if (instance) instance->getDate = get_date;
    return instance;
}

}  // namespace
}  // namespace nq

NQCalendarDate* nqInstanceCreateCalendarDate(InstanceApi* api, HostPool* pool,
                                             NQStatus* status) noexcept {
    return nq::create_calendar<NQCalendarDate>(api, pool, nqCalDateGetDate, status);
}

NQTime* nqInstanceCreateTime(InstanceApi* api, HostPool* pool, NQStatus* status) noexcept {
    return nq::create_calendar<NQTime>(api, pool, nqTimeGetDate, status);
}

NQCalendarDateTime* nqInstanceCreateCalendarDateTime(InstanceApi* api, HostPool* pool,
                                                     NQStatus* status) noexcept {
    return nq::create_calendar<NQCalendarDateTime>(api, pool, nqCalDateTimeGetDate, status);
}

NQDateTime* nqInstanceCreateDateTime(InstanceApi* api, HostPool* pool, double value,
                                     NQStatus* status) noexcept {
    auto* instance = nq::create_date<NQDateTime>(api, pool, status);
    if (instance) instance->value = value;
    return instance;
}

#define NQ_DATE_OPERATIONS(Name, Instance, destroy_hook)                               \
    NQStatus nqInstance##Name##Clone(InstanceHeader* source, HostPool* pool, uint32_t, \
                                     InstanceHeader** out) noexcept {                  \
        return nq::clone_date<Instance>(source, pool, out);                            \
    }                                                                                  \
    NQStatus destroy_hook(InstanceHeader* instance) noexcept {                         \
        instance->pool->free(instance->pool, instance);                                \
        return NQ_STATUS_OK;                                                           \
    }
NQ_DATES(NQ_DATE_OPERATIONS)
#undef NQ_DATE_OPERATIONS
#undef NQ_DATES

double nqCalDateGetDate(NQCalendarDate* date) noexcept {
    return nq::calendar_seconds(date->year, date->month, date->day);
}

double nqTimeGetDate(NQTime* time) noexcept {
    return nq::clock_seconds(time->hour, time->minute, time->second, time->millisecond) +
           nq::zone_seconds(time->zoneOffset, time->hasZoneOffset);
}

double nqCalDateTimeGetDate(NQCalendarDateTime* both) noexcept {
    const int32_t months_before = both->month > 0 ? both->month - 1 : 0;
    return nq::clock_seconds(both->hour, both->minute, both->second, both->millisecond) +
           nq::calendar_seconds(both->year, months_before, both->day) +
           nq::zone_seconds(both->zoneOffset, both->hasZoneOffset);
}
