#include "nqinstance/text/utf8_modified.h"

#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/utf8_count.hpp"
#include "nqinstance/text/kernels/utf_codec.hpp"
#include "nqinstance/text/utf8_strings.h"

namespace nq {
namespace {

constexpr uint64_t kSurrogateBytes = 3;

struct Text {
    const uint8_t* bytes;
    uint64_t length;
};

// What is written to the target for the `consumed` bytes of the source.
struct Piece {
    uint64_t consumed;
    uint8_t bytes[2 * kSurrogateBytes];
    uint8_t size;
    bool is_replacement;
};

constexpr Piece replacement(uint64_t consumed) noexcept {
    return {.consumed = consumed, .bytes = {0xEF, 0xBF, 0xBD}, .size = 3, .is_replacement = true};
}

bool is_complete(const uint8_t* text, uint64_t size) noexcept {
    return begins_utf8(text[0]) && size == kUtf8Length[text[0]];
}

// Whether one of eight bytes is zero. Subtracting 1 sets the top bit of a zero byte; a byte that
// had it before does not count. The borrow may mark a byte 0x01 above the zero too, which changes
// nothing.
//   0x00 - 1 = 1111'1111, 0x01 - 1 = 0000'0000, 0x80 - 1 = 0111'1111
bool has_zero(uint64_t eight) noexcept {
    constexpr uint64_t kOneInEach = 0x0101010101010101;
    return (wrapping_sub(eight, kOneInEach) & ~eight & kTopBits) != 0;
}

// The two conversions. Each says which bytes are copied as they are, and what is written for the
// ones that are not.
struct Decoding {
    bool has_zeros;  // as C0 80

    static bool are_copied(uint64_t eight) noexcept { return is_ascii(eight); }

    // The size of the character if it is copied, else 0.
    static uint64_t copied_size(Text text) noexcept {
        const uint8_t lead = text.bytes[0];
        if (lead < 0x80) return 1;
        const uint64_t size = character_size(text.bytes, text.length);
        const bool is_well_formed =
            is_complete(text.bytes, size) && fits_second_utf8(lead, text.bytes[1]);
        return is_well_formed ? size : 0;
    }

    // The ten bits in the three bytes of a surrogate whose second byte is from `first` to `last`;
    // -1 where there is none.
    //   1110'1101 101h'aaaa 10bb'bbbb -> 0000'00aa aabb'bbbb; h is 0 in a high surrogate, 1 in a
    //   low one
    static int32_t surrogate_bits(Text text, uint8_t first, uint8_t last) noexcept {
        if (text.length < kSurrogateBytes || text.bytes[0] != 0xED) return -1;
        if (text.bytes[1] < first || text.bytes[1] > last) return -1;
        if (!continues_utf8(text.bytes[2])) return -1;
        return static_cast<int32_t>(decode_three(text.bytes) & 0x3FF);
    }

    Piece next(Text text) const noexcept {
        const uint64_t size = character_size(text.bytes, text.length);
        if (has_zeros && size == 2 && text.bytes[0] == 0xC0 && text.bytes[1] == 0x80) {
            return {.consumed = 2, .bytes = {0}, .size = 1, .is_replacement = false};
        }
        const int32_t high = surrogate_bits(text, 0xA0, 0xAF);
        if (high < 0) return replacement(size);
        const int32_t low = surrogate_bits(
            {text.bytes + kSurrogateBytes, text.length - kSurrogateBytes}, 0xB0, 0xBF);
        if (low < 0) return replacement(kSurrogateBytes);
        Piece pair{
            .consumed = 2 * kSurrogateBytes, .bytes = {}, .size = 4, .is_replacement = false};
        encode_utf8(static_cast<NQChar>(0x10000 + (high << 10 | low)), pair.bytes, pair.size);
        return pair;
    }
};

struct Encoding {
    bool has_zeros;  // as C0 80
    bool has_pairs;  // supplementary characters as surrogates

    bool are_copied(uint64_t eight) const noexcept {
        return is_ascii(eight) && !(has_zeros && has_zero(eight));
    }

    uint64_t copied_size(Text text) const noexcept {
        const uint8_t lead = text.bytes[0];
        if (lead < 0x80) return lead > 0 || !has_zeros;
        const uint64_t size = character_size(text.bytes, text.length);
        const bool is_copied =
            is_complete(text.bytes, size) && size <= 3 && !(lead == 0xED && text.bytes[1] >= 0xA0);
        return is_copied ? size : 0;
    }

    Piece next(Text text) const noexcept {
        if (text.bytes[0] == 0) {
            return {.consumed = 1, .bytes = {0xC0, 0x80}, .size = 2, .is_replacement = false};
        }
        const uint64_t size = character_size(text.bytes, text.length);
        if (!has_pairs || size != 4 || !is_complete(text.bytes, size)) return replacement(size);
        const NQChar offset =
            wrapping_sub(decode_utf8(text.bytes, size).code_point, NQChar{0x10000});
        Piece pair{.consumed = 4, .bytes = {}, .size = sizeof pair.bytes, .is_replacement = false};
        encode_utf8(0xD800 | (offset >> 10 & 0x3FF), pair.bytes, kSurrogateBytes);
        encode_utf8(0xDC00 | (offset & 0x3FF), pair.bytes + kSurrogateBytes, kSurrogateBytes);
        return pair;
    }
};

// The number of bytes at the start of the text that are copied as they are.
template <class Conversion>
uint64_t copied_bytes(Text text, const Conversion& conversion) noexcept {
    uint64_t at = 0;
    bool try_eight = true;  // false behind a character outside ASCII
    while (at < text.length) {
        const uint64_t left = text.length - at;
        if (try_eight && left >= 8) {
            if (conversion.are_copied(load64(text.bytes + at))) {
                at += 8;
                continue;
            }
        }
        const uint64_t size = conversion.copied_size({text.bytes + at, left});
        if (size == 0) break;
        at += size;
        try_eight = size == 1;
    }
    return at;
}

// How much of a text of complete characters fits, in whole characters.
uint64_t fitting_bytes(const uint8_t* text, uint64_t length, uint64_t room) noexcept {
    if (length <= room) return length;
    while (room > 0 && continues_utf8(text[room])) --room;
    return room;
}

// So many bytes more than there is room for are enough to look at: a character that is cut off
// behind them begins past the room.
constexpr uint64_t kPastRoom = 8;

template <class Conversion>
NQStatus convert(Text source, uint8_t* target, uint64_t capacity, uint64_t* written,
                 const Conversion& conversion) noexcept {
    NQStatus status = NQ_STATUS_OK;
    uint64_t total = 0;
    const auto put = [&](const uint8_t* bytes, uint64_t size) {
        if (size) std::memcpy(target + total, bytes, size);
        total += size;
    };
    while (source.length > 0) {
        // Looks no further than it takes to see that the target is full.
        const uint64_t room = capacity - total;
        const bool is_far = source.length > room && source.length - room > kPastRoom;
        const uint64_t near = is_far ? room + kPastRoom : source.length;
        const uint64_t copied = copied_bytes({source.bytes, near}, conversion);
        const uint64_t fitting = fitting_bytes(source.bytes, copied, room);
        put(source.bytes, fitting);
        source = {source.bytes + fitting, source.length - fitting};
        if (fitting < copied) {
            status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        if (source.length == 0) break;
        const Piece piece = conversion.next(source);
        if (piece.size > capacity - total) {
            status = NQ_STATUS_BUFFER_TOO_SMALL;
            break;
        }
        put(piece.bytes, piece.size);
        source = {source.bytes + piece.consumed, source.length - piece.consumed};
        if (piece.is_replacement) status = NQ_STATUS_MALFORMED;
    }
    if (written) *written = total;
    return status;
}

}  // namespace
}  // namespace nq

NQStatus nqzsu8Decode(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                      uint64_t capacity, uint64_t* written, uint32_t flags) noexcept {
    const bool has_zeros = flags & NQ_MODIFIED_ZERO;
    if (!has_zeros && (flags & NQ_MODIFIED_BASIC)) {
        const uint64_t copied =
            nqzsu8Copy(source, sourceBytes, target, std::min(sourceBytes, capacity));
        if (written) *written = copied;
        return copied < sourceBytes ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK;
    }
    return nq::convert({source, sourceBytes}, target, capacity, written,
                       nq::Decoding{.has_zeros = has_zeros});
}

NQStatus nqzsu8Encode(const uint8_t* source, uint64_t sourceBytes, uint8_t* target,
                      uint64_t capacity, uint64_t* written, uint32_t flags) noexcept {
    const bool has_zeros = flags & NQ_MODIFIED_ZERO;
    const bool has_pairs = has_zeros || !(flags & NQ_MODIFIED_BASIC);
    return nq::convert({source, sourceBytes}, target, capacity, written,
                       nq::Encoding{.has_zeros = has_zeros, .has_pairs = has_pairs});
}
