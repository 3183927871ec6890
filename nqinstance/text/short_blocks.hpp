#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Texts of up to 64 bytes at once, in the caller, with what every processor of the platform has:
// loads and stores of 8 or 16 bytes that may overlap.
namespace nq {

inline constexpr std::size_t kShortBytes = 64;

using Words = std::uint64_t __attribute__((vector_size(16)));
struct Block {
    Words words;
};

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

inline Block both(std::uint64_t low, std::uint64_t high) noexcept { return {Words{low, high}}; }

// The byte eight times.
constexpr std::uint64_t word_of(std::uint8_t byte) noexcept {
    return std::uint64_t{0x0101010101010101} * byte;
}

inline Block splat(std::uint8_t byte) noexcept { return both(word_of(byte), word_of(byte)); }

// One bit for each byte at which the blocks are equal.
inline std::uint32_t equal_bytes(Block a, Block b) noexcept {
#if defined(__SSE2__)
    return static_cast<std::uint32_t>(_mm_movemask_epi8(
        _mm_cmpeq_epi8(reinterpret_cast<__m128i>(a.words), reinterpret_cast<__m128i>(b.words))));
#else
    std::uint32_t equal = 0;
    for (int word = 0; word < 2; ++word) {
        for (int byte = 0; byte < 8; ++byte) {
            const bool is_equal = ((a.words[word] ^ b.words[word]) >> 8 * byte & 0xFF) == 0;
            equal |= std::uint32_t{is_equal} << (8 * word + byte);
        }
    }
    return equal;
#endif
}

// Fills at most kShortBytes with a pattern of 1, 2, 4 or 8 bytes, of which the length is a
// multiple.
inline void fill_short(std::uint8_t* to, std::uint64_t pattern, std::size_t length) noexcept {
    if (length > 16) {
        const Block block = both(pattern, pattern);
        store_as(to, block);
        store_as(to + length - 16, block);
        if (length > 32) {
            store_as(to + 16, block);
            store_as(to + length - 32, block);
        }
    } else if (length >= 8) {
        store_as(to, pattern);
        store_as(to + length - 8, pattern);
    } else if (length >= 4) {
        store_as(to, static_cast<std::uint32_t>(pattern));
        store_as(to + length - 4, static_cast<std::uint32_t>(pattern));
    } else if (length > 0) {
        to[0] = to[length / 2] = to[length - 1] = static_cast<std::uint8_t>(pattern);
    }
}

template <class Word>
inline void move_ends(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept {
    const Word first = load_as<Word>(from);
    const Word last = load_as<Word>(from + length - sizeof(Word));
    store_as(to, first);
    store_as(to + length - sizeof(Word), last);
}

// Copies at most kShortBytes as through a buffer in between.
inline void move_short(const std::uint8_t* from, std::uint8_t* to, std::size_t length) noexcept {
    if (length > 16) {
        const Block first = load_as<Block>(from);
        const Block last = load_as<Block>(from + length - 16);
        if (length > 32) {
            const Block second = load_as<Block>(from + 16);
            const Block third = load_as<Block>(from + length - 32);
            store_as(to + 16, second);
            store_as(to + length - 32, third);
        }
        store_as(to, first);
        store_as(to + length - 16, last);
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

// The order of two words that are not the same, the lowest byte first.
inline std::int32_t order_of(std::uint64_t a, std::uint64_t b) noexcept {
    return __builtin_bswap64(a) < __builtin_bswap64(b) ? -1 : 1;
}

// The order of the words in which texts of at least 8 bytes that are not the same differ first.
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
    if (length > 16) {
        const auto differ = [=](std::size_t at) {
            return equal_bytes(load_as<Block>(a + at), load_as<Block>(b + at)) ^ 0xFFFF;
        };
        std::uint32_t any = differ(0) | differ(length - 16);
        if (length > 32) any |= differ(16) | differ(length - 32);
        return any == 0 ? 0 : first_order(a, b, length);
    }
    if (length >= 8) {
        const std::size_t last = length - 8;
        const std::uint64_t first_differs = load_as<std::uint64_t>(a) ^ load_as<std::uint64_t>(b);
        const std::uint64_t last_differs =
            load_as<std::uint64_t>(a + last) ^ load_as<std::uint64_t>(b + last);
        return (first_differs | last_differs) == 0 ? 0 : first_order(a, b, length);
    }
    // The bytes of the shorter ones as one word, so that nothing outside is read.
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

// The index of the first `value` among at most kShortBytes, or all ones.
inline std::uint64_t scan_short(const std::uint8_t* bytes, std::size_t length,
                                std::uint8_t value) noexcept {
    constexpr std::uint64_t kNone = ~std::uint64_t{0};
    const auto lowest = [](auto bits) { return static_cast<std::uint64_t>(__builtin_ctzll(bits)); };
    if (length > 16) {
        const Block wanted = splat(value);
        const std::size_t last = length - 16;
        const std::uint32_t at_start = equal_bytes(load_as<Block>(bytes), wanted);
        const std::uint64_t at_end = equal_bytes(load_as<Block>(bytes + last), wanted);
        if (length <= 32) {
            if (at_start) return lowest(at_start);
            return at_end ? last + lowest(at_end) : kNone;
        }
        const std::uint32_t second = equal_bytes(load_as<Block>(bytes + 16), wanted);
        const std::uint64_t third = equal_bytes(load_as<Block>(bytes + last - 16), wanted);
        const std::uint32_t first_half = at_start | second << 16;
        if (first_half) return lowest(first_half);
        const std::uint64_t second_half = third | at_end << 16;
        return second_half ? last - 16 + lowest(second_half) : kNone;
    }
    if (length >= 8) {
        const std::size_t last = length - 8;
        const std::uint32_t found =
            equal_bytes(both(load_as<std::uint64_t>(bytes), load_as<std::uint64_t>(bytes + last)),
                        splat(value));
        if (found == 0) return kNone;
        const std::uint64_t index = lowest(found);
        return index < 8 ? index : last - 8 + index;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (bytes[i] == value) return i;
    }
    return kNone;
}

}  // namespace nq
