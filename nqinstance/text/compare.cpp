#include "nqinstance/text/compare.h"

#include <string.h>

#include <algorithm>

#include "nqinstance/text/case_fold.hpp"
#include "nqinstance/text/kernels/compare_loops.hpp"
#include "nqinstance/text/memory.h"

namespace nq {
namespace {

// So many equal characters in a row make the loops below try blocks again: more than the
// punctuation between words in which the texts differ.
constexpr int kEqualInARow = 3;

struct Text {
    const uint8_t* bytes;
    uint64_t length;

    void skip(uint64_t count) noexcept {
        bytes += count;
        length -= count;
    }
};

template <class Number>
int32_t order_of(Number a, Number b) noexcept {
    return (a > b) - (a < b);
}

// Who lowers an ASCII character that is compared with one outside ASCII.
enum class AsciiBy { host, table };

// The order of code points in lower case, for one comparison of two texts. Asking the host costs a
// call and a look-up, so once a text turns out to have many pairs that differ in case only, they
// are kept.
template <AsciiBy kAsciiBy>
class LowerCaseOrder {
  public:
    explicit LowerCaseOrder(HostUnicode* unicode) noexcept : unicode_(unicode) {}

    // The order in lower case of two characters that are not the same bytes; sets an `order` that
    // is 0 by the characters themselves. Where both are U+FFFD because they are malformed, the
    // first text is the greater one.
    int32_t compare(NQChar a, NQChar b, int32_t& order) noexcept {
        if (order == 0) order = a < b ? -1 : 1;
        return a == b ? 0 : compare_unequal(a, b);
    }

  private:
    static constexpr unsigned kAsked = 24;
    static constexpr unsigned kSame = 128;  // more than the letters of a script

    int32_t compare_unequal(NQChar a, NQChar b) noexcept {
        const uint64_t pair = uint64_t{a} << 32 | b;
        if (asked_ >= kAsked && same_[a % kSame] == pair) return 0;
        const int32_t order = order_of(lower(a), lower(b));
        if (order == 0) keep(a, pair);
        return order;
    }

    int32_t lower(NQChar code_point) const noexcept {
        const bool by_table = kAsciiBy == AsciiBy::table && code_point < 0x80;
        return static_cast<int32_t>(by_table ? table_lower(code_point)
                                             : host_lower(unicode_, code_point));
    }
    void keep(NQChar a, uint64_t pair) noexcept {
        if (asked_ < kAsked) {
            if (++asked_ < kAsked) return;
            memset(same_, 0, sizeof same_);
        }
        same_[a % kSame] = pair;
    }

    HostUnicode* const unicode_;
    unsigned asked_ = 0;
    uint64_t same_[kSame];
};

// The size of the character that both texts begin with, whole or cut off by the end of both; 0
// where they begin with different ones.
uint64_t same_character(Text a, Text b) noexcept {
    uint64_t size = kUtf8Length[*a.bytes];
    if (size > std::min(a.length, b.length)) {
        if (a.length != b.length) return 0;
        size = a.length;
    }
    uint64_t same = 0;
    while (same < size && a.bytes[same] == b.bytes[same]) ++same;
    return same == size ? size : 0;
}

uint64_t equal_prefix(Text a, Text b, uint64_t length, int32_t& order) noexcept {
    if (length < kInlineBytes)
        return loops::equal_prefix_ignoring_ascii_case_utf8(a.bytes, b.bytes, length, order);
    return text_kernels().equal_prefix_ignoring_ascii_case_utf8(a.bytes, b.bytes, length, order);
}

// Whether a text begins with a whole character of two bytes.
bool has_two_bytes(Text text) noexcept {
    return static_cast<uint8_t>(text.bytes[0] - 0xC2) < 0xE0 - 0xC2 && text.length >= 2;
}

// The character of two bytes that were loaded as a big-endian unit.
//   110a'aaaa 10bb'bbbb -> 0000'0aaa aabb'bbbb
constexpr NQChar character_of(uint32_t unit) noexcept {
    return (unit & 0x1F00) >> 2 | (unit & 0x3F);
}

// Walks over both texts until the first `most` bytes of `a` are passed, or `b` ends, or two
// characters differ in lower case. Returns -1 or 1 for these, else 0. Where `order` is 0, the first
// two characters that differ at all set it.
template <AsciiBy kAsciiBy>
int32_t walk(Text& a, Text& b, uint64_t most, int32_t& order) noexcept {
    LowerCaseOrder<kAsciiBy> lower(host_unicode());
    const uint64_t rest = a.length - most;
    while (a.length > rest && b.length) {
        const uint64_t prefix = equal_prefix(a, b, std::min(a.length - rest, b.length), order);
        a.skip(prefix);
        b.skip(prefix);
        for (int equal_in_a_row = 0;
             equal_in_a_row < kEqualInARow && a.length > rest && b.length;) {
            const uint8_t x = *a.bytes;
            const uint8_t y = *b.bytes;
            if ((x | y) < 0x80) {
                const int32_t folded = order_of(ansi_lowcasetable[x], ansi_lowcasetable[y]);
                if (folded) return folded;
                if (order == 0) order = order_of(x, y);
                a.skip(1);
                b.skip(1);
                ++equal_in_a_row;
                continue;
            }
            // Most letters outside ASCII. Whether their lead bytes are the same cannot be
            // predicted, so both bytes of each are compared together.
            if (has_two_bytes(a) && has_two_bytes(b)) {
                const uint16_t unit_a = load16(a.bytes, ByteOrder::big);
                const uint16_t unit_b = load16(b.bytes, ByteOrder::big);
                if (unit_a == unit_b) {
                    ++equal_in_a_row;
                } else {
                    equal_in_a_row = 0;
                    const int32_t folded =
                        lower.compare(character_of(unit_a), character_of(unit_b), order);
                    if (folded) return folded;
                }
                a.skip(2);
                b.skip(2);
                continue;
            }
            if (x == y) {
                if (const uint64_t size = same_character(a, b)) {
                    a.skip(size);
                    b.skip(size);
                    ++equal_in_a_row;
                    continue;
                }
            }
            equal_in_a_row = 0;
            const Decoded of_a = decode_utf8(a.bytes, a.length);
            const Decoded of_b = decode_utf8(b.bytes, b.length);
            const int32_t folded = lower.compare(of_a.code_point, of_b.code_point, order);
            if (folded) return folded;
            a.skip(of_a.consumed);
            b.skip(of_b.consumed);
        }
    }
    return 0;
}

// The same bytes are equal whether or not they are well-formed.
bool are_identical(Text a, Text b) noexcept {
    return a.length == b.length && (a.length == 0 || memcmp(a.bytes, b.bytes, a.length) == 0);
}

// The result for two texts that are equal as far as the shorter one goes. If the rest of the longer
// one is blank, which `are_blanks` says, the order of letters that differ in case decides.
template <class Count, class AreBlanks>
int32_t with_rest(int32_t order, Count a, Count b, AreBlanks are_blanks) noexcept {
    return a == b || are_blanks() ? order : 2 * order_of(a, b);
}

int32_t compare_folded(Text a, Text b) noexcept {
    if (are_identical(a, b)) return 0;
    int32_t order = 0;
    const uint64_t most = std::min(a.length, b.length);
    if (const int32_t folded = walk<AsciiBy::host>(a, b, most, order)) return 2 * folded;
    const Text& longer = a.length > b.length ? a : b;
    return with_rest(order, a.length, b.length,
                     [&] { return mwMemNot(' ', longer.bytes, longer.length); });
}

bool are_equal_folded(Text a, Text b) noexcept {
    if (are_identical(a, b)) return true;
    int32_t order = 0;
    return !walk<AsciiBy::table>(a, b, a.length, order) && !a.length && !b.length;
}

uint64_t equal_prefix(const NQChar* a, const NQChar* b, uint64_t count, int32_t& order) noexcept {
    if (count < kInlineBytes / sizeof *a)
        return loops::equal_prefix_ignoring_ascii_case_units(a, b, count, order);
    return text_kernels().equal_prefix_ignoring_ascii_case_units(a, b, count, order);
}

// The first index at which the units differ in lower case, or the count.
uint64_t first_mismatch_in_lower_case(const NQChar* a, const NQChar* b, uint64_t count,
                                      int32_t& order) noexcept {
    uint64_t i = 0;
    while (i < count) {
        i += equal_prefix(a + i, b + i, count - i, order);
        for (int equal_in_a_row = 0; equal_in_a_row < kEqualInARow && i < count; ++i) {
            const NQChar x = a[i];
            const NQChar y = b[i];
            if (x == y) {
                ++equal_in_a_row;
                continue;
            }
            equal_in_a_row = (x | y) < 0x80 ? equal_in_a_row + 1 : 0;
            if (order == 0) order = order_of(static_cast<int32_t>(x), static_cast<int32_t>(y));
            if (table_lower(x) != table_lower(y)) return i;
        }
    }
    return i;
}

}  // namespace
}  // namespace nq

int32_t nqzsu8CompareText(const uint8_t* a, uint64_t aBytes, const uint8_t* b, uint64_t bBytes,
                          uint32_t) noexcept {
    const int32_t order = mwMemCmp(a, b, std::min(aBytes, bBytes));
    return order ? order : nq::order_of(aBytes, bBytes);
}

int32_t nqzsu8Compare(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                      uint64_t bBytes) noexcept {
    return nqzsu8CompareText(a, aBytes, b, bBytes, NQ_ENCODING_UTF8);
}

int32_t nqzsu8NormCompareText(const uint8_t* a, uint64_t aBytes, const uint8_t* b, uint64_t bBytes,
                              uint32_t) noexcept {
    return nq::compare_folded({a, aBytes}, {b, bBytes});
}

int32_t nqzsu8NormCompare(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                          uint64_t bBytes) noexcept {
    return nqzsu8NormCompareText(a, aBytes, b, bBytes, NQ_ENCODING_UTF8);
}

int32_t nqzsu8NormEqualText(const uint8_t* a, uint64_t aBytes, const uint8_t* b, uint64_t bBytes,
                            uint32_t) noexcept {
    return nq::are_equal_folded({a, aBytes}, {b, bBytes});
}

int32_t nqzsu8NormEqual(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                        uint64_t bBytes) noexcept {
    return nqzsu8NormEqualText(a, aBytes, b, bBytes, NQ_ENCODING_UTF8);
}

int32_t nqzsu8NormASCIIEqual(const uint8_t* a, uint64_t aBytes, const uint8_t* b,
                             uint64_t bBytes) noexcept {
    if (aBytes != bBytes) return 0;
    const uint64_t prefix =
        aBytes < nq::kInlineBytes
            ? nq::loops::equal_prefix_ignoring_ascii_case_bytes(a, b, aBytes)
            : nq::text_kernels().equal_prefix_ignoring_ascii_case_bytes(a, b, aBytes);
    return prefix == aBytes;
}

int32_t nqzseqn(const NQChar* a, uint64_t aUnits, const NQChar* b, uint64_t bUnits) noexcept {
    int32_t order = 0;
    return aUnits == bUnits && nq::first_mismatch_in_lower_case(a, b, aUnits, order) == aUnits;
}

int32_t nqzsncmp(const NQChar* a, int64_t aUnits, const NQChar* b, int64_t bUnits) noexcept {
    const auto count_a = static_cast<uint64_t>(std::max<int64_t>(aUnits, 0));
    const auto count_b = static_cast<uint64_t>(std::max<int64_t>(bUnits, 0));
    const uint64_t common = std::min(count_a, count_b);
    int32_t order = 0;
    const uint64_t mismatch = nq::first_mismatch_in_lower_case(a, b, common, order);
    if (mismatch < common) {
        const auto lower = [mismatch](const NQChar* units) {
            return static_cast<int32_t>(nq::table_lower(units[mismatch]));
        };
        return 2 * nq::order_of(lower(a), lower(b));
    }
    return nq::with_rest(order, count_a, count_b, [=] {
        const NQChar* longer = count_a > count_b ? a : b;
        return mwMemTNot(' ', longer + common, std::max(count_a, count_b) - common);
    });
}
