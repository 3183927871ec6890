# What the standalone host and typed configurations are linked with.
include(CMakeFindDependencyMacro)
find_dependency(ICU COMPONENTS uc i18n)
find_dependency(simdjson)
include(${CMAKE_CURRENT_LIST_DIR}/nqinstance-targets.cmake)
