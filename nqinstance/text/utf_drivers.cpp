#include <string.h>

#include <algorithm>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/loops.hpp"
#include "nqinstance/text/utf.h"

namespace nq {
namespace {

// What a routine of the library's own reads or writes. A block conversion can replace such a
// routine.
enum class Form : uint8_t { unknown, utf8, utf16, utf16_cut, utf32 };

struct Routine {
    Form form;
    ByteOrder order;
};

// The little-endian routines come first, because they are the usual ones and a text may be short.
Routine recognise(NQUtfReader reader) noexcept {
    if (reader == UTF8_UTF32) return {Form::utf8, ByteOrder::little};
    if (reader == COPY_UTF32b_SWAP) return {Form::utf32, ByteOrder::little};
    if (reader == UTF16_UTF32_SWAP) return {Form::utf16, ByteOrder::little};
    if (reader == UTF16_UTF32) return {Form::utf16, ByteOrder::big};
    if (reader == COPY_UTF32b) return {Form::utf32, ByteOrder::big};
    return {Form::unknown, ByteOrder::little};
}

Routine recognise(NQUtfWriter writer) noexcept {
    if (writer == COPY_UTF32_SWAP) return {Form::utf32, ByteOrder::little};
    if (writer == UTF32_UTF8) return {Form::utf8, ByteOrder::little};
    if (writer == UTF32_UTF16s) return {Form::utf16, ByteOrder::little};
    if (writer == UTF32_UTF16) return {Form::utf16_cut, ByteOrder::little};
    if (writer == COPY_UTF32) return {Form::utf32, ByteOrder::big};
    if (writer == UTF32_UTF16s_SWAP) return {Form::utf16, ByteOrder::big};
    if (writer == UTF32_UTF16_SWAP) return {Form::utf16_cut, ByteOrder::big};
    return {Form::unknown, ByteOrder::little};
}

bool overlap(const uint8_t* source, uint64_t source_bytes, const uint8_t* target,
             uint64_t capacity) noexcept {
    const auto from = reinterpret_cast<uintptr_t>(source), to = reinterpret_cast<uintptr_t>(target);
    return wrapping_sub(to, from) < source_bytes || wrapping_sub(from, to) < capacity;
}

void copy_units(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept {
    const uint64_t units = std::min(cursor.left, cursor.room) / 4;
    if (units == 0) return;
    if (in == out) {
        memcpy(cursor.target, cursor.source, 4 * units);
    } else {
        text_kernels().swap_units(cursor.source, cursor.target, units);
    }
    loops::advance(cursor, 4 * units, 4 * units);
}

// The block conversions. They do not count down the capacity that writers are told, because the
// target is full before that runs out: each code point fills 4 bytes and none of these readers
// consumes more.
NQStatus to_utf32(Cursor& cursor, Routine reader, ByteOrder out) noexcept {
    switch (reader.form) {
        case Form::utf8:
            return text_kernels().utf8_to_utf32(cursor, out);
        case Form::utf16:
            return text_kernels().utf16_to_utf32(cursor, reader.order, out);
        default:
            copy_units(cursor, reader.order, out);
            if (cursor.left && cursor.room) {
                const NQChar last = load32_padded(cursor.source, cursor.left, reader.order);
                store32(cursor.target, last, out);
                loops::advance(cursor, cursor.left, 4);
            }
            return NQ_STATUS_OK;
    }
}

NQStatus from_utf32(Cursor& cursor, ByteOrder in, Routine writer) noexcept {
    switch (writer.form) {
        case Form::utf8:
            return text_kernels().utf32_to_utf8(cursor, in);
        case Form::utf32:
            copy_units(cursor, in, writer.order);
            return cursor.left && cursor.room ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK;
        default:
            return text_kernels().utf32_to_utf16(cursor, in, writer.order,
                                                 writer.form == Form::utf16);
    }
}

// read_each and write_each convert character by character as utf.h states it: for the caller's own
// routines and for texts that overlap. They return the number of bytes produced.
uint64_t read_each(Cursor at, NQUtfReader reader, NQUtfWriter writer, uint64_t capacity,
                   NQStatus* status) noexcept {
    uint64_t produced = 0;
    while (at.left && at.room) {
        NQChar code_point = 0;
        uint64_t consumed = 0;
        uint64_t written = 0;
        *status = reader(at.source, at.left, &code_point, &consumed);
        if (*status) break;
        const uint64_t consumed_here = std::min(consumed, at.left);
        *status = writer(code_point, at.target, capacity, &written);
        if (*status) break;
        capacity = wrapping_sub(capacity, consumed);
        loops::advance(at, consumed_here, 4);
        produced += 4;
    }
    return produced;
}

// Where there is room for one byte only, stores the first byte of a 16-bit unit.
NQStatus write_within(NQUtfWriter writer, Form form, NQChar code_point, uint8_t* target,
                      uint64_t room, uint64_t* written) noexcept {
    if (room >= 2 || (form != Form::utf16 && form != Form::utf16_cut)) {
        return writer(code_point, target, room, written);
    }
    uint8_t unit[2];
    const NQStatus status = writer(code_point, unit, room, written);
    if (!status) *target = unit[0];
    return status;
}

uint64_t write_each(Cursor at, NQUtfReader reader, NQUtfWriter writer, NQStatus* status) noexcept {
    const Form form = recognise(writer).form;
    uint64_t produced = 0;
    while (at.left && at.room) {
        NQChar code_point = 0;
        uint64_t consumed = 0;
        uint64_t written = 0;
        reader(at.source, 4, &code_point, &consumed);
        *status = write_within(writer, form, code_point, at.target, at.room, &written);
        if (*status) break;
        loops::advance(at, 4, std::min(written, at.room));
        produced += written;
    }
    return produced;
}

void report(uint64_t* place, uint64_t count) noexcept {
    if (place) *place = count;
}

[[gnu::noinline]] NQStatus convert_to_utf32(const uint8_t* source, uint64_t source_bytes,
                                            uint8_t* target, uint64_t capacity, uint64_t* produced,
                                            NQUtfReader reader, NQUtfWriter writer) noexcept {
    Cursor cursor{source, source_bytes, target, capacity / 4 * 4};
    NQStatus status = NQ_STATUS_OK;
    uint64_t bytes = 0;
    const Routine from = recognise(reader);
    const Routine to = recognise(writer);
    if (from.form == Form::unknown || to.form != Form::utf32 ||
        overlap(source, source_bytes, target, capacity)) {
        bytes = read_each(cursor, reader, writer, capacity, &status);
    } else {
        status = to_utf32(cursor, from, to.order);
        bytes = capacity / 4 * 4 - cursor.room;
    }
    report(produced, bytes);
    return status;
}

[[gnu::noinline]] NQStatus convert_from_utf32(const uint8_t* source, uint64_t source_bytes,
                                              uint8_t* target, uint64_t capacity,
                                              uint64_t* produced, NQUtfWriter writer,
                                              NQUtfReader reader) noexcept {
    Cursor cursor{source, source_bytes / 4 * 4, target, capacity};
    NQStatus status = NQ_STATUS_OK;
    uint64_t bytes = 0;
    const Routine from = recognise(reader);
    const Routine to = recognise(writer);
    if (from.form == Form::utf32 && to.form != Form::unknown &&
        !overlap(source, source_bytes, target, capacity)) {
        status = from_utf32(cursor, from.order, to);
        bytes = capacity - cursor.room;
    }
    // Where blocks were converted there is no source left, or no room for a whole unit; else all is
    // left.
    if (!status) bytes += write_each(cursor, reader, writer, &status);
    report(produced, bytes);
    return status;
}

// A few characters between UTF-8 and little-endian UTF-32 are converted at once: recognising the
// routines would cost more than the conversion.
constexpr uint64_t kFewCharacters = 32;

template <auto kLoop>
[[gnu::noinline]] NQStatus convert_few(const uint8_t* source, uint64_t source_bytes,
                                       uint8_t* target, uint64_t capacity,
                                       uint64_t* produced) noexcept {
    Cursor cursor{source, source_bytes, target, capacity};
    const NQStatus status = kLoop(cursor, loops::kToTheEnd);
    report(produced, capacity - cursor.room);
    return status;
}

}  // namespace
}  // namespace nq

NQStatus ConvertToUTF32(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                        uint64_t capacity, uint64_t* produced, NQUtfReader reader,
                        NQUtfWriter writer) noexcept {
    constexpr auto kLoop = nq::loops::utf8_to_utf32_in<nq::ByteOrder::little>;
    if (sourceBytes <= nq::kFewCharacters && reader == UTF8_UTF32 && writer == COPY_UTF32_SWAP &&
        !nq::overlap(source, sourceBytes, target, capacity)) {
        return nq::convert_few<kLoop>(source, sourceBytes, target, capacity / 4 * 4, produced);
    }
    return nq::convert_to_utf32(source, sourceBytes, target, capacity, produced, reader, writer);
}

NQStatus ConvertFromUTF32(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                          uint64_t capacity, uint64_t* produced, NQUtfWriter writer,
                          NQUtfReader reader) noexcept {
    constexpr auto kLoop = nq::loops::utf32_to_utf8_from<nq::ByteOrder::little>;
    if (sourceBytes <= 4 * nq::kFewCharacters && writer == UTF32_UTF8 &&
        reader == COPY_UTF32b_SWAP && !nq::overlap(source, sourceBytes, target, capacity)) {
        return nq::convert_few<kLoop>(source, sourceBytes / 4 * 4, target, capacity, produced);
    }
    return nq::convert_from_utf32(source, sourceBytes, target, capacity, produced, writer, reader);
}
