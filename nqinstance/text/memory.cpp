#include "nqinstance/text/memory.h"

#include <string.h>
#include <wchar.h>

#include <algorithm>

#include "nqinstance/text/kernel_loops.hpp"
#include "nqinstance/text/short_blocks.hpp"

namespace nq {
namespace {

// The C library's wide characters are our units, so that its vectorised loops serve here too.
static_assert(sizeof(wchar_t) == sizeof(NQChar) && alignof(wchar_t) == alignof(NQChar));

size_t find_other(const uint8_t* bytes, size_t length, uint8_t value) noexcept {
    if (length < kInlineBytes) return loops::find_other(bytes, length, value);
    return text_kernels().find_other_byte(bytes, length, value);
}

size_t find_other(const NQChar* units, size_t count, NQChar value) noexcept {
    if (count < kInlineBytes / sizeof *units) return loops::find_other(units, count, value);
    return text_kernels().find_other_unit(units, count, value);
}

template <class Element>
uint64_t scan_for_other(const Element* elements, uint64_t count, Element value) noexcept {
    if (!elements) return NQ_NOT_FOUND;
    const uint64_t index = find_other(elements, count, value);
    return index == count ? NQ_NOT_FOUND : index;
}

// Fills the target with the bytes before it, over and over. Everything copied so far is part of the
// repetition, so each step may copy twice as much as the one before.
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
    return nq::find_other(static_cast<const uint8_t*>(bytes), length, value) == length;
}

int32_t mwMemTNot(NQChar value, const NQChar* units, uint64_t count) noexcept {
    return nq::find_other(units, count, value) == count;
}

void mwMemSet(void* bytes, uint8_t value, uint64_t length) noexcept {
    if (length > nq::kShortBytes) {
        memset(bytes, value, length);
        return;
    }
    nq::fill_short(static_cast<uint8_t*>(bytes), nq::word_of(value), length);
}

void mwMemTSet(NQChar* units, NQChar value, uint64_t count) noexcept {
    if (count > nq::kShortBytes / sizeof value) {
        wmemset(reinterpret_cast<wchar_t*>(units), static_cast<wchar_t>(value), count);
        return;
    }
    const uint64_t pattern = static_cast<uint64_t>(value) << 32 | value;
    nq::fill_short(reinterpret_cast<uint8_t*>(units), pattern, count * sizeof value);
}

int32_t mwMemCmp(const void* a, const void* b, uint64_t length) noexcept {
    const auto* of_a = static_cast<const uint8_t*>(a);
    const auto* of_b = static_cast<const uint8_t*>(b);
    if (length <= nq::kShortBytes) return nq::compare_short(of_a, of_b, length);
    return nq::call_kernel<&nq::TextKernels::compare>(of_a, of_b, length);
}

int32_t mwWMemCmp(const NQChar* a, const NQChar* b, uint64_t count) noexcept {
    const uint64_t index = count < nq::kInlineBytes / sizeof *a
                               ? nq::loops::find_unequal(a, b, count)
                               : nq::text_kernels().find_unequal(a, b, count);
    if (index == count) return 0;
    return static_cast<int32_t>(a[index] - b[index]) < 0 ? -1 : 1;
}

void* mwMemCpy(const void* source, void* target, uint64_t length) noexcept {
    const auto distance = reinterpret_cast<uintptr_t>(target) - reinterpret_cast<uintptr_t>(source);
    if (distance < length) [[unlikely]]
        return nq::repeat(target, distance, length);
    // Behind the source's end, or wrapped around before its start: a move does the same.
    if (length > nq::kShortBytes) return memmove(target, source, length);
    nq::move_short(static_cast<const uint8_t*>(source), static_cast<uint8_t*>(target), length);
    return target;
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

uint64_t mwMemScan(const void* bytes, uint64_t length, uint8_t value) noexcept {
    const auto* text = static_cast<const uint8_t*>(bytes);
    if (!text) return NQ_NOT_FOUND;
    if (length <= nq::kShortBytes) return nq::scan_short(text, length, value);
    return nq::call_kernel<&nq::TextKernels::scan>(text, length, value);
}

uint64_t mwMemNScan(const void* bytes, uint64_t length, uint8_t value) noexcept {
    return nq::scan_for_other(static_cast<const uint8_t*>(bytes), length, value);
}

uint64_t mwMemTNScan(const NQChar* units, uint64_t count, NQChar value) noexcept {
    return nq::scan_for_other(units, count, value);
}

int32_t mwMissArray(const double* values, uint64_t count) noexcept {
    const uint64_t index = count < nq::kInlineBytes / sizeof *values
                               ? nq::loops::find_nan(values, count)
                               : nq::text_kernels().find_nan(values, count);
    return index != count;
}
