#include "standalone/kernel.hpp"

#include <algorithm>
#include <cstring>
#include <new>

#include "standalone/base/statuses.hpp"
#include "standalone/base/utf8.hpp"
#include "standalone/json/parser.hpp"
#include "standalone/text/format.hpp"
#include "standalone/text/messages.hpp"
#include "standalone/values/arrays.hpp"
#include "standalone/values/dictionaries.hpp"
#include "standalone/values/strings.hpp"

namespace nq {
namespace {

constexpr std::string_view kInstanceHandle = "nqinstance.handle";

std::string to_utf8(const NQChar* text, uint64_t length) {
    std::string result;
    for (uint64_t i = 0; i < length; ++i) {
        uint8_t bytes[4];
        result.append(reinterpret_cast<const char*>(bytes), encode_utf8(text[i], bytes));
    }
    return result;
}

// Stores as many units of the text as there is room for; the units of the whole text.
uint64_t store_units(std::string_view text, NQChar* buffer, uint64_t capacity) noexcept {
    const auto* bytes = reinterpret_cast<const uint8_t*>(text.data());
    uint64_t units = 0;
    for (uint64_t i = 0; i < text.size(); ++units) {
        const DecodedCharacter character = decode_utf8(bytes + i, text.size() - i);
        if (units < capacity) buffer[units] = character.code_point;
        i += character.bytes;
    }
    return units;
}

template <class Integer>
Integer integer_of(const void* word) noexcept {
    return static_cast<Integer>(reinterpret_cast<uintptr_t>(word));
}

// Runs an operation that may throw for want of memory.
template <class Function>
NQStatus guarded(Function function) noexcept {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return NQ_STATUS_NO_MEMORY;
    }
}

// Whether the option's text means yes or no.
NQStatus store_truth(std::string_view text, uint8_t* value) noexcept {
    constexpr std::string_view yes[] = {"1", "true", "yes", "on"};
    constexpr std::string_view no[] = {"0", "false", "no", "off"};
    const bool is_yes = std::find(std::begin(yes), std::end(yes), text) != std::end(yes);
    if (!is_yes && std::find(std::begin(no), std::end(no), text) == std::end(no)) {
        return NQ_STATUS_INVALID_ARGUMENT;
    }
    *value = is_yes;
    return NQ_STATUS_OK;
}

NQStatus store_option(std::string_view text, void* value, uint64_t* size) noexcept {
    if (*size == 1) return store_truth(text, static_cast<uint8_t*>(value));
    const uint64_t room = *size;
    *size = text.size();
    if (text.size() > room) return NQ_STATUS_BUFFER_TOO_SMALL;
    if (!text.empty()) std::memcpy(value, text.data(), text.size());
    return NQ_STATUS_OK;
}

}  // namespace

// The words of the tables, as members so that they reach the kernel's services.
struct Kernel::Operations {
    static Kernel& kernel(HostKernel* self) noexcept { return *static_cast<Kernel*>(self); }

    // The kernel's own hold is never given back.
    static NQStatus release(void*) noexcept { return NQ_STATUS_OK; }

    static HostPool* create_pool(HostKernel* self, const void*, uint64_t,
                                 const char* name) noexcept {
        return kernel(self).pools_.make(name);
    }

    static HostPool* get_temp_pool(HostKernel* self) noexcept {
        return kernel(self).pools_.make("temporary pool");
    }

    static NQStatus release_temp_pool(HostKernel*, HostPool* pool) noexcept {
        return pool ? pool->destroy(pool) : NQ_STATUS_INVALID_ARGUMENT;
    }

    static NQExtension* load_extension(HostKernel* self, const NQChar* name, uint64_t length,
                                       uint64_t, HostKernel**) noexcept {
        NQExtension* found = nullptr;
        kernel(self).visit_extensions([&](auto& extension) noexcept {
            const std::string_view own = extension.handle.name;
            if (length == own.size() && std::equal(own.begin(), own.end(), name)) {
                found = reinterpret_cast<NQExtension*>(extension.hold());
            }
        });
        return found;
    }

    static NQStatus register_handle(HostKernel* self, const NQChar* name, uint64_t length, uint64_t,
                                    uint64_t, void* handle, uint64_t, uint64_t, uint64_t) noexcept {
        return guarded([&] {
            const std::lock_guard lock(kernel(self).mutex_);
            const bool is_new =
                kernel(self).handles_.try_emplace(to_utf8(name, length), handle).second;
            return is_new ? NQ_STATUS_OK : NQ_HOST_STATUS_DUPLICATE_HANDLE;
        });
    }

    static NQStatus unregister_handle(HostKernel* self, const NQChar* name,
                                      uint64_t length) noexcept {
        return guarded([&] {
            const std::lock_guard lock(kernel(self).mutex_);
            const bool was_there = kernel(self).handles_.erase(to_utf8(name, length)) != 0;
            return was_there ? NQ_STATUS_OK : NQ_HOST_STATUS_UNKNOWN_HANDLE;
        });
    }

    static NQStatus get_option(HostKernel* self, const NQChar* name, uint64_t length, uint64_t,
                               void* value, uint64_t* size) noexcept {
        return guarded([&]() -> NQStatus {
            const std::lock_guard lock(kernel(self).mutex_);
            const auto option = kernel(self).options_.find(to_utf8(name, length));
            if (option == kernel(self).options_.end()) return NQ_HOST_STATUS_UNKNOWN_OPTION;
            return store_option(option->second, value, size);
        });
    }

    static NQStatus capture_message(HostKernel*, void* first, void* second,
                                    va_list arguments) noexcept {
        if (!first) return NQ_STATUS_INVALID_ARGUMENT;
        std::string text;
        const NQStatus status = format_message(integer_of<NQStatus>(second), arguments, text);
        return status ? status : assign(*static_cast<NQU8String*>(first), text);
    }

    static NQStatus format_to_buffer(HostKernel*, void*, const NQChar* format,
                                     uint64_t format_length, NQChar* buffer, uint64_t capacity,
                                     uint64_t* out_length, uint64_t, va_list arguments) noexcept {
        return format_units(format, format_length, buffer, capacity, out_length, arguments);
    }

    static uint64_t render_message(HostKernel*, void*, void* first, void* second, void* fourth,
                                   void*) noexcept {
        return store_units(message_text(integer_of<NQStatus>(first)), static_cast<NQChar*>(second),
                           integer_of<uint64_t>(fourth));
    }

    static uint64_t render_formatted(HostKernel*, void*, void* first, void* second, void* third,
                                     va_list arguments) noexcept {
        std::string text;
        if (format_message(integer_of<NQStatus>(first), arguments, text)) return 0;
        return store_units(text, static_cast<NQChar*>(second), integer_of<uint64_t>(third));
    }

    static NQStatus format_status(HostKernel*, void*, NQStatus status, void* first, void* second,
                                  void* third, va_list arguments) noexcept {
        std::string text;
        const NQStatus failure = format_message(status, arguments, text);
        if (failure) return failure;
        const auto capacity = integer_of<uint64_t>(second);
        const uint64_t units = store_units(text, static_cast<NQChar*>(first), capacity);
        if (third) *static_cast<uint64_t*>(third) = std::min(units, capacity);
        return units > capacity ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK;
    }

    static IoeFile* open_file(NQIoeApi* self, const uint8_t* name, uint64_t length, const void*,
                              uint64_t, uint64_t, const char*, NQStatus* status,
                              const void*) noexcept {
        auto& extension = *static_cast<FileExtension*>(self);
        return extension.files.open({reinterpret_cast<const char*>(name), length}, *status);
    }

    // Needs the library itself, which makes the scalar instances.
    static NQStatus parse(NQInstJsonApi* self, HostPool* pool, const uint8_t* text, uint64_t length,
                          const void*, InstanceHeader** out, uint32_t* line,
                          uint32_t* column) noexcept {
        Kernel& owner = static_cast<JsonExtension*>(self)->kernel;
        auto* instances = static_cast<InstanceApi*>(owner.registered(kInstanceHandle));
        if (!instances) return NQ_STATUS_NO_EXTENSION;
        uint32_t unused;
        return parse_json({instances, &owner.strings_, &owner.arrays_, &owner.dictionaries_}, pool,
                          text, length, out, line ? line : &unused, column ? column : &unused);
    }

    static NQIoeApi file_operations() noexcept {
        NQIoeApi api{};
        api.openFile = open_file;
        return api;
    }

    static NQInstJsonApi json_operations() noexcept {
        NQInstJsonApi api{};
        api.parse = parse;
        return api;
    }
};

Kernel::FileExtension::FileExtension(FileService& service) noexcept
    : Extension("nqioe", Operations::file_operations()), files(service) {}

Kernel::JsonExtension::JsonExtension(Kernel& owner) noexcept
    : Extension("nqinstjson", Operations::json_operations()), kernel(owner) {}

Kernel::Kernel()
    : HostKernel{},
      default_context_(this),
      strings_("nqstring", string_operations()),
      arrays_("nqarray", array_operations()),
      dictionaries_("nqdictionary", dictionary_operations()),
      file_extension_(files_),
      json_extension_(*this) {
    dictionaries_.strings = strings_.hold();
    handle = {NQ_MAGIC, "kernel", Operations::release};
    createPool = Operations::create_pool;
    loadExtension = Operations::load_extension;
    unregisterHandle = Operations::unregister_handle;
    registerHandle = Operations::register_handle;
    getOption = Operations::get_option;
    getTempPool = Operations::get_temp_pool;
    releaseTempPool = Operations::release_temp_pool;
    encoding = &encoding_service_;
    unicode = unicode_service_.table();
    captureMessage = Operations::capture_message;
    formatToBuffer = Operations::format_to_buffer;
    renderMessage = Operations::render_message;
    renderFormatted = Operations::render_formatted;
    formatStatus = Operations::format_status;
    defaultContext = default_context_.place();
}

void Kernel::set_option(std::string_view name, std::string_view value) {
    const std::lock_guard lock(mutex_);
    options_.insert_or_assign(std::string(name), std::string(value));
}

void* Kernel::registered(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    const auto found = handles_.find(name);
    return found == handles_.end() ? nullptr : found->second;
}

uint64_t Kernel::holds(std::string_view extension) const noexcept {
    uint64_t holds = 0;
    const_cast<Kernel*>(this)->visit_extensions([&](auto& one) noexcept {
        if (extension == one.handle.name) holds = one.holds();
    });
    return holds;
}

}  // namespace nq
