#pragma once
#include "nqinstance/host/kernel.h"
#include "standalone/json/parser.hpp"

namespace nq {

// Holds of the sibling extensions that values are built with, for as long as the object lives.
class Services {
  public:
    // `api` is the table of the library that the kernel's host has loaded.
    Services(HostKernel* kernel, InstanceApi* api) noexcept;
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;
    ~Services();

    // False: an extension could not be loaded.
    explicit operator bool() const noexcept {
        return api() && strings() && arrays() && dictionaries();
    }

    JsonServices json() const noexcept { return tables_; }
    InstanceApi* api() const noexcept { return tables_.instances; }
    NQStringApi* strings() const noexcept { return tables_.strings; }
    NQArrayApi* arrays() const noexcept { return tables_.arrays; }
    NQDictionaryApi* dictionaries() const noexcept { return tables_.dictionaries; }

  private:
    JsonServices tables_;
};

}  // namespace nq
