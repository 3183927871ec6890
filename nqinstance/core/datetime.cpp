#include "nqinstance/core/datetime.h"

#include <new>

#include "nqinstance/base/calendar.hpp"
#include "nqinstance/base/modular.hpp"
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

// Before 1960 all of it counts away from the epoch: that mirror image is meant.
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

template <class Instance>
Instance* create(const InstanceKind& kind, InstanceApi* api, HostPool* pool,
                 NQStatus* status) noexcept {
    void* block = pool->alloc(pool, sizeof(Instance), ALLOC_ZERO_FILL);
    if (!block) {
        *status = NQ_STATUS_NO_MEMORY;
        return nullptr;
    }
    auto* instance = static_cast<Instance*>(block);
    fill_header(instance->header, kind, api, pool);
    *status = NQ_STATUS_OK;
    return instance;
}

// A block with the header copied and the payload left to the caller, or null and the status.
template <class Instance>
Instance* create_clone(InstanceHeader* source, HostPool* pool, InstanceHeader** out,
                       NQStatus& status) noexcept {
    status = nqInstanceCreateClone(source, pool, sizeof(Instance), out);
    if (status) return nullptr;
    (*out)->pool = pool;
    return reinterpret_cast<Instance*>(*out);
}

template <class Instance>
void copy_zone(Instance& to, const Instance& from) noexcept {
    to.zoneOffset = from.zoneOffset;
    to.hasZoneOffset = from.hasZoneOffset;
}

template <class Instance>
void copy_date(Instance& to, const Instance& from) noexcept {
    to.month = from.month;
    to.day = from.day;
    to.year = from.year;
}

template <class Instance>
void copy_clock(Instance& to, const Instance& from) noexcept {
    to.hour = from.hour;
    to.minute = from.minute;
    to.second = from.second;
    to.millisecond = from.millisecond;
}

NQStatus destroy(InstanceHeader* instance) noexcept {
    instance->pool->free(instance->pool, instance);
    return NQ_STATUS_OK;
}

constexpr InstanceKind kDateKind{type_name(Kind::kCalendarDate), nqInstanceDateDestroy, nullptr,
                                 nqInstanceCalendarDateClone};
constexpr InstanceKind kTimeKind{type_name(Kind::kTime), nqInstanceTimeDestroy, nullptr,
                                 nqInstanceTimeClone};
constexpr InstanceKind kCalendarDateTimeKind{type_name(Kind::kCalendarDateTime),
                                             nqInstanceCalendarDateTimeDestroy, nullptr,
                                             nqInstanceCalendarDateTimeClone};
// This type name really ends in "Name", unlike its siblings.
constexpr InstanceKind kDateTimeKind{type_name(Kind::kDateTime), nqInstanceDateTimeDestroy, nullptr,
                                     nqInstanceDateTimeClone};

}  // namespace
}  // namespace nq

NQCalendarDate* nqInstanceCreateCalendarDate(InstanceApi* api, HostPool* pool,
                                             NQStatus* status) noexcept {
    auto* date = nq::create<NQCalendarDate>(nq::kDateKind, api, pool, status);
    if (date) date->getDate = nqCalDateGetDate;
    return date;
}

NQTime* nqInstanceCreateTime(InstanceApi* api, HostPool* pool, NQStatus* status) noexcept {
    auto* time = nq::create<NQTime>(nq::kTimeKind, api, pool, status);
    if (time) time->getDate = nqTimeGetDate;
    return time;
}

NQCalendarDateTime* nqInstanceCreateCalendarDateTime(InstanceApi* api, HostPool* pool,
                                                     NQStatus* status) noexcept {
    auto* both = nq::create<NQCalendarDateTime>(nq::kCalendarDateTimeKind, api, pool, status);
    if (both) both->getDate = nqCalDateTimeGetDate;
    return both;
}

NQDateTime* nqInstanceCreateDateTime(InstanceApi* api, HostPool* pool, double value,
                                     NQStatus* status) noexcept {
    auto* instance = nq::create<NQDateTime>(nq::kDateTimeKind, api, pool, status);
    if (instance) instance->value = value;
    return instance;
}

NQStatus nqInstanceCalendarDateClone(InstanceHeader* source, HostPool* pool, uint32_t,
                                     InstanceHeader** out) noexcept {
    NQStatus status;
    if (auto* clone = nq::create_clone<NQCalendarDate>(source, pool, out, status)) {
        nq::copy_date(*clone, *reinterpret_cast<NQCalendarDate*>(source));
    }
    return status;
}

NQStatus nqInstanceTimeClone(InstanceHeader* source, HostPool* pool, uint32_t,
                             InstanceHeader** out) noexcept {
    NQStatus status;
    if (auto* clone = nq::create_clone<NQTime>(source, pool, out, status)) {
        const auto& from = *reinterpret_cast<NQTime*>(source);
        nq::copy_clock(*clone, from);
        nq::copy_zone(*clone, from);
    }
    return status;
}

NQStatus nqInstanceCalendarDateTimeClone(InstanceHeader* source, HostPool* pool, uint32_t,
                                         InstanceHeader** out) noexcept {
    NQStatus status;
    if (auto* clone = nq::create_clone<NQCalendarDateTime>(source, pool, out, status)) {
        const auto& from = *reinterpret_cast<NQCalendarDateTime*>(source);
        nq::copy_date(*clone, from);
        nq::copy_clock(*clone, from);
        nq::copy_zone(*clone, from);
    }
    return status;
}

NQStatus nqInstanceDateTimeClone(InstanceHeader* source, HostPool* pool, uint32_t,
                                 InstanceHeader** out) noexcept {
    NQStatus status;
    if (auto* clone = nq::create_clone<NQDateTime>(source, pool, out, status)) {
        const auto& from = *reinterpret_cast<NQDateTime*>(source);
        clone->value = from.value;
        nq::copy_zone(*clone, from);
    }
    return status;
}

NQStatus nqInstanceDateDestroy(InstanceHeader* instance) noexcept { return nq::destroy(instance); }
NQStatus nqInstanceTimeDestroy(InstanceHeader* instance) noexcept { return nq::destroy(instance); }
NQStatus nqInstanceCalendarDateTimeDestroy(InstanceHeader* instance) noexcept {
    return nq::destroy(instance);
}
NQStatus nqInstanceDateTimeDestroy(InstanceHeader* instance) noexcept {
    return nq::destroy(instance);
}

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
