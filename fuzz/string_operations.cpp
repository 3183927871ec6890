// The operations on UTF-8 text and on memory: every body gives what the slow models give.
#include <algorithm>
#include <iterator>

#include "fuzz/input.hpp"
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

void find(Input& input) {
    const std::uint32_t split = input.number();
    const Bytes needle = input.text(split % (input.left() + 1));
    const Bytes haystack = input.rest();
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

constexpr void (*kOperations[])(Input&) = {
    encode, decode, justify, copy, strip, count, measure_characters, find, scan, move_within};

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    kOperations[input.byte() % std::size(kOperations)](input);
    return 0;
}
