// The operations on UTF-8 text and on memory: every body gives what the slow models give.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "fuzz/support/input.hpp"
#include "nqinstance/host/kernel.h"
#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf8.h"
#include "nqinstance/text/utf8_modified.h"
#include "nqinstance/text/utf8_strings.h"
#include "tests/text/utf8_model.hpp"

namespace nq::fuzz {
namespace {

namespace model = test::model;

using Convert = decltype(&nqzsu8Encode);

model::Converted converted(Convert convert, const Bytes& text, std::uint64_t capacity,
                           std::uint32_t flags) {
    return in_all_bodies([&] {
        Bytes target(capacity, 0xA5);
        std::uint64_t written = 0;
        const NQStatus status =
            convert(text.data(), text.size(), target.data(), capacity, &written, flags);
        NQ_REQUIRE(written <= capacity);
        target.resize(written);
        return model::Converted{status, target};
    });
}

void encode(Input& input) {
    const std::uint32_t flags = input.byte();
    const std::uint32_t room = input.number();
    const Bytes text = input.rest();
    const std::uint64_t capacity = room % (3 * text.size() + 8);
    NQ_REQUIRE(converted(nqzsu8Encode, text, capacity, flags) ==
               model::encode(text, capacity, flags));
}

void decode(Input& input) {
    const std::uint32_t flags = input.byte();
    const std::uint32_t room = input.number();
    const Bytes text = input.rest();
    const std::uint64_t capacity = room % (3 * text.size() + 8);
    NQ_REQUIRE(converted(nqzsu8Decode, text, capacity, flags) ==
               model::decode(text, capacity, flags));
}

void justify(Input& input) {
    constexpr char kModes[] = "CLRNclrnX";
    const char mode = kModes[input.byte() % (sizeof kModes - 1)];
    const Bytes field = input.rest();
    NQ_REQUIRE(in_all_bodies([&] {
                   model::Justified result{0, 0, 0, field};
                   result.status = nqzsu8Justify(
                       result.field.data(), static_cast<std::uint32_t>(field.size()),
                       static_cast<std::uint8_t>(mode), &result.length, &result.offset);
                   return result;
               }) == model::justify(field, mode));
}

void copy(Input& input) {
    const std::uint32_t room = input.number();
    const Bytes text = input.rest();
    const std::uint64_t bytes = room % (2 * text.size() + 8);
    NQ_REQUIRE(in_all_bodies([&] {
                   model::Copied result{0, Bytes(bytes, 0xA5)};
                   result.bytes = nqzsu8Copy(text.data(), text.size(), result.target.data(), bytes);
                   return result;
               }) == model::copy(text, bytes));
}

void strip(Input& input) {
    const std::uint32_t blank_class = input.byte() % 4;
    const Bytes text = input.rest();
    NQ_REQUIRE(in_all_bodies([&] {
                   return nqzsu8StripBlanks(text.data(), text.size(), blank_class);
               }) == model::strip(text, blank_class));
}

void count(Input& input) {
    const std::uint32_t wanted = input.number();
    Bytes text = input.rest();
    const std::uint64_t characters = model::num_chars(text);
    NQ_REQUIRE(in_all_bodies([&] { return nqzsu8NumChars(text.data(), text.size()); }) ==
               characters);
    NQ_REQUIRE(in_all_bodies([&] { return UTF8_SLENB(text.data(), text.size()); }) ==
               model::slenb(text));
    NQ_REQUIRE(UTF8_BLENB(text.data(), text.size()) == model::blenb(text));
    const std::uint64_t most = wanted % (characters + 1);
    text.push_back(0);
    text.shrink_to_fit();
    NQ_REQUIRE(in_all_bodies([&] { return nqzsu8ByteLength(text.data(), most); }) ==
               model::byte_length(text, most));
    const auto end = std::find(text.begin(), text.end(), 0);
    const model::Text before(text.begin(), end);
    const auto lengths = in_all_bodies([&] {
        std::pair<std::uint64_t, std::uint64_t> result;
        nqzsu8Lengths(text.data(), &result.first, &result.second);
        return result;
    });
    NQ_REQUIRE(lengths == std::pair(model::num_chars(before), std::uint64_t{before.size()}));
    NQ_REQUIRE(UTF8_BLEN(text.data()) == model::blenb(before));
}

void measure_characters(Input& input) {
    Bytes text = input.rest();
    const std::size_t length = text.size();
    text.resize(length + 8);  // no continuation bytes
    for (std::size_t at = 0; at < length; ++at) {
        std::uint8_t is_valid = 2;
        const std::uint64_t bytes = _U8ValidCharSize(text.data() + at, &is_valid);
        const model::Sized expected = model::valid_char_size(text.data() + at);
        NQ_REQUIRE(model::Sized{bytes, is_valid == 1} == expected && is_valid < 2);
        NQ_REQUIRE(_U8CharSize(text.data() + at) == model::char_size(text.data() + at));
    }
}

void require_found(const Bytes& haystack, const Bytes& needle) {
    const auto ask = [&](auto find_text) {
        return in_all_bodies([&] {
            return find_text(haystack.data(), haystack.size(), needle.data(), needle.size(), 20u);
        });
    };
    const auto found = std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end());
    const std::int64_t index =
        found == haystack.end() && !needle.empty() ? -1 : found - haystack.begin();
    NQ_REQUIRE(ask(nqzsu8IndexText) == index);
    NQ_REQUIRE(ask(nqzsu8FindCharText) == model::find_char(haystack, needle));
}

void find(Input& input) {
    const std::uint32_t split = input.number();
    const Bytes needle = input.text(split % (input.left() + 1));
    const Bytes haystack = input.rest();
    require_found(haystack, needle);
}

std::uint64_t index_or_none(std::ptrdiff_t index, std::size_t length) {
    return static_cast<std::size_t>(index) == length ? NQ_NOT_FOUND
                                                     : static_cast<std::uint64_t>(index);
}

void scan(Input& input) {
    const auto value = static_cast<std::uint8_t>(input.byte());
    const Bytes text = input.rest();
    const auto ask = [&](auto routine) {
        return in_all_bodies([&] { return routine(text.data(), text.size(), value); });
    };
    const auto first = std::ranges::find(text, value) - text.begin();
    const auto other =
        std::ranges::find_if(text, [value](std::uint8_t byte) { return byte != value; }) -
        text.begin();
    NQ_REQUIRE(ask(mwMemScan) == index_or_none(first, text.size()));
    NQ_REQUIRE(ask(mwMemNScan) == index_or_none(other, text.size()));
    NQ_REQUIRE(in_all_bodies([&] { return mwMemNot(value, text.data(), text.size()); }) ==
               (static_cast<std::size_t>(other) == text.size()));
    const auto changed = [&](auto change) {
        return in_all_bodies([&] {
            Bytes bytes = text;
            change(bytes.data(), bytes.size());
            return bytes;
        });
    };
    Bytes upper = text;
    Bytes lower = text;
    for (std::uint8_t& byte : upper) byte ^= byte >= 'a' && byte <= 'z' ? 0x20 : 0;
    for (std::uint8_t& byte : lower) byte ^= byte >= 'A' && byte <= 'Z' ? 0x20 : 0;
    NQ_REQUIRE(changed(mwStrUp) == upper);
    NQ_REQUIRE(changed(mwStrLow) == lower);
}

// Copies within one text, which may overlap either way.
void move_within(Input& input) {
    const std::uint32_t source_choice = input.number();
    const std::uint32_t target_choice = input.number();
    const std::uint32_t length_choice = input.number();
    const Bytes text = input.rest();
    const std::size_t from = source_choice % (text.size() + 1);
    const std::size_t to = target_choice % (text.size() + 1);
    const std::size_t length = length_choice % (text.size() - std::max(from, to) + 1);
    Bytes forward = text;
    for (std::size_t i = 0; i < length; ++i) forward[to + i] = forward[from + i];
    Bytes moved = text;
    std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(from), length,
                moved.begin() + static_cast<std::ptrdiff_t>(to));
    Bytes copied = text;
    mwMemCpy(copied.data() + from, copied.data() + to, length);
    NQ_REQUIRE(copied == forward);
    copied = text;
    mwMemSCpy(copied.data() + from, copied.data() + to, length);
    NQ_REQUIRE(copied == moved);
}

// A needle of a repeated pattern with another end, in a haystack of the same with something in it.
void find_periodic(Input& input) {
    const Bytes pattern = input.text(1 + input.byte() % 6);
    const std::uint32_t repetitions = 1 + input.byte() % 40;
    const std::uint32_t place = input.byte();
    const Bytes other = input.text(input.byte() % 4);
    if (pattern.empty()) return;
    Bytes needle;
    for (std::uint32_t i = 0; i < repetitions; ++i) {
        needle.insert(needle.end(), pattern.begin(), pattern.end());
    }
    Bytes haystack = needle;
    haystack.insert(haystack.begin() + static_cast<std::ptrdiff_t>(place % haystack.size()),
                    other.begin(), other.end());
    haystack.insert(haystack.end(), needle.begin(), needle.end());
    needle.insert(needle.begin() + static_cast<std::ptrdiff_t>(place / 2 % needle.size()),
                  other.begin(), other.end());
    haystack.insert(haystack.end(), needle.begin(), needle.end());
    require_found(haystack, needle);
}

// The forms of the memory routines that work on units.
void units(Input& input) {
    const std::uint32_t split = input.number();
    const Bytes bytes = input.rest();
    std::vector<NQChar> text(bytes.size() / sizeof(NQChar));
    if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(NQChar));
    const NQChar value = text.empty() ? split : text[split % text.size()];
    const std::size_t other = static_cast<std::size_t>(
        std::ranges::find_if(text, [value](NQChar unit) { return unit != value; }) - text.begin());
    NQ_REQUIRE(in_all_bodies([&] { return mwMemTNot(value, text.data(), text.size()); }) ==
               (other == text.size()));
    NQ_REQUIRE(in_all_bodies([&] { return mwMemTNScan(text.data(), text.size(), value); }) ==
               (other == text.size() ? NQ_NOT_FOUND : other));

    const std::size_t half = text.size() / 2;
    const auto halves =
        std::mismatch(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(half),
                      text.end() - static_cast<std::ptrdiff_t>(half));
    const bool are_equal = halves.first == text.begin() + static_cast<std::ptrdiff_t>(half);
    const std::int32_t order = are_equal                                                       ? 0
                               : static_cast<std::int32_t>(*halves.first - *halves.second) < 0 ? -1
                                                                                               : 1;
    NQ_REQUIRE(in_all_bodies([&] {
                   return mwWMemCmp(text.data(), text.data() + text.size() - half, half);
               }) == order);

    std::vector<double> values(bytes.size() / sizeof(double));
    if (!values.empty()) std::memcpy(values.data(), bytes.data(), values.size() * sizeof(double));
    NQ_REQUIRE(in_all_bodies([&] { return mwMissArray(values.data(), values.size()); }) ==
               std::ranges::any_of(values, [](double number) { return number != number; }));

    text.push_back(0);
    const auto length =
        static_cast<std::uint64_t>(std::ranges::find(text, NQChar{0}) - text.begin());
    NQ_REQUIRE(mwStrTLen(text.data()) == length && mwStrTLen(nullptr) == 0);
    std::vector<NQChar> copy(length + 1, 0xA5A5A5A5);
    mwStrTCpy(text.data(), copy.data());
    NQ_REQUIRE(std::equal(copy.begin(), copy.end(), text.begin()));
    mwStrTCpy(nullptr, copy.data());
    NQ_REQUIRE(copy[0] == 0);
    mwMemTSet(text.data(), value, text.size());
    NQ_REQUIRE(std::ranges::all_of(text, [value](NQChar unit) { return unit == value; }));
}

int predicate_calls = 0;

int is_odd(NQChar code_point) noexcept {
    ++predicate_calls;
    return static_cast<int>(code_point & 1);
}

// Zero-terminated text, copies of it, and its characters one by one.
void terminated(Input& input) {
    Bytes text = input.rest();
    NQ_REQUIRE(mwUnsup() == NQ_STATUS_UNSUPPORTED);
    static HostPool pool = [] {
        HostPool made{};
        made.alloc = [](HostPool*, std::uint64_t size, std::uint32_t) noexcept {
            return size > 300 ? nullptr : std::malloc(size ? size : 1);
        };
        return made;
    }();
    void* const copy = mwMemDup(text.data(), text.size(), &pool);
    NQ_REQUIRE((copy != nullptr) == (text.size() <= 300 && text.data() != nullptr));
    if (copy) NQ_REQUIRE(std::equal(text.begin(), text.end(), static_cast<std::uint8_t*>(copy)));
    std::free(copy);
    Bytes filled(text.size(), 1);
    mwMemSet(filled.data(), 0x5A, filled.size());
    NQ_REQUIRE(filled == Bytes(text.size(), 0x5A));

    // Complete sequences, as the routines ask for.
    const std::size_t length = text.size();
    text.resize(length + 8);
    Bytes target(length + 9, 0xA5);
    mwStrCpy(text.data(), target.data());
    const auto end = static_cast<std::size_t>(std::ranges::find(text, 0) - text.begin());
    NQ_REQUIRE(mwStrLen(text.data()) == end &&
               std::equal(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end) + 1,
                          target.begin()));
    mwStrCpy(text.data(), nullptr);
    mwStrCpy(nullptr, target.data());
    NQ_REQUIRE(target[0] == 0);
    for (std::size_t at = 0; at < length; ++at) {
        const std::uint8_t* character = text.data() + at;
        const auto announced = static_cast<std::uint64_t>(utf8_len(character));
        NQ_REQUIRE(announced == model::announced_length(*character));
        const std::uint64_t counted = *character < 0x80 ? 1 : model::char_size(character);
        NQ_REQUIRE(nqzsu8CharSize2(character) == counted);
        NQ_REQUIRE(nqzsu8CharSize(character, nullptr) == counted);
        NQ_REQUIRE(nqzsu8NextChar(character) == character + counted);
        const NQChar code_point = model::read_utf8(character, announced).code_point;
        predicate_calls = 0;
        NQ_REQUIRE(_NQZSU8IsFunct(character, is_odd) == static_cast<int>(code_point & 1));
        NQ_REQUIRE(predicate_calls == 1);
        Exported_NQHandle = nullptr;
        NQ_REQUIRE(nqzsu8IsCombining(character) == (code_point == 0x200C || code_point == 0x200D));
    }
    // No lead byte may stand before the terminator.
    std::size_t cut = end;
    while (cut > 0 && text[cut - 1] >= 0x80) --cut;
    text[cut] = 0;
    NQ_REQUIRE(UTF8_SLEN(nullptr) == 0 && UTF8_BLEN(nullptr) == 0);
    const Bytes before(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(cut));
    // Lead bytes whose sequence leaps over the terminator are left out.
    if (std::ranges::all_of(before, [](std::uint8_t byte) { return byte < 0xC0; })) {
        NQ_REQUIRE(in_all_bodies([&] { return UTF8_SLEN(text.data()); }) == model::slenb(before));
    }
}

constexpr void (*kOperations[])(Input&) = {
    encode, decode, justify,     copy,          strip, count,     measure_characters,
    find,   scan,   move_within, find_periodic, units, terminated};

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    kOperations[input.byte() % std::size(kOperations)](input);
    return 0;
}
