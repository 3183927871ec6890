// A sequence of the service table's operations against a shadow of every instance: values, counts
// of references, types, clones and the number of blocks in each pool agree after each step, also
// where a pool refuses.
#include <array>
#include <cstring>
#include <memory>
#include <optional>

#include "fuzz/support/checking.hpp"
#include "nqinstance/core/data.h"
#include "nqinstance/core/datetime.h"
#include "nqinstance/core/instance.h"
#include "nqinstance/host/status.h"

namespace nq::fuzz {
namespace {

using Clone = decltype(InstanceHeader::clone);

// The kinds whose payload is plain bytes, and the other kinds behind them.
enum Kind : std::uint8_t {
    kBoolean,
    kInt32,
    kInt64,
    kUInt32,
    kUInt64,
    kDouble,
    kCharacter,
    kCalendarDate,
    kTime,
    kCalendarDateTime,
    kDateTime,
    kPlainKinds,
    kData = kPlainKinds,
    kHandle,
    kKinds
};

// A zone's offset and flag.
constexpr std::size_t kZoneBytes = 9;

// What the rules say of a kind. A clone copies the payload; one without a pool may need one.
struct KindRules {
    const char* type;
    Clone clone;  // the exported one
    std::size_t payload;
    std::size_t zone_at;  // of the last bytes of the payload, or 0
    bool has_clone_word;
    bool needs_pool;
};

const KindRules kRules[kKinds] = {
    {"NQBooleanInstance", nqInstanceCloneBoolean, 1, 0, true, false},
    {"NQInt32Instance", nqInstanceCloneInt32, 4, 0, true, false},
    {"NQInt64Instance", nqInstanceCloneInt64, 8, 0, true, false},
    {"NQUInt32Instance", nqInstanceCloneUInt32, 4, 0, true, false},
    {"NQUInt64Instance", nqInstanceCloneUInt64, 8, 0, true, false},
    {"NQDoubleInstance", nqInstanceCloneDouble, 8, 0, true, false},
    {"NQCharInstance", nqInstanceCloneNQChar, 4, 0, false, false},
    {"NQCalendarDateInstance", nqInstanceCalendarDateClone, 12, 0, true, true},
    {"NQTimeInstance", nqInstanceTimeClone, 25, 104, true, true},
    {"NQCalendarDateTimeInstance", nqInstanceCalendarDateTimeClone, 37, 120, true, true},
    {"NQDateTimeInstanceName", nqInstanceDateTimeClone, 17, 0, true, true},
    {"NQData", nqDataClone, 0, 0, true, true},
    {"NQHandleInstance", nullptr, 0, 0, false, false},
};

constexpr std::size_t kSlots = 12;
constexpr std::size_t kPools = 2;

// Of a blob: what its buffer holds and whose it is.
struct Blob {
    Bytes content;
    std::uint64_t capacity = 0;
    std::uint8_t owned = 0;
    bool wipes = false;
    bool has_buffer = false;
    std::shared_ptr<Bytes> borrowed = {};
};

struct Shadow {
    InstanceHeader* instance = nullptr;
    Kind kind = kBoolean;
    std::size_t pool = 0;
    std::uint64_t references = 1;
    Bytes payload = {};
    bool is_clone = false;
    Blob blob = {};
    bool wraps = false;
};

class Sequence {
  public:
    explicit Sequence(Input& input) : input_(input) {
        NQ_REQUIRE(host_.load() != nullptr);
        for (auto& pool : pools_) pool = &host_.make_pool("instances");
        before_ = host_.state();
    }

    void run() {
        constexpr void (Sequence::*kSteps[])() = {
            &Sequence::create,  &Sequence::create,    &Sequence::create_data, &Sequence::wrap,
            &Sequence::clone,   &Sequence::clone,     &Sequence::retain,      &Sequence::drop,
            &Sequence::ask,     &Sequence::resize,    &Sequence::encode,      &Sequence::limit,
            &Sequence::convert, &Sequence::clone_raw, &Sequence::collect};
        for (int step = 0; step < 64 && input_.left(); ++step) {
            (this->*kSteps[input_.byte() % std::size(kSteps)])();
            require_pools();
        }
        for (Shadow& shadow : slots_) {
            while (shadow.instance) release(shadow);
        }
        require_pools();
        NQ_REQUIRE(host_.state() == before_);
        host_.check();
    }

  private:
    InstanceApi* api() { return host_.api(); }
    HostPool* table(std::size_t pool) { return pools_[pool]->table(); }
    Shadow& slot() { return slots_[input_.byte() % kSlots]; }
    std::size_t some_pool() { return input_.byte() % kPools; }

    Bytes payload(std::size_t size) {
        Bytes bytes = input_.text(size);
        bytes.resize(size);
        return bytes;
    }

    template <class Value>
    static Value value_of(const Bytes& bytes) {
        Value value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }

    // Each block of the pools is some shadow's.
    void require_pools() {
        std::array<std::uint64_t, kPools> blocks{};
        for (const Shadow& shadow : slots_) {
            if (!shadow.instance) continue;
            blocks[shadow.pool] +=
                1 + (shadow.kind == kData && shadow.blob.has_buffer && shadow.blob.owned == 1);
            require_same(shadow);
        }
        for (std::size_t i = 0; i < kPools; ++i) NQ_REQUIRE(pools_[i]->blocks() == blocks[i]);
    }

    void require_same(const Shadow& shadow) {
        const InstanceHeader& header = *shadow.instance;
        const KindRules& rules = kRules[shadow.kind];
        NQ_REQUIRE(header.magic == NQ_MAGIC && std::strcmp(header.typeName, rules.type) == 0);
        NQ_REQUIRE(header.refCount == shadow.references && header.api == api());
        NQ_REQUIRE(header.pool == table(shadow.pool));
        NQ_REQUIRE((header.clone == rules.clone) == rules.has_clone_word);
        const auto* start = reinterpret_cast<const std::uint8_t*>(&header) + sizeof header;
        if (shadow.kind < kPlainKinds) {
            NQ_REQUIRE(bytes_of(shadow) == shadow.payload);
        } else if (shadow.kind == kData) {
            require_same_blob(reinterpret_cast<const NQData&>(header), shadow.blob);
        } else {
            const void* inner;
            std::memcpy(&inner, start, sizeof inner);
            NQ_REQUIRE((inner != nullptr) == shadow.wraps);
        }
    }

    static void require_same_blob(const NQData& data, const Blob& blob) {
        NQ_REQUIRE((data.bytes != nullptr) == blob.has_buffer);
        NQ_REQUIRE(data.length == blob.content.size() && data.capacity == blob.capacity);
        NQ_REQUIRE(data.owned == blob.owned && data.wipeOnDestroy == blob.wipes);
        if (!blob.content.empty()) {
            NQ_REQUIRE(std::memcmp(data.bytes, blob.content.data(), data.length) == 0);
        }
    }

    // The fields of a plain kind, without what lies between them.
    static Bytes bytes_of(const Shadow& shadow) {
        Bytes bytes(kRules[shadow.kind].payload);
        each_field(shadow.kind, shadow.instance,
                   [&](std::uint8_t* field, std::size_t at, std::size_t size) {
                       std::memcpy(bytes.data() + at, field, size);
                   });
        return bytes;
    }

    // The fields right behind the header, and those behind the conversion operation.
    template <class Visit>
    static void each_field(Kind kind, InstanceHeader* instance, Visit visit) {
        const KindRules& rules = kRules[kind];
        auto* start = reinterpret_cast<std::uint8_t*>(instance);
        const std::size_t zone = rules.zone_at ? kZoneBytes : 0;
        visit(start + sizeof *instance, 0, rules.payload - zone);
        if (zone) visit(start + rules.zone_at, rules.payload - zone, zone);
    }

    // Puts an instance that was asked for into the slot, or sees that there was no memory.
    void take(Shadow& shadow, Shadow made, NQStatus status) {
        NQ_REQUIRE((made.instance != nullptr) == (status == NQ_STATUS_OK));
        if (status) {
            NQ_REQUIRE(status == NQ_STATUS_NO_MEMORY && limited_[made.pool]);
            return;
        }
        while (shadow.instance) release(shadow);
        shadow = std::move(made);
    }

    InstanceHeader* make_plain(Kind kind, HostPool* pool, const Bytes& bytes, NQStatus* status) {
        InstanceApi* own = api();
        const auto header = [](auto* made) { return reinterpret_cast<InstanceHeader*>(made); };
        const auto filled = [&](auto* made) {
            if (!made) return header(made);
            each_field(kind, &made->header,
                       [&](std::uint8_t* field, std::size_t at, std::size_t size) {
                           std::memcpy(field, bytes.data() + at, size);
                       });
            return header(made);
        };
        switch (kind) {
            case kBoolean:
                return header(own->createBoolean(own, pool, bytes[0], status));
            case kInt32:
                return header(own->createInt32(own, pool, value_of<std::int32_t>(bytes), status));
            case kInt64:
                return header(own->createInt64(own, pool, value_of<std::int64_t>(bytes), status));
            case kUInt32:
                return header(own->createUInt32(own, pool, value_of<std::uint32_t>(bytes), status));
            case kUInt64:
                return header(own->createUInt64(own, pool, value_of<std::uint64_t>(bytes), status));
            case kDouble:
                return header(own->createDouble(own, pool, value_of<double>(bytes), status));
            case kCharacter:
                return header(own->createNQChar(own, pool, value_of<NQChar>(bytes), status));
            case kCalendarDate:
                return filled(own->createCalendarDate(own, pool, status));
            case kTime:
                return filled(own->createTime(own, pool, status));
            case kCalendarDateTime:
                return filled(own->createCalendarDateTime(own, pool, status));
            default: {
                auto* made = own->createDateTime(own, pool, value_of<double>(bytes), status);
                if (made) NQ_REQUIRE(made->zoneOffset == 0 && made->hasZoneOffset == 0);
                return filled(made);
            }
        }
    }

    void create() {
        Shadow& place = slot();
        Shadow made;
        made.kind = static_cast<Kind>(input_.byte() % kPlainKinds);
        made.pool = some_pool();
        made.payload = payload(kRules[made.kind].payload);
        NQStatus status = 1;
        made.instance = make_plain(made.kind, table(made.pool), made.payload, &status);
        take(place, std::move(made), status);
    }

    void create_data() {
        Shadow& place = slot();
        Shadow made;
        made.kind = kData;
        made.pool = some_pool();
        const std::uint32_t way = input_.byte();
        Bytes content = payload(input_.byte() % 32);
        NQStatus status = 1;
        InstanceApi* own = api();
        HostPool* pool = table(made.pool);
        NQData* data;
        Blob& blob = made.blob;
        if (way % 4 == 0) {
            data = own->createSizedData(own, pool, content.size(), &status);
            if (data && data->bytes) std::memcpy(data->bytes, content.data(), content.size());
            blob.owned = 1;
        } else if (way % 4 == 1) {
            const bool copies = way & 8;
            auto* given = static_cast<std::uint8_t*>(pools_[made.pool]->take(
                content.empty() ? 1 : content.size(), false, test::BlockKind::kPlain));
            if (!given) return;
            if (!content.empty()) std::memcpy(given, content.data(), content.size());
            data = own->createData(own, pool, given, content.size(), copies, 1, &status);
            // Unless the blob took it over, the block is still the caller's.
            if (copies || !data || content.empty()) pools_[made.pool]->give(given);
            blob.owned = !content.empty();
        } else if (way % 4 == 2) {
            blob.borrowed = std::make_shared<Bytes>(content);
            data = own->createData(own, pool, blob.borrowed->data(), content.size(), 0, 0, &status);
        } else {
            data = own->createData(own, pool, way & 8 ? content.data() : nullptr, content.size(), 1,
                                   static_cast<std::uint8_t>(way >> 4), &status);
            if (!(way & 8)) content.clear();
            blob.owned = !content.empty();
        }
        if (data) {
            data->wipeOnDestroy = blob.wipes = way & 64;
            made.instance = &data->header;
        }
        blob.capacity = content.size();
        blob.has_buffer = !content.empty();
        blob.content = std::move(content);
        take(place, std::move(made), status);
    }

    // A handle takes over the caller's hold of an array of the host.
    void wrap() {
        Shadow& place = slot();
        Shadow made;
        made.kind = kHandle;
        made.pool = some_pool();
        made.wraps = input_.byte() % 2;
        NQHandle* inner = nullptr;
        NQArray* array = nullptr;
        if (made.wraps) {
            array = host_.array();
            inner = reinterpret_cast<NQHandle*>(array);
        }
        NQStatus status = 1;
        NQHandleInstance* handle = api()->createHandle(api(), table(made.pool), inner, &status);
        if (!handle) test::release(array);
        made.instance = handle ? &handle->header : nullptr;
        take(place, std::move(made), status);
    }

    void clone() {
        const Shadow& source = slot();
        Shadow& place = slot();
        if (!source.instance || &source == &place) return;
        const KindRules& rules = kRules[source.kind];
        const std::uint32_t choice = input_.byte();
        Shadow made = source;
        made.references = 1;
        made.is_clone = true;
        const bool has_pool = rules.needs_pool || (choice & 1);
        if (has_pool) made.pool = choice >> 1 & 1;
        HostPool* pool = has_pool ? table(made.pool) : nullptr;
        InstanceHeader* const untouched = reinterpret_cast<InstanceHeader*>(0x10);
        made.instance = untouched;
        const bool by_word = !rules.clone || (choice & 4);
        const Clone operation = by_word ? source.instance->clone : rules.clone;
        const NQStatus status = operation(source.instance, pool, choice, &made.instance);
        if (by_word && !rules.has_clone_word) {
            NQ_REQUIRE(status == NQ_STATUS_UNSUPPORTED && made.instance == untouched);
            return;
        }
        NQ_REQUIRE(made.instance != untouched);
        if (made.kind == kData) {
            Blob& blob = made.blob;
            blob.borrowed.reset();
            if (blob.capacity == 0) blob.capacity = blob.content.size();
            blob.has_buffer = blob.capacity != 0;
            blob.owned = blob.has_buffer;
        }
        take(place, std::move(made), status);
    }

    // The shared half of a clone: a header and zeros.
    void clone_raw() {
        const Shadow& source = slot();
        if (!source.instance) return;
        const std::uint64_t size = sizeof(InstanceHeader) + input_.byte();
        InstanceHeader* raw = nullptr;
        const std::size_t pool = some_pool();
        const NQStatus status = api()->createClone(source.instance, table(pool), size, &raw);
        NQ_REQUIRE((raw != nullptr) == !status);
        if (status) {
            NQ_REQUIRE(status == NQ_STATUS_NO_MEMORY && limited_[pool]);
            return;
        }
        NQ_REQUIRE(raw->pool == nullptr && raw->refCount == 1);
        NQ_REQUIRE(raw->clone == source.instance->clone &&
                   raw->destroyHook == source.instance->destroyHook);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(raw + 1);
        NQ_REQUIRE(std::all_of(bytes, bytes + (size - sizeof *raw),
                               [](std::uint8_t byte) { return byte == 0; }));
        table(pool)->free(table(pool), raw);
    }

    void retain() {
        Shadow& shadow = slot();
        if (!shadow.instance || shadow.references > 4) return;
        test::retain(shadow.instance);
        ++shadow.references;
    }

    void drop() {
        Shadow& shadow = slot();
        if (shadow.instance) release(shadow);
    }

    void release(Shadow& shadow) {
        const bool is_last = shadow.references-- == 1;
        const std::shared_ptr<Bytes> borrowed = shadow.blob.borrowed;
        NQ_REQUIRE(shadow.instance->release(shadow.instance) == NQ_STATUS_OK);
        if (!is_last) return;
        if (borrowed && !borrowed->empty()) {
            // Content that is wiped is wiped where it lies.
            const Bytes zeros(borrowed->size());
            NQ_REQUIRE(*borrowed == (shadow.blob.wipes ? zeros : shadow.blob.content));
        }
        shadow = Shadow();
    }

    void ask() {
        const Shadow& shadow = slot();
        if (!shadow.instance) return;
        const std::uint32_t choice = input_.byte() % (kKinds + 3);
        const char* names[kKinds + 3];
        for (std::size_t i = 0; i < kKinds; ++i) names[i] = kRules[i].type;
        names[kKinds] = "NQArray";
        names[kKinds + 1] = "";
        names[kKinds + 2] = nullptr;
        const char* name = names[choice];
        bool expected = choice == shadow.kind;
        if (shadow.kind == kHandle) {
            if (!name) expected = !shadow.wraps;
            if (choice == kKinds) expected = shadow.wraps;
        }
        NQ_REQUIRE(shadow.instance->isType(shadow.instance, name) == expected);
        NQ_REQUIRE(api()->isType(shadow.instance, name) == expected);
    }

    void resize() {
        Shadow& shadow = slot();
        if (!shadow.instance || shadow.kind != kData) return;
        Blob& blob = shadow.blob;
        auto* data = reinterpret_cast<NQData*>(shadow.instance);
        const std::uint64_t capacity = input_.byte() % 64;
        const auto fill = static_cast<std::uint8_t>(input_.byte() % 3);
        const std::uint64_t old = blob.capacity;
        const NQStatus status = data->resize(data, capacity, fill);
        if (!blob.owned || capacity < blob.content.size()) {
            NQ_REQUIRE(status == NQ_STATUS_INVALID_ARGUMENT);
        } else if (status) {
            NQ_REQUIRE(status == NQ_STATUS_NO_MEMORY && limited_[shadow.pool]);
        } else {
            blob.capacity = capacity;
            blob.has_buffer = true;
            for (std::uint64_t i = old; fill == 1 && i < capacity; ++i) {
                NQ_REQUIRE(data->bytes[i] == 0);
            }
        }
    }

    void encode() {
        Shadow& shadow = slot();
        if (!shadow.instance || shadow.kind != kData || limited_[shadow.pool]) return;
        auto* data = reinterpret_cast<NQData*>(shadow.instance);
        const bool is_url = input_.byte() % 2;
        NQU8String* text = nullptr;
        NQ_REQUIRE(!(is_url ? data->encodeBase64URL : data->encodeBase64)(data, &text, 0, 0));
        const std::string encoded = test::text_of(text);
        NQ_REQUIRE(encoded.size() == (data->length + 2) / 3 * 4);
        NQ_REQUIRE(encoded.find_first_of(is_url ? "+/" : "-_") == std::string::npos);
        test::release(text);
    }

    // From now on a pool has room for so much more, or for all.
    void limit() {
        const std::size_t pool = some_pool();
        const std::uint32_t room = input_.byte();
        limited_[pool] = room < 200;
        pools_[pool]->set_limit(limited_[pool] ? pools_[pool]->bytes() + room
                                               : test::CheckingPool::kNoLimit);
    }

    // The conversion of a date or time to seconds is there but for clones.
    void convert() {
        const Shadow& shadow = slot();
        if (!shadow.instance) return;
        const auto seconds = [&](auto* instance, auto operation) {
            NQ_REQUIRE((instance->getDate == nullptr) == shadow.is_clone);
            // The walk over the years takes time.
            if constexpr (requires { instance->year; }) {
                if (instance->year < -20000 || instance->year > 20000) return;
            }
            // Of equal fields, the same.
            auto copy = *instance;
            const double value = operation(instance);
            NQ_REQUIRE(value == operation(&copy) || value != value);
            if (!shadow.is_clone) NQ_REQUIRE(value == instance->getDate(&copy) || value != value);
        };
        switch (shadow.kind) {
            case kCalendarDate:
                seconds(reinterpret_cast<NQCalendarDate*>(shadow.instance), nqCalDateGetDate);
                break;
            case kTime:
                seconds(reinterpret_cast<NQTime*>(shadow.instance), nqTimeGetDate);
                break;
            case kCalendarDateTime:
                seconds(reinterpret_cast<NQCalendarDateTime*>(shadow.instance),
                        nqCalDateTimeGetDate);
                break;
            default:
                break;
        }
    }

    // An array and a dictionary hold some of the instances for a while.
    void collect() {
        NQArray* array = host_.array();
        NQDictionary* dictionary = host_.dictionary();
        std::array<std::uint64_t, kSlots> added{};
        for (std::uint32_t left = input_.byte() % 6; left > 0; --left) {
            const std::size_t at = input_.byte() % kSlots;
            if (!slots_[at].instance) continue;
            test::retain(slots_[at].instance);
            host_.add(array, slots_[at].instance);
            test::retain(slots_[at].instance);
            host_.set(dictionary, std::to_string(at), slots_[at].instance);
            added[at] += 2;
        }
        for (std::size_t at = 0; at < kSlots; ++at) {
            if (added[at]) NQ_REQUIRE(slots_[at].instance->refCount > slots_[at].references);
        }
        test::release(dictionary);
        test::release(array);
    }

    Input& input_;
    CheckingHost host_;
    std::array<test::CheckingPool*, kPools> pools_;
    std::array<bool, kPools> limited_{};
    std::array<Shadow, kSlots> slots_;
    test::HostState before_;
};

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    nq::fuzz::Input input(data, size);
    nq::fuzz::Sequence(input).run();
    return 0;
}
