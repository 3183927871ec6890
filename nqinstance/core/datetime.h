#pragma once
#include "nqinstance/host/instance_header.h"
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* The four date and time instances. Seconds are doubles on the system's scale, counted from
 * 1960-01-01T00:00:00. A zone offset is in seconds and counts only with `hasZoneOffset` exactly 1.
 * Nothing checks the fields; months are 1 to 12. A clone's `getDate` is null on purpose: the
 * exported conversion is called directly then. */

typedef struct NQCalendarDate NQCalendarDate;
struct NQCalendarDate {
    InstanceHeader header;
    int32_t month;
    int32_t day;
    int32_t year;
    double (*getDate)(NQCalendarDate* self) NQ_NOEXCEPT;
};

typedef struct NQTime NQTime;
struct NQTime {
    InstanceHeader header;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
    double (*getDate)(NQTime* self) NQ_NOEXCEPT;
    double zoneOffset;
    uint8_t hasZoneOffset;
};

typedef struct NQCalendarDateTime NQCalendarDateTime;
struct NQCalendarDateTime {
    InstanceHeader header;
    int32_t month;
    int32_t day;
    int32_t year;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
    double (*getDate)(NQCalendarDateTime* self) NQ_NOEXCEPT;
    double zoneOffset;
    uint8_t hasZoneOffset;
};

typedef struct NQDateTime {
    InstanceHeader header;
    double value;
    double zoneOffset;
    uint8_t hasZoneOffset;
} NQDateTime;

/* A new instance in `pool`, held once by the caller, with every field zero, or for
 * nqInstanceCreateDateTime the value given. Stores NQ_STATUS_OK; or returns null and stores
 * NQ_STATUS_NO_MEMORY. */
NQ_EXPORT NQCalendarDate* nqInstanceCreateCalendarDate(InstanceApi* api, HostPool* pool,
                                                       NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQTime* nqInstanceCreateTime(InstanceApi* api, HostPool* pool,
                                       NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQCalendarDateTime* nqInstanceCreateCalendarDateTime(InstanceApi* api, HostPool* pool,
                                                               NQStatus* status) NQ_NOEXCEPT;
NQ_EXPORT NQDateTime* nqInstanceCreateDateTime(InstanceApi* api, HostPool* pool, double value,
                                               NQStatus* status) NQ_NOEXCEPT;

/* Stores a copy of the fields, held once by the caller, in `*out`. `pool` is required.
 * NQ_STATUS_NO_MEMORY: `*out` is null. */
NQ_EXPORT NQStatus nqInstanceCalendarDateClone(InstanceHeader* source, HostPool* pool,
                                               uint32_t ignored, InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceTimeClone(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                       InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCalendarDateTimeClone(InstanceHeader* source, HostPool* pool,
                                                   uint32_t ignored,
                                                   InstanceHeader** out) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceDateTimeClone(InstanceHeader* source, HostPool* pool, uint32_t ignored,
                                           InstanceHeader** out) NQ_NOEXCEPT;

/* Destroy hooks, called by the last release only. Always NQ_STATUS_OK. */
NQ_EXPORT NQStatus nqInstanceDateDestroy(InstanceHeader* instance) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceTimeDestroy(InstanceHeader* instance) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceCalendarDateTimeDestroy(InstanceHeader* instance) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqInstanceDateTimeDestroy(InstanceHeader* instance) NQ_NOEXCEPT;

/* Seconds of a calendar date. The current month counts in full, so 1960-01-01 is 2678400; before
 * 1960 the position inside the year counts away from the epoch. Both are on purpose: otherwise the
 * seconds that programs have stored would stand for other dates. Takes time linear in the number of
 * years from 1960: in the order of a second for a billion. */
NQ_EXPORT double nqCalDateGetDate(NQCalendarDate* date) NQ_NOEXCEPT;

/* Seconds of a time of day; the zone offset is added. */
NQ_EXPORT double nqTimeGetDate(NQTime* time) NQ_NOEXCEPT;

/* Seconds of a calendar date and time. Only the months before the current one count, so
 * 1960-01-01T00:00:00 is 0; years before 1960, the zone offset and the time taken as above. */
NQ_EXPORT double nqCalDateTimeGetDate(NQCalendarDateTime* dateTime) NQ_NOEXCEPT;

NQ_END_C

NQ_RECORD(NQCalendarDate, 104);
NQ_FIELD(NQCalendarDate, month, 80);
NQ_FIELD(NQCalendarDate, day, 84);
NQ_FIELD(NQCalendarDate, year, 88);
NQ_FIELD(NQCalendarDate, getDate, 96);
NQ_RECORD(NQTime, 120);
NQ_FIELD(NQTime, hour, 80);
NQ_FIELD(NQTime, minute, 84);
NQ_FIELD(NQTime, second, 88);
NQ_FIELD(NQTime, millisecond, 92);
NQ_FIELD(NQTime, getDate, 96);
NQ_FIELD(NQTime, zoneOffset, 104);
NQ_FIELD(NQTime, hasZoneOffset, 112);
NQ_RECORD(NQCalendarDateTime, 136);
NQ_FIELD(NQCalendarDateTime, month, 80);
NQ_FIELD(NQCalendarDateTime, day, 84);
NQ_FIELD(NQCalendarDateTime, year, 88);
NQ_FIELD(NQCalendarDateTime, hour, 92);
NQ_FIELD(NQCalendarDateTime, minute, 96);
NQ_FIELD(NQCalendarDateTime, second, 100);
NQ_FIELD(NQCalendarDateTime, millisecond, 104);
NQ_FIELD(NQCalendarDateTime, getDate, 112);
NQ_FIELD(NQCalendarDateTime, zoneOffset, 120);
NQ_FIELD(NQCalendarDateTime, hasZoneOffset, 128);
NQ_RECORD(NQDateTime, 104);
NQ_FIELD(NQDateTime, value, 80);
NQ_FIELD(NQDateTime, zoneOffset, 88);
NQ_FIELD(NQDateTime, hasZoneOffset, 96);
