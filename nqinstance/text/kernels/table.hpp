#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

#include "nqinstance/base/cpu.hpp"
#include "nqinstance/host/base.h"
#include "nqinstance/text/kernels/utf8_count.hpp"
#include "nqinstance/text/kernels/utf_codec.hpp"

namespace nq {

// How far a conversion has come: what is left of the source and of the target, in bytes.
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

    // Map the ASCII letters from `first`, 'a' or 'A', on to the other case, up to the first element
    // outside ASCII, whose index they return. The bytes may go to another place, which may also
    // start before the source and run into it.
    std::size_t (*map_ascii)(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                             std::uint8_t first) noexcept;
    std::size_t (*map_ascii_units)(NQChar* units, std::size_t count, std::uint8_t first) noexcept;

    // Fill, and copy as through a buffer in between, more than kShortBytes and at most
    // kMiddleBytes; `move` returns the target.
    void (*fill_bytes)(std::uint8_t* to, std::uint8_t value, std::size_t length) noexcept;
    void (*fill_units)(NQChar* to, NQChar value, std::size_t count) noexcept;
    std::uint8_t* (*move)(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept;

    // The first index of an element that is another, here or in the second array, or the count.
    std::size_t (*find_first_not_byte)(const std::uint8_t* text, std::size_t length,
                                       std::uint8_t value) noexcept;
    std::size_t (*first_mismatch)(const NQChar* a, const NQChar* b, std::size_t count) noexcept;

    // The answers of the routines of memory.h themselves, see there.
    std::uint64_t (*scan_first_not_unit)(const NQChar* units, std::size_t count,
                                         NQChar value) noexcept;
    std::int32_t (*all_units_equal)(const NQChar* units, std::size_t count, NQChar value) noexcept;
    std::int32_t (*has_nan)(const double* values, std::size_t count) noexcept;
    std::uint64_t (*scan)(const std::uint8_t* text, std::size_t length,
                          std::uint8_t value) noexcept;
    std::int32_t (*compare)(const std::uint8_t* a, const std::uint8_t* b,
                            std::size_t length) noexcept;

    // The first of the `positions` with `first` there and `second` at `distance` past it, which is
    // readable for each of them, or their number.
    std::size_t (*find_pair)(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                             std::uint8_t first, std::uint8_t second) noexcept;

    // How far two texts of the same length are alike from their start: the same but for the case
    // of ASCII letters. The UTF-8 form stops before a character, as long as its lead announces,
    // that is not whole or not alike. An `order` that is 0 becomes -1 or 1 by the first letters
    // that differ in case: 1 where that of `a` is greater.
    std::size_t (*equal_prefix_ignoring_ascii_case_utf8)(const std::uint8_t* a,
                                                         const std::uint8_t* b, std::size_t length,
                                                         std::int32_t& order) noexcept;
    std::size_t (*equal_prefix_ignoring_ascii_case_bytes)(const std::uint8_t* a,
                                                          const std::uint8_t* b,
                                                          std::size_t length) noexcept;
    std::size_t (*equal_prefix_ignoring_ascii_case_units)(const NQChar* a, const NQChar* b,
                                                          std::size_t count,
                                                          std::int32_t& order) noexcept;

    // The characters of a text, the bytes of its first `count` characters, which must be there, and
    // the steps through it, see utf8_count.hpp.
    std::uint64_t (*count_characters)(const std::uint8_t* text, std::size_t length) noexcept;
    std::uint64_t (*size_of_characters)(const std::uint8_t* text, std::uint64_t count) noexcept;
    Steps (*count_steps)(const std::uint8_t* text, std::size_t length) noexcept;

    // The UTF-8 bytes of all units.
    std::uint64_t (*utf8_bytes)(const NQChar* units, std::size_t count) noexcept;

    // Copies units with their bytes reversed; source and target may be the same, else apart.
    void (*swap_units)(const std::uint8_t* source, std::uint8_t* target,
                       std::size_t count) noexcept;

    // Convert until the source is used up, the target is full or a character fails, and return
    // that character's status with the cursor before it. To UTF-32 the room is a multiple of 4.
    // From UTF-32 the source is; the UTF-16 form, with `pairs` or all units cut to 16 bits, may
    // stop with one byte of room. Source and target are apart.
    NQStatus (*utf8_to_utf32)(Cursor& cursor, ByteOrder out) noexcept;
    NQStatus (*utf16_to_utf32)(Cursor& cursor, ByteOrder in, ByteOrder out) noexcept;
    NQStatus (*utf32_to_utf8)(Cursor& cursor, ByteOrder in) noexcept;
    NQStatus (*utf32_to_utf16)(Cursor& cursor, ByteOrder in, ByteOrder out, bool pairs) noexcept;
};

// The bodies this CPU can run, best first; the last is always the generic one.
std::span<const TextKernels* const> text_kernel_bodies() noexcept;

// Said to be hidden, or each use from another file would go through the offset table.
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

// Calls a kernel as the last step of a short routine: what is not the usual case stays out of it,
// so that it needs no stack.
template <auto kKernel, class... Arguments>
[[gnu::noinline]] auto call_other_kernel(Arguments... arguments) noexcept {
    return (text_kernels().*kKernel)(arguments...);
}

#if defined(__x86_64__)
// The kernels of the best body that such routines call. A jump to a known place takes half the time
// of one through the table.
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

template <auto kKernel, auto kBest, class... Arguments>
[[gnu::always_inline]] inline auto call_kernel(Arguments... arguments) noexcept {
#if defined(__x86_64__)
    if (text_kernels_in_use.in_use() == &kAvx2TextKernels) [[likely]]
        return kBest(arguments...);
#endif
    return call_other_kernel<kKernel>(arguments...);
}

// Up to here the C library's own fills and copies cost more than what they do.
inline constexpr std::size_t kMiddleBytes = 256;

// Below this many bytes a loop in the caller costs less than a call through the table.
inline constexpr std::size_t kInlineBytes = 32;

}  // namespace nq
