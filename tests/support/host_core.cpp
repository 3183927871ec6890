#include "tests/support/host_core.hpp"

#include <algorithm>
#include <cstring>

#include "tests/support/faults.hpp"

namespace nq::test {
namespace {

int32_t is_type(InstanceHeader* self, const char* type) noexcept {
    return type && std::strcmp(self->typeName, type) == 0;
}

std::atomic<HostCore*> current_core{nullptr};

std::atomic_ref<std::uint64_t> count_of(InstanceHeader* instance) {
    return std::atomic_ref(instance->refCount);
}

}  // namespace

const char* extension_name(Extension extension) {
    static constexpr const char* kNames[] = {
#define NQ_EXTENSION_NAME(extension, name) name,
        NQ_EXTENSIONS(NQ_EXTENSION_NAME)
#undef NQ_EXTENSION_NAME
    };
    return kNames[static_cast<std::size_t>(extension)];
}

HostCore::HostCore(PoolMode mode) : mode_(mode) { current_core = this; }

HostCore::~HostCore() { current_core = nullptr; }

CheckingPool& HostCore::make_pool(std::string name, std::uint64_t byte_limit) {
    const std::lock_guard lock(mutex_);
    pools_.push_back(std::make_unique<CheckingPool>(plan, mode_, std::move(name), byte_limit));
    return *pools_.back();
}

std::vector<CheckingPool*> HostCore::pools() const {
    const std::lock_guard lock(mutex_);
    std::vector<CheckingPool*> live;
    for (const auto& pool : pools_) {
        if (!pool->destroyed()) live.push_back(pool.get());
    }
    return live;
}

bool HostCore::alive(const void* object, const char* operation) {
    if (const HostCore* core = current_core) {
        const std::lock_guard lock(core->mutex_);
        for (const auto& pool : core->pools_) {
            if (!pool->destroyed() && pool->has(object)) return true;
        }
    }
    report_fault(std::string(operation) + " on an object that is gone");
    return false;
}

void HostCore::drop(Extension extension) {
    const auto index = static_cast<std::size_t>(extension);
    if (--holds_[index] < 0) {
        report_fault(std::string("release of \"") + extension_name(extension) +
                     "\" beyond its holds");
    }
}

void HostCore::check_use(Extension extension, const char* operation) const {
    const auto index = static_cast<std::size_t>(extension);
    // The dictionary extension keeps the string extension loaded.
    const bool through_dictionary =
        extension == Extension::kString && holds(Extension::kDictionary) > 0;
    if (holds_[index] > 0 || kept_[index] || through_dictionary) return;
    report_fault(std::string(operation) + " of \"" + extension_name(extension) +
                 "\", which is not loaded");
}

void retain(InstanceHeader* instance) {
    if (instance) ++count_of(instance);
}

void fill_host_header(InstanceHeader& header, const char* type, HostPool* pool,
                      NQStatus (*release)(void*) noexcept,
                      NQStatus (*hook)(InstanceHeader*) noexcept,
                      NQStatus (*clone)(InstanceHeader*, HostPool*, std::uint32_t,
                                        InstanceHeader**) noexcept) {
    header = {.magic = NQ_MAGIC,
              .typeName = type,
              .release = release,
              .refCount = 1,
              .isType = is_type,
              .destroyHook = hook,
              .api = nullptr,
              .validate = nullptr,
              .clone = clone,
              .pool = pool};
}

void drop_reference(InstanceHeader* instance) {
    if (--count_of(instance) != 0) return;
    using Hook = NQStatus (*)(InstanceHeader*, std::uint64_t, std::uint64_t, std::uint64_t,
                              std::uint64_t, std::uint64_t);
    const auto& extra = kHookArguments;
    reinterpret_cast<Hook>(reinterpret_cast<void*>(instance->destroyHook))(
        instance, extra[0], extra[1], extra[2], extra[3], extra[4]);
}

void drop_unplanned(InstanceHeader* instance) {
    if (!instance) return;
    if (instance->api) {
        instance->release(instance);
    } else {
        drop_reference(instance);
    }
}

}  // namespace nq::test
