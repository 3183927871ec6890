#include "nqinstance/text/utf8.h"

#include "nqinstance/host/kernel.h"
#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf8_steps.hpp"

namespace nq {
namespace {

constexpr NQChar kZeroWidthNonJoiner = 0x200C;
constexpr NQChar kZeroWidthJoiner = 0x200D;

NQChar announced_character(const uint8_t* text) noexcept {
    return decode_utf8(text, kUtf8Length[*text]).code_point;
}

}  // namespace
}  // namespace nq

int32_t utf8_len(const uint8_t* text) noexcept { return nq::kUtf8Length[*text]; }

uint64_t _U8ValidCharSize(const uint8_t* text, uint8_t* valid) noexcept {
    const uint8_t lead = text[0];
    const uint64_t length = nq::kUtf8Length[lead];
    bool is_valid = nq::begins_utf8(lead);
    uint64_t size = 1;
    if (nq::limits_second_utf8(lead)) {
        is_valid = nq::fits_second_utf8(lead, text[1]);
        size = 2;
    }
    while (size < length && nq::continues_utf8(text[size])) ++size;
    *valid = is_valid && size == length;
    return size;
}

uint64_t _U8CharSize(const uint8_t* text) noexcept {
    const uint8_t lead = text[0];
    const uint8_t* next = text + 1;
    uint64_t size = 1;
    uint64_t left = nq::kUtf8Length[lead] - uint64_t{1};
    if (nq::limits_second_utf8(lead)) {
        // Counts the second byte here, and again in the loop where it fits. Callers rely on these
        // sizes; counting it once would change what nqzsu8NextChar steps over.
        size = 2;
        if (!nq::fits_second_utf8(lead, text[1])) {
            --left;
            if (lead != 0xE0) ++next;
        }
    }
    for (; left > 0 && nq::continues_utf8(*next); --left) {
        ++next;
        ++size;
    }
    return size;
}

uint64_t nqzsu8CharSize(const uint8_t* text, uint8_t* valid) noexcept {
    return valid ? _U8ValidCharSize(text, valid) : nqzsu8CharSize2(text);
}

uint64_t nqzsu8CharSize2(const uint8_t* text) noexcept {
    return *text < 0x80 ? 1 : _U8CharSize(text);
}

const uint8_t* nqzsu8NextChar(const uint8_t* text) noexcept { return text + nqzsu8CharSize2(text); }

int32_t _NQZSU8IsFunct(const uint8_t* text, NQCodePointPredicate predicate) noexcept {
    return predicate(nq::announced_character(text));
}

int32_t nqzsu8IsCombining(const uint8_t* text) noexcept {
    const NQChar character = nq::announced_character(text);
    if (character == nq::kZeroWidthNonJoiner || character == nq::kZeroWidthJoiner) return 1;
    const HostKernel* kernel = Exported_NQHandle;
    HostUnicode* unicode = kernel ? kernel->unicode : nullptr;
    return unicode ? unicode->hasProperty(unicode, character, NQ_PROPERTY_COMBINING) : 0;
}

uint64_t UTF8_SLEN(const uint8_t* text) noexcept {
    if (!text) return 0;
    uint64_t count = 0;
    // The walk ends at the terminator, unless a step leads past it; then it goes on behind it.
    while (*text) {
        const nq::Steps steps = nq::count_steps(text, mwStrLen(text));
        count += steps.count;
        text += steps.end;
    }
    return count;
}

uint64_t UTF8_SLENB(const uint8_t* text, uint64_t length) noexcept {
    return nq::count_steps(text, length).count;
}

uint64_t UTF8_BLENB(const uint8_t* text, uint64_t length) noexcept {
    if (length == 0 || text[length - 1] < 0x80) return length;
    uint64_t last = length - 1;
    while (last > 0 && nq::continues_utf8(text[last])) --last;
    if (!nq::begins_utf8(text[last])) return 0;
    const uint64_t end = last + nq::kUtf8Length[text[last]];
    return end <= length ? end : last;
}

uint64_t UTF8_BLEN(const uint8_t* text) noexcept { return UTF8_BLENB(text, mwStrLen(text)); }
