#include "standalone/host.hpp"

#include <dlfcn.h>

#include <mutex>
#include <utility>

#include "standalone/kernel.hpp"
#include "standalone/text/messages.hpp"

namespace nq {
namespace {

// The kernel version that the host provides.
constexpr uint64_t kVersion[3] = {9, 1, 1};

// A library knows one kernel only, so those that hosts of this process have loaded are listed. The
// hosts own the list's parts: one of them may end later than this file's globals.
struct LoadedLibrary {
    void* handle = nullptr;
    LoadedLibrary* next = nullptr;
};
constinit std::mutex loaded_mutex;
constinit LoadedLibrary* first_loaded = nullptr;

// False: some host has loaded the library already.
bool enlist(LoadedLibrary& library) noexcept {
    const std::lock_guard lock(loaded_mutex);
    for (const LoadedLibrary* other = first_loaded; other; other = other->next) {
        if (other->handle == library.handle) return false;
    }
    library.next = std::exchange(first_loaded, &library);
    return true;
}

void strike_off(LoadedLibrary& library) noexcept {
    const std::lock_guard lock(loaded_mutex);
    LoadedLibrary** place = &first_loaded;
    while (*place != &library) place = &(*place)->next;
    *place = library.next;
}

template <class Function>
Function* function(void* library, const char* name) noexcept {
    return reinterpret_cast<Function*>(dlsym(library, name));
}

bool is_satisfied(InstanceApi* api) noexcept {
    uint64_t needed[3] = {};
    if (api->getReqVersion(api, &needed[0], &needed[1], &needed[2])) return false;
    return needed[0] == kVersion[0] &&
           std::pair(needed[1], needed[2]) <= std::pair(kVersion[1], kVersion[2]);
}

}  // namespace

class Host::Impl {
  public:
    ~Impl() { unload(); }

    bool load(const std::string& path, std::string& error) {
        error.clear();
        if (api_) {
            error = "a library is loaded already";
            return false;
        }
        library_ = {dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)};
        if (!library_.handle) {
            error = dlerror();
            return false;
        }
        const char* reason = "another host has loaded it";
        if (enlist(library_)) {
            api_ = start(library_.handle, reason);
            if (api_) return true;
            strike_off(library_);
        }
        close();
        error = path + ": " + reason;
        return false;
    }

    void unload() noexcept {
        if (!api_) return;
        api_->realDestroy(std::exchange(api_, nullptr));
        strike_off(library_);
        close();
    }

    Kernel& kernel() noexcept { return kernel_; }
    const Kernel& kernel() const noexcept { return kernel_; }
    InstanceApi* api() const noexcept { return api_; }
    void* symbol(const char* name) const noexcept {
        return library_.handle ? dlsym(library_.handle, name) : nullptr;
    }

  private:
    InstanceApi* start(void* library, const char*& reason) noexcept {
        const auto set_kernel = function<decltype(nqextent)>(library, "nqextent");
        const auto enter = function<decltype(nqinstance)>(library, "nqinstance");
        if (!set_kernel || !enter) {
            reason = "no extension library";
            return nullptr;
        }
        set_kernel(&kernel_);
        InstanceApi* api = enter(&kernel_);
        if (!api) {
            reason = "its entry failed";
            return nullptr;
        }
        if (is_satisfied(api)) return api;
        reason = "it needs another version of the host";
        api->realDestroy(api);
        return nullptr;
    }

    void close() noexcept { dlclose(std::exchange(library_.handle, nullptr)); }

    Kernel kernel_;
    LoadedLibrary library_;
    InstanceApi* api_ = nullptr;
};

Host::Host() : impl_(std::make_unique<Impl>()) {}
Host::~Host() = default;

HostKernel* Host::kernel() noexcept { return &impl_->kernel(); }

bool Host::load(const std::string& path, std::string& error) { return impl_->load(path, error); }

void Host::unload() noexcept { impl_->unload(); }

InstanceApi* Host::api() const noexcept { return impl_->api(); }

void* Host::symbol(const char* name) const noexcept { return impl_->symbol(name); }

HostPool* Host::make_pool(const char* name) noexcept { return impl_->kernel().pools().make(name); }

uint64_t Host::pools() const noexcept { return impl_->kernel().pools().count(); }

void Host::set_option(std::string_view name, std::string_view value) {
    impl_->kernel().set_option(name, value);
}

void* Host::registered(std::string_view name) const { return impl_->kernel().registered(name); }

uint64_t Host::holds(std::string_view extension) const noexcept {
    return impl_->kernel().holds(extension);
}

void Host::add_memory_file(std::string_view name, std::string bytes) {
    impl_->kernel().files().add_memory_file(name, std::move(bytes));
}

void Host::remove_memory_file(std::string_view name) noexcept {
    impl_->kernel().files().remove_memory_file(name);
}

std::string Host::message(NQStatus status) const { return std::string(message_text(status)); }

NQLocale* Host::locale(std::string_view tag) { return impl_->kernel().locales().get(tag); }

}  // namespace nq
