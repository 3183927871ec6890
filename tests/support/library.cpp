#include "tests/support/library.hpp"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

namespace nq::test {
namespace {

void* open_library() {
    void* library = dlopen(NQ_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (library) return library;
    std::fprintf(stderr, "%s\n", dlerror());
    std::abort();
}

}  // namespace

void* library_symbol(const char* name) {
    static void* const library = open_library();
    if (void* symbol = dlsym(library, name)) return symbol;
    std::fprintf(stderr, "%s\n", dlerror());
    std::abort();
}

}  // namespace nq::test
