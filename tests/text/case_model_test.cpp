// The case mappings of UTF-8 against a model that follows the rules byte by byte, on random text
// with errors planted, behind hosts that map to characters of any size.
#include <gtest/gtest.h>

#include "nqinstance/host/status.h"
#include "nqinstance/text/case_mapping.h"
#include "tests/support/guard_pages.hpp"
#include "tests/support/random.hpp"
#include "tests/text/case_support.hpp"
#include "tests/text/utf_model.hpp"

namespace nq::test {
namespace {

using model::announced_length;
using model::Bytes;
using model::read_utf8;
using model::utf8_of;

constexpr NQStatus kOk = 0;
constexpr NQStatus kTooSmall = NQ_STATUS_BUFFER_TOO_SMALL;

// One direction of mapping.
struct Direction {
    bool is_upper;
    std::uint32_t mode() const { return is_upper ? 2 : 1; }

    std::uint8_t byte(std::uint8_t byte) const {
        if (is_upper)
            return byte >= 'a' && byte <= 'z' ? static_cast<std::uint8_t>(byte - 32) : byte;
        return byte >= 'A' && byte <= 'Z' ? static_cast<std::uint8_t>(byte + 32) : byte;
    }
    NQChar simple(const ScriptedUnicode& unicode, NQChar code_point) const {
        const auto& mappings = is_upper ? unicode.upper : unicode.lower;
        const auto found = mappings.find(code_point);
        return found == mappings.end() ? code_point : found->second;
    }
};

Bytes in_place(const ScriptedUnicode& unicode, Direction direction, Bytes text) {
    const std::size_t length = text.size();
    // Past the end there is room for all that may be written there, which is then dropped.
    text.resize(8 * length + 8);
    std::size_t read = 0;
    std::size_t write = 0;
    while (read < length) {
        const std::size_t size = announced_length(text[read]);
        if (size == 1) {
            text[direction.is_upper ? read : write] = direction.byte(text[read]);
            ++read;
            ++write;
            continue;
        }
        const std::size_t present = std::min(size, length - read);
        Bytes stored(text.begin() + static_cast<std::ptrdiff_t>(read),
                     text.begin() + static_cast<std::ptrdiff_t>(read + present));
        if (present == size) {
            const NQChar code_point = read_utf8(&text[read], length - read).code_point;
            const NQChar mapped = direction.simple(unicode, code_point);
            if (mapped != code_point) {
                stored = utf8_of(mapped);
                if (stored.size() > length) stored.clear();
            }
        }
        std::ranges::copy(stored, text.begin() + static_cast<std::ptrdiff_t>(write));
        write += stored.size();
        read += present;
    }
    for (; write < length; ++write) text[write] = ' ';
    text.resize(length);
    return text;
}

// What is stored for each character, in the pieces that fit or do not fit.
std::vector<Bytes> pieces_of(const ScriptedUnicode& unicode, Direction direction, const Bytes& text,
                             bool by_language) {
    std::vector<Bytes> pieces;
    std::uint64_t state = 0;
    for (std::size_t read = 0; read < text.size();) {
        const std::size_t size = announced_length(text[read]);
        const auto character = read_utf8(&text[read], text.size() - read);
        const std::size_t next = read + size;
        if (by_language) {
            ScriptedUnicode::Context context{{character.code_point}, state};
            if (next < text.size()) {
                context.code_points.push_back(
                    read_utf8(&text[next], text.size() - next).code_point);
            }
            Units mapped;
            if (unicode.in_context(context, mapped, state) != kOk) mapped.clear();
            if (mapped.empty()) {
                const auto found =
                    unicode.by_language.find({direction.mode(), character.code_point});
                if (found != unicode.by_language.end()) mapped = found->second;
            }
            for (const NQChar code_point : mapped) pieces.push_back(utf8_of(code_point));
            if (!mapped.empty()) {
                read = next;
                continue;
            }
        }
        const NQChar mapped = direction.simple(unicode, character.code_point);
        if (size == 1) {
            pieces.push_back({direction.byte(text[read])});
        } else if (mapped != character.code_point) {
            pieces.push_back(utf8_of(mapped));
        } else {
            const auto from = text.begin() + static_cast<std::ptrdiff_t>(read);
            pieces.emplace_back(from, from + static_cast<std::ptrdiff_t>(character.consumed));
        }
        read = next;
    }
    return pieces;
}

class CaseModelBody : public CaseBody {
  protected:
    std::mt19937_64 random = seeded_generator();
    std::uint64_t below(std::uint64_t bound) { return random() % bound; }

    // Characters of each size, some at the edges between sizes.
    NQChar some_character() {
        static constexpr NQChar kSome[] = {'A',    'z',     ' ',     0x7F,    0x80,    0xC9,
                                           0xE9,   0x130,   0x17F,   0x410,   0x430,   0x7FF,
                                           0x800,  0x1E9E,  0x212A,  0x4E00,  0xD800,  0xFFFD,
                                           0xFFFF, 0x10000, 0x10400, 0x1F600, 0x10FFFF};
        return kSome[below(std::size(kSome))];
    }

    void write_script() {
        unicode.upper.clear();
        unicode.lower.clear();
        unicode.by_language.clear();
        for (std::uint64_t i = below(12); i > 0; --i) {
            unicode.upper[some_character()] = some_character();
            unicode.lower[some_character()] = below(20) ? some_character() : 0x7FFFFFFF;
        }
        for (std::uint64_t i = below(6); i > 0; --i) {
            Units mapped(below(5));
            for (NQChar& unit : mapped) unit = some_character();
            unicode.by_language[{1 + static_cast<std::uint32_t>(below(2)), some_character()}] =
                mapped;
        }
        // Depends on all that it is told.
        const std::uint64_t odd = random();
        unicode.in_context = [odd](const ScriptedUnicode::Context& context, Units& out,
                                   std::uint64_t& state) -> NQStatus {
            std::uint64_t mix = odd ^ state;
            for (const NQChar unit : context.code_points) mix = (mix ^ unit) * 0x9E3779B97F4A7C15;
            state = mix;
            if (mix % 16 == 0) out = {'x', 0xE9, static_cast<NQChar>(mix >> 44)};
            return mix % 48 == 0 ? NQ_STATUS_UNSUPPORTED : NQ_STATUS_OK;
        };
    }

    Bytes some_text() {
        Bytes text;
        const auto add = [&text](const Bytes& bytes) {
            text.insert(text.end(), bytes.begin(), bytes.end());
        };
        const std::uint64_t length = below(4) ? below(40) : below(300);
        const std::uint64_t kind = below(4);
        while (text.size() < length) {
            const std::uint64_t draw = below(kind == 0 ? 4 : 12);
            if (draw == 0) {
                for (std::uint64_t run = below(80); run > 0; --run) {
                    text.push_back(static_cast<std::uint8_t>(' ' + below(95)));
                }
            } else if (draw == 1 && kind == 1) {
                text.push_back(static_cast<std::uint8_t>(random()));
            } else if (draw == 2 && kind == 1) {
                text.push_back(static_cast<std::uint8_t>(0xC0 + below(64)));
            } else {
                add(utf8_of(some_character()));
            }
        }
        // Also cut within a character.
        if (!text.empty() && below(3) == 0) text.resize(text.size() - below(text.size()));
        return text;
    }

    void check_in_place(Direction direction, const Bytes& text) {
        const auto bytes = text_.last(text.size());
        std::ranges::copy(text, bytes.begin());
        const auto map =
            direction.is_upper ? NQ_UNDER_TEST(nqzsu8Upper) : NQ_UNDER_TEST(nqzsu8Lower);
        map(bytes.data(), bytes.size());
        ASSERT_EQ(Bytes(bytes.begin(), bytes.end()), in_place(unicode, direction, text))
            << (direction.is_upper ? "upper " : "lower ") << testing::PrintToString(text);
    }

    using Map = std::function<NQStatus(const std::uint8_t*, std::uint64_t, std::uint8_t*,
                                       std::uint64_t, std::uint64_t*)>;

    // Each capacity from 0 to one more than is needed.
    void check_copy(const Map& map, const std::vector<Bytes>& pieces, const Bytes& text) {
        const auto source = text_.last(text.size());
        std::ranges::copy(text, source.begin());
        Bytes whole;
        for (const Bytes& piece : pieces) whole.insert(whole.end(), piece.begin(), piece.end());
        std::uint64_t needed = 99;
        ASSERT_EQ(map(source.data(), source.size(), nullptr, 0, &needed), kOk);
        ASSERT_EQ(needed, whole.size()) << testing::PrintToString(text);
        std::size_t fitting = 0;  // pieces that fit, and their bytes
        std::size_t fit = 0;
        const std::size_t step = whole.size() > 60 ? 1 + below(9) : 1;
        for (std::size_t capacity = 1; capacity <= whole.size() + 1; capacity += step) {
            while (fitting < pieces.size() && fit + pieces[fitting].size() <= capacity) {
                fit += pieces[fitting++].size();
            }
            const auto target = target_.last(capacity);
            std::ranges::fill(target, std::uint8_t{0xA5});
            std::uint64_t written = 99;
            ASSERT_EQ(map(source.data(), source.size(), target.data(), capacity, &written),
                      fitting < pieces.size() ? kTooSmall : kOk);
            ASSERT_EQ(written, fit) << testing::PrintToString(text);
            Bytes expected(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(fit));
            expected.resize(capacity, 0xA5);
            ASSERT_EQ(Bytes(target.begin(), target.end()), expected)
                << testing::PrintToString(text);
        }
    }

    void check_copies(Direction direction, const Bytes& text) {
        const auto plainly =
            direction.is_upper ? NQ_UNDER_TEST(nqzsu8Upper2) : NQ_UNDER_TEST(nqzsu8Lower2);
        check_copy(plainly, pieces_of(unicode, direction, text, false), text);
        const auto by_language = direction.is_upper ? NQ_UNDER_TEST(nqzsu8LocaleUpper)
                                                    : NQ_UNDER_TEST(nqzsu8LocaleLower);
        NQLocale locale{};
        locale.language = ScriptedUnicode::kLanguage;
        unicode.has_rules = true;
        check_copy([&](auto... arguments) { return by_language(&locale, arguments...); },
                   pieces_of(unicode, direction, text, true), text);
        unicode.contexts.clear();
        unicode.languages.clear();
        unicode.asked_simply.clear();
    }

    GuardPages text_{1 << 16};
    GuardPages target_{1 << 16};
};

TEST_P(CaseModelBody, InPlaceAgrees) {
    const std::uint64_t rounds = setting("ITER", 100000);
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        if (i % 8 == 0) write_script();
        const Bytes text = some_text();
        check_in_place({.is_upper = i % 2 == 0}, text);
        unicode.asked_simply.clear();
    }
}

TEST_P(CaseModelBody, CopiesAgreeForEachCapacity) {
    const std::uint64_t rounds = setting("ITER", 2000);
    for (std::uint64_t i = 0; i < rounds && !HasFatalFailure(); ++i) {
        if (i % 8 == 0) write_script();
        check_copies({.is_upper = i % 2 == 0}, some_text());
    }
}

TEST_P(CaseModelBody, UnitsAgree) {
    for (std::uint64_t i = setting("ITER", 100000); i > 0; --i) {
        if (i % 8 == 0) write_script();
        Units units(below(4) ? below(30) : below(200));
        bool is_ascii = false;
        for (NQChar& unit : units) {
            if (below(8) == 0) is_ascii = !is_ascii;
            unit = is_ascii ? ' ' + static_cast<NQChar>(below(95)) : some_character();
        }
        if (!units.empty() && below(4) == 0)
            units[below(units.size())] = static_cast<NQChar>(random());
        const Direction direction{.is_upper = i % 2 == 0};
        Units expected = units;
        for (NQChar& unit : expected) {
            unit = unit < 0x80 ? direction.byte(static_cast<std::uint8_t>(unit))
                               : direction.simple(unicode, unit);
        }
        const auto bytes = text_.last(4 * units.size());
        auto* const place = reinterpret_cast<NQChar*>(bytes.data());
        std::ranges::copy(units, place);
        const auto map = direction.is_upper ? NQ_UNDER_TEST(nqzstup) : NQ_UNDER_TEST(nqzstlo);
        map(place, static_cast<std::int64_t>(units.size()));
        ASSERT_EQ(Units(place, place + units.size()), expected) << testing::PrintToString(units);
        unicode.asked_simply.clear();
    }
}

// A run of ASCII of each length between two characters, so that each way through the blocks is
// taken, also behind a character that shrank or grew.
TEST_P(CaseModelBody, AsciiRunsOfEachLengthAgree) {
    unicode.lower = {{0xC9, 0xE9}, {0x212A, 'k'}, {0x130, 'i'}, {0x23A, 0x2C65}};
    unicode.upper = {{0xE9, 0xC9}, {0x212A, 'k'}, {0x130, 'i'}, {0x23A, 0x2C65}};
    unicode.in_context = [](const auto&, Units&, auto&) { return NQStatus{1}; };
    for (const NQChar first :
         {NQChar{0}, NQChar{0xC9}, NQChar{0x212A}, NQChar{0x130}, NQChar{0x23A}}) {
        for (std::size_t length = 0; length <= 150; ++length) {
            Bytes text = first ? utf8_of(first) : Bytes{};
            for (std::size_t i = 0; i < length; ++i) {
                text.push_back(static_cast<std::uint8_t>("aZ@[`{\x7F"[i % 7]));
            }
            for (const NQChar last : {NQChar{0}, NQChar{0xE9}, NQChar{0x80}}) {
                Bytes whole = text;
                const Bytes end = last ? utf8_of(last) : Bytes{};
                whole.insert(whole.end(), end.begin(), end.end());
                for (const bool is_upper : {false, true}) {
                    check_in_place({is_upper}, whole);
                    check_copies({is_upper}, whole);
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

NQ_FOR_EACH_BODY(CaseModelBody);

}  // namespace
}  // namespace nq::test
