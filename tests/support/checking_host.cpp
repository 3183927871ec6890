#include "tests/support/checking_host.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>

#include "nqinstance/host/status.h"
#include "tests/support/host_formatter.hpp"

namespace nq::test {
namespace {

constexpr std::size_t kServiceCallsKept = 4096;

std::u32string name_of(const NQChar* name, std::uint64_t length) { return {name, name + length}; }

}  // namespace

HostState operator-(const HostState& a, const HostState& b) {
    return {
#define NQ_DIFFERENCE(type, field, name) .field = a.field - b.field,
        NQ_HOST_STATE(NQ_DIFFERENCE)
#undef NQ_DIFFERENCE
    };
}

std::ostream& operator<<(std::ostream& out, const HostState& state) {
    const std::pair<std::int64_t, const char*> values[] = {
#define NQ_VALUE(type, field, name) {static_cast<std::int64_t>(state.field), name},
        NQ_HOST_STATE(NQ_VALUE)
#undef NQ_VALUE
    };
    const char* separator = "{";
    for (const auto& [value, name] : values) {
        if (value == 0) continue;
        out << separator << value << ' ' << name;
        separator = ", ";
    }
    return out << (*separator == '{' ? "{nothing}" : "}");
}

// The operations of the kernel table.
struct KernelOperations {
    static CheckingHost& host(HostKernel* self) {
        return *static_cast<CheckingHost::Kernel*>(self)->host;
    }
    static FailurePlan& plan(HostKernel* self) { return host(self).plan(); }

    static HostPool* create_pool(HostKernel* self, const void* parameters, std::uint64_t zero,
                                 const char* name) noexcept {
        constexpr std::array<unsigned char, 24> kPlain{};
        if (zero || std::memcmp(parameters, kPlain.data(), kPlain.size()) != 0) {
            report_fault("createPool with parameters that are not zero");
        }
        if (plan(self).next(Call::kCreatePool)) return nullptr;
        return host(self).make_pool(name).table();
    }

    static NQExtension* load_extension(HostKernel* self, const NQChar* name, std::uint64_t length,
                                       std::uint64_t version, HostKernel** slot) noexcept {
        CheckingHost& own = host(self);
        const std::u32string text = name_of(name, length);
        const bool is_dictionary = text == U"nqdictionary";
        void* expected = is_dictionary ? library_symbol("Exported_NQHandle") : nullptr;
        if (version || slot != expected) report_fault("loadExtension with unknown arguments");
        if (plan(self).next(Call::kLoadExtension)) return nullptr;
        const auto held = [&own](Extension extension, auto* table) {
            own.core_.hold(extension);
            return reinterpret_cast<NQExtension*>(table);
        };
        if (text == U"nqstring") return held(Extension::kString, own.strings.table());
        if (text == U"nqarray") return held(Extension::kArray, own.arrays.table());
        if (text == U"nqioe") return held(Extension::kFile, own.files.table());
        if (text == U"nqinstjson") return held(Extension::kJson, own.json.table());
        if (is_dictionary) return held(Extension::kDictionary, own.dictionaries.table());
        return nullptr;
    }

    static NQStatus register_handle(HostKernel* self, const NQChar* name, std::uint64_t length,
                                    std::uint64_t three, std::uint64_t five, void* handle,
                                    std::uint64_t eight, std::uint64_t zero1,
                                    std::uint64_t zero2) noexcept {
        if (three != 3 || five != 5 || eight != 8 || zero1 || zero2 || !handle) {
            report_fault("registerHandle with unknown arguments");
        }
        if (const NQStatus status = plan(self).next(Call::kRegister)) return status;
        if (!host(self).registrations_.emplace(name_of(name, length), handle).second) {
            report_fault("a name registered twice");
        }
        return NQ_STATUS_OK;
    }

    static NQStatus unregister_handle(HostKernel* self, const NQChar* name,
                                      std::uint64_t length) noexcept {
        const NQStatus status = plan(self).next(Call::kUnregister);
        if (host(self).registrations_.erase(name_of(name, length)) == 0) {
            report_fault("unregisterHandle of a name that is not registered");
        }
        return status;
    }

    static NQStatus get_option(HostKernel* self, const NQChar* name, std::uint64_t length,
                               std::uint64_t zero, void* value, std::uint64_t* size) noexcept {
        if (zero) report_fault("getOption with an argument that is not zero");
        if (const NQStatus status = plan(self).next(Call::kGetOption)) return status;
        const auto found = host(self).options_.find(to_utf8(name, length));
        if (found == host(self).options_.end()) return NQ_STATUS_INVALID_ARGUMENT;
        const std::string& bytes = found->second;
        if (bytes.size() > *size) return NQ_STATUS_BUFFER_TOO_SMALL;
        std::memcpy(value, bytes.data(), bytes.size());
        *size = bytes.size();
        return NQ_STATUS_OK;
    }

    static HostPool* get_temp_pool(HostKernel* self) noexcept {
        if (plan(self).next(Call::kGetTempPool)) return nullptr;
        CheckingHost& own = host(self);
        HostPool* pool = own.make_pool("temporary").table();
        const std::lock_guard lock(own.temporary_pools_mutex_);
        own.temporary_pools_.push_back(pool);
        return pool;
    }

    static NQStatus release_temp_pool(HostKernel* self, HostPool* pool) noexcept {
        const NQStatus status = plan(self).next(Call::kReleaseTempPool);
        CheckingHost& own = host(self);
        {
            const std::lock_guard lock(own.temporary_pools_mutex_);
            if (std::erase(own.temporary_pools_, pool) == 0) {
                report_fault("releaseTempPool of a pool that is none");
                return status;
            }
        }
        CheckingPool::of(pool).destroy();
        return status;
    }

    // Records a call of a message service, then the plan's status.
    static NQStatus enter(HostKernel* self, Call call, void* record, std::vector<void*> arguments,
                          std::uint64_t first_variadic, std::u32string format = {},
                          std::uint64_t capacity = 0) {
        ServiceCall entry{
            call,     self,          record, {}, std::move(arguments), std::move(format),
            capacity, first_variadic};
        if (record) std::memcpy(&entry.record_copy, record, host(self).record_bytes);
        {
            CheckingHost& own = host(self);
            const std::lock_guard lock(own.service_calls_mutex_);
            if (own.service_calls_.size() == kServiceCallsKept) own.service_calls_.clear();
            own.service_calls_.push_back(std::move(entry));
        }
        return plan(self).next(call);
    }

    static std::uint64_t first_of(va_list arguments) {
        va_list copy;
        va_copy(copy, arguments);
        const std::uint64_t first = va_arg(copy, std::uint64_t);
        va_end(copy);
        return first;
    }

    static NQStatus capture_message(HostKernel* self, void* first, void* second,
                                    va_list arguments) noexcept {
        const NQStatus status =
            enter(self, Call::kCaptureMessage, nullptr, {first, second}, first_of(arguments));
        return status ? status : static_cast<NQStatus>(host(self).service_result);
    }

    static NQStatus format_to_buffer(HostKernel* self, void* record, const NQChar* format,
                                     std::uint64_t length, NQChar* buffer, std::uint64_t capacity,
                                     std::uint64_t* out_length, std::uint64_t zero,
                                     va_list arguments) noexcept {
        if (zero) report_fault("formatToBuffer with an argument that is not zero");
        if (const NQStatus status = enter(self, Call::kFormatToBuffer, record, {}, 0,
                                          name_of(format, length), capacity)) {
            return status;
        }
        const std::string text = format_text(format, length, arguments);
        if (text.size() > capacity) return NQ_STATUS_BUFFER_TOO_SMALL;
        // The room behind the text is the formatter's as well.
        std::fill_n(buffer, capacity, NQChar{0xEEEEEEEE});
        std::copy(text.begin(), text.end(), buffer);
        *out_length = text.size();
        return static_cast<NQStatus>(host(self).service_result);
    }

    static std::uint64_t render_message(HostKernel* self, void* record, void* first, void* second,
                                        void* fourth, void* fifth) noexcept {
        const NQStatus status =
            enter(self, Call::kRenderMessage, record, {first, second, fourth, fifth}, 0);
        return status ? status : host(self).service_result;
    }

    static std::uint64_t render_formatted(HostKernel* self, void* record, void* first, void* second,
                                          void* third, va_list arguments) noexcept {
        const NQStatus status = enter(self, Call::kRenderFormatted, record, {first, second, third},
                                      first_of(arguments));
        return status ? status : host(self).service_result;
    }

    static NQStatus format_status(HostKernel* self, void* record, NQStatus code, void* first,
                                  void* second, void* third, va_list arguments) noexcept {
        auto* code_word = reinterpret_cast<void*>(static_cast<std::uintptr_t>(code));
        const NQStatus status = enter(self, Call::kFormatStatus, record,
                                      {code_word, first, second, third}, first_of(arguments));
        return status ? status : static_cast<NQStatus>(host(self).service_result);
    }
};

CheckingHost::CheckingHost(PoolMode mode)
    : core_(mode),
      strings(core_),
      arrays(core_),
      dictionaries(core_, strings, arrays),
      json(core_, strings, arrays, dictionaries),
      files(core_),
      encoding(core_),
      unicode(core_) {
    fill(kernel_);
    pool_ = &core_.make_pool("test");
}

CheckingHost::~CheckingHost() {
    plan().clear();
    unload();
    const HostState left = state();
    HostState expected;
    expected.pools = left.pools;  // pools end with the host
    if (!forgiven_) {
        EXPECT_EQ(left, expected) << "held when the host ended";
    }
}

void CheckingHost::fill(Kernel& kernel) {
    kernel.handle = {NQ_MAGIC, "kernel", nullptr};
    kernel.createPool = KernelOperations::create_pool;
    kernel.loadExtension = KernelOperations::load_extension;
    kernel.unregisterHandle = KernelOperations::unregister_handle;
    kernel.registerHandle = KernelOperations::register_handle;
    kernel.getOption = KernelOperations::get_option;
    kernel.getTempPool = KernelOperations::get_temp_pool;
    kernel.releaseTempPool = KernelOperations::release_temp_pool;
    kernel.encoding = encoding.table();
    kernel.unicode = unicode.table();
    kernel.captureMessage = KernelOperations::capture_message;
    kernel.formatToBuffer = KernelOperations::format_to_buffer;
    kernel.renderMessage = KernelOperations::render_message;
    kernel.renderFormatted = KernelOperations::render_formatted;
    kernel.formatStatus = KernelOperations::format_status;
    kernel.defaultContext = &default_context_;
    kernel.host = this;
}

InstanceApi* CheckingHost::load() {
    NQ_LIBRARY(nqextent)(&kernel_);
    known_ = true;
    api_ = NQ_LIBRARY(nqinstance)(&kernel_);
    json.instances = api_;
    return api_;
}

void CheckingHost::unload() {
    if (InstanceApi* api = std::exchange(api_, nullptr)) api->realDestroy(api);
    if (std::exchange(known_, false)) NQ_LIBRARY(nqextent)(nullptr);
}

void CheckingHost::check() const {
    for (const CheckingPool* pool : core_.pools()) pool->check();
}

HostState CheckingHost::state() const {
    HostState state;
    for (const CheckingPool* pool : core_.pools()) {
        ++state.pools;
        state.blocks += pool->blocks();
        state.bytes += pool->bytes();
        state.strings += pool->blocks(BlockKind::kString);
        state.texts += pool->blocks(BlockKind::kText);
        state.arrays += pool->blocks(BlockKind::kArray);
        state.dictionaries += pool->blocks(BlockKind::kDictionary);
    }
    state.files = files.open_files();
    state.transcoders = encoding.live_transcoders();
    state.string_holds = core_.holds(Extension::kString);
    state.array_holds = core_.holds(Extension::kArray);
    state.dictionary_holds = core_.holds(Extension::kDictionary);
    state.file_holds = core_.holds(Extension::kFile);
    state.json_holds = core_.holds(Extension::kJson);
    state.temporary_pools = temporary_pools_.size();
    state.registrations = registrations_.size();
    return state;
}

NQString* CheckingHost::text(std::u8string_view utf8) {
    std::u32string units;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<std::uint32_t>(utf8[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t c = length == 1 ? lead : lead & (0x7Fu >> length);
        for (std::size_t k = 1; k < length; ++k) c = c << 6 | (utf8[i + k] & 63u);
        units += static_cast<char32_t>(c);
        i += length;
    }
    return strings.make_text(pool(), units);
}

NQArray* CheckingHost::array(std::initializer_list<Item> items) {
    NQArray* result = arrays.make(pool());
    for (const Item& item : items) add(result, item);
    return result;
}

NQDictionary* CheckingHost::dictionary(
    std::initializer_list<std::pair<std::string_view, Item>> items) {
    NQDictionary* result = dictionaries.make(pool());
    for (const auto& [key, value] : items) set(result, key, value);
    return result;
}

void CheckingHost::add(NQArray* array, Item item) {
    ArrayService::add(array, item.instance);
    drop_unplanned(item.instance);
}

void CheckingHost::set(NQDictionary* dictionary, std::string_view key, Item value) {
    NQU8String* name = string(key);
    DictionaryService::put(dictionary, name, value.instance);
    drop_unplanned(&name->header);
    drop_unplanned(value.instance);
}

NQStringApi* CheckingHost::string_api() {
    core_.keep(Extension::kString);
    return strings.table();
}

NQArrayApi* CheckingHost::array_api() {
    core_.keep(Extension::kArray);
    return arrays.table();
}

NQDictionaryApi* CheckingHost::dictionary_api() {
    core_.keep(Extension::kDictionary);
    return dictionaries.table();
}

NQInstJsonApi* CheckingHost::json_api() {
    core_.keep(Extension::kJson);
    return json.table();
}

void CheckingHost::set_option(std::string name, std::string bytes) {
    options_[std::move(name)] = std::move(bytes);
}

NQContext* CheckingHost::make_context(HostKernel* services) {
    auto made = std::make_unique<Context>();
    made->environment = {.handle = {NQ_MAGIC, "environment", nullptr}, .services = services};
    made->context = {.handle = {NQ_MAGIC, "context", nullptr}, .environment = &made->environment};
    contexts_.push_back(std::move(made));
    return &contexts_.back()->context;
}

HostKernel* CheckingHost::make_kernel() {
    kernels_.push_back(std::make_unique<Kernel>());
    fill(*kernels_.back());
    return kernels_.back().get();
}

}  // namespace nq::test
