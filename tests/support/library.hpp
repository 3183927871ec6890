#pragma once

namespace nq::test {

// The address of an exported symbol of the built library, which is loaded with dlopen on the
// first call; aborts with a message when there is none of that name.
void* library_symbol(const char* name);

}  // namespace nq::test

// The exported function of that name, called through the library's border:
// NQ_LIBRARY(nqzdhms)(time, &hours, nullptr, nullptr).
#define NQ_LIBRARY(name) (reinterpret_cast<decltype(&::name)>(::nq::test::library_symbol(#name)))
