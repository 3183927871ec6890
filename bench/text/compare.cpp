#include "nqinstance/text/compare.h"

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstring>
#include <string_view>

#include "bench/text/icu.hpp"
#include "bench/text/rows.hpp"

namespace nq::bench {
namespace {

constexpr std::size_t kTextBytes = std::size_t{64} << 10;
constexpr std::size_t kShortBytes = 24;
constexpr double kLeast = 3;
constexpr double kLeastOfShort = 1;
constexpr char kConverting[] = "to UTF-16 and u_strCaseCompare, ICU " U_ICU_VERSION;
constexpr char kFolding[] = "ucasemap_utf8FoldCase and memcmp, ICU " U_ICU_VERSION;

std::u32string code_points_of(const std::string& utf8) {
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(utf8);
    std::u32string units(static_cast<std::size_t>(text.countChar32()), U'\0');
    UErrorCode status = U_ZERO_ERROR;
    text.toUTF32(reinterpret_cast<UChar32*>(units.data()), static_cast<std::int32_t>(units.size()),
                 status);
    if (status != U_STRING_NOT_TERMINATED_WARNING) must(status);
    return units;
}

// Each letter in upper case, by the mappings of single characters that keep the UTF-8 length.
std::string in_upper_case(const std::string& utf8) {
    icu::UnicodeString upper;
    for (const char32_t unit : code_points_of(utf8)) {
        const auto code_point = static_cast<UChar32>(unit);
        const UChar32 mapped = u_toupper(code_point);
        const bool keeps_length = U8_LENGTH(mapped) == U8_LENGTH(code_point);
        upper.append(keeps_length && u_tolower(mapped) == code_point ? mapped : code_point);
    }
    std::string result;
    return upper.toUTF8String(result);
}

// What a user of ICU writes for text of either form, with the room for it made before.
class Peer {
  public:
    explicit Peer(std::size_t units) : folding_(ucasemap_open("", U_FOLD_CASE_DEFAULT, &status_)) {
        must(status_);
        for (std::u16string& text : utf16_) text.resize(units + 1);
        for (std::string& text : folded_) text.resize(4 * units + 1);
    }
    ~Peer() { ucasemap_close(folding_); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    int compare(std::string_view a, std::string_view b) {
        return compare_with(
            [](std::u16string& to, std::string_view from, std::int32_t* units, UErrorCode* status) {
                u_strFromUTF8(to.data(), static_cast<std::int32_t>(to.size()), units, from.data(),
                              static_cast<std::int32_t>(from.size()), status);
            },
            a, b);
    }
    int compare(std::u32string_view a, std::u32string_view b) {
        return compare_with(
            [](std::u16string& to, std::u32string_view from, std::int32_t* units,
               UErrorCode* status) {
                u_strFromUTF32(to.data(), static_cast<std::int32_t>(to.size()), units,
                               reinterpret_cast<const UChar32*>(from.data()),
                               static_cast<std::int32_t>(from.size()), status);
            },
            a, b);
    }
    int compare_folded(std::string_view a, std::string_view b) {
        const std::string_view x = folded(folded_[0], a);
        const std::string_view y = folded(folded_[1], b);
        return x.compare(y);
    }

  private:
    template <class Convert, class Text>
    int compare_with(Convert convert, Text a, Text b) {
        UErrorCode status = U_ZERO_ERROR;
        std::int32_t units[2];
        convert(utf16_[0], a, &units[0], &status);
        convert(utf16_[1], b, &units[1], &status);
        const int order = u_strCaseCompare(utf16_[0].data(), units[0], utf16_[1].data(), units[1],
                                           U_FOLD_CASE_DEFAULT, &status);
        must(status);
        return order;
    }
    std::string_view folded(std::string& to, std::string_view from) {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length =
            ucasemap_utf8FoldCase(folding_, to.data(), static_cast<std::int32_t>(to.size()),
                                  from.data(), static_cast<std::int32_t>(from.size()), &status);
        must(status);
        return std::string_view(to).substr(0, static_cast<std::size_t>(length));
    }

    UErrorCode status_ = U_ZERO_ERROR;
    UCaseMap* folding_;
    std::u16string utf16_[2];
    std::string folded_[2];
};

int sign(int order) { return (order > 0) - (order < 0); }

// Texts for which the library answers `expected`: 1 where they are the same but for their case.
void rows_of(const Host& host, const std::string& input, const std::string& a, const std::string& b,
             int expected) {
    const auto norm_compare = NQ_EXPORTED(host, nqzsu8NormCompare);
    const auto norm_equal = NQ_EXPORTED(host, nqzsu8NormEqual);
    const auto units_compare = NQ_EXPORTED(host, nqzsncmp);
    const auto* bytes_a = reinterpret_cast<const std::uint8_t*>(a.data());
    const auto* bytes_b = reinterpret_cast<const std::uint8_t*>(b.data());
    const std::u32string units_a = code_points_of(a);
    const std::u32string units_b = code_points_of(b);
    const auto compare_bytes = [&] { return norm_compare(bytes_a, a.size(), bytes_b, b.size()); };
    const auto compare_units = [&] {
        return units_compare(reinterpret_cast<const NQChar*>(units_a.data()),
                             static_cast<std::int64_t>(units_a.size()),
                             reinterpret_cast<const NQChar*>(units_b.data()),
                             static_cast<std::int64_t>(units_b.size()));
    };
    Peer icu(a.size());
    require(compare_bytes() == expected && compare_units() == expected,
            "the library does not compare as expected");
    for (const int order :
         {icu.compare(a, b), icu.compare(units_a, units_b), icu.compare_folded(a, b)}) {
        require(sign(order) == expected / 2, "ICU does not compare as the library does");
    }
    const double least = a.size() > kShortBytes + 1 ? kLeast : kLeastOfShort;
    const auto by_converting = [&] { keep(icu.compare(a, b)); };
    compare(
        {"nqzsu8NormCompare", input, kConverting, least}, [&] { keep(compare_bytes()); },
        by_converting);
    compare(
        {"nqzsu8NormCompare", input, kFolding, least}, [&] { keep(compare_bytes()); },
        [&] { keep(icu.compare_folded(a, b)); });
    compare(
        {"nqzsu8NormEqual", input, kConverting, least},
        [&] { keep(norm_equal(bytes_a, a.size(), bytes_b, b.size())); }, by_converting);
    compare(
        {"nqzsncmp", input, kConverting, least}, [&] { keep(compare_units()); },
        [&] { keep(icu.compare(units_a, units_b)); });
}

}  // namespace

void compare_rows(const Host& host) {
    for (const std::size_t bytes : {kTextBytes, kShortBytes}) {
        for (const Sample& sample : sample_texts(bytes)) {
            const std::string& text = sample.bytes;
            const std::string size = bytes == kShortBytes ? " 24 bytes" : "";
            const std::string copy = text.c_str();  // at another place
            rows_of(host, sample.name + " same" + size, text, copy, 0);
            rows_of(host, sample.name + " last" + size, text + "a", text + "b", -2);
            const std::string upper = in_upper_case(text);
            if (upper != text) rows_of(host, sample.name + " in case" + size, text, upper, 1);
        }
    }
}

}  // namespace nq::bench
