#pragma once
#include <memory>
#include <string>
#include <string_view>

#include "nqinstance/core/api.h"
#include "nqinstance/host/locale.h"

namespace nq {

// A host that needs no platform: makes pools, provides the sibling extensions "nqstring",
// "nqarray", "nqdictionary", "nqioe" and "nqinstjson", and loads the extension library.
//
// The library keeps the kernel of the host that loaded it in one global, so one host at a time
// loads a given library. All operations of the tables a host hands out may be called by several
// threads at once; a string, an array or a dictionary is changed by one thread at a time.
class Host {
  public:
    Host();
    // Unloads the library if it is loaded, then frees every pool and file that is still there.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    HostKernel* kernel() noexcept;

    // Loads the extension library from `path` and calls its entry. False: nothing is loaded and
    // `error` says why.
    bool load(const std::string& path, std::string& error);
    // Ends the library's registration and its pool and closes it. Every instance it made must be
    // gone or belong to a pool that is only destroyed from now on.
    void unload() noexcept;

    // The loaded library's service table, or null.
    InstanceApi* api() const noexcept;
    // An exported symbol of the loaded library, or null.
    void* symbol(const char* name) const noexcept;

    // A pool that lives until its `destroy` is called or the host ends; null when there is no
    // memory. `name` must outlive it.
    HostPool* make_pool(const char* name) noexcept;

    // How many pools there are, whoever made them: a caller's own leak test.
    uint64_t pools() const noexcept;

    // A host option, as getOption reports it.
    void set_option(std::string_view name, std::string_view value);

    // The handle that the library or another component has registered under the name, or null.
    void* registered(std::string_view name) const;

    // The holds of a sibling extension such as "nqstring" that were not given back. One hold of
    // "nqstring" is always there, for "nqdictionary" uses it; each dictionary holds "nqdictionary".
    uint64_t holds(std::string_view extension) const noexcept;

    // Makes `bytes` readable through "nqioe" under `name`, in place of a file of that name.
    void add_memory_file(std::string_view name, std::string bytes);
    void remove_memory_file(std::string_view name) noexcept;

    // The English text of a status or message code, without arguments.
    std::string message(NQStatus status) const;

    // The locale of a BCP 47 language tag such as "tr" or "de-AT"; it lives as long as the host.
    // Null when the tag cannot be used.
    NQLocale* locale(std::string_view tag);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace nq
