#include "nqinstance/text/memory.h"

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <string.h>
#include <wchar.h>

#include <memory>

#include "bench/text/plain_loops.hpp"
#include "bench/text/rows.hpp"

namespace nq::bench {
namespace {

constexpr std::size_t kSizes[] = {16, 64, 256, 4096, std::size_t{1} << 20};
constexpr double kOfTheCLibrary = 0.9;
constexpr double kOfTheLoop = 10;

std::string size_name(std::size_t bytes) {
    return bytes < 1u << 20 ? std::to_string(bytes) + " bytes"
                            : std::to_string(bytes >> 20) + " MiB";
}

// Zeroed memory at the start of a cache line, with a line to spare.
template <class Element>
class Block {
  public:
    explicit Block(std::size_t bytes)
        : elements_(static_cast<Element*>(std::aligned_alloc(64, (bytes + 127) / 64 * 64))) {
        require(elements_ != nullptr, "no memory");
        memset(elements_.get(), 0, (bytes + 127) / 64 * 64);
    }
    Element* get() const { return elements_.get(); }

  private:
    struct Free {
        void operator()(Element* elements) const { std::free(elements); }
    };
    std::unique_ptr<Element, Free> elements_;
};

// The C library's function of that name, as dlsym finds it: the one for this processor.
void* of_c_library(const char* name) {
    static void* const library = dlopen("libc.so.6", RTLD_NOW);
    void* found = library ? dlsym(library, name) : nullptr;
    require(found, "the C library lacks a function");
    return found;
}
#define NQ_OF_C_LIBRARY(name, Signature) \
    const auto c_##name = reinterpret_cast<Signature>(of_c_library(#name))

// Both sides are called in the same way, through a pointer that dlsym gave.
void c_library_rows(const Host& host, std::size_t size) {
    NQ_OF_C_LIBRARY(memset, void* (*)(void*, int, std::size_t));
    NQ_OF_C_LIBRARY(wmemset, wchar_t * (*)(wchar_t*, wchar_t, std::size_t));
    NQ_OF_C_LIBRARY(memchr, void* (*)(const void*, int, std::size_t));
    NQ_OF_C_LIBRARY(memcmp, int (*)(const void*, const void*, std::size_t));
    NQ_OF_C_LIBRARY(memcpy, void* (*)(void*, const void*, std::size_t));
    NQ_OF_C_LIBRARY(strlen, std::size_t(*)(const char*));
    const auto fill = NQ_EXPORTED(host, mwMemSet);
    const auto fill_units = NQ_EXPORTED(host, mwMemTSet);
    const auto scan = NQ_EXPORTED(host, mwMemScan);
    const auto order = NQ_EXPORTED(host, mwMemCmp);
    const auto copy = NQ_EXPORTED(host, mwMemCpy);
    const auto length = NQ_EXPORTED(host, mwStrLen);
    const Block<std::uint8_t> first(size);
    const Block<std::uint8_t> second(size);
    const Block<NQChar> third(size);
    std::uint8_t* a = first.get();
    std::uint8_t* b = second.get();
    NQChar* units = third.get();
    const auto row = [size](const char* routine, const char* peer) {
        return Row{routine, size_name(size),
                   std::string(peer) + ", glibc " + gnu_get_libc_version(), kOfTheCLibrary};
    };
    const std::uint8_t zero = 0;
    const std::uint8_t one = 1;
    const NQChar unit = 'x';
    auto* wide = reinterpret_cast<wchar_t*>(units);
    compare(row("mwMemSet", "memset"), Call(fill, a, zero, size), Call(c_memset, a, zero, size));
    compare(row("mwMemTSet", "wmemset"), Call(fill_units, units, unit, size / 4),
            Call(c_wmemset, wide, L'x', size / 4));
    compare(row("mwMemScan", "memchr"), Call(scan, a, size, one), Call(c_memchr, a, one, size));
    compare(row("mwMemCmp", "memcmp"), Call(order, a, b, size), Call(c_memcmp, a, b, size));
    compare(row("mwMemCpy", "memcpy"), Call(copy, a, b, size), Call(c_memcpy, b, a, size));
    memset(a, 'x', size);
    const auto* text = reinterpret_cast<const char*>(a);
    compare(row("mwStrLen", "strlen"), Call(length, text), Call(c_strlen, text));
}

void plain_loop_rows(const Host& host) {
    constexpr std::size_t kBytes = 4096;
    const Block<std::uint8_t> block(kBytes);
    const Block<NQChar> unit_block(kBytes);
    const Block<double> value_block(kBytes);
    const std::uint8_t* bytes = block.get();
    const NQChar* units = unit_block.get();
    const double* values = value_block.get();
    const auto scan = NQ_EXPORTED(host, mwMemNScan);
    const auto scan_units = NQ_EXPORTED(host, mwMemTNScan);
    const auto are_all = NQ_EXPORTED(host, mwMemNot);
    const auto are_all_units = NQ_EXPORTED(host, mwMemTNot);
    const auto has_nan = NQ_EXPORTED(host, mwMissArray);
    const auto row = [](const char* routine) {
        return Row{routine, size_name(kBytes), "loop, gcc " __VERSION__ " -O2", kOfTheLoop};
    };
    compare(
        row("mwMemNScan"), [=] { keep(scan(bytes, kBytes, 0)); },
        [=] { keep(plain::find_other(bytes, kBytes, 0)); });
    compare(
        row("mwMemTNScan"), [=] { keep(scan_units(units, kBytes / 4, 0)); },
        [=] { keep(plain::find_other(units, kBytes / 4, 0)); });
    compare(
        row("mwMemNot"), [=] { keep(are_all(0, bytes, kBytes)); },
        [=] { keep(plain::are_all(bytes, kBytes, 0)); });
    compare(
        row("mwMemTNot"), [=] { keep(are_all_units(0, units, kBytes / 4)); },
        [=] { keep(plain::are_all(units, kBytes / 4, 0)); });
    compare(
        row("mwMissArray"), [=] { keep(has_nan(values, kBytes / 8)); },
        [=] { keep(plain::has_nan(values, kBytes / 8)); });
}

}  // namespace

void memory_rows(const Host& host) {
    for (const std::size_t size : kSizes) c_library_rows(host, size);
    plain_loop_rows(host);
}

}  // namespace nq::bench
