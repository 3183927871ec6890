#include <string.h>

#include <algorithm>

#include "nqinstance/text/kernels.hpp"
#include "nqinstance/text/memory.h"
#include "nqinstance/text/utf8.h"

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

// The two-way search: the needle is cut where the local period is the needle's own, so that
// matching the right part forwards, then the left part backwards, never goes over the haystack
// again. Linear in time, constant in space, at least one needle long.
uint64_t find_two_way(Text haystack, Text needle) noexcept {
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
        if (left <= known) return at;
        at += shift;
        known = is_periodic ? needle.length - shift : 0;
    }
    return NQ_NOT_FOUND;
}

// Looks at places that have the needle's first and last byte. Such places may be dense and each
// of them long to compare; once that has cost more than it should, the two-way search goes on.
uint64_t find(Text haystack, Text needle) noexcept {
    constexpr uint64_t kAllowance = 4096;
    const TextKernels& kernels = text_kernels();
    const uint64_t distance = needle.length - 1;
    const uint64_t positions = haystack.length - distance;
    uint64_t cost = 0;
    for (uint64_t at = 0; at < positions; ++at) {
        at += kernels.find_pair(haystack.bytes + at, positions - at, distance, needle.bytes[0],
                                needle.bytes[distance]);
        if (at == positions) break;
        const uint64_t head = std::min<uint64_t>(needle.length, 64);
        if (memcmp(haystack.bytes + at, needle.bytes, head) == 0) {
            if (memcmp(haystack.bytes + at + head, needle.bytes + head, needle.length - head) ==
                0) {
                return at;
            }
            cost += needle.length;
        }
        cost += 16;
        if (cost > kAllowance + 4 * at) {
            ++at;
            if (at == positions) break;
            const uint64_t found =
                find_two_way({haystack.bytes + at, haystack.length - at}, needle);
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
                               : nq::find({haystack, haystackBytes}, {needle, needleBytes});
    return static_cast<int64_t>(index);
}
