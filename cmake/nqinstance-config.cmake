# What the standalone host is linked with.
include(CMakeFindDependencyMacro)
find_dependency(ICU COMPONENTS uc i18n)
find_dependency(simdjson)
include(${CMAKE_CURRENT_LIST_DIR}/nqinstance-targets.cmake)
