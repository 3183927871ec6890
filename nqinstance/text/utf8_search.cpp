#include <string.h>

#include <algorithm>
#include <string_view>

#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf8.h"
#include "nqinstance/text/utf8_steps.hpp"

namespace nq {
namespace {

struct Text {
    const uint8_t* bytes;
    uint64_t length;
};

// The start of the greatest suffix of `text` in the byte order, or in its reverse, and the
// suffix's period.
struct Suffix {
    uint64_t start;
    uint64_t period;
};

Suffix greatest_suffix(Text text, bool is_reversed) noexcept {
    uint64_t start = 0;
    uint64_t period = 1;
    // Compares the suffix at `start` with the one at `candidate`, of which `matched` bytes agree.
    for (uint64_t candidate = 1, matched = 0; candidate + matched < text.length;) {
        const uint8_t best = text.bytes[start + matched];
        const uint8_t next = text.bytes[candidate + matched];
        if (next == best) {
            if (++matched == period) {
                candidate += period;
                matched = 0;
            }
        } else if ((next < best) != is_reversed) {
            candidate += matched + 1;
            matched = 0;
            period = candidate - start;
        } else {
            start = candidate++;
            matched = 0;
            period = 1;
        }
    }
    return {start, period};
}

// The two-way search of Crochemore and Perrin. Cuts the needle at a place where its local period is
// its own period, matches the right part forwards and then the left part backwards, and so never
// goes back in the haystack. Takes linear time and no memory; the haystack is at least as long as
// the needle. `is_wanted` says of each occurrence whether it is the one to return.
template <class IsWanted>
uint64_t find_two_way(Text haystack, Text needle, IsWanted is_wanted) noexcept {
    const Suffix forward = greatest_suffix(needle, false);
    const Suffix reverse = greatest_suffix(needle, true);
    const Suffix cut = forward.start > reverse.start ? forward : reverse;
    const bool is_periodic = cut.start + cut.period <= needle.length &&
                             memcmp(needle.bytes, needle.bytes + cut.period, cut.start) == 0;
    const uint64_t shift =
        is_periodic ? cut.period : std::max(cut.start, needle.length - cut.start) + 1;

    uint64_t known = 0;  // bytes at the needle's start that match because of the last shift
    for (uint64_t at = 0; at <= haystack.length - needle.length;) {
        const uint8_t* window = haystack.bytes + at;
        uint64_t right = std::max(cut.start, known);
        while (right < needle.length && needle.bytes[right] == window[right]) ++right;
        if (right < needle.length) {
            at += right - cut.start + 1;
            known = 0;
            continue;
        }
        uint64_t left = cut.start;
        while (left > known && needle.bytes[left - 1] == window[left - 1]) --left;
        if (left <= known && is_wanted(at)) return at;
        at += shift;
        known = is_periodic ? needle.length - shift : 0;
    }
    return NQ_NOT_FOUND;
}

// How common a byte is in texts. Rough numbers, of which only the order counts. For letters it is
// the one of English text. A lead byte is common, because a whole script shares it; a continuation
// byte is not.
constexpr auto kCommonness = detail::byte_table<uint8_t>([](size_t byte) {
    constexpr std::string_view kLetters = "zqjxkvbpygfwmucldrhsinoate";
    const auto letter = kLetters.find(static_cast<char>(byte));
    if (byte == ' ') return size_t{255};
    if (letter != kLetters.npos) return 100 + 4 * letter;
    if (byte >= 0xC0) return size_t{250};
    if (byte >= 0x80) return size_t{110};
    return byte >= '0' && byte <= '9' ? size_t{90} : size_t{60};
});

// The places of the two rarest bytes of a needle, the first before the second. Of bytes that are
// equally rare they are the ones with the largest distance, which depend on each other the least.
struct Places {
    uint64_t first;
    uint64_t second;
};

Places rarest_places(Text needle, Text haystack) noexcept {
    // Looking further, or for a short text at all, costs more than it gains.
    const uint64_t most = haystack.length < 256 ? 0 : 24;
    const uint64_t last = needle.length - 1;
    Places places{0, last};
    for (uint64_t i = 1; i < std::min(last, most); ++i) {
        const uint8_t here = kCommonness[needle.bytes[i]];
        const uint8_t first = kCommonness[needle.bytes[places.first]];
        const uint8_t second = kCommonness[needle.bytes[places.second]];
        if (here >= std::max(first, second)) continue;
        // The new place is behind the first; it stands in for the commoner of the two.
        if (second >= first) {
            places.second = i;
        } else {
            places = places.second < i ? Places{places.second, i} : Places{i, places.second};
        }
    }
    return places;
}

// Finds the next place at which the two rarest bytes of the needle are. A text that has hardly any
// of the rarer one, such as a text in another script, is scanned for that one alone, which takes
// half the time.
class Candidates {
  public:
    Candidates(Text haystack, Text needle) noexcept
        : haystack_(haystack.bytes),
          places_(rarest_places(needle, haystack)),
          first_(needle.bytes[places_.first]),
          second_(needle.bytes[places_.second]),
          positions_(haystack.length - needle.length + 1) {}

    // The next candidate from `at` on; positions() where there is none.
    uint64_t next(uint64_t at) noexcept {
        while (at < positions_) {
            if (is_sparse_) {
                const uint64_t found = next_rarer(at);
                is_sparse_ = found - at >= kSparse;
                at = found;
                if (is_sparse_ && (at == positions_ || is_pair(at))) break;
                at += is_sparse_;
            } else {
                const uint64_t most = std::min(positions_ - at, kStretch);
                const uint64_t index =
                    kernels_.find_pair(haystack_ + at + places_.first, most,
                                       places_.second - places_.first, first_, second_);
                at += index;
                if (index < most) break;
                is_sparse_ = true;  // until the next scan says otherwise
            }
        }
        return at;
    }
    uint64_t positions() const noexcept { return positions_; }

  private:
    static constexpr uint64_t kSparse = 1024;
    static constexpr uint64_t kStretch = 16384;

    uint64_t next_rarer(uint64_t at) const noexcept {
        const bool is_first = kCommonness[first_] <= kCommonness[second_];
        const uint64_t index =
            mwMemScan(haystack_ + at + (is_first ? places_.first : places_.second), positions_ - at,
                      is_first ? first_ : second_);
        return index == NQ_NOT_FOUND ? positions_ : at + index;
    }
    bool is_pair(uint64_t at) const noexcept {
        return haystack_[at + places_.first] == first_ && haystack_[at + places_.second] == second_;
    }

    const TextKernels& kernels_ = text_kernels();
    const uint8_t* const haystack_;
    const Places places_;
    const uint8_t first_;
    const uint8_t second_;
    const uint64_t positions_;
    bool is_sparse_ = positions_ >= kSparse;
};

// Compares the needle at each candidate. Candidates can be dense, and each comparison long; once
// they have cost too much, the two-way search takes over, so that the whole search stays linear.
template <class IsWanted>
uint64_t find(Text haystack, Text needle, IsWanted is_wanted) noexcept {
    constexpr uint64_t kAllowance = 4096;
    Candidates candidates(haystack, needle);
    const uint64_t positions = candidates.positions();
    uint64_t cost = 0;
    for (uint64_t at = 0; at < positions; ++at) {
        at = candidates.next(at);
        if (at == positions) break;
        const uint64_t head = std::min<uint64_t>(needle.length, 64);
        if (memcmp(haystack.bytes + at, needle.bytes, head) == 0) {
            const uint64_t rest = needle.length - head;
            const bool is_here =
                rest == 0 || memcmp(haystack.bytes + at + head, needle.bytes + head, rest) == 0;
            if (is_here && is_wanted(at)) return at;
            cost += needle.length;
        }
        cost += 16;
        if (cost > kAllowance + 4 * at) {
            ++at;
            if (at == positions) break;
            const uint64_t found =
                find_two_way({haystack.bytes + at, haystack.length - at}, needle,
                             [at, &is_wanted](uint64_t behind) { return is_wanted(at + behind); });
            return found == NQ_NOT_FOUND ? found : at + found;
        }
    }
    return NQ_NOT_FOUND;
}

}  // namespace
}  // namespace nq

int64_t nqzsu8IndexText(const uint8_t* haystack, uint64_t haystackBytes, const uint8_t* needle,
                        uint64_t needleBytes, uint32_t) noexcept {
    if (needleBytes == 0) return 0;
    if (needleBytes > haystackBytes) return -1;
    const uint64_t index = needleBytes == 1
                               ? mwMemScan(haystack, haystackBytes, needle[0])
                               : nq::find({haystack, haystackBytes}, {needle, needleBytes},
                                          [](uint64_t) { return true; });
    return static_cast<int64_t>(index);
}

int64_t nqzsu8FindCharText(const uint8_t* haystack, uint64_t haystackBytes, const uint8_t* needle,
                           uint64_t needleBytes, uint32_t) noexcept {
    if (needleBytes == 0) return 0;
    if (needleBytes > haystackBytes) return -1;
    const uint64_t first = mwMemScan(haystack, haystackBytes, needle[0]);
    if (first == NQ_NOT_FOUND || needleBytes == 1) return static_cast<int64_t>(first);
    if (needleBytes > haystackBytes - first) return -1;
    // Walks through the characters only up to the places where the needle occurs.
    const uint8_t* start = haystack + first;
    uint64_t boundary = 0;
    const uint64_t index = nq::find(
        {start, haystackBytes - first}, {needle, needleBytes}, [start, &boundary](uint64_t at) {
            if (boundary < at) {
                boundary += nq::count_steps(start + boundary, at - boundary).end;
            }
            return boundary == at;
        });
    return index == NQ_NOT_FOUND ? -1 : static_cast<int64_t>(first + index);
}
