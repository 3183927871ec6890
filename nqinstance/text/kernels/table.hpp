#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "nqinstance/base/cpu.hpp"
#include "nqinstance/host/base.h"
#include "nqinstance/text/kernels/utf8_count.hpp"
#include "nqinstance/text/kernels/utf_codec.hpp"

namespace nq {

// How far a conversion has come: the next places in the source and in the target, and how many
// bytes are left there to read and to write.
struct Cursor {
    const std::uint8_t* source;
    std::uint64_t left;
    std::uint8_t* target;
    std::uint64_t room;
};

// The loops worth a SIMD body. The generic body defines the answer; every other body gives the
// same result for every input, and touches nothing outside the given ranges.
struct TextKernels {
    const char* name;

    // ASCII letters only, in place.
    void (*to_upper)(std::uint8_t* text, std::size_t length) noexcept;
    void (*to_lower)(std::uint8_t* text, std::size_t length) noexcept;

    // Map ASCII text to one case and stop at the first element outside ASCII, whose index they
    // return. `first` is the first of the 26 letters that change: 'a' maps to upper case, 'A' to
    // lower case. The target of map_ascii may be the source, or start before it and overlap it.
    std::size_t (*map_ascii)(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                             std::uint8_t first) noexcept;
    std::size_t (*map_ascii_units)(NQChar* units, std::size_t count, std::uint8_t first) noexcept;

    // Fill a range, and copy one that may overlap its target. For more than kShortBytes and at most
    // kMiddleBytes; shorter ranges are handled in the caller, longer ones by the C library. `move`
    // returns the target.
    void (*fill_bytes)(std::uint8_t* to, std::uint8_t value, std::size_t length) noexcept;
    void (*fill_units)(NQChar* to, NQChar value, std::size_t count) noexcept;
    std::uint8_t* (*move)(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept;

    // The index of the first byte that is not `value`, and of the first unit at which two arrays
    // differ; the count where there is none.
    std::size_t (*find_first_not_byte)(const std::uint8_t* text, std::size_t length,
                                       std::uint8_t value) noexcept;
    std::size_t (*first_mismatch)(const NQChar* a, const NQChar* b, std::size_t count) noexcept;

    // These answer as the routines of memory.h that jump to them: mwMemTNScan, mwMemTNot,
    // mwMissArray, mwMemScan and mwMemCmp.
    std::uint64_t (*scan_first_not_unit)(const NQChar* units, std::size_t count,
                                         NQChar value) noexcept;
    std::int32_t (*all_units_equal)(const NQChar* units, std::size_t count, NQChar value) noexcept;
    std::int32_t (*has_nan)(const double* values, std::size_t count) noexcept;
    std::uint64_t (*scan)(const std::uint8_t* text, std::size_t length,
                          std::uint8_t value) noexcept;
    std::int32_t (*compare)(const std::uint8_t* a, const std::uint8_t* b,
                            std::size_t length) noexcept;

    // The index of the first of `positions` bytes that is `first` and has `second` at `distance`
    // behind it; `positions` where there is none. The text has `positions + distance` bytes.
    std::size_t (*find_pair)(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                             std::uint8_t first, std::uint8_t second) noexcept;

    // The length of the prefix in which two texts of one length are equal when the case of ASCII
    // letters is ignored. The UTF-8 form stops at a character's start: before the first character
    // that differs, or that the text cuts off before the length that its lead byte announces. Where
    // `order` is 0, the first two letters that differ in case set it: to 1 where `a` has the
    // greater byte, else to -1.
    std::size_t (*equal_prefix_ignoring_ascii_case_utf8)(const std::uint8_t* a,
                                                         const std::uint8_t* b, std::size_t length,
                                                         std::int32_t& order) noexcept;
    std::size_t (*equal_prefix_ignoring_ascii_case_bytes)(const std::uint8_t* a,
                                                          const std::uint8_t* b,
                                                          std::size_t length) noexcept;
    std::size_t (*equal_prefix_ignoring_ascii_case_units)(const NQChar* a, const NQChar* b,
                                                          std::size_t count,
                                                          std::int32_t& order) noexcept;

    // The number of characters in a text, the size of its first `count` characters, which must be
    // there, and the number of steps through it; utf8_count.hpp says what a character and a step
    // are.
    std::uint64_t (*count_characters)(const std::uint8_t* text, std::size_t length) noexcept;
    std::uint64_t (*size_of_characters)(const std::uint8_t* text, std::uint64_t count) noexcept;
    Steps (*count_steps)(const std::uint8_t* text, std::size_t length) noexcept;

    // The number of bytes that all units take in UTF-8.
    std::uint64_t (*utf8_bytes)(const NQChar* units, std::size_t count) noexcept;

    // Copies 32-bit units with the four bytes of each in reverse order. Source and target are the
    // same place or do not overlap.
    void (*swap_units)(const std::uint8_t* source, std::uint8_t* target,
                       std::size_t count) noexcept;

    // Convert until the source is used up, the target is full or a character fails. They return
    // that character's status, with the cursor before it. The room of a UTF-32 target and the bytes
    // of a UTF-32 source are multiples of 4. utf32_to_utf16 writes surrogate pairs with `pairs`,
    // else the low 16 bits of each unit, and may stop with one byte of room. Source and target do
    // not overlap.
    NQStatus (*utf8_to_utf32)(Cursor& cursor, ByteOrder out) noexcept;
    NQStatus (*utf16_to_utf32)(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept;
    NQStatus (*utf32_to_utf8)(Cursor& cursor, ByteOrder in) noexcept;
    NQStatus (*utf32_to_utf16)(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept;
};

// The bodies this CPU can run, best first; the last is always the generic one.
std::span<const TextKernels* const> text_kernel_bodies() noexcept;

// Declared as hidden: else each use in another file would load the address from the global offset
// table first.
#pragma GCC visibility push(hidden)

extern const TextKernels kGenericTextKernels;
#if defined(__x86_64__)
extern const TextKernels kAvx2TextKernels;
#endif

extern BodyChoice<TextKernels> text_kernels_in_use;

#pragma GCC visibility pop

const TextKernels& choose_text_kernels() noexcept;

inline const TextKernels& text_kernels() noexcept {
    const TextKernels* chosen = text_kernels_in_use.in_use();
    return chosen ? *chosen : choose_text_kernels();
}

// Calls a kernel through the table. Never inlined, so that a short routine that ends in this call
// needs no stack frame for it.
template <auto kKernel, class... Arguments>
[[gnu::noinline]] auto call_through_table(Arguments... arguments) noexcept {
    return (text_kernels().*kKernel)(arguments...);
}

#if defined(__x86_64__)
// The kernels that short routines jump to directly when the AVX2 body is in use. A jump to a known
// address takes half the time of one through the table.
namespace avx2 {
#pragma GCC visibility push(hidden)
NQ_AVX2 void fill_bytes(std::uint8_t* to, std::uint8_t value, std::size_t length) noexcept;
NQ_AVX2 void fill_units(NQChar* to, NQChar value, std::size_t count) noexcept;
NQ_AVX2 std::uint8_t* move(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept;
NQ_AVX2 std::uint64_t scan_first_not_unit(const NQChar* units, std::size_t count,
                                          NQChar value) noexcept;
NQ_AVX2 std::int32_t all_units_equal(const NQChar* units, std::size_t count, NQChar value) noexcept;
NQ_AVX2 std::int32_t has_nan(const double* values, std::size_t count) noexcept;
NQ_AVX2 std::uint64_t scan(const std::uint8_t* text, std::size_t length,
                           std::uint8_t value) noexcept;
NQ_AVX2 std::int32_t compare(const std::uint8_t* a, const std::uint8_t* b,
                             std::size_t length) noexcept;
#pragma GCC visibility pop
}  // namespace avx2
#define NQ_KERNEL(name, ...) nq::call_kernel<&nq::TextKernels::name, &nq::avx2::name>(__VA_ARGS__)
#else
#define NQ_KERNEL(name, ...) nq::call_kernel<&nq::TextKernels::name, nullptr>(__VA_ARGS__)
#endif

// NQ_KERNEL(name, arguments...) calls a kernel as the last step of a short routine.
template <auto kKernel, auto kAvx2, class... Arguments>
[[gnu::always_inline]] inline auto call_kernel(Arguments... arguments) noexcept {
#if defined(__x86_64__)
    if (text_kernels_in_use.in_use() == &kAvx2TextKernels) [[likely]]
        return kAvx2(arguments...);
#endif
    return call_through_table<kKernel>(arguments...);
}

// Up to this length the C library's fills and copies spend more time on choosing a way than on the
// memory.
inline constexpr std::size_t kMiddleBytes = 256;

// Shorter texts are worked on by a loop in the caller, which costs less than a call through the
// table.
inline constexpr std::size_t kInlineBytes = 32;

}  // namespace nq
