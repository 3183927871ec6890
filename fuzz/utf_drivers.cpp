// The conversions of whole texts with each pair of the library's routines: every body stores the
// same as the slow model of the rules.
#include "fuzz/input.hpp"
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

constexpr Reader kReaders[] = {{UTF8_UTF32, model::read_utf8},
                               {UTF16_UTF32, read_utf16<true>},
                               {UTF16_UTF32_SWAP, read_utf16<false>},
                               {COPY_UTF32b, read_utf32<true>},
                               {COPY_UTF32b_SWAP, read_utf32<false>}};

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

constexpr Writer kWriters[] = {
    {UTF32_UTF8, write_utf8},           {UTF16_UTF8, write_utf8_of_unit},
    {UTF32_UTF16, write_unit<false>},   {UTF32_UTF16_SWAP, write_unit<true>},
    {UTF32_UTF16s, write_pairs<false>}, {UTF32_UTF16s_SWAP, write_pairs<true>},
    {COPY_UTF32, write_utf32<true>},    {COPY_UTF32_SWAP, write_utf32<false>}};

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
            outcome.status = 0x803FE807;
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
            outcome.status = 0x803FE807;
            break;
        }
        put(outcome, outcome.produced, written.bytes);
        outcome.produced += written.bytes.size();
    }
    return outcome;
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
