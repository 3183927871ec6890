#pragma once
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "nqinstance/host/handle.h"
#include "nqinstance/host/instance_header.h"
#include "tests/support/checking_pool.hpp"
#include "tests/support/failure_plan.hpp"

namespace nq::test {

// The sibling extensions, as X(extension, name).
#define NQ_EXTENSIONS(X)           \
    X(kString, "nqstring")         \
    X(kArray, "nqarray")           \
    X(kDictionary, "nqdictionary") \
    X(kFile, "nqioe")              \
    X(kJson, "nqinstjson")

enum class Extension : std::uint8_t {
#define NQ_EXTENSION(extension, name) extension,
    NQ_EXTENSIONS(NQ_EXTENSION)
#undef NQ_EXTENSION
};

#define NQ_ONE_MORE(...) +1
inline constexpr std::size_t kExtensions = NQ_EXTENSIONS(NQ_ONE_MORE);
#undef NQ_ONE_MORE

const char* extension_name(Extension extension);

// What the services of one checking host share: its pools, the failure plan and the holds of the
// extensions.
class HostCore {
  public:
    explicit HostCore(PoolMode mode);
    ~HostCore();
    HostCore(const HostCore&) = delete;
    HostCore& operator=(const HostCore&) = delete;

    FailurePlan plan;

    CheckingPool& make_pool(std::string name, std::uint64_t byte_limit = CheckingPool::kNoLimit);
    std::vector<CheckingPool*> pools() const;  // those not yet destroyed

    // Faults when `object` is no live block of any pool of the host made last. Asked before the
    // object is looked at.
    static bool alive(const void* object, const char* operation);

    void hold(Extension extension) { ++holds_[static_cast<std::size_t>(extension)]; }
    void drop(Extension extension);
    std::int64_t holds(Extension extension) const {
        return holds_[static_cast<std::size_t>(extension)];
    }
    // Lets an extension be used without a hold: a test keeps it loaded.
    void keep(Extension extension) { kept_[static_cast<std::size_t>(extension)] = true; }
    // Faults when nobody holds the extension whose operation is called.
    void check_use(Extension extension, const char* operation) const;

  private:
    const PoolMode mode_;
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<CheckingPool>> pools_;
    std::array<std::atomic<std::int64_t>, kExtensions> holds_{};
    std::array<std::atomic<bool>, kExtensions> kept_{};
};

// An extension's table with the way back to its host and service.
template <class Api, class Service>
struct ExtensionTable : Api {
    Service* service;
    HostCore* core;
    Extension extension;

    static ExtensionTable& of(void* self) { return *static_cast<ExtensionTable*>(self); }

    static NQStatus release(void* self) noexcept {
        auto& table = of(self);
        const NQStatus status = table.core->plan.next(Call::kReleaseExtension);
        table.core->drop(table.extension);
        return status;
    }

    void fill(Extension which, Service& owner, HostCore& host) {
        this->handle = {NQ_MAGIC, extension_name(which), release};
        service = &owner;
        core = &host;
        extension = which;
    }
};

// Takes and drops one of the references that instances of any kind count in their header.
void retain(InstanceHeader* instance);
template <class T>
void release(T* object) {
    if (!object) return;
    auto* instance = reinterpret_cast<InstanceHeader*>(object);
    instance->release(instance);
}

// The ten words of an object of the host; `hook` frees it when the last reference is dropped.
void fill_host_header(InstanceHeader& header, const char* type, HostPool* pool,
                      NQStatus (*release)(void*) noexcept,
                      NQStatus (*hook)(InstanceHeader*) noexcept,
                      NQStatus (*clone)(InstanceHeader*, HostPool*, std::uint32_t,
                                        InstanceHeader**) noexcept);

// The arguments after the object that a host object's release hands its destroy hook, so that a
// hook put in its place can be seen to pass all of them on.
inline constexpr std::array<std::uint64_t, 5> kHookArguments{0x11, 0x22, 0x33, 0x44, 0x55};

// Drops a reference of a host object; the last one runs its destroy hook.
void drop_reference(InstanceHeader* instance);

// Drops a reference of any instance, which may be null, without a planned call for the host's own.
void drop_unplanned(InstanceHeader* instance);

}  // namespace nq::test
