#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Routines for texts of up to 64 bytes, inlined into the caller, with loads and stores of 8 or 16
// bytes that may overlap, as every processor of the platform has them. At these lengths the time
// goes into branches: a call costs as much as five of them. So each function is laid out for
// lengths from 16 bytes on to take at most one branch.
namespace nq {

inline constexpr std::size_t kBlockBytes = 16;
inline constexpr std::size_t kTwoBlocks = 2 * kBlockBytes;
inline constexpr std::size_t kShortBytes = 4 * kBlockBytes;

using Block = std::uint8_t __attribute__((vector_size(kBlockBytes)));

template <class Word>
inline Word load_as(const std::uint8_t* from) noexcept {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

template <class Word>
inline void store_as(std::uint8_t* to, Word word) noexcept {
    std::memcpy(to, &word, sizeof word);
}

inline Block join(std::uint64_t low, std::uint64_t high) noexcept {
    using Words = std::uint64_t __attribute__((vector_size(kBlockBytes)));
    return reinterpret_cast<Block>(Words{low, high});
}

// A word and a block in which every element is the value:
//   byte 0x20 -> 0x2020'2020'2020'2020; unit 0x20 -> 0x0000'0020'0000'0020
constexpr std::uint64_t word_of(std::uint8_t byte) noexcept {
    return std::uint64_t{0x0101010101010101} * byte;
}
constexpr std::uint64_t word_of(std::uint32_t unit) noexcept {
    return std::uint64_t{unit} << 32 | unit;
}
inline Block block_of(std::uint64_t word) noexcept { return join(word, word); }
#if defined(__SSE2__)
inline Block block_of(std::uint8_t byte) noexcept {
    return reinterpret_cast<Block>(_mm_set1_epi8(static_cast<char>(byte)));
}
inline Block block_of(std::uint32_t unit) noexcept {
    return reinterpret_cast<Block>(_mm_set1_epi32(static_cast<int>(unit)));
}
#else
template <class Element>
inline Block block_of(Element value) noexcept {
    return block_of(word_of(value));
}
#endif

// Returns a result that the compiler knows nothing about. It would otherwise share the exit of two
// branches that return the same constant, and one of them would have to jump there.
template <class Result>
inline Result hide_from_optimizer(Result result) noexcept {
    __asm__("" : "+r"(result));
    return result;
}

// Sets each byte in which the blocks are equal to 0xFF, the others to 0.
inline Block equal_bytes(Block a, Block b) noexcept { return reinterpret_cast<Block>(a == b); }

// Gathers the top bits of the bytes, the first byte's in the lowest bit.
inline std::uint32_t top_bits(Block block) noexcept {
#if defined(__SSE2__)
    return static_cast<std::uint32_t>(_mm_movemask_epi8(reinterpret_cast<__m128i>(block)));
#else
    std::uint32_t bits = 0;
    for (std::size_t byte = 0; byte < kBlockBytes; ++byte) {
        bits |= std::uint32_t{block[byte]} >> 7 << byte;
    }
    return bits;
#endif
}

// Fills at most kShortBytes, a multiple of the value's size.
template <class Element>
inline void fill_short(std::uint8_t* to, Element value, std::size_t length) noexcept {
    if (length > kTwoBlocks) [[likely]] {
        const Block block = block_of(value);
        store_as(to, block);
        store_as(to + kBlockBytes, block);
        store_as(to + length - kTwoBlocks, block);
        store_as(to + length - kBlockBytes, block);
    } else if (length >= kBlockBytes) [[likely]] {
        const Block block = block_of(value);
        store_as(to, block);
        store_as(to + length - kBlockBytes, block);
    } else if (length >= 8) {
        store_as(to, word_of(value));
        store_as(to + length - 8, word_of(value));
    } else if (length >= 4) {
        store_as(to, static_cast<std::uint32_t>(word_of(value)));
        store_as(to + length - 4, static_cast<std::uint32_t>(word_of(value)));
    } else if (length > 0) {
        to[0] = to[length / 2] = to[length - 1] = static_cast<std::uint8_t>(value);
    }
}

template <class Word>
inline void move_ends(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept {
    const Word first = load_as<Word>(from);
    const Word last = load_as<Word>(from + length - sizeof(Word));
    store_as(to, first);
    store_as(to + length - sizeof(Word), last);
}

// Copies at most kShortBytes to a target that may overlap the source: all loads come before the
// first store.
inline void move_short(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept {
    if (length > kTwoBlocks) [[likely]] {
        const std::size_t last = length - kBlockBytes;
        const Block blocks[] = {load_as<Block>(from), load_as<Block>(from + kBlockBytes),
                                load_as<Block>(from + last - kBlockBytes),
                                load_as<Block>(from + last)};
        store_as(to, blocks[0]);
        store_as(to + kBlockBytes, blocks[1]);
        store_as(to + last - kBlockBytes, blocks[2]);
        store_as(to + last, blocks[3]);
    } else if (length >= kBlockBytes) [[likely]] {
        move_ends<Block>(from, to, length);
    } else if (length >= 8) {
        move_ends<std::uint64_t>(from, to, length);
    } else if (length >= 4) {
        move_ends<std::uint32_t>(from, to, length);
    } else if (length > 0) {
        const std::uint8_t middle = from[length / 2];
        const std::uint8_t last = from[length - 1];
        to[0] = from[0];
        to[length / 2] = middle;
        to[length - 1] = last;
    }
}

// The order of two words that differ, as that of the first bytes in which their texts do: reversed,
// the first byte of the text is the highest one.
inline std::int32_t order_of(std::uint64_t a, std::uint64_t b) noexcept {
    return __builtin_bswap64(a) < __builtin_bswap64(b) ? -1 : 1;
}

// The order of two texts that differ, of at least 8 bytes. The last word overlaps the one before.
[[gnu::noinline]] inline std::int32_t first_order(const std::uint8_t* a, const std::uint8_t* b,
                                                  std::size_t length) noexcept {
    for (std::size_t at = 0;; at += 8) {
        if (at + 8 > length) at = length - 8;
        const auto of_a = load_as<std::uint64_t>(a + at);
        const auto of_b = load_as<std::uint64_t>(b + at);
        if (of_a != of_b) return order_of(of_a, of_b);
    }
}

// Compares at most kShortBytes: -1, 0 or 1.
inline std::int32_t compare_short(const std::uint8_t* a, const std::uint8_t* b,
                                  std::size_t length) noexcept {
    if (length >= kBlockBytes) [[likely]] {
        const auto equal = [=](std::size_t at) {
            return equal_bytes(load_as<Block>(a + at), load_as<Block>(b + at));
        };
        const Block ends = equal(0) & equal(length - kBlockBytes);
        if (length <= kTwoBlocks) [[likely]] {
            if (top_bits(ends) != 0xFFFF) [[unlikely]]
                return first_order(a, b, length);
            return hide_from_optimizer(0);
        }
        const Block all = ends & equal(kBlockBytes) & equal(length - kTwoBlocks);
        if (top_bits(all) != 0xFFFF) [[unlikely]]
            return first_order(a, b, length);
        return hide_from_optimizer(0);
    }
    if (length >= 8) {
        const std::size_t last = length - 8;
        const std::uint64_t first_differs = load_as<std::uint64_t>(a) ^ load_as<std::uint64_t>(b);
        const std::uint64_t last_differs =
            load_as<std::uint64_t>(a + last) ^ load_as<std::uint64_t>(b + last);
        return (first_differs | last_differs) == 0 ? 0 : first_order(a, b, length);
    }
    // Texts of up to 7 bytes as one word, without a read outside of them. Bytes may occur twice,
    // which changes neither equality nor the first difference.
    //   4 to 7 bytes: the first four, then the last four; "abcde" -> "abcdbcde"
    //   1 to 3 bytes: the first, the middle and the last one; "ab" -> "abb"
    const auto few_bytes = [length](const std::uint8_t* text) {
        if (length >= 4) {
            const std::uint64_t last = load_as<std::uint32_t>(text + length - 4);
            return load_as<std::uint32_t>(text) | last << 32;
        }
        std::uint64_t word = 0;
        if (length > 0) {
            word = static_cast<std::uint64_t>(text[0] | text[length / 2] << 8 |
                                              text[length - 1] << 16);
        }
        return word;
    };
    const std::uint64_t of_a = few_bytes(a);
    const std::uint64_t of_b = few_bytes(b);
    return of_a == of_b ? 0 : order_of(of_a, of_b);
}

// The index of the first `value` among at most kShortBytes; all ones where there is none.
inline std::uint64_t scan_short(const std::uint8_t* bytes, std::size_t length,
                                std::uint8_t value) noexcept {
    constexpr std::uint64_t kNone = ~std::uint64_t{0};
    const auto lowest = [](auto bits) { return static_cast<std::uint64_t>(__builtin_ctzll(bits)); };
    if (length >= kBlockBytes) [[likely]] {
        const Block wanted = block_of(value);
        const auto equal = [=](std::size_t at) {
            return equal_bytes(load_as<Block>(bytes + at), wanted);
        };
        const std::size_t last = length - kBlockBytes;
        const Block ends = equal(0) | equal(last);
        if (length <= kTwoBlocks) [[likely]] {
            if (top_bits(ends) == 0) [[likely]]
                return hide_from_optimizer(kNone);
        } else if (top_bits(ends | equal(kBlockBytes) | equal(last - kBlockBytes)) == 0)
            [[likely]] {
            return hide_from_optimizer(kNone);
        }
        for (std::size_t at = 0;; at = at + kBlockBytes < last ? at + kBlockBytes : last) {
            if (const std::uint32_t found = top_bits(equal(at))) return at + lowest(found);
        }
    }
    if (length >= 8) {
        const std::size_t last = length - 8;
        const std::uint32_t found = top_bits(
            equal_bytes(join(load_as<std::uint64_t>(bytes), load_as<std::uint64_t>(bytes + last)),
                        block_of(value)));
        if (found == 0) return kNone;
        const std::uint64_t index = lowest(found);
        return index < 8 ? index : last + index - 8;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (bytes[i] == value) return i;
    }
    return kNone;
}

}  // namespace nq
