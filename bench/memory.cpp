#include "nqinstance/text/memory.h"

#include <gnu/libc-version.h>
#include <string.h>
#include <wchar.h>

#include <memory>

#include "bench/plain_loops.hpp"
#include "bench/text.hpp"

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
        if (!elements_) std::abort();
        memset(elements_.get(), 0, (bytes + 127) / 64 * 64);
    }
    Element* get() const { return elements_.get(); }

  private:
    struct Free {
        void operator()(Element* elements) const { std::free(elements); }
    };
    std::unique_ptr<Element, Free> elements_;
};

// Both sides are called as an ordinary program does it: by name, through the linkage table. The
// `keep` before a call of the C library's hides what the compiler knows of its arguments.
void c_library_rows(std::size_t size) {
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
    const auto hidden = [](auto value) {
        __asm__ volatile("" : "+r"(value));
        return value;
    };
    const std::size_t bytes = hidden(size);
    compare(
        row("mwMemSet", "memset"), [=] { mwMemSet(a, 0, bytes); },
        [=] {
            memset(a, 0, bytes);
            keep(a);
        });
    compare(
        row("mwMemTSet", "wmemset"), [=] { mwMemTSet(units, 'x', bytes / 4); },
        [=] {
            wmemset(reinterpret_cast<wchar_t*>(units), L'x', bytes / 4);
            keep(units);
        });
    compare(
        row("mwMemScan", "memchr"), [=] { keep(mwMemScan(a, bytes, 1)); },
        [=] { keep(memchr(a, 1, bytes)); });
    compare(
        row("mwMemCmp", "memcmp"), [=] { keep(mwMemCmp(a, b, bytes)); },
        [=] { keep(memcmp(a, b, bytes)); });
    compare(
        row("mwMemCpy", "memcpy"), [=] { keep(mwMemCpy(a, b, bytes)); },
        [=] { keep(memcpy(b, a, bytes)); });
    memset(a, 'x', size);
    const auto* text = reinterpret_cast<const char*>(a);
    compare(
        row("mwStrLen", "strlen"), [=] { keep(mwStrLen(text)); }, [=] { keep(strlen(text)); });
}

void plain_loop_rows() {
    constexpr std::size_t kBytes = 4096;
    const Block<std::uint8_t> bytes(kBytes);
    const Block<NQChar> units(kBytes);
    const Block<double> values(kBytes);
    const auto row = [](const char* routine) {
        return Row{routine, size_name(kBytes), "loop, gcc " __VERSION__ " -O2", kOfTheLoop};
    };
    compare(
        row("mwMemNScan"), [&] { keep(mwMemNScan(bytes.get(), kBytes, 0)); },
        [&] { keep(plain::find_other(bytes.get(), kBytes, 0)); });
    compare(
        row("mwMemTNScan"), [&] { keep(mwMemTNScan(units.get(), kBytes / 4, 0)); },
        [&] { keep(plain::find_other(units.get(), kBytes / 4, 0)); });
    compare(
        row("mwMemNot"), [&] { keep(mwMemNot(0, bytes.get(), kBytes)); },
        [&] { keep(plain::are_all(bytes.get(), kBytes, 0)); });
    compare(
        row("mwMemTNot"), [&] { keep(mwMemTNot(0, units.get(), kBytes / 4)); },
        [&] { keep(plain::are_all(units.get(), kBytes / 4, 0)); });
    compare(
        row("mwMissArray"), [&] { keep(mwMissArray(values.get(), kBytes / 8)); },
        [&] { keep(plain::has_nan(values.get(), kBytes / 8)); });
}

}  // namespace

void memory_rows(const Host&) {
    for (const std::size_t size : kSizes) c_library_rows(size);
    plain_loop_rows();
}

}  // namespace nq::bench
