// The header, the wrapped handle and the scalar instances.
#include <array>
#include <limits>

#include "tests/core/core_support.hpp"

namespace nq::test {
namespace {

using CloneFunction = decltype(InstanceHeader::clone);

// One row of the scalar family: how it is made, cloned, and what its header says.
struct Scalar {
    const char* type;
    InstanceHeader* (*create)(InstanceApi*, HostPool*, NQStatus*);
    const char* clone_symbol;
    bool refuses_clone;           // its clone word is cloneInstance
    const char* validate_symbol;  // null: the table's own

    void* validator() const { return validate_symbol ? library_symbol(validate_symbol) : nullptr; }
};

template <class Instance>
InstanceHeader* as_header(Instance* instance) {
    return reinterpret_cast<InstanceHeader*>(instance);
}

#define NQ_MAKER(name, value)                                         \
    [](InstanceApi* api, HostPool* pool, NQStatus* status) {          \
        return as_header(NQ_LIBRARY(name)(api, pool, value, status)); \
    }

constexpr auto kScalars = std::to_array<Scalar>({
    {"NQBooleanInstance", NQ_MAKER(nqInstanceCreateBoolean, 1), "nqInstanceCloneBoolean", false,
     nullptr},
    {"NQInt32Instance", NQ_MAKER(nqInstanceCreateInt32, -2000000000), "nqInstanceCloneInt32", false,
     "nqInstanceValidateInt32"},
    {"NQInt64Instance", NQ_MAKER(nqInstanceCreateInt64, INT64_MIN), "nqInstanceCloneInt64", false,
     "nqInstanceValidateInt64"},
    {"NQUInt32Instance", NQ_MAKER(nqInstanceCreateUInt32, 4000000000u), "nqInstanceCloneUInt32",
     false, "nqInstanceValidateUInt32"},
    {"NQUInt64Instance", NQ_MAKER(nqInstanceCreateUInt64, UINT64_MAX), "nqInstanceCloneUInt64",
     false, "nqInstanceValidateUInt64"},
    {"NQDoubleInstance", NQ_MAKER(nqInstanceCreateDouble, -0.125), "nqInstanceCloneDouble", false,
     "nqInstanceValidateDouble"},
    {"NQCharInstance", NQ_MAKER(nqInstanceCreateNQChar, 0x10FFFF), "nqInstanceCloneNQChar", true,
     nullptr},
});
#undef NQ_MAKER

class InstanceAbi : public CoreTest {};

TEST_F(InstanceAbi, ScalarsHaveTheirHeaders) {
    for (const Scalar& scalar : kScalars) {
        SCOPED_TRACE(scalar.type);
        InstanceHeader* instance = scalar.create(api(), pool(), &status);
        ASSERT_NE(instance, nullptr);
        EXPECT_EQ(status, NQ_STATUS_OK);
        expect_header(*instance,
                      {scalar.type, library_symbol("nqHandleNumericDestroy"),
                       library_symbol(scalar.refuses_clone ? "cloneInstance" : scalar.clone_symbol),
                       scalar.validator()},
                      api(), pool());
        status = 0x1234;
        release(instance);
    }
}

TEST_F(InstanceAbi, ScalarsHoldTheirValues) {
    auto* boolean = NQ_LIBRARY(nqInstanceCreateBoolean)(api(), pool(), 2, &status);
    EXPECT_EQ(boolean->value, 2);
    release(boolean);
    auto* int32 = NQ_LIBRARY(nqInstanceCreateInt32)(api(), pool(), INT32_MIN, &status);
    EXPECT_EQ(int32->value, INT32_MIN);
    release(int32);
    auto* int64 = NQ_LIBRARY(nqInstanceCreateInt64)(api(), pool(), INT64_MAX, &status);
    EXPECT_EQ(int64->value, INT64_MAX);
    release(int64);
    auto* uint32 = NQ_LIBRARY(nqInstanceCreateUInt32)(api(), pool(), UINT32_MAX, &status);
    EXPECT_EQ(uint32->value, UINT32_MAX);
    release(uint32);
    auto* uint64 = NQ_LIBRARY(nqInstanceCreateUInt64)(api(), pool(), UINT64_MAX, &status);
    EXPECT_EQ(uint64->value, UINT64_MAX);
    release(uint64);
    const double tiny = std::numeric_limits<double>::denorm_min();
    auto* number = NQ_LIBRARY(nqInstanceCreateDouble)(api(), pool(), tiny, &status);
    EXPECT_EQ(number->value, tiny);
    release(number);
    auto* character = NQ_LIBRARY(nqInstanceCreateNQChar)(api(), pool(), 0xFFFFFFFF, &status);
    EXPECT_EQ(character->value, 0xFFFFFFFFu);
    release(character);
}

TEST_F(InstanceAbi, HandlesWrapWhatTheyAreGiven) {
    auto* empty = NQ_LIBRARY(nqInstanceHandleCreate)(api(), pool(), nullptr, &status);
    EXPECT_EQ(status, NQ_STATUS_OK);
    EXPECT_EQ(empty->inner, nullptr);
    expect_header(empty->header,
                  {"NQHandleInstance", library_symbol("nqHandleInstanceDestroy"),
                   library_symbol("cloneInstance")},
                  api(), pool());
    release(empty);
}

TEST_F(InstanceAbi, TheLastReleaseOfAHandleReleasesWhatItWraps) {
    const HostState before = host.state();
    auto* inner = reinterpret_cast<NQHandle*>(host.string("wrapped"));
    auto* handle = NQ_LIBRARY(nqInstanceHandleCreate)(api(), pool(), inner, &status);
    EXPECT_EQ(handle->inner, inner);
    ++handle->header.refCount;
    release(handle);
    EXPECT_EQ((host.state() - before).strings, 1u);
    host.plan().clear();
    host.plan().record();
    release(handle);
    EXPECT_EQ(host.plan().recorded(), (std::vector{Call::kReleaseObject, Call::kFree}));
    EXPECT_EQ(host.state(), before);
}

TEST_F(InstanceAbi, OperationWordsComeFromTheTable) {
    InstanceApi table = *api();
    table.release = [](void*) noexcept -> NQStatus { return 11; };
    table.isType = [](InstanceHeader*, const char*) noexcept -> std::int32_t { return 19; };
    table.validate = [](InstanceHeader*, NQDictionary*, std::uint32_t*,
                        ValidationRun*) noexcept -> NQStatus { return 31; };
    table.cloneRefused = [](InstanceHeader*, HostPool*, std::uint32_t,
                            InstanceHeader**) noexcept -> NQStatus { return 37; };
    const auto check = [&](InstanceHeader* instance, bool generic_validate, bool refuses) {
        SCOPED_TRACE(instance->typeName);
        EXPECT_EQ(instance->release, table.release);
        EXPECT_EQ(instance->isType, table.isType);
        EXPECT_EQ(instance->api, &table);
        EXPECT_EQ(instance->validate == table.validate, generic_validate);
        EXPECT_EQ(instance->clone == table.cloneRefused, refuses);
        api()->release(instance);
    };
    check(as_header(NQ_LIBRARY(nqInstanceHandleCreate)(&table, pool(), nullptr, &status)), true,
          true);
    for (const Scalar& scalar : kScalars) {
        check(scalar.create(&table, pool(), &status), !scalar.validate_symbol,
              scalar.refuses_clone);
    }
    check(as_header(NQ_LIBRARY(nqDataCreateSized)(&table, pool(), 0, &status)), true, false);
    check(as_header(NQ_LIBRARY(nqInstanceCreateCalendarDate)(&table, pool(), &status)), true,
          false);
    check(as_header(NQ_LIBRARY(nqInstanceCreateTime)(&table, pool(), &status)), true, false);
    check(as_header(NQ_LIBRARY(nqInstanceCreateCalendarDateTime)(&table, pool(), &status)), true,
          false);
    check(as_header(NQ_LIBRARY(nqInstanceCreateDateTime)(&table, pool(), 0, &status)), true, false);
}

TEST_F(InstanceAbi, AScalarIsOneBlockOf88Bytes) {
    for (const Scalar& scalar : kScalars) {
        SCOPED_TRACE(scalar.type);
        SpyPool spy(pool());
        InstanceHeader* instance = scalar.create(api(), spy.table(), &status);
        EXPECT_EQ(spy.requests, (std::vector<SpyPool::Request>{{88, 0}}));
        InstanceHeader* clone = nullptr;
        auto* clone_operation =
            reinterpret_cast<CloneFunction>(library_symbol(scalar.clone_symbol));
        EXPECT_EQ(clone_operation(instance, nullptr, 0, &clone), NQ_STATUS_OK);
        EXPECT_EQ(spy.requests.back(), (SpyPool::Request{88, ALLOC_ZERO_FILL}));
        release(clone);
        release(instance);
        EXPECT_EQ(spy.freed, (std::vector<void*>{clone, instance}));
    }
}

TEST_F(InstanceAbi, ClonesAreIndependentCopies) {
    CheckingPool& other = host.make_pool("other");
    for (const Scalar& scalar : kScalars) {
        SCOPED_TRACE(scalar.type);
        InstanceHeader* source = scalar.create(api(), pool(), &status);
        source->refCount = 5;
        for (HostPool* target : {static_cast<HostPool*>(nullptr), other.table()}) {
            InstanceHeader* clone = nullptr;
            auto* clone_operation =
                reinterpret_cast<CloneFunction>(library_symbol(scalar.clone_symbol));
            ASSERT_EQ(clone_operation(source, target, 0xFFFFFFFF, &clone), NQ_STATUS_OK);
            EXPECT_EQ(clone->pool, target ? target : pool()) << "a null pool means the source's";
            EXPECT_TRUE(CheckingPool::of(clone->pool).has(clone));
            EXPECT_EQ(clone->refCount, 1u);
            EXPECT_EQ(clone->api, source->api);
            EXPECT_EQ(clone->typeName, source->typeName);
            EXPECT_EQ(clone->clone, source->clone);
            EXPECT_EQ(clone->destroyHook, source->destroyHook);
            // The values are chosen to fill their width; the rest of the word is zero in a clone.
            const std::uint64_t mask = scalar.type == kScalars[0].type ? 0xFF
                                       : scalar.type == kScalars[1].type ||
                                               scalar.type == kScalars[3].type ||
                                               scalar.refuses_clone
                                           ? 0xFFFFFFFF
                                           : UINT64_MAX;
            const auto payload = [](InstanceHeader* instance) {
                return reinterpret_cast<NQUInt64Instance*>(instance)->value;
            };
            EXPECT_EQ(payload(clone), payload(source) & mask);
            release(clone);
        }
        source->refCount = 1;
        release(source);
    }
}

TEST_F(InstanceAbi, CharactersAndHandlesRefuseToBeClonedThroughTheirHeader) {
    auto* const untouched = reinterpret_cast<InstanceHeader*>(0x10);
    for (InstanceHeader* instance :
         {as_header(NQ_LIBRARY(nqInstanceCreateNQChar)(api(), pool(), 65, &status)),
          as_header(NQ_LIBRARY(nqInstanceHandleCreate)(api(), pool(), nullptr, &status))}) {
        InstanceHeader* clone = untouched;
        EXPECT_EQ(instance->clone(instance, pool(), 0, &clone), NQ_STATUS_UNSUPPORTED);
        EXPECT_EQ(clone, untouched);
        release(instance);
    }
}

TEST_F(InstanceAbi, CreateCloneLeavesPoolAndPayloadToItsCaller) {
    auto* source = NQ_LIBRARY(nqInstanceCreateInt32)(api(), pool(), -1, &status);
    SpyPool spy(pool());
    InstanceHeader* made = nullptr;
    EXPECT_EQ(NQ_LIBRARY(nqInstanceCreateClone)(&source->header, spy.table(), 120, &made),
              NQ_STATUS_OK);
    EXPECT_EQ(spy.requests, (std::vector<SpyPool::Request>{{120, ALLOC_ZERO_FILL}}));
    EXPECT_EQ(made->magic, NQ_MAGIC);
    EXPECT_EQ(made->typeName, source->header.typeName);
    EXPECT_EQ(made->release, source->header.release);
    EXPECT_EQ(made->refCount, 1u);
    EXPECT_EQ(made->isType, source->header.isType);
    EXPECT_EQ(made->destroyHook, source->header.destroyHook);
    EXPECT_EQ(made->api, source->header.api);
    EXPECT_EQ(made->validate, source->header.validate);
    EXPECT_EQ(made->clone, source->header.clone);
    EXPECT_EQ(made->pool, nullptr);
    for (std::size_t i = 80; i < 120; ++i) EXPECT_EQ(reinterpret_cast<char*>(made)[i], 0);
    host.checked_pool().give(made);
    release(source);
}

TEST_F(InstanceAbi, WithoutMemoryThereIsNoInstance) {
    CheckingPool& full = host.make_pool("full", 87);
    for (const Scalar& scalar : kScalars) {
        SCOPED_TRACE(scalar.type);
        status = 0x1234;
        EXPECT_EQ(scalar.create(api(), full.table(), &status), nullptr);
        EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);

        InstanceHeader* source = scalar.create(api(), pool(), &status);
        InstanceHeader* clone = source;
        auto* clone_operation =
            reinterpret_cast<CloneFunction>(library_symbol(scalar.clone_symbol));
        EXPECT_EQ(clone_operation(source, full.table(), 0, &clone), NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(clone, nullptr);
        release(source);
    }
    EXPECT_EQ(NQ_LIBRARY(nqInstanceHandleCreate)(api(), full.table(), nullptr, &status), nullptr);
    EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
}

int hook_runs = 0;

TEST_F(InstanceAbi, TheHookRunsOnceAtTheLastRelease) {
    auto* instance = NQ_LIBRARY(nqInstanceCreateInt32)(api(), pool(), 1, &status);
    hook_runs = 0;
    auto* own_hook = instance->header.destroyHook;
    instance->header.destroyHook = [](InstanceHeader*) noexcept -> NQStatus {
        ++hook_runs;
        return 0x99;
    };
    instance->header.refCount = 3;
    EXPECT_EQ(instance->header.release(instance), NQ_STATUS_OK);
    EXPECT_EQ(instance->header.release(instance), NQ_STATUS_OK);
    EXPECT_EQ(hook_runs, 0);
    EXPECT_EQ(instance->header.release(instance), NQ_STATUS_OK) << "not the hook's status";
    EXPECT_EQ(hook_runs, 1);
    EXPECT_EQ(instance->header.refCount, 0u);
    // One release too many wraps the count and does nothing else.
    EXPECT_EQ(instance->header.release(instance), NQ_STATUS_OK);
    EXPECT_EQ(instance->header.refCount, UINT64_MAX);
    EXPECT_EQ(hook_runs, 1);
    instance->header.refCount = 1;
    instance->header.destroyHook = own_hook;
    release(instance);
}

TEST_F(InstanceAbi, AnInstanceAnswersToItsOwnNameOnly) {
    const auto names = std::to_array<const char*>(
        {"NQHandleInstance", "NQBooleanInstance", "NQInt32Instance", "NQInt64Instance",
         "NQUInt32Instance", "NQUInt64Instance", "NQDoubleInstance", "NQCharInstance", "NQData",
         "NQCalendarDateInstance", "NQTimeInstance", "NQCalendarDateTimeInstance",
         "NQDateTimeInstanceName", "NQDateTimeInstance", "nqdata", "NQDat", "NQDataX", ""});
    std::vector<InstanceHeader*> instances;
    for (const Scalar& scalar : kScalars) {
        instances.push_back(scalar.create(api(), pool(), &status));
    }
    instances.push_back(as_header(api()->createHandle(api(), pool(), nullptr, &status)));
    instances.push_back(as_header(api()->createSizedData(api(), pool(), 3, &status)));
    instances.push_back(as_header(api()->createCalendarDate(api(), pool(), &status)));
    instances.push_back(as_header(api()->createTime(api(), pool(), &status)));
    instances.push_back(as_header(api()->createCalendarDateTime(api(), pool(), &status)));
    instances.push_back(as_header(api()->createDateTime(api(), pool(), 1, &status)));
    ASSERT_EQ(instances.size(), 13u);
    for (InstanceHeader* instance : instances) {
        int matches = 0;
        for (const char* name : names) {
            const std::string copy = name;  // compared by content
            const std::int32_t is_type = instance->isType(instance, copy.c_str());
            EXPECT_EQ(is_type, copy == instance->typeName) << instance->typeName << ' ' << name;
            matches += is_type;
        }
        EXPECT_EQ(matches, 1) << instance->typeName;
        const bool is_handle = std::string(instance->typeName) == "NQHandleInstance";
        EXPECT_EQ(instance->isType(instance, nullptr), is_handle);
        release(instance);
    }
}

TEST_F(InstanceAbi, AHandleAnswersToWhatItWraps) {
    NQHandle inner{NQ_MAGIC, "NQDictionary", [](void*) noexcept -> NQStatus { return 0; }};
    auto* handle = NQ_LIBRARY(nqInstanceHandleCreate)(api(), pool(), &inner, &status);
    const auto is = [&](const char* name) {
        return NQ_LIBRARY(instanceIsType)(&handle->header, name);
    };
    EXPECT_EQ(is("NQHandleInstance"), 1);
    EXPECT_EQ(is("NQDictionary"), 1);
    EXPECT_EQ(is("NQArray"), 0);
    EXPECT_EQ(is(nullptr), 0);
    inner.name = nullptr;
    EXPECT_EQ(is(nullptr), 1);
    EXPECT_EQ(is("NQHandleInstance"), 1);
    EXPECT_EQ(is("NQDictionary"), 0);
    inner.name = "";
    EXPECT_EQ(is(""), 1);
    EXPECT_EQ(is(nullptr), 0);
    release(handle);
}

TEST_F(InstanceAbi, WithoutATypeNameOnlyNullMatches) {
    InstanceHeader nameless{};
    EXPECT_EQ(NQ_LIBRARY(instanceIsType)(&nameless, nullptr), 1);
    EXPECT_EQ(NQ_LIBRARY(instanceIsType)(&nameless, ""), 0);
    EXPECT_EQ(NQ_LIBRARY(instanceIsType)(&nameless, "NQData"), 0);
}

// In front of protected pages, so that a byte read or written too far ends the process.
TEST(InstanceAbiGuarded, ScalarsStayInTheirBlocks) {
    CheckingHost host(PoolMode::kGuard);
    host.load();
    for (const Scalar& scalar : kScalars) {
        NQStatus status = 0;
        InstanceHeader* source = scalar.create(host.api(), host.pool(), &status);
        InstanceHeader* clone = nullptr;
        auto* clone_operation =
            reinterpret_cast<CloneFunction>(library_symbol(scalar.clone_symbol));
        EXPECT_EQ(clone_operation(source, nullptr, 0, &clone), NQ_STATUS_OK);
        release(clone);
        release(source);
    }
}

}  // namespace
}  // namespace nq::test
