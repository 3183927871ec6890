// The conversions of whole texts with each pair of the library's routines: every body stores the
// same as the slow model of the rules.
#include <algorithm>
#include <cstring>

#include "fuzz/support/input.hpp"
#include "nqinstance/host/status.h"
#include "nqinstance/text/utf.h"
#include "tests/text/utf_model.hpp"

namespace nq::fuzz {
namespace {

namespace model = test::model;

struct Reader {
    NQUtfReader routine;
    model::Read (*model)(const std::uint8_t* text, std::uint64_t available);
};

template <bool kIsBig>
model::Read read_utf32(const std::uint8_t* text, std::uint64_t available) {
    NQChar unit = 0;
    for (std::uint64_t i = 0; i < 4 && i < available; ++i) {
        unit |= std::uint32_t{text[i]} << 8 * (kIsBig ? 3 - i : i);
    }
    return {0, unit, 4};
}

template <bool kIsBig>
model::Read read_utf16(const std::uint8_t* text, std::uint64_t available) {
    return model::read_utf16(text, available, kIsBig);
}

// Routines that are none of the library's are called for each character by itself.
NQStatus own_reader(const std::uint8_t* text, std::uint64_t available, NQChar* code_point,
                    std::uint64_t* consumed) noexcept {
    return UTF8_UTF32(text, available, code_point, consumed);
}
NQStatus own_writer(NQChar code_point, std::uint8_t* target, std::uint64_t capacity,
                    std::uint64_t* written) noexcept {
    return UTF32_UTF8(code_point, target, capacity, written);
}

constexpr Reader kReaders[] = {
    {UTF8_UTF32, model::read_utf8},        {UTF16_UTF32, read_utf16<true>},
    {UTF16_UTF32_SWAP, read_utf16<false>}, {COPY_UTF32b, read_utf32<true>},
    {COPY_UTF32b_SWAP, read_utf32<false>}, {own_reader, model::read_utf8}};

// What a writer stores of a code point where there is room, and from how much room on it does.
struct Written {
    Bytes bytes;
    std::uint64_t needs;
};

struct Writer {
    NQUtfWriter routine;
    Written (*model)(NQChar code_point);
};

Bytes in_order(std::uint64_t value, unsigned bytes, bool is_big) {
    Bytes stored;
    for (unsigned i = 0; i < bytes; ++i) {
        stored.push_back(static_cast<std::uint8_t>(value >> 8 * (is_big ? bytes - 1 - i : i)));
    }
    return stored;
}

Written write_utf8(NQChar code_point) {
    const Bytes bytes = model::utf8_of(code_point);
    return {bytes, bytes.size() == 1 ? 0 : bytes.size()};
}

Written write_utf8_of_unit(NQChar unit) { return write_utf8(unit % 0x10000); }

template <bool kIsBig>
Written write_unit(NQChar code_point) {
    return {in_order(code_point % 0x10000, 2, kIsBig), 0};
}

template <bool kIsBig>
Written write_pairs(NQChar code_point) {
    if (code_point < 0x10000) return write_unit<kIsBig>(code_point);
    Bytes bytes = in_order((0xD800 + (code_point - 0x10000) / 0x400) % 0x10000, 2, kIsBig);
    const Bytes low = in_order(0xDC00 + (code_point - 0x10000) % 0x400, 2, kIsBig);
    bytes.insert(bytes.end(), low.begin(), low.end());
    return {bytes, 4};
}

template <bool kIsBig>
Written write_utf32(NQChar code_point) {
    return {in_order(code_point, 4, kIsBig), 4};
}

constexpr Writer kWriters[] = {{UTF32_UTF8, write_utf8},
                               {UTF16_UTF8, write_utf8_of_unit},
                               {UTF32_UTF16, write_unit<false>},
                               {UTF32_UTF16_SWAP, write_unit<true>},
                               {UTF32_UTF16s, write_pairs<false>},
                               {UTF32_UTF16s_SWAP, write_pairs<true>},
                               {COPY_UTF32, write_utf32<true>},
                               {COPY_UTF32_SWAP, write_utf32<false>},
                               {own_writer, write_utf8}};

struct Outcome {
    NQStatus status;
    std::uint64_t produced;
    Bytes target;
    bool operator==(const Outcome&) const = default;
};

// What was there before, and stays where nothing is stored.
Outcome untouched(std::uint64_t capacity) { return {0, 0, Bytes(capacity, 0xA5)}; }

void put(Outcome& outcome, std::uint64_t at, const Bytes& bytes) {
    for (std::uint64_t i = 0; i < bytes.size() && at + i < outcome.target.size(); ++i) {
        outcome.target[at + i] = bytes[i];
    }
}

Outcome model_to_utf32(const Bytes& source, std::uint64_t capacity, const Reader& reader,
                       const Writer& writer) {
    Outcome outcome = untouched(capacity);
    const std::uint64_t limit = capacity / 4 * 4;
    for (std::uint64_t at = 0; at < source.size() && outcome.produced < limit;) {
        const model::Read read = reader.model(source.data() + at, source.size() - at);
        outcome.status = read.status;
        if (read.status) break;
        const Written written = writer.model(read.code_point);
        if (capacity < written.needs) {
            outcome.status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        put(outcome, outcome.produced, written.bytes);
        at += read.consumed;
        capacity -= read.consumed;
        outcome.produced += 4;
    }
    return outcome;
}

Outcome model_from_utf32(const Bytes& source, std::uint64_t capacity, const Reader& reader,
                         const Writer& writer) {
    Outcome outcome = untouched(capacity);
    for (std::uint64_t at = 0; at + 4 <= source.size() && outcome.produced < capacity; at += 4) {
        const Written written = writer.model(reader.model(source.data() + at, 4).code_point);
        if (capacity - outcome.produced < written.needs) {
            outcome.status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        put(outcome, outcome.produced, written.bytes);
        outcome.produced += written.bytes.size();
    }
    return outcome;
}

// Each writer by itself, in room of the input's choice.
void check_writers(NQChar code_point, std::uint64_t room) {
    for (const Writer& writer : kWriters) {
        const Written expected = writer.model(code_point);
        // Below what it needs a routine writes nothing; what needs no room must have it.
        const std::uint64_t capacity = room % 5;
        Bytes target(std::max<std::uint64_t>(capacity, expected.bytes.size()), 0xA5);
        std::uint64_t written = 99;
        const NQStatus status = writer.routine(code_point, target.data(), capacity, &written);
        const bool fits = capacity >= expected.needs;
        NQ_REQUIRE(status == (fits ? 0 : NQ_STATUS_BUFFER_TOO_SMALL));
        if (!fits) continue;
        NQ_REQUIRE(written == expected.bytes.size());
        NQ_REQUIRE(std::equal(expected.bytes.begin(), expected.bytes.end(), target.begin()));
    }
}

std::uint64_t value_at(const Bytes& bytes, unsigned count, bool is_big) {
    std::uint64_t value = 0;
    for (unsigned i = 0; i < count; ++i) {
        value |= std::uint64_t{bytes[i]} << 8 * (is_big ? count - 1 - i : i);
    }
    return value;
}

void check_units(const Bytes& source, std::uint64_t capacity) {
    if (source.size() >= 4) {
        NQ_REQUIRE(Byte2DWord(source.data()) == value_at(source, 4, false));
        NQ_REQUIRE(Byte2DWord_swap(source.data()) == value_at(source, 4, true));
    }
    if (source.size() >= 2) {
        NQ_REQUIRE(Byte2Word(source.data()) == value_at(source, 2, false));
        NQ_REQUIRE(Byte2Word_swap(source.data()) == value_at(source, 2, true));
        NQ_REQUIRE(BYTE_UTF16_UTF32(source.data()) == value_at(source, 2, true));
        NQ_REQUIRE(BYTE_UTF16_UTF32_SWAP(source.data()) == value_at(source, 2, false));
    }
    std::uint16_t units[2] = {};
    std::uint64_t consumed = 99;
    const NQStatus status = UTF8_UTF16(source.data(), source.size(), units, &consumed);
    const model::Read read = model::read_utf8(source.data(), source.size());
    NQ_REQUIRE((status == 0) == (read.status == 0) && consumed == read.consumed);
    const Bytes expected = write_pairs<false>(read.code_point).bytes;
    NQ_REQUIRE(std::memcmp(units, expected.data(), expected.size()) == 0);

    Bytes copy(capacity);
    std::uint64_t copied = 99;
    const bool fits = source.size() <= capacity;
    NQ_REQUIRE(COPY_UTF(source.data(), source.size(), copy.data(), capacity, &copied) ==
               (fits ? 0 : NQ_STATUS_BUFFER_TOO_SMALL));
    NQ_REQUIRE(copied == std::min<std::uint64_t>(source.size(), capacity));
    NQ_REQUIRE(std::equal(copy.begin(), copy.begin() + static_cast<std::ptrdiff_t>(copied),
                          source.begin()));

    for (std::uint64_t length = 1; length <= std::min<std::uint64_t>(4, source.size()); ++length) {
        std::uint64_t plausible = 99;
        const bool is_legal = isLegalUTF8(source.data(), length, &plausible) != 0;
        NQ_REQUIRE(plausible <= length);
        // What is legal of the announced length is what the reader takes as one character.
        if (is_legal && length == model::announced_length(source[0])) {
            NQ_REQUIRE(read.status == 0 && read.consumed == length);
        }
    }
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const std::uint32_t choice = input.byte();
    const bool is_to = choice % 2 == 0;
    const Reader& reader = kReaders[choice / 2 % std::size(kReaders)];
    const Writer& writer = kWriters[input.byte() % std::size(kWriters)];
    const std::uint32_t room = input.number();
    const Bytes source = input.rest();
    const std::uint64_t capacity = room % (4 * source.size() + 16);

    const Outcome outcome = in_all_bodies([&] {
        Outcome result = untouched(capacity);
        const auto convert = [&](auto driver, auto first, auto second) {
            result.status = driver(source.data(), source.size(), result.target.data(), capacity,
                                   &result.produced, first, second);
        };
        if (is_to) {
            convert(ConvertToUTF32, reader.routine, writer.routine);
        } else {
            convert(ConvertFromUTF32, writer.routine, reader.routine);
        }
        return result;
    });
    NQ_REQUIRE(outcome == (is_to ? model_to_utf32(source, capacity, reader, writer)
                                 : model_from_utf32(source, capacity, reader, writer)));

    NQChar code_point = 0;
    std::uint64_t consumed = 0;
    const NQStatus status = reader.routine(source.data(), source.size(), &code_point, &consumed);
    NQ_REQUIRE(nq::test::model::Read{status, code_point, consumed} ==
               reader.model(source.data(), source.size()));

    check_units(source, capacity);
    check_writers(source.size() < 4 ? room : read_utf32<false>(source.data(), 4).code_point, room);

    std::vector<NQChar> units(source.size() / 4);
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = read_utf32<false>(source.data() + 4 * i, 4).code_point;
        bytes += nq::test::model::utf8_of(units[i]).size();
    }
    NQ_REQUIRE(bytes ==
               in_all_bodies([&] { return GET_UTF8_LEN_FROM_NQCHAR(units.data(), units.size()); }));
    return 0;
}
