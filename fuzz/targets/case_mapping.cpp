// The case mappings behind the standalone host's Unicode service: every body maps as a walk over
// the characters does, and what is measured is what is written.
#include "nqinstance/text/case_mapping.h"
#include "fuzz/support/input.hpp"
#include "fuzz/support/unicode_host.hpp"
#include "standalone/text/language.hpp"
#include "tests/text/utf_model.hpp"

namespace nq::fuzz {
namespace {

namespace model = test::model;

struct Direction {
    bool is_upper;

    NQChar map(NQChar code_point) const {
        const NQChar first = is_upper ? 'a' : 'A';
        if (code_point < 0x80) return code_point - first < 26 ? code_point ^ 0x20 : code_point;
        return is_upper ? unicode_host().upper(code_point) : unicode_host().lower(code_point);
    }
};

// What each character of the text becomes.
std::vector<Bytes> pieces_of(const Bytes& text, Direction direction) {
    std::vector<Bytes> pieces;
    for (std::size_t at = 0; at < text.size(); at += model::announced_length(text[at])) {
        const std::size_t left = text.size() - at;
        if (model::announced_length(text[at]) == 1) {
            const NQChar byte = text[at];
            const NQChar mapped = byte < 0x80 ? direction.map(byte) : byte;
            pieces.push_back({static_cast<std::uint8_t>(mapped)});
            continue;
        }
        const model::Read read = model::read_utf8(text.data() + at, left);
        const NQChar mapped = direction.map(read.code_point);
        if (mapped != read.code_point) {
            pieces.push_back(model::utf8_of(mapped));
        } else {
            const auto from = text.begin() + static_cast<std::ptrdiff_t>(at);
            pieces.emplace_back(from, from + static_cast<std::ptrdiff_t>(read.consumed));
        }
    }
    return pieces;
}

struct Mapped {
    NQStatus status;
    Bytes bytes;
    bool operator==(const Mapped&) const = default;
};

template <class Map>
Mapped copied(Map map, const Bytes& text, std::uint64_t capacity) {
    return in_all_bodies([&] {
        Bytes target(capacity, 0xA5);
        std::uint64_t written = 0;
        const NQStatus status = map(text.data(), text.size(), target.data(), capacity, &written);
        NQ_REQUIRE(written <= capacity);
        target.resize(written);
        return Mapped{status, target};
    });
}

template <class Map>
std::uint64_t measured(Map map, const Bytes& text) {
    return in_all_bodies([&] {
        std::uint64_t bytes = 0;
        NQ_REQUIRE(map(text.data(), text.size(), nullptr, std::uint64_t{0}, &bytes) ==
                   NQ_STATUS_OK);
        return bytes;
    });
}

// The copying forms with a capacity of at least 1, for 0 only measures.
void check_copying(const Bytes& text, Direction direction, std::uint64_t capacity) {
    const auto map = direction.is_upper ? nqzsu8Upper2 : nqzsu8Lower2;
    Mapped expected{NQ_STATUS_OK, {}};
    std::uint64_t whole = 0;
    for (const Bytes& piece : pieces_of(text, direction)) {
        whole += piece.size();
        if (expected.status || expected.bytes.size() + piece.size() > capacity) {
            expected.status = NQ_STATUS_BUFFER_TOO_SMALL;
        } else {
            expected.bytes.insert(expected.bytes.end(), piece.begin(), piece.end());
        }
    }
    NQ_REQUIRE(measured(map, text) == whole);
    NQ_REQUIRE(copied(map, text, capacity) == expected);
}

// Where no character changes its length the text in place becomes what the copy is.
void check_in_place(const Bytes& text, Direction direction) {
    const auto map = direction.is_upper ? nqzsu8Upper : nqzsu8Lower;
    const Bytes mapped = in_all_bodies([&] {
        Bytes bytes = text;
        map(bytes.data(), bytes.size());
        return bytes;
    });
    Bytes expected;
    std::size_t at = 0;
    bool keeps_lengths = true;
    for (const Bytes& piece : pieces_of(text, direction)) {
        const std::size_t size =
            std::min<std::size_t>(model::announced_length(text[at]), text.size() - at);
        keeps_lengths = keeps_lengths && piece.size() == size;
        expected.insert(expected.end(), piece.begin(), piece.end());
        at += size;
    }
    if (keeps_lengths) NQ_REQUIRE(mapped == expected);
}

// The rules of languages are the host's; here that the measure is right and no room is overrun.
void check_locale(const Bytes& text, Direction direction, std::uint32_t language,
                  std::uint64_t capacity) {
    NQLocale locale{};
    locale.language = language;
    const auto map = [&](auto... arguments) {
        return direction.is_upper ? nqzsu8LocaleUpper(&locale, arguments...)
                                  : nqzsu8LocaleLower(&locale, arguments...);
    };
    const std::uint64_t whole = measured(map, text);
    const Mapped all = copied(map, text, std::max<std::uint64_t>(whole, 1));
    NQ_REQUIRE(all.status == NQ_STATUS_OK && all.bytes.size() == whole);
    const Mapped part = copied(map, text, capacity);
    NQ_REQUIRE(part.status == (capacity < whole ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK));
    NQ_REQUIRE(std::equal(part.bytes.begin(), part.bytes.end(), all.bytes.begin()));
}

void check_units(const Bytes& text, Direction direction) {
    std::vector<NQChar> units;
    for (std::size_t at = 0; at < text.size();) {
        const model::Read read = model::read_utf8(text.data() + at, text.size() - at);
        units.push_back(read.code_point);
        at += read.consumed;
    }
    const auto mapped = [&](auto map) {
        return in_all_bodies([&] {
            std::vector<NQChar> result = units;
            map(result.data(), static_cast<std::int64_t>(result.size()));
            return result;
        });
    };
    const auto each = [&](auto map) {
        std::vector<NQChar> result = units;
        for (NQChar& unit : result) unit = map(unit);
        return result;
    };
    NQ_REQUIRE(mapped(direction.is_upper ? nqzstup : nqzstlo) ==
               each([&](NQChar unit) { return direction.map(unit); }));
    const auto wide = direction.is_upper ? nqzstmin : nqzstmax;
    NQ_REQUIRE(mapped(wide) == each([&](NQChar unit) {
                   wide(&unit, 1);
                   return unit;
               }));
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    unicode_host();
    Input input(data, size);
    const std::uint32_t choice = input.byte();
    const Direction direction{choice % 2 == 1};
    const std::uint32_t room = input.number();
    const Bytes text = input.rest();
    const std::uint64_t capacity = 1 + room % (3 * text.size() + 4);
    check_copying(text, direction, capacity);
    check_in_place(text, direction);
    check_units(text, direction);
    constexpr nq::LanguageCode kLanguages[] = {nq::kLanguageNone,  nq::kLanguageTurkish,
                                               nq::kLanguageAzeri, nq::kLanguageLithuanian,
                                               nq::kLanguageGreek, nq::language_code("en")};
    check_locale(text, direction, kLanguages[choice / 2 % std::size(kLanguages)], capacity);
    return 0;
}
