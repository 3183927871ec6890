#include "standalone/host.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "standalone/kernel.hpp"
#include "standalone/messages.hpp"

namespace nq {
namespace {

// The kernel version that the host provides.
constexpr uint64_t kVersion[3] = {9, 1, 1};

// The libraries that some host in this process has loaded: a library knows one kernel only.
std::mutex loaded_mutex;
std::vector<void*> loaded_libraries;

bool claim(void* library) {
    const std::lock_guard lock(loaded_mutex);
    const auto end = loaded_libraries.end();
    if (std::find(loaded_libraries.begin(), end, library) != end) return false;
    loaded_libraries.push_back(library);
    return true;
}

void give_up(void* library) noexcept {
    const std::lock_guard lock(loaded_mutex);
    std::erase(loaded_libraries, library);
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
        void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            error = dlerror();
            return false;
        }
        if (!claim(library)) {
            error = path + ": another host has loaded it";
        } else {
            api_ = start(library, error);
            if (api_) {
                library_ = library;
                return true;
            }
            error = path + ": " + error;
            give_up(library);
        }
        dlclose(library);
        return false;
    }

    void unload() noexcept {
        if (!api_) return;
        api_->realDestroy(std::exchange(api_, nullptr));
        give_up(library_);
        dlclose(std::exchange(library_, nullptr));
    }

    Kernel& kernel() noexcept { return kernel_; }
    const Kernel& kernel() const noexcept { return kernel_; }
    InstanceApi* api() const noexcept { return api_; }
    void* symbol(const char* name) const noexcept {
        return library_ ? dlsym(library_, name) : nullptr;
    }

  private:
    InstanceApi* start(void* library, std::string& error) {
        const auto set_kernel = function<decltype(nqextent)>(library, "nqextent");
        const auto enter = function<decltype(nqinstance)>(library, "nqinstance");
        if (!set_kernel || !enter) {
            error = "no extension library";
            return nullptr;
        }
        set_kernel(&kernel_);
        InstanceApi* api = enter(&kernel_);
        if (!api) {
            error = "its entry failed";
            return nullptr;
        }
        if (is_satisfied(api)) return api;
        error = "it needs another version of the host";
        api->realDestroy(api);
        return nullptr;
    }

    Kernel kernel_;
    void* library_ = nullptr;
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
