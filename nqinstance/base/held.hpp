#pragma once
#include "nqinstance/base/units.hpp"
#include "nqinstance/host/array.h"
#include "nqinstance/host/dictionary.h"
#include "nqinstance/host/file.h"
#include "nqinstance/host/json_parser.h"
#include "nqinstance/host/kernel.h"
#include "nqinstance/host/string.h"

namespace nq {

template <class T>
void release(T* object) noexcept {
    if constexpr (requires { object->handle; }) {
        object->handle.release(object);
    } else if constexpr (requires { object->header; }) {
        object->header.release(object);
    } else {
        object->release(object);
    }
}

// One hold of an instance, an extension or another host object, given back at the end of the scope.
template <class T>
class Held {
  public:
    Held() noexcept = default;
    explicit Held(T* object) noexcept : object_(object) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { reset(); }

    explicit operator bool() const noexcept { return object_ != nullptr; }
    T* operator->() const noexcept { return object_; }
    T* get() const noexcept { return object_; }

    // Where an operation stores a new object; what was held before is released.
    T** out() noexcept {
        reset();
        return &object_;
    }
    // Where an operation continues or replaces the held object by its own rules.
    T** in_out() noexcept { return &object_; }

    // Hands the hold to the caller.
    T* take() noexcept {
        T* object = object_;
        object_ = nullptr;
        return object;
    }
    // Leaves the object with its pool: nobody releases it.
    void abandon() noexcept { object_ = nullptr; }
    void reset() noexcept {
        if (T* object = take()) release(object);
    }

  private:
    T* object_ = nullptr;
};

template <class Api>
inline constexpr std::array<NQChar, 0> kExtensionName{};
template <>
inline constexpr auto kExtensionName<NQStringApi> = units("nqstring");
template <>
inline constexpr auto kExtensionName<NQArrayApi> = units("nqarray");
template <>
inline constexpr auto kExtensionName<NQDictionaryApi> = units("nqdictionary");
template <>
inline constexpr auto kExtensionName<NQIoeApi> = units("nqioe");
template <>
inline constexpr auto kExtensionName<NQInstJsonApi> = units("nqinstjson");

// A hold of the sibling extension, or null. `slot` as in HostKernel.loadExtension.
template <class Api>
Api* load_extension(HostKernel** slot = nullptr) noexcept {
    constexpr const auto& name = kExtensionName<Api>;
    static_assert(!name.empty(), "not a sibling extension");
    HostKernel* kernel = Exported_NQHandle;
    return reinterpret_cast<Api*>(kernel->loadExtension(kernel, name.data(), name.size(), 0, slot));
}

}  // namespace nq
