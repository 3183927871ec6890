#include <cstring>
#include <string>
#include <type_traits>

#include "nqinstance/core/api.h"
#include "nqinstance/text/memory.h"
#include "tests/fault/cases.hpp"

namespace nq::test {
namespace {

// The entry reports every failure by a null table.
class Entry : public Operation {
  public:
    explicit Entry(bool with_version) : with_version_(with_version) {}

    bool needs_library() const override { return false; }
    void prepare(CheckingHost& host) override {
        if (with_version_) {
            std::uint64_t major = 0;
            std::uint64_t minor = 0;
            NQ_LIBRARY(nqextver)(host.kernel(), &major, &minor);
        } else {
            NQ_LIBRARY(nqextent)(host.kernel());
        }
    }
    NQStatus call(CheckingHost& host) override {
        api_ = NQ_LIBRARY(nqinstance)(host.kernel());
        return api_ ? NQ_STATUS_OK : kNullResult;
    }
    std::string result(CheckingHost& host) override {
        const HostState state = host.state();
        return api_->pool->name + std::string(" ") + std::to_string(state.registrations);
    }
    void drop_result(CheckingHost&) override { api_->realDestroy(api_); }
    NQStatus status_for(const FailedCall& failed) const override {
        return gives_back(failed.call) ? NQ_STATUS_OK : kNullResult;
    }

  private:
    const bool with_version_;
    InstanceApi* api_ = nullptr;
};

// The end of the table takes no notice of failures.
class RealDestroy : public Operation {
  public:
    bool needs_library() const override { return false; }
    void prepare(CheckingHost& host) override {
        NQ_LIBRARY(nqextent)(host.kernel());
        api_ = NQ_LIBRARY(nqinstance)(host.kernel());
    }
    NQStatus call(CheckingHost&) override { return NQ_LIBRARY(realDestroy)(api_); }

  private:
    InstanceApi* api_ = nullptr;
};

// Creation of an instance by `make(api, pool, &status)`; `show` tells its value.
template <class Make, class Show>
class Create : public Operation {
  public:
    Create(Make make, Show show) : make_(make), show_(show) {}

    NQStatus call(CheckingHost& host) override {
        NQStatus status = 0x1234;
        instance_ = make_(host.api(), host.pool(), &status);
        return status;
    }
    std::string result(CheckingHost&) override {
        return reinterpret_cast<InstanceHeader*>(instance_)->typeName + std::string(" ") +
               show_(instance_);
    }
    std::string check_failure(const Round&) override {
        return instance_ ? "an instance in spite of the failure" : "";
    }
    void drop_result(CheckingHost&) override { release(instance_); }

  private:
    Make make_;
    Show show_;
    std::invoke_result_t<Make, InstanceApi*, HostPool*, NQStatus*> instance_{};
};

template <class Make, class Show>
SweepCase create_case(const char* name, Make make, Show show) {
    return {name, {name}, made_of<Create<Make, Show>>(make, show)};
}

template <class Create, class Value>
SweepCase scalar_case(const char* name, Create create, Value value) {
    return create_case(
        name,
        [=](InstanceApi* api, HostPool* pool, NQStatus* status) {
            return create(api, pool, value, status);
        },
        [](auto* instance) { return std::to_string(instance->value); });
}

template <class Create, class Show>
SweepCase date_case(const char* name, Create create, Show show) {
    return create_case(
        name,
        [=](InstanceApi* api, HostPool* pool, NQStatus* status) {
            return create(api, pool, status);
        },
        show);
}

using CloneFunction = NQStatus (*)(InstanceHeader*, HostPool*, std::uint32_t,
                                   InstanceHeader**) noexcept;
using Source = std::function<InstanceHeader*(CheckingHost&)>;

// A clone of what `source` makes. `out` holds a pattern before the call.
class Clone : public Operation {
  public:
    Clone(CloneFunction clone, std::uint64_t size, Source source)
        : clone_(clone), size_(size), source_of_(std::move(source)) {}

    void prepare(CheckingHost& host) override { source_ = source_of_(host); }
    NQStatus call(CheckingHost& host) override {
        clone_made_ = source_;
        return clone_(source_, host.pool(), 0, &clone_made_);
    }
    std::string result(CheckingHost&) override {
        // The payload without pointers into this round's pool.
        std::string text = clone_made_->typeName;
        if (text == "NQData") {
            const auto* data = reinterpret_cast<NQData*>(clone_made_);
            return text + std::string(reinterpret_cast<const char*>(data->bytes), data->length);
        }
        const auto* payload =
            reinterpret_cast<const unsigned char*>(clone_made_) + sizeof(InstanceHeader);
        for (std::uint64_t i = sizeof(InstanceHeader); i < size_; ++i) {
            text += ' ' + std::to_string(*payload++);
        }
        return text;
    }
    std::string check_failure(const Round&) override {
        return clone_made_ ? "the clone is not null" : "";
    }
    void drop_result(CheckingHost&) override { release(clone_made_); }
    void clean_up(CheckingHost&) override { release(source_); }

  private:
    CloneFunction clone_;
    std::uint64_t size_;
    Source source_of_;
    InstanceHeader* source_ = nullptr;
    InstanceHeader* clone_made_ = nullptr;
};

SweepCase clone_case(const char* name, CloneFunction clone, std::uint64_t size, Source source) {
    return {name, {name}, made_of<Clone>(clone, size, source)};
}

// Makes an instance with the library's own create operation.
template <class Create, class... Value>
Source made_by(Create create, Value... value) {
    return [=](CheckingHost& host) {
        NQStatus status;
        return reinterpret_cast<InstanceHeader*>(
            create(host.api(), host.pool(), value..., &status));
    };
}

// cloneInstance refuses whatever the host does.
class RefusingClone : public Operation {
  public:
    NQStatus call(CheckingHost& host) override {
        return NQ_LIBRARY(cloneInstance)(nullptr, host.pool(), 0, nullptr);
    }
    NQStatus normal_status() const override { return NQ_STATUS_UNSUPPORTED; }
};

// The step that all clone operations share.
class CreateClone : public Operation {
  public:
    void prepare(CheckingHost& host) override {
        NQStatus status;
        source_ = &NQ_LIBRARY(nqInstanceCreateInt32)(host.api(), host.pool(), 7, &status)->header;
    }
    NQStatus call(CheckingHost& host) override {
        made_ = source_;
        return NQ_LIBRARY(nqInstanceCreateClone)(source_, host.pool(), 200, &made_);
    }
    std::string result(CheckingHost&) override {
        return made_->typeName + std::to_string(made_->refCount);
    }
    std::string check_failure(const Round&) override { return made_ ? "*out is not null" : ""; }
    void drop_result(CheckingHost& host) override { host.checked_pool().give(made_); }
    void clean_up(CheckingHost&) override { release(source_); }

  private:
    InstanceHeader* source_ = nullptr;
    InstanceHeader* made_ = nullptr;
};

NQData* make_data(CheckingHost& host, std::string_view bytes) {
    NQStatus status;
    return NQ_LIBRARY(nqDataCreate)(host.api(), host.pool(), bytes.data(), bytes.size(), 1, 0,
                                    &status);
}

class CreateData : public Operation {
  public:
    enum class Source { kCopy, kBorrow, kTakeOver };
    explicit CreateData(Source kind) : kind_(kind) {}

    void prepare(CheckingHost& host) override {
        bytes_ = static_cast<char*>(host.checked_pool().take(5, false, BlockKind::kPlain));
        std::memcpy(bytes_, "bytes", 5);
    }
    NQStatus call(CheckingHost& host) override {
        NQStatus status = 0x1234;
        data_ = NQ_LIBRARY(nqDataCreate)(host.api(), host.pool(), bytes_, 5, kind_ == Source::kCopy,
                                         kind_ == Source::kTakeOver, &status);
        return status;
    }
    std::string result(CheckingHost&) override {
        return {reinterpret_cast<const char*>(data_->bytes), data_->length};
    }
    std::string check_failure(const Round&) override {
        return data_ ? "an instance in spite of the failure" : "";
    }
    void drop_result(CheckingHost&) override {
        release(data_);
        if (kind_ == Source::kTakeOver) bytes_ = nullptr;
    }
    void clean_up(CheckingHost& host) override {
        if (bytes_) host.checked_pool().give(bytes_);
    }

  private:
    const Source kind_;
    char* bytes_ = nullptr;
    NQData* data_ = nullptr;
};

class ResizeData : public Operation {
  public:
    ResizeData(std::uint64_t capacity, std::uint8_t zero_fill)
        : capacity_(capacity), zero_fill_(zero_fill) {}

    void prepare(CheckingHost& host) override {
        data_ = make_data(host, "content");
        old_bytes_ = data_->bytes;
    }
    NQStatus call(CheckingHost&) override {
        return NQ_LIBRARY(nqDataResize)(data_, capacity_, zero_fill_);
    }
    std::string result(CheckingHost&) override {
        return std::string(reinterpret_cast<const char*>(data_->bytes), data_->capacity);
    }
    std::string check_failure(const Round&) override {
        const bool same = data_->bytes == old_bytes_ && data_->capacity == 7 && data_->length == 7;
        return same ? "" : "the blob has changed";
    }
    void clean_up(CheckingHost&) override { release(data_); }

  private:
    const std::uint64_t capacity_;
    const std::uint8_t zero_fill_;
    NQData* data_ = nullptr;
    std::uint8_t* old_bytes_ = nullptr;
};

class EncodeData : public Operation {
  public:
    explicit EncodeData(bool for_url) : for_url_(for_url) {}

    void prepare(CheckingHost& host) override { data_ = make_data(host, "\xFB\xFF\xFE?>"); }
    NQStatus call(CheckingHost&) override {
        out_ = kUntouched;
        const auto encode =
            for_url_ ? NQ_LIBRARY(nqDataEncodeBase64URLU8) : NQ_LIBRARY(nqDataEncodeBase64U8);
        return encode(data_, &out_, 0, 0);
    }
    std::string result(CheckingHost&) override { return text_of(out_); }
    std::string check_failure(const Round&) override {
        return out_ == kUntouched ? "" : "*out was changed";
    }
    void drop_result(CheckingHost&) override { release(out_); }
    void clean_up(CheckingHost&) override { release(data_); }

  private:
    static inline NQU8String* const kUntouched = reinterpret_cast<NQU8String*>(0x10);
    const bool for_url_;
    NQData* data_ = nullptr;
    NQU8String* out_ = nullptr;
};

// A blob's destroy hook answers with the pool's status of the free; the blob is empty, so that it
// is the only one.
class DestroyData : public Operation {
  public:
    void prepare(CheckingHost& host) override { data_ = make_data(host, {}); }
    NQStatus call(CheckingHost&) override { return NQ_LIBRARY(nqDataDestroy)(&data_->header); }
    NQStatus status_for(const FailedCall& failed) const override { return failed.status; }

  private:
    NQData* data_ = nullptr;
};

// The last release of an instance: always 0, and all is given back.
class LastRelease : public Operation {
  public:
    explicit LastRelease(Source source) : source_of_(std::move(source)) {}

    void prepare(CheckingHost& host) override { instance_ = source_of_(host); }
    NQStatus call(CheckingHost&) override { return NQ_LIBRARY(nqInstanceDestroy)(instance_); }

  private:
    Source source_of_;
    InstanceHeader* instance_ = nullptr;
};

class MemDup : public Operation {
  public:
    NQStatus call(CheckingHost& host) override {
        copy_ = static_cast<char*>(NQ_LIBRARY(mwMemDup)("copy me", 7, host.pool()));
        return copy_ ? NQ_STATUS_OK : kNullResult;
    }
    NQStatus status_for(const FailedCall& failed) const override {
        return gives_back(failed.call) ? NQ_STATUS_OK : kNullResult;
    }
    std::string result(CheckingHost&) override { return {copy_, 7}; }
    void drop_result(CheckingHost& host) override { host.checked_pool().give(copy_); }

  private:
    char* copy_ = nullptr;
};

InstanceHeader* make_time(CheckingHost& host) {
    NQStatus status;
    NQTime* time = NQ_LIBRARY(nqInstanceCreateTime)(host.api(), host.pool(), &status);
    time->hour = 12;
    time->minute = 30;
    time->millisecond = 250;
    time->zoneOffset = -3600;
    time->hasZoneOffset = 1;
    return &time->header;
}

InstanceHeader* make_date(CheckingHost& host) {
    NQStatus status;
    NQCalendarDate* date =
        NQ_LIBRARY(nqInstanceCreateCalendarDate)(host.api(), host.pool(), &status);
    date->month = 2;
    date->day = 29;
    date->year = 2000;
    return &date->header;
}

InstanceHeader* make_date_time(CheckingHost& host) {
    NQStatus status;
    NQCalendarDateTime* both =
        NQ_LIBRARY(nqInstanceCreateCalendarDateTime)(host.api(), host.pool(), &status);
    both->month = 12;
    both->year = 1959;
    both->second = 59;
    both->zoneOffset = 19800;
    both->hasZoneOffset = 1;
    return &both->header;
}

InstanceHeader* make_handle_around(CheckingHost& host) {
    NQStatus status;
    NQU8String* inner = host.string("wrapped");
    auto* handle = NQ_LIBRARY(nqInstanceHandleCreate)(host.api(), host.pool(),
                                                      reinterpret_cast<NQHandle*>(inner), &status);
    return &handle->header;
}

std::string no_value(const void*) { return {}; }

}  // namespace

std::vector<SweepCase> entry_cases() {
    return {{"entry after nqextent", {"nqinstance"}, made_of<Entry>(false)},
            {"entry after nqextver", {"nqinstance"}, made_of<Entry>(true)},
            {"realDestroy", {"realDestroy"}, made_of<RealDestroy>()}};
}

#define NQ_SCALAR_CASE(name, value) scalar_case(#name, NQ_LIBRARY(name), value)
#define NQ_CLONE_CASE(name, type, source) clone_case(#name, NQ_LIBRARY(name), sizeof(type), source)

std::vector<SweepCase> instance_cases() {
    return {
        create_case(
            "nqInstanceHandleCreate",
            [](InstanceApi* api, HostPool* pool, NQStatus* status) {
                return NQ_LIBRARY(nqInstanceHandleCreate)(api, pool, nullptr, status);
            },
            no_value),
        NQ_SCALAR_CASE(nqInstanceCreateBoolean, std::uint8_t{1}),
        NQ_SCALAR_CASE(nqInstanceCreateInt32, -7),
        NQ_SCALAR_CASE(nqInstanceCreateInt64, std::int64_t{-1} << 40),
        NQ_SCALAR_CASE(nqInstanceCreateUInt32, 4000000000u),
        NQ_SCALAR_CASE(nqInstanceCreateUInt64, std::uint64_t{1} << 63),
        NQ_SCALAR_CASE(nqInstanceCreateDouble, 2.5),
        NQ_SCALAR_CASE(nqInstanceCreateNQChar, NQChar{0x20AC}),
        NQ_SCALAR_CASE(nqInstanceCreateDateTime, 86400.5),
        date_case("nqInstanceCreateCalendarDate", NQ_LIBRARY(nqInstanceCreateCalendarDate),
                  no_value),
        date_case("nqInstanceCreateTime", NQ_LIBRARY(nqInstanceCreateTime), no_value),
        date_case("nqInstanceCreateCalendarDateTime", NQ_LIBRARY(nqInstanceCreateCalendarDateTime),
                  no_value),
        NQ_CLONE_CASE(nqInstanceCloneBoolean, NQBooleanInstance,
                      made_by(NQ_LIBRARY(nqInstanceCreateBoolean), std::uint8_t{1})),
        NQ_CLONE_CASE(nqInstanceCloneInt32, NQInt32Instance,
                      made_by(NQ_LIBRARY(nqInstanceCreateInt32), -9)),
        NQ_CLONE_CASE(nqInstanceCloneInt64, NQInt64Instance,
                      made_by(NQ_LIBRARY(nqInstanceCreateInt64), std::int64_t{-9})),
        NQ_CLONE_CASE(nqInstanceCloneUInt32, NQUInt32Instance,
                      made_by(NQ_LIBRARY(nqInstanceCreateUInt32), 9u)),
        NQ_CLONE_CASE(nqInstanceCloneUInt64, NQUInt64Instance,
                      made_by(NQ_LIBRARY(nqInstanceCreateUInt64), std::uint64_t{9})),
        NQ_CLONE_CASE(nqInstanceCloneDouble, NQDoubleInstance,
                      made_by(NQ_LIBRARY(nqInstanceCreateDouble), -0.5)),
        NQ_CLONE_CASE(nqInstanceCloneNQChar, NQCharInstance,
                      made_by(NQ_LIBRARY(nqInstanceCreateNQChar), NQChar{65})),
        NQ_CLONE_CASE(nqInstanceCalendarDateClone, NQCalendarDate, make_date),
        NQ_CLONE_CASE(nqInstanceTimeClone, NQTime, make_time),
        NQ_CLONE_CASE(nqInstanceCalendarDateTimeClone, NQCalendarDateTime, make_date_time),
        NQ_CLONE_CASE(nqInstanceDateTimeClone, NQDateTime,
                      made_by(NQ_LIBRARY(nqInstanceCreateDateTime), -1.5)),
        {"nqInstanceCreateClone", {"nqInstanceCreateClone"}, made_of<CreateClone>()},
        {"cloneInstance", {"cloneInstance"}, made_of<RefusingClone>()},
        {"last release of a scalar",
         {"nqInstanceDestroy", "nqHandleNumericDestroy"},
         made_of<LastRelease>(made_by(NQ_LIBRARY(nqInstanceCreateInt32), 1))},
        {"last release of a wrapped handle",
         {"nqHandleInstanceDestroy"},
         made_of<LastRelease>(make_handle_around)},
        {"last release of a calendar date",
         {"nqInstanceDateDestroy"},
         made_of<LastRelease>(make_date)},
        {"last release of a time", {"nqInstanceTimeDestroy"}, made_of<LastRelease>(make_time)},
        {"last release of a calendar date and time",
         {"nqInstanceCalendarDateTimeDestroy"},
         made_of<LastRelease>(make_date_time)},
        {"last release of a date-time value",
         {"nqInstanceDateTimeDestroy"},
         made_of<LastRelease>(made_by(NQ_LIBRARY(nqInstanceCreateDateTime), 3.0))},
    };
}

std::vector<SweepCase> data_cases() {
    const Source full = [](CheckingHost& host) { return &make_data(host, "a few bytes")->header; };
    return {
        {"nqDataCreate, copying", {"nqDataCreate"}, made_of<CreateData>(CreateData::Source::kCopy)},
        {"nqDataCreate, borrowing",
         {"nqDataCreate"},
         made_of<CreateData>(CreateData::Source::kBorrow)},
        {"nqDataCreate, taking over",
         {"nqDataCreate"},
         made_of<CreateData>(CreateData::Source::kTakeOver)},
        create_case(
            "nqDataCreateSized",
            [](InstanceApi* api, HostPool* pool, NQStatus* status) {
                return NQ_LIBRARY(nqDataCreateSized)(api, pool, 100, status);
            },
            [](NQData* data) { return std::to_string(data->capacity); }),
        {"nqDataResize", {"nqDataResize"}, made_of<ResizeData>(std::uint64_t{64}, std::uint8_t{1})},
        {"nqDataResize, to the same size",
         {"nqDataResize"},
         made_of<ResizeData>(std::uint64_t{7}, std::uint8_t{0})},
        clone_case("nqDataClone", NQ_LIBRARY(nqDataClone), sizeof(NQData), full),
        {"nqDataEncodeBase64U8", {"nqDataEncodeBase64U8"}, made_of<EncodeData>(false)},
        {"nqDataEncodeBase64URLU8", {"nqDataEncodeBase64URLU8"}, made_of<EncodeData>(true)},
        {"nqDataDestroy", {"nqDataDestroy"}, made_of<DestroyData>()},
        {"last release of a blob", {"nqDataDestroy"}, made_of<LastRelease>(full)},
    };
}

std::vector<SweepCase> memory_cases() { return {{"mwMemDup", {"mwMemDup"}, made_of<MemDup>()}}; }

}  // namespace nq::test
