#include <cmath>

#include "nqinstance/base/truncate.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/core/datetime.h"
#include "nqinstance/datefmt/dates.h"
#include "nqinstance/json/writer.hpp"

namespace nq {
namespace {

// The arguments of a format, in their order. A format reads as many of them as it has directives.
class Fields {
  public:
    void add(int64_t value) noexcept { values_[count_++] = value; }

    NQStatus write(JsonWriter& writer, Lead lead, const Format& format) const noexcept {
        const auto& v = values_;
        return writer.write_formatted(lead, &format, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7],
                                      v[8], v[9]);
    }

  private:
    std::array<int64_t, 10> values_{};
    std::size_t count_ = 0;
};

struct Clock {
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
};

struct Zone {
    char sign = '+';
    int32_t hours = 0;
    int32_t minutes = 0;
};

struct Moment {
    int32_t year;
    int32_t month;
    int32_t day;
    Clock clock;
    bool has_zone;
    Zone zone;  // only with has_zone
};

// The seconds of an offset are dropped. A time splits its offset as it is; the other kinds truncate
// theirs first, which shows where it is beyond 32 bits.
Zone split_zone(double offset, double magnitude) noexcept {
    Zone zone{.sign = offset < 0.0 ? '-' : '+'};
    nqzdhms(magnitude, &zone.hours, &zone.minutes, nullptr);
    return zone;
}

Zone split_whole_zone(double offset) noexcept {
    return split_zone(offset, std::fabs(truncate_int32(offset)));
}

// [has milliseconds][has zone]
constexpr Format kTimeFormats[2][2] = {
    {"%02d:%02d:%02d", "%02d:%02d:%02d%c%02d%02d"},
    {"%02d:%02d:%02d.%03d", "%02d:%02d:%02d.%03d%c%02d%02d"},
};

// [has milliseconds][without zone, zone of whole hours, zone with minutes]
struct MomentFormats {
    Format formats[2][3];
};

constexpr MomentFormats kMomentFormats{{
    {"%d-%02d-%02dT%02d:%02d:%02d", "%d-%02d-%02dT%02d:%02d:%02d%c%02d",
     "%d-%02d-%02dT%02d:%02d:%02d%c%02d%02d"},
    {"%d-%02d-%02dT%02d:%02d:%02d.%03d", "%d-%02d-%02dT%02d:%02d:%02d.%03d%c%02d",
     "%d-%02d-%02dT%02d:%02d:%02d.%03d%c%02d%02d"},
}};

consteval MomentFormats quoted(MomentFormats from) {
    for (auto& row : from.formats) {
        for (Format& format : row) format = format.quoted();
    }
    return from;
}

constexpr MomentFormats kQuotedMomentFormats = quoted(kMomentFormats);
constexpr Format kCalendarDateFormat = Format("%d-%02d-%02d").quoted();

void add_clock(Fields& fields, const Clock& clock) noexcept {
    fields.add(clock.hour);
    fields.add(clock.minute);
    fields.add(clock.second);
    if (clock.millisecond) fields.add(clock.millisecond);
}

void add_zone(Fields& fields, const Zone& zone) noexcept {
    fields.add(zone.sign);
    fields.add(zone.hours);
    fields.add(zone.minutes);
}

template <class Instance>
Clock clock_of(const Instance& instance) noexcept {
    return {instance.hour, instance.minute, instance.second, instance.millisecond};
}

NQStatus write_moment(JsonWriter& writer, Lead lead, const MomentFormats& formats,
                      const Moment& moment) noexcept {
    Fields fields;
    fields.add(moment.year);
    fields.add(moment.month);
    fields.add(moment.day);
    add_clock(fields, moment.clock);
    if (moment.has_zone) add_zone(fields, moment.zone);
    const int zone_style = moment.has_zone ? (moment.zone.minutes ? 2 : 1) : 0;
    return fields.write(writer, lead, formats.formats[moment.clock.millisecond != 0][zone_style]);
}

// Any flag but 0 counts here, on purpose: a zone whose flag is 2 is written, though the conversions
// to seconds, which want 1, leave it out.
bool has_nonzero_zone(double offset, uint8_t flag) noexcept { return flag && offset != 0.0; }

}  // namespace

NQStatus write_time(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept {
    const auto& time = *reinterpret_cast<NQTime*>(instance);
    const bool has_zone = has_nonzero_zone(time.zoneOffset, time.hasZoneOffset);
    Fields fields;
    add_clock(fields, clock_of(time));
    if (has_zone) add_zone(fields, split_zone(time.zoneOffset, std::fabs(time.zoneOffset)));

    NQ_TRY(writer.indent_value(in_dictionary));
    NQ_TRY(writer.write("\""));
    const Format& format = kTimeFormats[time.millisecond != 0][has_zone];
    NQ_TRY(fields.write(writer, Lead::kNothing, format));
    return writer.write("\"");
}

NQStatus write_calendar_date(JsonWriter& writer, InstanceHeader* instance,
                             bool in_dictionary) noexcept {
    const auto& date = *reinterpret_cast<NQCalendarDate*>(instance);
    Fields fields;
    fields.add(date.year);
    fields.add(date.month);
    fields.add(date.day);
    NQ_TRY(writer.indent_value(in_dictionary));
    return fields.write(writer, Lead::kNothing, kCalendarDateFormat);
}

NQStatus write_date_time(JsonWriter& writer, InstanceHeader* instance,
                         bool in_dictionary) noexcept {
    const auto& date_time = *reinterpret_cast<NQDateTime*>(instance);
    Moment moment{};
    nqzdmdy(date_time.value, &moment.month, &moment.day, &moment.year, nullptr);
    nqzdhms(date_time.value, &moment.clock.hour, &moment.clock.minute, &moment.clock.second);
    double whole;
    moment.clock.millisecond = truncate_int32(std::modf(date_time.value, &whole) * 1000.0);
    moment.has_zone = has_nonzero_zone(date_time.zoneOffset, date_time.hasZoneOffset);
    if (moment.has_zone) moment.zone = split_whole_zone(date_time.zoneOffset);

    NQ_TRY(writer.indent_value(in_dictionary));
    return write_moment(writer, Lead::kNothing, kQuotedMomentFormats, moment);
}

NQStatus write_calendar_date_time(JsonWriter& writer, InstanceHeader* instance,
                                  bool in_dictionary) noexcept {
    const auto& both = *reinterpret_cast<NQCalendarDateTime*>(instance);
    Moment moment{.year = both.year,
                  .month = both.month,
                  .day = both.day,
                  .clock = clock_of(both),
                  .has_zone = both.hasZoneOffset != 0,
                  .zone = {}};
    if (moment.has_zone) moment.zone = split_whole_zone(both.zoneOffset);

    const Lead lead = in_dictionary ? Lead::kQuote : Lead::kIndentedQuote;
    NQ_TRY(write_moment(writer, lead, kMomentFormats, moment));
    return writer.write("\"");
}

}  // namespace nq
