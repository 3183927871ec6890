#include "nqinstance/json/escape.hpp"

#include <string.h>

#include <array>

#include "nqinstance/base/try.hpp"
#include "nqinstance/text/kernels/utf8_tables.hpp"

namespace nq {
namespace {

// What stands behind the backslash in place of the character, or 0 where it needs none.
constexpr uint8_t escape_of(uint8_t byte) noexcept {
    switch (byte) {
        case '"':
        case '\\':
            return byte;
        case '\t':
            return 't';
        case '\n':
            return 'n';
        default:
            return 0;
    }
}

// True when all eight bytes are ASCII and none needs an escape.
bool is_plain(const uint8_t* bytes) noexcept {
    constexpr uint64_t kOnes = UINT64_C(0x0101010101010101);
    constexpr uint64_t kHigh = kOnes * 0x80;
    uint64_t block;
    memcpy(&block, bytes, sizeof block);
    if (block & kHigh) return false;
    uint64_t differs = kHigh;
    for (const char special : {'"', '\\', '\t', '\n'}) {
        // The high bit of a byte of the sum is set where the bytes are not equal.
        differs &= (block ^ kOnes * static_cast<uint8_t>(special)) + kOnes * 0x7f;
    }
    return differs == kHigh;
}

// The next one-byte character from `position` on that needs an escape, or `end`. The walk steps
// from lead byte to lead byte and looks at none of the bytes between.
uint64_t find_escape(const uint8_t* bytes, uint64_t position, uint64_t end) noexcept {
    while (position < end) {
        if (end - position >= 8 && is_plain(bytes + position)) {
            position += 8;
        } else if (escape_of(bytes[position])) {
            return position;
        } else {
            position += kUtf8Length[bytes[position]];
        }
    }
    return end;
}

uint64_t count_escapes(const uint8_t* bytes, uint64_t length) noexcept {
    uint64_t count = 0;
    for (uint64_t at = find_escape(bytes, 0, length); at < length;
         at = find_escape(bytes, at + 1, length)) {
        ++count;
    }
    return count;
}

// Moves the text that starts at `gap` to the front and escapes it. The gap has a byte for each
// escape, so writing never overtakes reading, and both end at the same place.
void escape_into_gap(uint8_t* bytes, uint64_t gap, uint64_t length) noexcept {
    uint64_t write = 0;
    uint64_t read = gap;
    while (write < read) {
        const uint64_t stop = find_escape(bytes, read, length);
        memmove(bytes + write, bytes + read, stop - read);
        write += stop - read;
        read = stop + 1;
        bytes[write++] = '\\';
        bytes[write++] = escape_of(bytes[stop]);
    }
}

// The bytes of which the gap is made; escape_into_gap overwrites them.
constexpr std::array<uint8_t, 256> kBackslashes = [] {
    std::array<uint8_t, 256> run{};
    for (uint8_t& byte : run) byte = '\\';
    return run;
}();

// Makes room for `count` bytes at the front of the string with one insertion.
NQStatus insert_gap(HostPool* pool, NQU8String* string, uint64_t count) noexcept {
    if (count <= kBackslashes.size()) {
        return string->methods->insert(string, 0, kBackslashes.data(), count);
    }
    auto* run = static_cast<uint8_t*>(pool->alloc(pool, count, 0));
    if (!run) return NQ_STATUS_NO_MEMORY;
    memset(run, '\\', count);
    const NQStatus status = string->methods->insert(string, 0, run, count);
    pool->free(pool, run);
    return status;
}

}  // namespace

NQStatus escape_string(NQStringApi* strings, HostPool* pool, InstanceHeader* instance,
                       Held<NQU8String>& escaped) noexcept {
    if (instance->isType(instance, "NQString")) {
        const auto* string = reinterpret_cast<NQString*>(instance);
        NQ_TRY(strings->copyText(strings, escaped.out(), pool, string->text, string->length));
    } else {
        const auto* string = reinterpret_cast<NQU8String*>(instance);
        NQ_TRY(strings->createFromUtf8(strings, escaped.out(), pool, string->bytes, string->length,
                                       1));
    }

    const uint64_t escapes = count_escapes(escaped->bytes, escaped->length);
    if (!escapes) return NQ_STATUS_OK;

    NQ_TRY(insert_gap(pool, escaped.get(), escapes));
    escape_into_gap(escaped->bytes, escapes, escaped->length);
    return NQ_STATUS_OK;
}

}  // namespace nq
