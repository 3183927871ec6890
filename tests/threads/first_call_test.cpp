// The first calls of routines that choose their body for the processor, by many threads at once, in
// a library that was just loaded.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf.h"
#include "tests/support/bytes.hpp"
#include "tests/threads/threads.hpp"

namespace nq::test {
namespace {

// A copy of the library until the end of the test. It is made beside the library, from where code
// may be run; a folder for temporary files may forbid that.
class LibraryCopy {
    std::string path_ = std::string(NQ_LIBRARY_PATH) + ".XXXXXX";
    bool is_made_ = false;

  public:
    LibraryCopy() {
        const int file = mkstemp(path_.data());
        if (file < 0) return;
        close(file);
        std::error_code error;
        is_made_ = std::filesystem::copy_file(
            NQ_LIBRARY_PATH, path_, std::filesystem::copy_options::overwrite_existing, error);
        if (!is_made_) unlink(path_.c_str());
    }
    ~LibraryCopy() {
        if (is_made_) unlink(path_.c_str());
    }
    LibraryCopy(const LibraryCopy&) = delete;
    LibraryCopy& operator=(const LibraryCopy&) = delete;

    bool is_made() const { return is_made_; }
    const std::string& path() const { return path_; }
};

// That copy, which is loaded anew each time: the one under test is never unloaded.
class FreshLibrary {
    void* const handle_;
    std::string missing_;

  public:
    explicit FreshLibrary(const LibraryCopy& copy)
        : handle_(dlopen(copy.path().c_str(), RTLD_NOW | RTLD_LOCAL)),
          missing_(handle_ ? "" : dlerror()) {}
    ~FreshLibrary() {
        if (handle_) dlclose(handle_);
    }
    FreshLibrary(const FreshLibrary&) = delete;
    FreshLibrary& operator=(const FreshLibrary&) = delete;

    // Why not every routine can be called; empty when all can.
    const std::string& missing() const { return missing_; }

    // Looked up before the threads start, for the look-up takes a lock.
#define NQ_ROUTINE(name) decltype(&::name) name = find<decltype(&::name)>(#name)
    NQ_ROUTINE(mwMemScan);
    NQ_ROUTINE(mwMemNScan);
    NQ_ROUTINE(mwStrUp);
    NQ_ROUTINE(mwMissArray);
    NQ_ROUTINE(GET_UTF8_LEN_FROM_NQCHAR);
    NQ_ROUTINE(ConvertToUTF32);
    NQ_ROUTINE(ConvertFromUTF32);
    NQ_ROUTINE(UTF8_UTF32);
    NQ_ROUTINE(UTF32_UTF8);
    NQ_ROUTINE(COPY_UTF32_SWAP);
    NQ_ROUTINE(COPY_UTF32b_SWAP);
#undef NQ_ROUTINE

  private:
    template <class Routine>
    Routine find(const char* name) {
        void* const routine = handle_ ? dlsym(handle_, name) : nullptr;
        if (!routine && missing_.empty()) missing_ = name;
        return reinterpret_cast<Routine>(routine);
    }
};

// Long enough for every routine to take its body from the table.
struct Texts {
    std::string letters = std::string(255, 'x') + 'y';
    std::string accents = [] {
        std::string text;
        for (int i = 0; i < 128; ++i) text += "\xC3\xA9";
        return text;
    }();
    std::vector<NQChar> units = std::vector<NQChar>(256, 0xE9);
    std::vector<double> numbers = std::vector<double>(256, 1.5);
};

bool scans(const FreshLibrary& library, const Texts& texts) {
    return library.mwMemScan(texts.letters.data(), 256, 'y') == 255;
}
bool scans_for_another(const FreshLibrary& library, const Texts& texts) {
    return library.mwMemNScan(texts.letters.data(), 256, 'x') == 255;
}
bool raises(const FreshLibrary& library, const Texts& texts) {
    std::string copy = texts.letters;
    library.mwStrUp(copy.data(), copy.size());
    return copy == std::string(255, 'X') + 'Y';
}
bool looks_for_missing(const FreshLibrary& library, const Texts& texts) {
    return library.mwMissArray(texts.numbers.data(), 256) == 0;
}
bool measures(const FreshLibrary& library, const Texts& texts) {
    return library.GET_UTF8_LEN_FROM_NQCHAR(texts.units.data(), 256) == 512;
}
bool converts_to_units(const FreshLibrary& library, const Texts& texts) {
    std::vector<NQChar> target(128);
    std::uint64_t produced = 0;
    const NQStatus status = library.ConvertToUTF32(
        bytes_of(texts.accents), 256, reinterpret_cast<std::uint8_t*>(target.data()), 512,
        &produced, library.UTF8_UTF32, library.COPY_UTF32_SWAP);
    return status == 0 && produced == 512 && target == std::vector<NQChar>(128, 0xE9);
}
bool converts_from_units(const FreshLibrary& library, const Texts& texts) {
    std::string target(256, '?');
    std::uint64_t produced = 0;
    const NQStatus status =
        library.ConvertFromUTF32(reinterpret_cast<const std::uint8_t*>(texts.units.data()), 512,
                                 reinterpret_cast<std::uint8_t*>(target.data()), 256, &produced,
                                 library.UTF32_UTF8, library.COPY_UTF32b_SWAP);
    return status == 0 && produced == 256 && target == texts.accents;
}

using Check = bool (*)(const FreshLibrary&, const Texts&);
constexpr Check kChecks[] = {scans,
                             scans_for_another,
                             raises,
                             looks_for_missing,
                             measures,
                             converts_to_units,
                             converts_from_units};

TEST(FirstCallThread, EveryThreadGetsABody) {
    const LibraryCopy copy;
    ASSERT_TRUE(copy.is_made()) << copy.path();
    const Texts texts;
    std::atomic<std::uint64_t> wrong{0};
    std::uint64_t loads = 0;
    constexpr std::uint64_t kCallsOfThread = 200;
    for (const unsigned threads : kThreadCounts) {
        for (std::uint64_t done = 0; done < share_of_thread(threads); done += kCallsOfThread) {
            ++loads;
            const FreshLibrary library(copy);
            ASSERT_EQ(library.missing(), "");
            std::barrier start(threads);
            run_threads(threads, [&](unsigned index) {
                start.arrive_and_wait();
                // The threads begin with different routines, and with others after each load.
                for (std::uint64_t i = 0; i < kCallsOfThread; ++i) {
                    const Check check = kChecks[(i + index + loads) % std::size(kChecks)];
                    if (!check(library, texts)) ++wrong;
                }
            });
        }
    }
    std::printf("%llu loads\n", static_cast<unsigned long long>(loads));
    EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace nq::test
