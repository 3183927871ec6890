// The entry points and the service table.
#include <array>
#include <cstring>

#include "nqinstance/config/configuration.h"
#include "nqinstance/config/text_reader.h"
#include "nqinstance/json/json_writer.h"
#include "tests/core/core_support.hpp"

namespace nq::test {
namespace {

HostKernel* known_kernel() {
    return *static_cast<HostKernel**>(library_symbol("Exported_NQHandle"));
}

TEST(EntryAbi, NqextentStoresTheKernel) {
    CheckingHost host;
    EXPECT_EQ(NQ_LIBRARY(nqextent)(host.kernel()), NQ_STATUS_OK);
    EXPECT_EQ(known_kernel(), host.kernel());
    EXPECT_EQ(NQ_LIBRARY(nqextent)(nullptr), NQ_STATUS_OK);
    EXPECT_EQ(known_kernel(), nullptr);
}

TEST(EntryAbi, NqextverStoresTheKernelAndItsVersion) {
    CheckingHost host;
    std::uint64_t major = 0;
    std::uint64_t minor = 0;
    EXPECT_EQ(NQ_LIBRARY(nqextver)(host.kernel(), &major, &minor), NQ_STATUS_OK);
    EXPECT_EQ(major, 9u);
    EXPECT_EQ(minor, 1u);
    EXPECT_EQ(known_kernel(), host.kernel());
    NQ_LIBRARY(nqextent)(nullptr);
}

TEST(EntryAbi, VersionsAreConstants) {
    CheckingHost host;
    InstanceApi* api = host.load();
    std::uint64_t v[3] = {};
    EXPECT_EQ(api->getReqVersion(api, &v[0], &v[1], &v[2]), NQ_STATUS_OK);
    EXPECT_EQ((std::array{v[0], v[1], v[2]}), (std::array<std::uint64_t, 3>{9, 1, 1}));
    EXPECT_EQ(api->getVersion(api, &v[0], &v[1], &v[2]), NQ_STATUS_OK);
    EXPECT_EQ((std::array{v[0], v[1], v[2]}), (std::array<std::uint64_t, 3>{1, 0, 0}));
}

TEST(EntryAbi, MakesAPoolATableAndARegistration) {
    CheckingHost host;
    const HostState before = host.state();
    host.plan().record();
    InstanceApi* api = host.load();
    ASSERT_NE(api, nullptr);
    EXPECT_EQ(host.plan().recorded(),
              (std::vector{Call::kCreatePool, Call::kAlloc, Call::kRegister}));
    EXPECT_STREQ(api->pool->name, "nqinstance pool");
    EXPECT_TRUE(CheckingPool::of(api->pool).has(api));
    const HostState held = host.state() - before;
    EXPECT_EQ(held.pools, 1u);
    EXPECT_EQ(held.blocks, 1u);
    EXPECT_EQ(held.bytes, 328u);
    EXPECT_EQ(held.registrations, 1u);
}

TEST(EntryAbi, RealDestroyGivesAllOfItBack) {
    CheckingHost host;
    const HostState before = host.state();
    InstanceApi* api =
        NQ_LIBRARY(nqextent)(host.kernel()) ? nullptr : NQ_LIBRARY(nqinstance)(host.kernel());
    ASSERT_NE(api, nullptr);
    host.plan().clear();
    host.plan().record();
    EXPECT_EQ(api->realDestroy(api), NQ_STATUS_OK);
    EXPECT_EQ(host.plan().recorded(),
              (std::vector{Call::kUnregister, Call::kFree, Call::kDestroyPool}));
    EXPECT_EQ(host.state(), before);
}

TEST(EntryAbi, RegistersWithTheTableItIsGiven) {
    static void* registered = nullptr;
    HostKernel registrar{};
    registrar.registerHandle = [](HostKernel*, const NQChar* name, std::uint64_t length,
                                  std::uint64_t three, std::uint64_t five, void* handle,
                                  std::uint64_t eight, std::uint64_t zero1,
                                  std::uint64_t zero2) noexcept -> NQStatus {
        EXPECT_EQ(to_utf8(name, length), "nqinstance.handle");
        EXPECT_EQ((std::array{three, five, eight, zero1, zero2}),
                  (std::array<std::uint64_t, 5>{3, 5, 8, 0, 0}));
        registered = handle;
        return NQ_STATUS_OK;
    };
    CheckingHost host;
    NQ_LIBRARY(nqextent)(host.kernel());
    InstanceApi* api = NQ_LIBRARY(nqinstance)(&registrar);
    EXPECT_EQ(registered, api);
    EXPECT_EQ(host.state().registrations, 0u);
    FaultTrap trap;
    api->realDestroy(api);  // unregisters with the kernel, which knows nothing of it
    EXPECT_EQ(trap.take().size(), 1u);
    NQ_LIBRARY(nqextent)(nullptr);
}

TEST(EntryFault, AnyRefusedRegistrationLeavesNothingBehind) {
    for (const NQStatus refusal : {NQStatus{1}, NQ_STATUS_NO_MEMORY, NQStatus{0xFFFFFFFF}}) {
        CheckingHost host;
        const HostState before = host.state();
        host.plan().record();
        host.plan().fail(Call::kRegister, 0, refusal);
        EXPECT_EQ(host.load(), nullptr);
        EXPECT_EQ(host.plan().recorded(),
                  (std::vector{Call::kCreatePool, Call::kAlloc, Call::kRegister, Call::kFree,
                               Call::kDestroyPool}));
        EXPECT_EQ(host.state(), before);
    }
}

TEST(EntryFault, WithoutPoolOrMemoryThereIsNoTable) {
    for (const Call call : {Call::kCreatePool, Call::kAlloc}) {
        CheckingHost host;
        const HostState before = host.state();
        host.plan().fail(call, 0, NQ_STATUS_NO_MEMORY);
        EXPECT_EQ(host.load(), nullptr);
        EXPECT_EQ(host.plan().calls(Call::kRegister), 0u);
        EXPECT_EQ(host.state(), before);
        EXPECT_NE(host.load(), nullptr);
    }
}

TEST(EntryAbi, TheTableHasItsWordsInOrder) {
    CheckingHost host;
    InstanceApi* api = host.load();
    std::array<std::uint64_t, 41> words;
    std::memcpy(words.data(), api, sizeof words);
    EXPECT_EQ(words[0], 0x6f76656eu);
    const std::array zero_words{1, 2, 5, 7, 8};
    for (const int word : zero_words) EXPECT_EQ(words[static_cast<std::size_t>(word)], 0u) << word;
    EXPECT_EQ(words[9], reinterpret_cast<std::uint64_t>(api->pool));

    struct Word {
        std::size_t word;
        const char* symbol;
    };
    constexpr auto kWords = std::to_array<Word>({
        {3, "getReqVersion"},
        {4, "getVersion"},
        {6, "realDestroy"},
        {10, "nqInstanceHandleCreate"},
        {11, "nqInstanceDestroy"},
        {12, "nqInstanceCreateBoolean"},
        {13, "nqInstanceCreateInt32"},
        {14, "nqInstanceCreateInt64"},
        {15, "nqInstanceCreateUInt32"},
        {16, "nqInstanceCreateUInt64"},
        {17, "nqInstanceCreateDouble"},
        {18, "nqDataCreate"},
        {19, "instanceIsType"},
        {20, "nqDataCreateSized"},
        {21, "nqInstanceReadConfiguration"},
        {22, "nqInstanceCreateNQChar"},
        {23, "nqInstanceToJSON"},
        {24, "nqInstanceCreateCalendarDate"},
        {25, "nqInstanceCreateTime"},
        {26, "nqInstanceCreateCalendarDateTime"},
        {27, "nqTextReaderCreate"},
        {28, "nqTextReaderOpen"},
        {29, "nqTextReaderReadLine"},
        {30, "nqInstanceCreateDateTime"},
        {31, "nqInstanceValidate"},
        {32, "nqInstanceValidateU8"},
        {33, "nqInstanceIsDefinitionType"},
        {34, "jsonTypeForDefinition"},
        {35, "nqInstanceStartValidate"},
        {36, "jsonTypeForInstance"},
        {37, "cloneInstance"},
        {38, "nqInstanceCreateClone"},
        {39, "nqInstanceValidateData"},
        {40, "nqInstanceToJSON2"},
    });
    for (const auto& [word, symbol] : kWords) {
        EXPECT_EQ(words[word], reinterpret_cast<std::uint64_t>(library_symbol(symbol))) << symbol;
    }
}

TEST(EntryAbi, TheVersionRecordIs208Bytes) {
    std::array<std::uint64_t, 28> words;
    words.fill(0x5A5A5A5A5A5A5A5Au);
    NQ_LIBRARY(nqvercn1)(words.data() + 1);
    EXPECT_EQ(words.front(), 0x5A5A5A5A5A5A5A5Au);
    EXPECT_EQ(words.back(), 0x5A5A5A5A5A5A5A5Au);
    const auto text = [&](std::size_t word) {
        return std::string(reinterpret_cast<const char*>(words[word + 1]));
    };
    for (const std::size_t word : {2u, 8u, 11u, 13u}) EXPECT_EQ(text(word), "") << word;
    for (const std::size_t word : {0u, 1u, 5u, 7u, 12u, 14u, 15u, 16u}) {
        EXPECT_NE(text(word), "") << word;
    }
    EXPECT_EQ(text(4), "nqcore");
    EXPECT_EQ(text(6), "nqinstance");
    EXPECT_EQ(text(9), "version");
    EXPECT_EQ(text(10), "::");
    EXPECT_EQ(text(12).size(), text(14).size()) << "markers of a fixed width";
    const std::uint64_t build_time = words[3 + 1];
    EXPECT_GT(build_time, 1577836800u) << "before 2020";
    EXPECT_LT(build_time, std::uint64_t{1} << 32) << "the padding is zero";
    for (std::size_t word = 17; word < 26; ++word) EXPECT_EQ(words[word + 1], 0u) << word;
}

}  // namespace
}  // namespace nq::test
