#include "nqinstance/text/memory.h"

#include <string.h>
#include <wchar.h>

#include <algorithm>

#include "nqinstance/base/modular.hpp"
#include "nqinstance/text/kernels/loops.hpp"
#include "nqinstance/text/kernels/short_blocks.hpp"

// Aligns a function to a cache line, so that its shortest ways need one or two lines of code.
#define NQ_AT_LINE __attribute__((aligned(64)))

namespace nq {
namespace {

// A wide character of the C library is a unit here, so its vectorised loops serve units too.
static_assert(sizeof(wchar_t) == sizeof(NQChar) && alignof(wchar_t) == alignof(NQChar));

size_t find_first_not(const uint8_t* bytes, size_t length, uint8_t value) noexcept {
    if (length < kInlineBytes) return loops::find_first_not(bytes, length, value);
    return text_kernels().find_first_not_byte(bytes, length, value);
}

// Fills the target with the `distance` bytes before it, over and over. All that is copied so far
// belongs to the repetition, so each step copies twice as much as the one before.
__attribute__((noinline)) void* repeat(void* target, size_t distance, size_t length) noexcept {
    if (distance == 0) return target;
    auto* from = static_cast<uint8_t*>(target) - distance;
    const size_t total = distance + length;
    for (size_t done = distance; done < total; done *= 2) {
        memcpy(from + done, from, std::min(done, total - done));
    }
    return target;
}

}  // namespace
}  // namespace nq

NQStatus mwUnsup(void) noexcept { return NQ_STATUS_UNSUPPORTED; }

uint64_t mwStrLen(const void* text) noexcept {
    return text ? strlen(static_cast<const char*>(text)) : 0;
}

uint64_t mwStrTLen(const NQChar* text) noexcept {
    return text ? wcslen(reinterpret_cast<const wchar_t*>(text)) : 0;
}

void mwStrCpy(const void* source, void* target) noexcept {
    if (!target) return;
    memmove(target, source ? source : "", mwStrLen(source) + 1);
}

void mwStrTCpy(const NQChar* source, NQChar* target) noexcept {
    constexpr NQChar kEmpty = 0;
    if (!target) return;
    memmove(target, source ? source : &kEmpty, (mwStrTLen(source) + 1) * sizeof(NQChar));
}

void mwStrUp(void* text, uint64_t length) noexcept {
    auto* bytes = static_cast<uint8_t*>(text);
    if (length < nq::kInlineBytes) return nq::loops::to_upper(bytes, length);
    nq::text_kernels().to_upper(bytes, length);
}

void mwStrLow(void* text, uint64_t length) noexcept {
    auto* bytes = static_cast<uint8_t*>(text);
    if (length < nq::kInlineBytes) return nq::loops::to_lower(bytes, length);
    nq::text_kernels().to_lower(bytes, length);
}

int32_t mwMemNot(uint8_t value, const void* bytes, uint64_t length) noexcept {
    return nq::find_first_not(static_cast<const uint8_t*>(bytes), length, value) == length;
}

int32_t mwMemTNot(NQChar value, const NQChar* units, uint64_t count) noexcept {
    if (count < nq::kInlineBytes / sizeof value) {
        return nq::loops::find_first_not(units, count, value) == count;
    }
    return NQ_KERNEL(all_units_equal, units, count, value);
}

NQ_AT_LINE void mwMemSet(void* bytes, uint8_t value, uint64_t length) noexcept {
    auto* to = static_cast<uint8_t*>(bytes);
    if (length <= nq::kShortBytes) [[likely]]
        return nq::fill_short(to, value, length);
    if (length <= nq::kMiddleBytes) [[likely]]
        return NQ_KERNEL(fill_bytes, to, value, length);
    memset(bytes, value, length);
}

NQ_AT_LINE void mwMemTSet(NQChar* units, NQChar value, uint64_t count) noexcept {
    if (count <= nq::kShortBytes / sizeof value) [[likely]]
        return nq::fill_short(reinterpret_cast<uint8_t*>(units), value, count * sizeof value);
    if (count <= nq::kMiddleBytes / sizeof value) [[likely]]
        return NQ_KERNEL(fill_units, units, value, count);
    wmemset(reinterpret_cast<wchar_t*>(units), static_cast<wchar_t>(value), count);
}

NQ_AT_LINE int32_t mwMemCmp(const void* a, const void* b, uint64_t length) noexcept {
    const auto* of_a = static_cast<const uint8_t*>(a);
    const auto* of_b = static_cast<const uint8_t*>(b);
    if (length <= nq::kShortBytes) [[likely]]
        return nq::compare_short(of_a, of_b, length);
    return NQ_KERNEL(compare, of_a, of_b, length);
}

int32_t mwWMemCmp(const NQChar* a, const NQChar* b, uint64_t count) noexcept {
    const uint64_t index = count < nq::kInlineBytes / sizeof *a
                               ? nq::loops::first_mismatch(a, b, count)
                               : nq::text_kernels().first_mismatch(a, b, count);
    if (index == count) return 0;
    return static_cast<int32_t>(nq::wrapping_sub(a[index], b[index])) < 0 ? -1 : 1;
}

NQ_AT_LINE void* mwMemCpy(const void* source, void* target, uint64_t length) noexcept {
    const auto* from = static_cast<const uint8_t*>(source);
    const auto distance =
        nq::wrapping_sub(reinterpret_cast<uintptr_t>(target), reinterpret_cast<uintptr_t>(source));
    // A target that does not begin inside the source has a distance of at least the length, also
    // before the source, where the distance wraps around: then a move does the same as a forward
    // loop.
    if (length <= nq::kShortBytes) [[likely]] {
        // Puts the target into the register of the result at once.
        auto* to = nq::hide_from_optimizer(static_cast<uint8_t*>(target));
        if (distance < length) [[unlikely]]
            return nq::repeat(to, distance, length);
        nq::move_short(from, to, length);
        return to;
    }
    if (distance < length) [[unlikely]]
        return nq::repeat(target, distance, length);
    if (length <= nq::kMiddleBytes) [[likely]]
        return NQ_KERNEL(move, from, static_cast<uint8_t*>(target), length);
    return memmove(target, source, length);
}

void mwMemSCpy(const void* source, void* target, uint64_t length) noexcept {
    if (length) memmove(target, source, length);
}

void* mwMemDup(const void* source, uint64_t length, HostPool* pool) noexcept {
    if (!source || !pool) return nullptr;
    void* copy = pool->alloc(pool, length, 0);
    if (copy && length) memcpy(copy, source, length);
    return copy;
}

NQ_AT_LINE uint64_t mwMemScan(const void* bytes, uint64_t length, uint8_t value) noexcept {
    const auto* text = static_cast<const uint8_t*>(bytes);
    if (!text) return NQ_NOT_FOUND;
    if (length <= nq::kShortBytes) [[likely]]
        return nq::scan_short(text, length, value);
    return NQ_KERNEL(scan, text, length, value);
}

uint64_t mwMemNScan(const void* bytes, uint64_t length, uint8_t value) noexcept {
    if (!bytes) return NQ_NOT_FOUND;
    const uint64_t index = nq::find_first_not(static_cast<const uint8_t*>(bytes), length, value);
    return index == length ? NQ_NOT_FOUND : index;
}

uint64_t mwMemTNScan(const NQChar* units, uint64_t count, NQChar value) noexcept {
    if (!units) return NQ_NOT_FOUND;
    if (count < nq::kInlineBytes / sizeof value) {
        const uint64_t index = nq::loops::find_first_not(units, count, value);
        return index == count ? NQ_NOT_FOUND : index;
    }
    return NQ_KERNEL(scan_first_not_unit, units, count, value);
}

int32_t mwMissArray(const double* values, uint64_t count) noexcept {
    if (count < nq::kInlineBytes / sizeof *values) return nq::loops::has_nan(values, count);
    return NQ_KERNEL(has_nan, values, count);
}
