#include "standalone/kernel.hpp"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "nqinstance/config/text_reader.h"
#include "standalone/base/statuses.hpp"
#include "standalone/host.hpp"
#include "standalone/values/strings.hpp"

namespace nq {
namespace {

std::vector<NQChar> units_of(std::string_view text) { return {text.begin(), text.end()}; }

std::string text_of_units(const NQChar* units, uint64_t length) {
    return std::string(units, units + length);
}

class KernelTable : public testing::Test {
  protected:
    NQExtension* load_extension(std::string_view name) {
        const auto units = units_of(name);
        return kernel->loadExtension(kernel, units.data(), units.size(), 0, nullptr);
    }
    NQStatus register_handle(std::string_view name, void* handle) {
        const auto units = units_of(name);
        return kernel->registerHandle(kernel, units.data(), units.size(), 3, 5, handle, 8, 0, 0);
    }
    NQStatus unregister_handle(std::string_view name) {
        const auto units = units_of(name);
        return kernel->unregisterHandle(kernel, units.data(), units.size());
    }
    NQStatus option(std::string_view name, void* value, uint64_t* size) {
        const auto units = units_of(name);
        return kernel->getOption(kernel, units.data(), units.size(), 0, value, size);
    }

    Host host;
    HostKernel* kernel = host.kernel();
};

TEST_F(KernelTable, EveryWordOfTheLibraryIsFilled) {
    EXPECT_EQ(kernel->handle.magic, NQ_MAGIC);
    EXPECT_STREQ(kernel->handle.name, "kernel");
    EXPECT_EQ(kernel->handle.release(kernel), NQ_STATUS_OK);
    EXPECT_TRUE(kernel->createPool && kernel->loadExtension && kernel->unregisterHandle &&
                kernel->registerHandle && kernel->getOption && kernel->getTempPool &&
                kernel->releaseTempPool && kernel->encoding && kernel->unicode &&
                kernel->captureMessage && kernel->formatToBuffer && kernel->renderMessage &&
                kernel->renderFormatted && kernel->formatStatus && kernel->defaultContext);
}

TEST_F(KernelTable, CountsTheHoldsOfExtensions) {
    for (const char* name : {"nqstring", "nqarray", "nqdictionary", "nqioe", "nqinstjson"}) {
        const uint64_t idle = host.holds(name);
        NQExtension* first = load_extension(name);
        ASSERT_NE(first, nullptr) << name;
        EXPECT_EQ(first->handle.magic, NQ_MAGIC);
        EXPECT_STREQ(first->handle.name, name);
        EXPECT_EQ(load_extension(name), first);
        EXPECT_EQ(host.holds(name), idle + 2);
        EXPECT_EQ(first->handle.release(first), NQ_STATUS_OK);
        EXPECT_EQ(first->handle.release(first), NQ_STATUS_OK);
        EXPECT_EQ(host.holds(name), idle);
    }
    NQExtension* arrays = load_extension("nqarray");
    arrays->handle.release(arrays);
    EXPECT_EQ(arrays->handle.release(arrays), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(host.holds("nqarray"), 0u);
}

TEST_F(KernelTable, UnknownExtensionsAreNotThere) {
    for (const char* name : {"", "nqstrin", "nqstrings", "NQSTRING", "other"}) {
        EXPECT_EQ(load_extension(name), nullptr) << name;
        EXPECT_EQ(host.holds(name), 0u);
    }
    // A length that comes round to the name's own when it is counted in bytes.
    const auto units = units_of("nqstring");
    EXPECT_EQ(
        kernel->loadExtension(kernel, units.data(), (uint64_t{1} << 62) + units.size(), 0, nullptr),
        nullptr);
}

TEST_F(KernelTable, DictionariesKeepTheStringsHeld) {
    auto* dictionaries = reinterpret_cast<NQDictionaryApi*>(load_extension("nqdictionary"));
    EXPECT_EQ(host.holds("nqstring"), 1u);
    NQExtension* strings = load_extension("nqstring");
    EXPECT_EQ(static_cast<void*>(dictionaries->strings), strings);
    strings->handle.release(strings);
    dictionaries->handle.release(dictionaries);
}

TEST_F(KernelTable, HandlesAreRegisteredOnce) {
    int first = 0;
    int second = 0;
    EXPECT_EQ(host.registered("a.handle"), nullptr);
    EXPECT_EQ(register_handle("a.handle", &first), NQ_STATUS_OK);
    EXPECT_EQ(host.registered("a.handle"), &first);
    EXPECT_EQ(register_handle("a.handle", &second), NQ_HOST_STATUS_DUPLICATE_HANDLE);
    EXPECT_EQ(host.registered("a.handle"), &first);
    EXPECT_EQ(unregister_handle("b.handle"), NQ_HOST_STATUS_UNKNOWN_HANDLE);
    EXPECT_EQ(unregister_handle("a.handle"), NQ_STATUS_OK);
    EXPECT_EQ(unregister_handle("a.handle"), NQ_HOST_STATUS_UNKNOWN_HANDLE);
    EXPECT_EQ(register_handle("a.handle", &second), NQ_STATUS_OK);
    EXPECT_EQ(host.registered("a.handle"), &second);
}

TEST_F(KernelTable, OneByteOfAnOptionIsItsTruth) {
    uint8_t value = 7;
    uint64_t size = 1;
    EXPECT_EQ(option("opt", &value, &size), NQ_HOST_STATUS_UNKNOWN_OPTION);
    for (const char* yes : {"1", "true", "yes", "on"}) {
        value = 7;
        host.set_option("opt", yes);
        EXPECT_EQ(option("opt", &value, &size), NQ_STATUS_OK);
        EXPECT_EQ(value, 1);
        EXPECT_EQ(size, 1u);
    }
    for (const char* no : {"0", "false", "no", "off"}) {
        value = 7;
        host.set_option("opt", no);
        EXPECT_EQ(option("opt", &value, &size), NQ_STATUS_OK);
        EXPECT_EQ(value, 0);
    }
    for (const char* neither : {"", "2", "TRUE", "maybe"}) {
        value = 7;
        host.set_option("opt", neither);
        EXPECT_EQ(option("opt", &value, &size), NQ_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(value, 7);
    }
}

TEST_F(KernelTable, MoreRoomGetsTheTextOfAnOption) {
    host.set_option("path", "/tmp/x");
    char value[16] = {};
    uint64_t size = sizeof value;
    EXPECT_EQ(option("path", value, &size), NQ_STATUS_OK);
    EXPECT_EQ(std::string_view(value, size), "/tmp/x");
    size = 5;
    value[0] = '?';
    EXPECT_EQ(option("path", value, &size), NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 6u);
    EXPECT_EQ(value[0], '?');
    size = 0;
    EXPECT_EQ(option("path", nullptr, &size), NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(size, 6u);
}

TEST_F(KernelTable, MakesPoolsAndTemporaryPools) {
    const uint64_t before = host.pools();
    const uint64_t parameters[3] = {};
    HostPool* pool = kernel->createPool(kernel, parameters, 0, "mine");
    ASSERT_NE(pool, nullptr);
    EXPECT_STREQ(pool->name, "mine");
    HostPool* temporary = kernel->getTempPool(kernel);
    ASSERT_NE(temporary, nullptr);
    EXPECT_NE(temporary->alloc(temporary, 100, 0), nullptr);
    EXPECT_EQ(host.pools(), before + 2);
    EXPECT_EQ(kernel->releaseTempPool(kernel, temporary), NQ_STATUS_OK);
    EXPECT_EQ(kernel->releaseTempPool(kernel, nullptr), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(pool->destroy(pool), NQ_STATUS_OK);
    EXPECT_EQ(host.pools(), before);
}

TEST_F(KernelTable, TheDefaultContextLeadsBackToTheKernel) {
    ASSERT_NE(*kernel->defaultContext, nullptr);
    NQContext* context = *kernel->defaultContext;
    EXPECT_EQ(context->handle.magic, NQ_MAGIC);
    ASSERT_NE(context->environment, nullptr);
    EXPECT_EQ(context->environment->services, kernel);
    EXPECT_EQ(context->handle.release(context), NQ_STATUS_OK);
}

// The services that take a va_list, called with "..." as the library does.
NQStatus format_to_buffer(HostKernel* kernel, std::string_view format, NQChar* buffer,
                          uint64_t capacity, uint64_t* length, ...) {
    const auto units = units_of(format);
    va_list arguments;
    va_start(arguments, length);
    const NQStatus status = kernel->formatToBuffer(kernel, nullptr, units.data(), units.size(),
                                                   buffer, capacity, length, 0, arguments);
    va_end(arguments);
    return status;
}

NQStatus format_status(HostKernel* kernel, NQStatus code, NQChar* buffer, uint64_t capacity,
                       uint64_t* length, ...) {
    va_list arguments;
    va_start(arguments, length);
    const NQStatus status = kernel->formatStatus(
        kernel, nullptr, code, buffer, reinterpret_cast<void*>(capacity), length, arguments);
    va_end(arguments);
    return status;
}

uint64_t render_formatted(HostKernel* kernel, uint64_t code, NQChar* buffer, uint64_t capacity,
                          ...) {
    va_list arguments;
    va_start(arguments, capacity);
    const uint64_t result =
        kernel->renderFormatted(kernel, nullptr, reinterpret_cast<void*>(code), buffer,
                                reinterpret_cast<void*>(capacity), arguments);
    va_end(arguments);
    return result;
}

NQStatus capture_message(HostKernel* kernel, NQU8String* string, uint64_t code, ...) {
    va_list arguments;
    va_start(arguments, code);
    const NQStatus status =
        kernel->captureMessage(kernel, string, reinterpret_cast<void*>(code), arguments);
    va_end(arguments);
    return status;
}

TEST_F(KernelTable, FormatsIntoABuffer) {
    NQChar buffer[16];
    uint64_t length = 0;
    EXPECT_EQ(format_to_buffer(kernel, "%d-%02d", buffer, 16, &length, int64_t{-5}, int64_t{7}),
              NQ_STATUS_OK);
    EXPECT_EQ(text_of_units(buffer, length), "-5-07");
}

TEST_F(KernelTable, MessageServicesGiveTheTextOfACode) {
    const std::string expected = host.message(NQ_STATUS_END_OF_FILE);
    ASSERT_GT(expected.size(), 3u);
    NQChar buffer[200];
    uint64_t length = 0;
    EXPECT_EQ(format_status(kernel, NQ_STATUS_END_OF_FILE, buffer, 200, &length), NQ_STATUS_OK);
    EXPECT_EQ(text_of_units(buffer, length), expected);
    EXPECT_EQ(render_formatted(kernel, NQ_STATUS_END_OF_FILE, buffer, 200), expected.size());
    EXPECT_EQ(text_of_units(buffer, expected.size()), expected);
    const auto capacity = reinterpret_cast<void*>(uint64_t{200});
    EXPECT_EQ(kernel->renderMessage(kernel, nullptr,
                                    reinterpret_cast<void*>(uint64_t{NQ_STATUS_END_OF_FILE}),
                                    buffer, capacity, nullptr),
              expected.size());
    EXPECT_EQ(text_of_units(buffer, expected.size()), expected);
    NQU8String* string = make_u8string(host.make_pool("messages"), "before");
    EXPECT_EQ(capture_message(kernel, string, NQ_STATUS_END_OF_FILE), NQ_STATUS_OK);
    EXPECT_EQ(text_of(*string), expected);
    EXPECT_EQ(capture_message(kernel, nullptr, NQ_STATUS_END_OF_FILE), NQ_STATUS_INVALID_ARGUMENT);
}

TEST_F(KernelTable, MessagesThatDoNotFitAreCutOff) {
    const std::string expected = host.message(NQ_STATUS_END_OF_FILE);
    NQChar buffer[4] = {0, 0, 0, 99};
    uint64_t length = 0;
    EXPECT_EQ(format_status(kernel, NQ_STATUS_END_OF_FILE, buffer, 3, &length),
              NQ_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(text_of_units(buffer, 3), expected.substr(0, 3));
    EXPECT_EQ(render_formatted(kernel, NQ_STATUS_END_OF_FILE, nullptr, 0), expected.size());
    EXPECT_EQ(render_formatted(kernel, NQ_STATUS_END_OF_FILE, buffer, 3), expected.size());
    EXPECT_EQ(buffer[3], 99u);
}

TEST_F(KernelTable, ThreadsShareTheKernel) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            const std::string name = "handle " + std::to_string(t);
            for (int i = 0; i < 2'000; ++i) {
                NQExtension* extension = load_extension("nqarray");
                EXPECT_EQ(register_handle(name, this), NQ_STATUS_OK);
                host.set_option(name, "1");
                uint8_t value = 0;
                uint64_t size = 1;
                EXPECT_EQ(option(name, &value, &size), NQ_STATUS_OK);
                HostPool* pool = kernel->getTempPool(kernel);
                pool->free(pool, pool->alloc(pool, 64, 0));
                kernel->releaseTempPool(kernel, pool);
                EXPECT_EQ(unregister_handle(name), NQ_STATUS_OK);
                extension->handle.release(extension);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(host.holds("nqarray"), 0u);
}

class LoadedHost : public KernelTable {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
        api = host.api();
    }
    InstanceApi* api = nullptr;
};

TEST_F(LoadedHost, RegistersTheLibraryUntilItIsUnloaded) {
    ASSERT_NE(api, nullptr);
    EXPECT_EQ(host.registered("nqinstance.handle"), api);
    EXPECT_NE(host.symbol("nqinstance"), nullptr);
    EXPECT_EQ(host.symbol("no such symbol"), nullptr);
    EXPECT_EQ(host.pools(), 1u);
    host.unload();
    EXPECT_EQ(host.api(), nullptr);
    EXPECT_EQ(host.symbol("nqinstance"), nullptr);
    EXPECT_EQ(host.registered("nqinstance.handle"), nullptr);
    EXPECT_EQ(host.pools(), 0u);
    host.unload();
    std::string error;
    EXPECT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
}

TEST_F(LoadedHost, LoadsOneLibraryAtATime) {
    std::string error;
    EXPECT_FALSE(host.load(NQ_LIBRARY_PATH, error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(host.api(), api);
    Host other;
    error.clear();
    EXPECT_FALSE(other.load(NQ_LIBRARY_PATH, error));
    EXPECT_NE(error.find("another host"), error.npos) << error;
    host.unload();
    EXPECT_TRUE(other.load(NQ_LIBRARY_PATH, error)) << error;
}

TEST_F(KernelTable, RefusesWhatIsNoExtensionLibrary) {
    std::string error;
    EXPECT_FALSE(host.load("/nonexistent/library.so", error));
    EXPECT_NE(error.find("/nonexistent/library.so"), error.npos) << error;
    EXPECT_FALSE(host.load("libm.so.6", error));
    EXPECT_NE(error.find("no extension library"), error.npos) << error;
    EXPECT_EQ(host.api(), nullptr);
}

TEST_F(LoadedHost, WrapsASiblingObjectInAHandle) {
    HostPool* pool = host.make_pool("handles");
    NQExtension* arrays = load_extension("nqarray");
    NQArray* array = nullptr;
    auto* array_api = reinterpret_cast<NQArrayApi*>(arrays);
    array_api->createArray(array_api, pool, 0, &array);
    NQStatus status = 1;
    NQInt32Instance* number = api->createInt32(api, pool, 42, &status);
    ASSERT_EQ(status, NQ_STATUS_OK);
    array->append(array, number, 0);
    EXPECT_EQ(number->header.refCount, 2u);
    number->header.release(number);
    auto* inner = reinterpret_cast<NQHandle*>(array);
    NQHandleInstance* handle = api->createHandle(api, pool, inner, &status);
    EXPECT_EQ(api->isType(&handle->header, "NQArray"), 1);
    handle->header.release(handle);
    arrays->handle.release(arrays);
    EXPECT_EQ(host.holds("nqarray"), 0u);
}

TEST_F(LoadedHost, ParsesJsonWithTheLibrarysInstances) {
    HostPool* pool = host.make_pool("json");
    auto* json = reinterpret_cast<NQInstJsonApi*>(load_extension("nqinstjson"));
    const std::string_view text = R"({"b": [1, null, "x"], "a": 1.5})";
    const uint8_t options[6] = {};
    InstanceHeader* tree = nullptr;
    uint32_t line = 0;
    uint32_t column = 0;
    ASSERT_EQ(json->parse(json, pool, reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                          options, &tree, &line, &column),
              NQ_STATUS_OK);
    NQU8String* written = nullptr;
    ASSERT_EQ(api->toJSON(api, pool, tree, &written), NQ_STATUS_OK);
    EXPECT_EQ(text_of(*written),
              "{\n"
              "    \"b\": \n"
              "      [\n"
              "        1,\n"
              "        null,\n"
              "        \"x\"\n"
              "      ],\n"
              "    \"a\": 1.500000\n"
              "}\n");
    written->header.release(written);
    tree->release(tree);
    host.unload();
    EXPECT_EQ(json->parse(json, pool, reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                          options, &tree, nullptr, nullptr),
              NQ_STATUS_NO_EXTENSION);
    json->handle.release(json);
}

TEST_F(LoadedHost, ReadsAConfigurationIntoDictionaries) {
    HostPool* pool = host.make_pool("configuration");
    host.add_memory_file("memory.conf", "top = 1\n# note\n[section]\nkey=value = x\ndb =\n\tp=5\n");
    const uint64_t strings_held = host.holds("nqstring");
    int32_t line = 7;
    NQDictionary* root = nullptr;
    ASSERT_EQ(api->readConfiguration(api, pool, "memory.conf", &line, &root), NQ_STATUS_OK);
    EXPECT_EQ(line, -1);
    NQU8String* written = nullptr;
    ASSERT_EQ(api->toJSON2(api, root->extension->strings, pool, 0, 0, &root->header, &written),
              NQ_STATUS_OK);
    EXPECT_EQ(text_of(*written), R"({"top":"1","section":{"key":"value = x","db":{"p":"5"}}})");
    // The reader's clone goes through the dictionary's own.
    InstanceHeader* clone = nullptr;
    ASSERT_EQ(root->header.clone(&root->header, pool, 0, &clone), NQ_STATUS_OK);
    root->header.release(root);
    written->length = 0;
    ASSERT_EQ(api->toJSON2(api, reinterpret_cast<NQDictionary*>(clone)->extension->strings, pool, 0,
                           0, clone, &written),
              NQ_STATUS_OK);
    EXPECT_EQ(text_of(*written), R"({"top":"1","section":{"key":"value = x","db":{"p":"5"}}})");
    clone->release(clone);
    written->header.release(written);
    EXPECT_EQ(host.holds("nqdictionary"), 0u);
    EXPECT_EQ(host.holds("nqioe"), 0u);
    EXPECT_EQ(host.holds("nqstring"), strings_held);
}

// Text without a terminator, different at every place.
std::string long_line(std::size_t length) {
    std::string line;
    for (std::size_t i = 0; line.size() < length; ++i) line += std::to_string(i) + ' ';
    line.resize(length);
    return line;
}

TEST_F(LoadedHost, ReadsLinesOfAnyLengthBackWhole) {
    HostPool* pool = host.make_pool("lines");
    std::vector<std::size_t> lengths = {1,    2,    2047, 2048, 2049,  4095,  4096,  4097,
                                        4098, 6143, 6144, 6145, 20000, 65536, 99999, 100000};
    for (std::size_t length = 3; length < 100'000; length += length / 7 + 1) {
        lengths.push_back(length);
    }
    std::string file;
    for (std::size_t length : lengths) file += long_line(length) + '\n';
    file += long_line(100'000);  // and a last line without a terminator
    lengths.push_back(100'000);
    host.add_memory_file("long.txt", file);
    NQTextReader* reader = nullptr;
    ASSERT_EQ(api->createTextReader(api, pool, &reader), NQ_STATUS_OK);
    ASSERT_EQ(api->openTextReader(reader, "long.txt"), NQ_STATUS_OK);
    NQU8String* line = nullptr;
    for (std::size_t length : lengths) {
        ASSERT_EQ(api->readLine(reader, &line), NQ_STATUS_OK);
        ASSERT_NE(line, nullptr) << length;
        ASSERT_EQ(text_of(*line), long_line(length));
        line->header.release(line);
    }
    ASSERT_EQ(api->readLine(reader, &line), NQ_STATUS_OK);
    EXPECT_EQ(line, nullptr);
    auto* header = reinterpret_cast<InstanceHeader*>(reader);
    header->release(header);
    EXPECT_EQ(host.holds("nqioe"), 0u);
}

// Constructed before the host's own globals, so it ends after them.
Host last_host;

TEST(HostEnd, MayComeAtTheEndOfTheProgram) {
    const auto load_and_end = [] {
        std::string error;
        std::exit(last_host.load(NQ_LIBRARY_PATH, error) ? 0 : 1);
    };
    EXPECT_EXIT(load_and_end(), testing::ExitedWithCode(0), "");
}

TEST(HostEnd, FreesWhatItsUsersForgot) {
    Host host;
    std::string error;
    ASSERT_TRUE(host.load(NQ_LIBRARY_PATH, error)) << error;
    HostPool* pool = host.make_pool("forgotten");
    host.add_memory_file("f.conf", "a = b\n[c]\nd = e\n");
    InstanceApi* api = host.api();
    int32_t line = 0;
    NQDictionary* root = nullptr;
    EXPECT_EQ(api->readConfiguration(api, pool, "f.conf", &line, &root), NQ_STATUS_OK);
    NQTextReader* reader = nullptr;
    EXPECT_EQ(api->createTextReader(api, pool, &reader), NQ_STATUS_OK);
    NQStatus status = 1;
    EXPECT_NE(api->createSizedData(api, pool, 10'000, &status), nullptr);
    EXPECT_EQ(host.holds("nqdictionary"), 4u);  // two dictionaries, each twice; a leak checker
                                                // looks at the memory
}

}  // namespace
}  // namespace nq
