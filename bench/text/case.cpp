#include <gnu/libc-version.h>
#include <locale.h>
#include <unicode/ucasemap.h>

#include <cstring>
#include <memory>

#include "bench/text/icu.hpp"
#include "bench/text/plain_loops.hpp"
#include "bench/text/rows.hpp"
#include "nqinstance/text/case_mapping.h"
#include "nqinstance/text/utf.h"

namespace nq::bench {
namespace {

constexpr std::size_t kTextBytes = std::size_t{64} << 10;

// ICU's lower case without the rules of a language.
class Lowercaser {
  public:
    Lowercaser() {
        UErrorCode status = U_ZERO_ERROR;
        map_.reset(ucasemap_open("", 0, &status));
        must(status);
    }
    std::size_t operator()(const std::string& text, std::string& target) const {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t bytes = ucasemap_utf8ToLower(
            map_.get(), target.data(), static_cast<std::int32_t>(target.size()), text.data(),
            static_cast<std::int32_t>(text.size()), &status);
        must(status);
        return static_cast<std::size_t>(bytes);
    }

  private:
    struct Close {
        void operator()(UCaseMap* map) const { ucasemap_close(map); }
    };
    std::unique_ptr<UCaseMap, Close> map_;
};

void utf8_rows(const Sample& sample) {
    const Lowercaser icu;
    const std::string& text = sample.bytes;
    const auto* source = reinterpret_cast<const std::uint8_t*>(text.data());
    std::string target(2 * text.size(), '\0');
    auto* to = reinterpret_cast<std::uint8_t*>(target.data());
    const auto row = [&](const char* routine) {
        return Row{routine, sample.name, "ucasemap_utf8ToLower, ICU " U_ICU_VERSION,
                   sample.name == "english" ? 10.0 : 1.0};
    };
    const auto by_icu = [&] { keep(icu(text, target)); };
    const auto copying = [&] {
        std::uint64_t written = 0;
        nqzsu8Lower2(source, text.size(), to, target.size(), &written);
        return static_cast<std::size_t>(written);
    };
    const std::string expected = target.substr(0, icu(text, target));
    require(copying() == expected.size() && target.compare(0, expected.size(), expected) == 0,
            "ICU and the library do not write the same lower case");
    compare(
        row("nqzsu8Lower2"), [&] { keep(copying()); }, by_icu);
    // In place, so that each call has its own text, which is copied in the library's time.
    const auto in_place = [&] {
        std::memcpy(to, source, text.size());
        nqzsu8Lower(to, text.size());
        keep(to);
    };
    compare(row("nqzsu8Lower"), in_place, by_icu);
}

void unit_rows(const Sample& sample) {
    std::vector<std::uint32_t> units(sample.bytes.size());
    std::uint64_t bytes = 0;
    ConvertToUTF32(reinterpret_cast<const std::uint8_t*>(sample.bytes.data()), sample.bytes.size(),
                   reinterpret_cast<std::uint8_t*>(units.data()), 4 * units.size(), &bytes,
                   UTF8_UTF32, COPY_UTF32_SWAP);
    units.resize(bytes / 4);
    std::vector<std::uint32_t> changed(units.size());
    const auto row = [&](const char* routine) {
        return Row{routine, sample.name,
                   std::string("loop of towlower, glibc ") + gnu_get_libc_version(), 2};
    };
    // In place, so that each call has its own text; both sides copy it.
    const auto fresh = [&] {
        std::memcpy(changed.data(), units.data(), 4 * units.size());
        keep(changed.data());
        return changed.data();
    };
    const auto count = static_cast<std::int64_t>(units.size());
    const auto loop = [&] { plain::lower_units(fresh(), units.size()); };
    compare(
        row("nqzstlo"), [&] { nqzstlo(fresh(), count); }, loop);
    compare(
        row("nqzstmax"), [&] { nqzstmax(fresh(), count); }, loop);
}

}  // namespace

void case_rows(const Host&) {
    // towlower knows letters outside ASCII in such a locale only.
    require(setlocale(LC_CTYPE, "C.UTF-8"), "there is no locale C.UTF-8");
    for (const Sample& sample : sample_texts(kTextBytes)) utf8_rows(sample);
    for (const Sample& sample : sample_texts(kTextBytes)) unit_rows(sample);
}

}  // namespace nq::bench
