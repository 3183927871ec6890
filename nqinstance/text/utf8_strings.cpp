#include "nqinstance/text/utf8_strings.h"

#include "nqinstance/text/kernels/table.hpp"
#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf8.h"

namespace nq {
namespace {

constexpr uint8_t kBlank = ' ';

uint64_t trailing_blanks(const uint8_t* text, uint64_t length) noexcept {
    constexpr uint64_t kEightBlanks = 0x2020202020202020;
    uint64_t end = length;
    while (end >= 8 && load64(text + end - 8) == kEightBlanks) end -= 8;
    while (end > 0 && text[end - 1] == kBlank) --end;
    return length - end;
}

// The blank classes of nqzsu8StripBlanks that are not the general one; every other number is.
enum : uint32_t { kBlankOnly = 0, kSpaces = 2 };

constexpr bool is_wide_space(NQChar character) noexcept {
    switch (character) {
        case 0xA0:
        case 0x1680:
        case 0x2028:
        case 0x2029:
        case 0x202F:
        case 0x205F:
        case 0x3000:
            return true;
        default:
            return character >= 0x2000 && character <= 0x200A;
    }
}

constexpr bool is_control_space(NQChar character) noexcept {
    return (character >= 0x09 && character <= 0x0D) || character == 0x85;
}

// Where the space at the end of the text begins; `length` if the text ends with anything else.
// Further continuation bytes behind the last character count as a part of it.
uint64_t last_space_start(const uint8_t* text, uint64_t length, bool has_controls) noexcept {
    uint64_t start = length - 1;
    while (start > 0 && continues_utf8(text[start])) --start;
    const NQChar last = decode_utf8(text + start, length - start).code_point;
    const bool is_space =
        last == kBlank || is_wide_space(last) || (has_controls && is_control_space(last));
    return is_space ? start : length;
}

}  // namespace
}  // namespace nq

uint64_t nqzsu8CopyText(const uint8_t* source, uint64_t sourceBytes, uint32_t, uint8_t* target,
                        uint64_t targetBytes) noexcept {
    uint64_t copied = 0;
    if (source) {
        copied = UTF8_BLENB(source, std::min(sourceBytes, targetBytes));
        mwMemSCpy(source, target, copied);
    }
    if (copied < targetBytes) mwMemSet(target + copied, nq::kBlank, targetBytes - copied);
    return copied;
}

uint64_t nqzsu8Copy(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                    uint64_t targetBytes) noexcept {
    return nqzsu8CopyText(source, sourceBytes, NQ_ENCODING_UTF8, target, targetBytes);
}

NQStatus nqzsu8Justify(uint8_t* field, uint32_t length, uint8_t mode, uint32_t* contentLength,
                       uint32_t* contentOffset) noexcept {
    uint32_t content = 0;
    uint32_t offset = 0;
    NQStatus status = NQ_STATUS_OK;
    const uint64_t first = mwMemNScan(field, length, nq::kBlank);
    if (first != NQ_NOT_FOUND) {
        const auto start = static_cast<uint32_t>(first);
        content = length - start -
                  static_cast<uint32_t>(nq::trailing_blanks(field + start, length - start));
        offset = start;
        switch (mode) {
            case 'C':
            case 'c':
                offset = (length - content) / 2;
                break;
            case 'L':
            case 'l':
                offset = 0;
                break;
            case 'R':
            case 'r':
                offset = length - content;
                break;
            case 'N':
            case 'n':
                break;
            default:
                status = NQ_STATUS_UNKNOWN_JUSTIFICATION;
        }
        if (offset != start) {
            mwMemSCpy(field + start, field + offset, content);
            if (offset < start) {
                mwMemSet(field + offset + content, nq::kBlank, start - offset);
            } else {
                mwMemSet(field + start, nq::kBlank, offset - start);
            }
        }
    }
    if (contentLength) *contentLength = content;
    if (contentOffset) *contentOffset = offset;
    return status;
}

uint64_t nqzsu8StripBlanks(const uint8_t* text, uint64_t length, uint32_t blankClass) noexcept {
    for (;;) {
        length -= nq::trailing_blanks(text, length);
        if (length == 0 || blankClass == nq::kBlankOnly) return length;
        const uint64_t start = nq::last_space_start(text, length, blankClass != nq::kSpaces);
        if (start == length) return length;
        length = start;
    }
}

uint64_t nqzsu8NumChars(const uint8_t* text, uint64_t length) noexcept {
    return length < nq::kInlineBytes ? nq::loops::count_characters(text, length)
                                     : nq::text_kernels().count_characters(text, length);
}

uint64_t nqzsu8ByteLength(const uint8_t* text, uint64_t count) noexcept {
    return count < nq::kInlineBytes ? nq::loops::size_of_characters(text, count)
                                    : nq::text_kernels().size_of_characters(text, count);
}

void nqzsu8Lengths(const uint8_t* text, uint64_t* characters, uint64_t* bytes) noexcept {
    if (!text) return;
    // The terminator is no continuation byte, so no character goes past it.
    const uint64_t length = mwStrLen(text);
    if (characters) *characters = nqzsu8NumChars(text, length);
    if (bytes) *bytes = length;
}
