#pragma once
// A host for tests: every service the library calls, kept simple, in memory, and checked.
//
//     CheckingHost host;                        // one at a time: the library has one kernel
//     InstanceApi* api = host.load();           // nqextent and nqinstance of the library
//     const HostState before = host.state();
//     NQDictionary* tree = host.dictionary({{"name", host.string("Ada")}});
//     NQU8String* json = nullptr;
//     host.plan().fail(Call::kStringAppend, 3, NQ_STATUS_NO_MEMORY);  // the fourth append fails
//     EXPECT_EQ(api->toJSON(api, host.pool(), &tree->header, &json), NQ_STATUS_NO_MEMORY);
//     host.plan().clear();
//     EXPECT_EQ(api->toJSON(api, host.pool(), &tree->header, &json), NQ_STATUS_OK);
//     EXPECT_EQ(text_of(json), ...);
//     release(json);
//     release(tree);
//     EXPECT_EQ(host.state(), before);
//
// A host that ends with anything still held makes the test fail, unless forgive() was called.
// Wrong calls (see faults.hpp) end the process at once. Threads may call the host at once.
// CheckingHost(PoolMode::kGuard) puts every block in front of a protected page.
//
// host.file("a.conf", "k = v\n", {.chunk = 1}) makes a file; host.encoding.plan and
// host.strings.flag1 choose the behaviour of transcoders and strings.
#include <initializer_list>
#include <iosfwd>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nqinstance/core/api.h"
#include "nqinstance/host/kernel.h"
#include "tests/support/faults.hpp"
#include "tests/support/host_containers.hpp"
#include "tests/support/host_core.hpp"
#include "tests/support/host_encoding.hpp"
#include "tests/support/host_files.hpp"
#include "tests/support/host_json.hpp"
#include "tests/support/host_strings.hpp"
#include "tests/support/host_unicode.hpp"
#include "tests/support/library.hpp"

namespace nq::test {

// All that a host has given out and not got back, as X(type, field, name).
#define NQ_HOST_STATE(X)                                  \
    X(std::uint64_t, pools, "pools")                      \
    X(std::uint64_t, blocks, "blocks")                    \
    X(std::uint64_t, bytes, "bytes")                      \
    X(std::uint64_t, strings, "strings")                  \
    X(std::uint64_t, texts, "texts")                      \
    X(std::uint64_t, arrays, "arrays")                    \
    X(std::uint64_t, dictionaries, "dictionaries")        \
    X(std::uint64_t, files, "files")                      \
    X(std::uint64_t, transcoders, "transcoders")          \
    X(std::int64_t, string_holds, "string holds")         \
    X(std::int64_t, array_holds, "array holds")           \
    X(std::int64_t, dictionary_holds, "dictionary holds") \
    X(std::int64_t, file_holds, "file holds")             \
    X(std::int64_t, json_holds, "json holds")             \
    X(std::uint64_t, temporary_pools, "temporary pools")  \
    X(std::uint64_t, registrations, "registrations")

struct HostState {
#define NQ_FIELD_OF_STATE(type, field, name) type field = 0;
    NQ_HOST_STATE(NQ_FIELD_OF_STATE)
#undef NQ_FIELD_OF_STATE

    friend bool operator==(const HostState&, const HostState&) = default;
    friend HostState operator-(const HostState& a, const HostState& b);
    friend HostState operator+(const HostState& a, const HostState& b) {
        return a - (HostState{} - b);
    }
    friend std::ostream& operator<<(std::ostream& out, const HostState& state);
};

// Any instance or host object, as an element or a value; null is possible.
struct Item {
    InstanceHeader* instance;
    Item(std::nullptr_t) : instance(nullptr) {}
    template <class T>
    Item(T* object) : instance(reinterpret_cast<InstanceHeader*>(object)) {}
};

// One call of a message service, with the first word of its variable arguments where it has them.
struct ServiceCall {
    Call call;
    HostKernel* table;
    void* record;
    NQCallRecord record_copy;  // the first record_bytes of what `record` points at
    std::vector<void*> arguments;
    std::u32string format;
    std::uint64_t capacity;
    std::uint64_t first_variadic;
};

class CheckingHost {
    HostCore core_;

  public:
    explicit CheckingHost(PoolMode mode = PoolMode::kHeap);
    ~CheckingHost();
    CheckingHost(const CheckingHost&) = delete;
    CheckingHost& operator=(const CheckingHost&) = delete;

    // Loads the library; null when its entry refuses. unload() ends the table again, as does the
    // host's end.
    InstanceApi* load();
    void unload();
    InstanceApi* api() const { return api_; }

    HostKernel* kernel() { return &kernel_; }
    FailurePlan& plan() { return core_.plan; }

    // The pool of most tests, and further ones; `byte_limit` bounds what lives in it.
    HostPool* pool() { return checked_pool().table(); }
    CheckingPool& checked_pool() { return *pool_; }
    CheckingPool& make_pool(std::string name, std::uint64_t byte_limit = CheckingPool::kNoLimit) {
        return core_.make_pool(std::move(name), byte_limit);
    }

    // What is alive now.
    HostState state() const;
    // Looks at the red zones of all blocks and at the freed ones, as is also done when a block is
    // freed and when a pool ends.
    void check() const;
    // What is alive at the end is no failure: the test expects leftovers.
    void forgive() { forgiven_ = true; }

    // Objects in pool() with one reference for the caller. Arrays and dictionaries take over the
    // caller's references to their items.
    NQU8String* string(std::string_view text) { return strings.make(pool(), text); }
    NQString* text(std::u32string_view units) { return strings.make_text(pool(), units); }
    NQString* text(std::u8string_view utf8);
    NQArray* array(std::initializer_list<Item> items = {});
    NQDictionary* dictionary(std::initializer_list<std::pair<std::string_view, Item>> items = {});
    void add(NQArray* array, Item item);
    void set(NQDictionary* dictionary, std::string_view key, Item value);

    // A file that openFile finds under this name.
    void file(std::string name, std::string bytes, FilePlan plan = {}) {
        files.add(std::move(name), std::move(bytes), std::move(plan));
    }

    // The tables of the extensions, usable without a hold from now on.
    NQStringApi* string_api();
    NQArrayApi* array_api();
    NQDictionaryApi* dictionary_api();
    NQInstJsonApi* json_api();

    void set_option(std::string name, std::string bytes);

    // A context that leads to the given kernel table; and the host's default context.
    NQContext* make_context(HostKernel* services);
    void set_default_context(NQContext* context) { default_context_ = context; }
    // A further kernel table with the same services.
    HostKernel* make_kernel();

    // The latest calls of the message services, and what they answer when nothing fails. A
    // formatToBuffer is formatted and recorded. Looked at by one thread.
    const std::vector<ServiceCall>& service_calls() const { return service_calls_; }
    std::uint64_t service_result = 0;
    // 16 for a call record, 8 where the record is the caller's context variable.
    std::size_t record_bytes = sizeof(NQCallRecord);

    StringService strings;
    ArrayService arrays;
    DictionaryService dictionaries;
    JsonService json;
    FileService files;
    EncodingService encoding;
    HostUnicodeService unicode;

  private:
    struct Kernel : HostKernel {
        CheckingHost* host;
    };
    struct Context {
        NQContext context;
        NQEnvironment environment;
    };
    friend struct KernelOperations;

    void fill(Kernel& kernel);

    Kernel kernel_{};
    InstanceApi* api_ = nullptr;
    CheckingPool* pool_ = nullptr;
    bool known_ = false;  // the library has the kernel
    bool forgiven_ = false;
    std::map<std::u32string, void*> registrations_;
    std::map<std::string, std::string> options_;
    mutable std::mutex temporary_pools_mutex_;
    std::vector<HostPool*> temporary_pools_;
    NQContext* default_context_ = nullptr;
    std::vector<std::unique_ptr<Context>> contexts_;
    std::vector<std::unique_ptr<Kernel>> kernels_;
    std::mutex service_calls_mutex_;
    std::vector<ServiceCall> service_calls_;
};

}  // namespace nq::test
