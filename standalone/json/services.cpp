#include "standalone/json/services.hpp"

#include "nqinstance/base/held.hpp"

namespace nq {
namespace {

template <class Api>
Api* load(HostKernel* kernel) noexcept {
    constexpr const auto& name = kExtensionName<Api>;
    return reinterpret_cast<Api*>(
        kernel->loadExtension(kernel, name.data(), name.size(), 0, nullptr));
}

}  // namespace

Services::Services(HostKernel* kernel, InstanceApi* api) noexcept
    : tables_{.instances = api,
              .strings = load<NQStringApi>(kernel),
              .arrays = load<NQArrayApi>(kernel),
              .dictionaries = load<NQDictionaryApi>(kernel)} {}

Services::~Services() {
    if (dictionaries()) release(dictionaries());
    if (arrays()) release(arrays());
    if (strings()) release(strings());
}

}  // namespace nq
