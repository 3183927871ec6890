#include "nqinstance/text/utf.h"

#include <string.h>

#include <algorithm>

#include "nqinstance/text/kernels/loops.hpp"

namespace nq {
namespace {

void report(uint64_t* place, uint64_t count) noexcept {
    if (place) *place = count;
}

NQStatus deliver(const Decoded& character, NQChar* code_point, uint64_t* consumed) noexcept {
    *code_point = character.code_point;
    report(consumed, character.consumed);
    return character.status;
}

NQStatus read_utf32(const uint8_t* source, uint64_t available, NQChar* code_point,
                    uint64_t* consumed, ByteOrder order) noexcept {
    return deliver({load32_padded(source, available, order), NQ_STATUS_OK, 4}, code_point,
                   consumed);
}

NQStatus write_unit(NQChar unit, uint8_t* target, uint64_t* written, ByteOrder order) noexcept {
    store16(target, unit, order);
    report(written, 2);
    return NQ_STATUS_OK;
}

NQStatus write_utf16(NQChar code_point, uint8_t* target, uint64_t capacity, uint64_t* written,
                     ByteOrder order) noexcept {
    if (code_point < 0x10000) return write_unit(code_point, target, written, order);
    if (capacity < 4) return NQ_STATUS_BUFFER_TOO_SMALL;
    store_surrogate_pair(target, code_point, order);
    report(written, 4);
    return NQ_STATUS_OK;
}

NQStatus write_utf32(NQChar code_point, uint8_t* target, uint64_t capacity, uint64_t* written,
                     ByteOrder order) noexcept {
    const bool fits = capacity >= 4;
    if (fits) store32(target, code_point, order);
    report(written, fits ? 4 : 0);
    return fits ? NQ_STATUS_OK : NQ_STATUS_BUFFER_TOO_SMALL;
}

}  // namespace
}  // namespace nq

using nq::ByteOrder;

uint32_t Byte2DWord(const uint8_t* bytes) noexcept { return nq::load32(bytes, ByteOrder::little); }

uint32_t Byte2DWord_swap(const uint8_t* bytes) noexcept {
    return nq::load32(bytes, ByteOrder::big);
}

uint16_t Byte2Word(const uint8_t* bytes) noexcept { return nq::load16(bytes, ByteOrder::little); }

uint16_t Byte2Word_swap(const uint8_t* bytes) noexcept { return nq::load16(bytes, ByteOrder::big); }

uint16_t BYTE_UTF16_UTF32(const uint8_t* bytes) noexcept {
    return nq::load16(bytes, ByteOrder::big);
}

uint16_t BYTE_UTF16_UTF32_SWAP(const uint8_t* bytes) noexcept {
    return nq::load16(bytes, ByteOrder::little);
}

NQStatus UTF8_UTF32(const uint8_t* source, uint64_t available, NQChar* codePoint,
                    uint64_t* consumed) noexcept {
    return nq::deliver(nq::decode_utf8(source, available), codePoint, consumed);
}

NQStatus UTF16_UTF32(const uint8_t* source, uint64_t available, NQChar* codePoint,
                     uint64_t* consumed) noexcept {
    return nq::deliver(nq::decode_utf16(source, available, ByteOrder::big), codePoint, consumed);
}

NQStatus UTF16_UTF32_SWAP(const uint8_t* source, uint64_t available, NQChar* codePoint,
                          uint64_t* consumed) noexcept {
    return nq::deliver(nq::decode_utf16(source, available, ByteOrder::little), codePoint, consumed);
}

NQStatus COPY_UTF32b(const uint8_t* source, uint64_t available, NQChar* codePoint,
                     uint64_t* consumed) noexcept {
    return nq::read_utf32(source, available, codePoint, consumed, ByteOrder::big);
}

NQStatus COPY_UTF32b_SWAP(const uint8_t* source, uint64_t available, NQChar* codePoint,
                          uint64_t* consumed) noexcept {
    return nq::read_utf32(source, available, codePoint, consumed, ByteOrder::little);
}

NQStatus UTF8_UTF16(const uint8_t* source, uint64_t available, uint16_t* units,
                    uint64_t* consumed) noexcept {
    const nq::Decoded character = nq::decode_utf8(source, available);
    auto* target = reinterpret_cast<uint8_t*>(units);
    nq::report(consumed, character.consumed);
    if (character.code_point < 0x10000) {
        nq::store16(target, character.code_point, ByteOrder::little);
    } else {
        nq::store_surrogate_pair(target, character.code_point, ByteOrder::little);
    }
    return character.status ? NQ_STATUS_MALFORMED : NQ_STATUS_OK;
}

NQStatus UTF32_UTF8(NQChar codePoint, uint8_t* target, uint64_t capacity,
                    uint64_t* written) noexcept {
    const uint64_t room = codePoint < 0x80 ? 1 : capacity;
    const uint32_t size = nq::encode_utf8(codePoint, target, room);
    nq::report(written, size);
    return size ? NQ_STATUS_OK : NQ_STATUS_BUFFER_TOO_SMALL;
}

NQStatus UTF16_UTF8(NQChar unit, uint8_t* target, uint64_t capacity, uint64_t* written) noexcept {
    return UTF32_UTF8(unit & 0xFFFF, target, capacity, written);
}

NQStatus UTF32_UTF16(NQChar codePoint, uint8_t* target, uint64_t, uint64_t* written) noexcept {
    return nq::write_unit(codePoint, target, written, ByteOrder::little);
}

NQStatus UTF32_UTF16_SWAP(NQChar codePoint, uint8_t* target, uint64_t, uint64_t* written) noexcept {
    return nq::write_unit(codePoint, target, written, ByteOrder::big);
}

NQStatus UTF32_UTF16s(NQChar codePoint, uint8_t* target, uint64_t capacity,
                      uint64_t* written) noexcept {
    return nq::write_utf16(codePoint, target, capacity, written, ByteOrder::little);
}

NQStatus UTF32_UTF16s_SWAP(NQChar codePoint, uint8_t* target, uint64_t capacity,
                           uint64_t* written) noexcept {
    return nq::write_utf16(codePoint, target, capacity, written, ByteOrder::big);
}

NQStatus COPY_UTF32(NQChar codePoint, uint8_t* target, uint64_t capacity,
                    uint64_t* written) noexcept {
    return nq::write_utf32(codePoint, target, capacity, written, ByteOrder::big);
}

NQStatus COPY_UTF32_SWAP(NQChar codePoint, uint8_t* target, uint64_t capacity,
                         uint64_t* written) noexcept {
    return nq::write_utf32(codePoint, target, capacity, written, ByteOrder::little);
}

NQStatus COPY_UTF(const uint8_t* source, uint64_t sourceBytes, uint8_t* target, uint64_t capacity,
                  uint64_t* copied) noexcept {
    const uint64_t bytes = std::min(sourceBytes, capacity);
    if (bytes) memmove(target, source, bytes);
    nq::report(copied, bytes);
    return sourceBytes > capacity ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK;
}

int32_t isLegalUTF8(const uint8_t* bytes, uint64_t length, uint64_t* plausible) noexcept {
    nq::report(plausible, length);
    if (length < 1 || length > 4) return 1;
    bool is_legal = true;
    for (uint64_t i = length - 1; i > 0; --i) {
        if (nq::continues_utf8(bytes[i])) continue;
        nq::report(plausible, i);
        is_legal = false;
    }
    if (length > 1 && !nq::fits_second_utf8(bytes[0], bytes[1])) is_legal = false;
    return is_legal && nq::begins_utf8(bytes[0]);
}

uint64_t GET_UTF8_LEN_FROM_NQCHAR(const NQChar* units, uint64_t count) noexcept {
    if (count < nq::kInlineBytes / sizeof *units) return nq::loops::utf8_bytes(units, count);
    return nq::text_kernels().utf8_bytes(units, count);
}
