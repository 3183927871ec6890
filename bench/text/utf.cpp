#include "nqinstance/text/utf.h"

#include <unicode/ucnv.h>

#include <cstring>

#include "bench/text/icu.hpp"
#include "bench/text/plain_loops.hpp"
#include "bench/text/rows.hpp"

namespace nq::bench {
namespace {

constexpr std::size_t kTextBytes = std::size_t{64} << 10;
constexpr std::size_t kShortBytes = 24;

// One encoding into the other with two open converters, as often as wanted.
class Converter {
  public:
    Converter(const char* from, const char* to) : from_(open(from)), to_(open(to)) {}
    ~Converter() {
        ucnv_close(from_);
        ucnv_close(to_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    std::string convert(const std::string& text) const {
        std::string converted(4 * text.size() + 4, '\0');
        converted.resize(convert(text, converted));
        return converted;
    }

    std::size_t convert(const std::string& text, std::string& target) const {
        UErrorCode status = U_ZERO_ERROR;
        const char* source = text.data();
        char* at = target.data();
        ucnv_convertEx(to_, from_, &at, target.data() + target.size(), &source,
                       text.data() + text.size(), nullptr, nullptr, nullptr, nullptr, true, true,
                       &status);
        must(status);
        return static_cast<std::size_t>(at - target.data());
    }

  private:
    static UConverter* open(const char* name) {
        UErrorCode status = U_ZERO_ERROR;
        UConverter* converter = ucnv_open(name, &status);
        must(status);
        return converter;
    }

    UConverter* from_;
    UConverter* to_;
};

using PlainLoop = std::size_t (*)(const std::uint8_t*, std::size_t, std::uint8_t*, std::size_t);

// A way between an encoding and UTF-32, both of the machine's byte order.
struct Direction {
    const char* name;
    const char* from;
    const char* to;
    PlainLoop loop;
};

// Rows against ICU's converter and against the loop; what the three make must be the same.
template <class Convert>
void rows_of(const Direction& direction, const char* routine, const Sample& sample,
             const std::string& source, Convert convert) {
    const Converter icu(direction.from, direction.to);
    const std::string expected = icu.convert(source);
    std::string target(expected.size() + 4, '\0');
    const auto* from = reinterpret_cast<const std::uint8_t*>(source.data());
    auto* to = reinterpret_cast<std::uint8_t*>(target.data());
    const auto library = [&] { return convert(from, source.size(), to, target.size()); };
    const auto loop = [&] { return direction.loop(from, source.size(), to, target.size()); };
    for (const std::size_t produced : {library(), loop()}) {
        require(produced == expected.size() && target.compare(0, produced, expected) == 0,
                "the library, the loop and ICU do not convert alike");
    }
    const std::string input = direction.name + (" " + sample.name);
    if (source.size() > 4 * kShortBytes) {
        compare(
            {routine, input, "ucnv_convertEx, ICU " U_ICU_VERSION,
             sample.name == "english" ? 8.0 : 4.0},
            [&] { keep(library()); }, [&] { keep(icu.convert(source, target)); });
        compare(
            {routine, input, "loop, gcc " __VERSION__ " -O2", 1.0}, [&] { keep(library()); },
            [&] { keep(loop()); });
    } else {
        compare(
            {routine, input + " 24 bytes", "loop, gcc " __VERSION__ " -O2", 1.0},
            [&] { keep(library()); }, [&] { keep(loop()); });
    }
}

void rows_of(const Sample& sample, bool with_utf16) {
    const auto decode = [](NQUtfReader reader, NQUtfWriter writer) {
        return [=](const std::uint8_t* from, std::size_t bytes, std::uint8_t* to,
                   std::size_t capacity) {
            std::uint64_t produced = 0;
            ConvertToUTF32(from, bytes, to, capacity, &produced, reader, writer);
            return static_cast<std::size_t>(produced);
        };
    };
    const auto encode = [](NQUtfWriter writer, NQUtfReader reader) {
        return [=](const std::uint8_t* from, std::size_t bytes, std::uint8_t* to,
                   std::size_t capacity) {
            std::uint64_t produced = 0;
            ConvertFromUTF32(from, bytes, to, capacity, &produced, writer, reader);
            return static_cast<std::size_t>(produced);
        };
    };
    const std::string units = Converter("UTF-8", "UTF-32LE").convert(sample.bytes);
    rows_of({"UTF-8", "UTF-8", "UTF-32LE", plain::utf8_to_utf32}, "ConvertToUTF32", sample,
            sample.bytes, decode(UTF8_UTF32, COPY_UTF32_SWAP));
    rows_of({"UTF-8", "UTF-32LE", "UTF-8", plain::utf32_to_utf8}, "ConvertFromUTF32", sample, units,
            encode(UTF32_UTF8, COPY_UTF32b_SWAP));
    if (!with_utf16) return;
    const std::string pairs = Converter("UTF-8", "UTF-16LE").convert(sample.bytes);
    rows_of({"UTF-16", "UTF-16LE", "UTF-32LE", plain::utf16_to_utf32}, "ConvertToUTF32", sample,
            pairs, decode(UTF16_UTF32_SWAP, COPY_UTF32_SWAP));
    rows_of({"UTF-16", "UTF-32LE", "UTF-16LE", plain::utf32_to_utf16}, "ConvertFromUTF32", sample,
            units, encode(UTF32_UTF16s, COPY_UTF32b_SWAP));
}

}  // namespace

void utf_rows(const Host&) {
    for (const Sample& sample : sample_texts(kTextBytes)) rows_of(sample, true);
    for (const Sample& sample : sample_texts(kShortBytes)) rows_of(sample, false);
}

}  // namespace nq::bench
