#pragma once
#include "nqinstance/base/held.hpp"
#include "standalone/json/parser.hpp"

namespace nq {

// Holds of the sibling extensions that values are built with, for as long as the object lives.
class Services {
  public:
    // `api` is the table of the library that the kernel's host has loaded.
    Services(HostKernel* kernel, InstanceApi* api) noexcept : api_(api) {
        load(kernel, strings_);
        load(kernel, arrays_);
        load(kernel, dictionaries_);
    }

    // False: an extension could not be loaded.
    explicit operator bool() const noexcept { return api_ && strings_ && arrays_ && dictionaries_; }

    JsonServices json() const noexcept {
        return {api_, strings_.get(), arrays_.get(), dictionaries_.get()};
    }
    InstanceApi* api() const noexcept { return api_; }
    NQStringApi* strings() const noexcept { return strings_.get(); }
    NQArrayApi* arrays() const noexcept { return arrays_.get(); }
    NQDictionaryApi* dictionaries() const noexcept { return dictionaries_.get(); }

  private:
    template <class Api>
    static void load(HostKernel* kernel, Held<Api>& hold) noexcept {
        constexpr const auto& name = kExtensionName<Api>;
        *hold.out() = reinterpret_cast<Api*>(
            kernel->loadExtension(kernel, name.data(), name.size(), 0, nullptr));
    }

    InstanceApi* api_;
    Held<NQStringApi> strings_;
    Held<NQArrayApi> arrays_;
    Held<NQDictionaryApi> dictionaries_;
};

}  // namespace nq
