#pragma once
#include "nqinstance/text/case_fold.hpp"
#include "nqinstance/text/case_loops.hpp"

// The two directions of case mapping, and the runs of ASCII that need no host.
namespace nq {

struct UpperCase {
    static constexpr const auto& kAsciiTable = ansi_upcasetable;
    static constexpr std::uint8_t kFirstLetter = 'a';  // of the 26 that change
    static constexpr std::uint32_t kMode = 2;          // of HostUnicode.mapForLanguage
    static constexpr bool kSingleBytesStay = true;     // where they were read, in place
    static NQChar by_host(HostUnicode* unicode, NQChar code_point) noexcept {
        return host_upper(unicode, code_point);
    }
};

struct LowerCase {
    static constexpr const auto& kAsciiTable = ansi_lowcasetable;
    static constexpr std::uint8_t kFirstLetter = 'A';
    static constexpr std::uint32_t kMode = 1;
    static constexpr bool kSingleBytesStay = false;
    static NQChar by_host(HostUnicode* unicode, NQChar code_point) noexcept {
        return host_lower(unicode, code_point);
    }
};

// Runs up to here, as between the letters of another script, are not worth a call.
inline constexpr std::size_t kShortAsciiRun = 16;

// Maps the ASCII bytes at the start and returns their number. The target may be the source, or
// start before it.
template <class Case>
inline std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target,
                             std::size_t length) noexcept {
    const std::size_t near = std::min(length, kShortAsciiRun);
    const std::size_t done = loops::map_ascii(source, target, near, Case::kFirstLetter);
    if (done < kShortAsciiRun) return done;
    return done + text_kernels().map_ascii(source + done, target + done, length - done,
                                           Case::kFirstLetter);
}

// What map_run did. With a `pending` size the next character is of that size and was mapped to
// another one, which is still to be stored.
struct CaseRun {
    std::uint64_t bytes;
    std::uint64_t pending;
    NQChar mapped;
};

// Maps one character of kSize bytes where the mapping is of the same size; else returns false.
template <class Case, bool kStore, std::uint32_t kSize>
[[gnu::always_inline]] inline bool map_in_size(HostUnicode* unicode, const std::uint8_t*& at,
                                               std::uint8_t*& to, NQChar code_point,
                                               NQChar& mapped) noexcept {
    mapped = Case::by_host(unicode, code_point);
    if (mapped == code_point) [[likely]] {
        if (kStore) std::memmove(to, at, kSize);
    } else {
        if (utf8_size(mapped) != kSize) return false;
        if (kStore) encode_utf8(mapped, to, kSize);
    }
    at += kSize;
    if (kStore) to += kSize;
    return true;
}

// Maps characters, most of them outside ASCII, as long as they are valid and keep their size, so
// that one test of the place does for source and target. The target may be the source or start
// before it; without kStore the text is only measured. Leaves before two ASCII characters in a row.
// Decodes as decode_utf8 does, with the size a constant in each branch. A function of its own, so
// that all its state is in registers.
template <class Case, bool kStore>
[[gnu::noinline]] CaseRun map_run(HostUnicode* unicode, const std::uint8_t* source,
                                  std::uint8_t* target, std::uint64_t length) noexcept {
    const std::uint8_t* at = source;
    // Any character that starts before is whole.
    const std::uint8_t* const end = source + (length < 4 ? 0 : length - 3);
    std::uint64_t pending = 0;
    NQChar mapped = 0;
    while (at < end) {
        const auto tail = [at](int index) { return at[index] & 0x3Fu; };
        const std::uint32_t lead = *at;
        if (lead < 0xE0) {
            if (lead < 0x80) {
                if (at[1] < 0x80) break;
                if (kStore) *target++ = Case::kAsciiTable[lead];
                ++at;
                continue;
            }
            if (lead < 0xC2) break;
            const NQChar code_point = (lead & 0x1F) << 6 | tail(1);
            pending = 2;
            if (!map_in_size<Case, kStore, 2>(unicode, at, target, code_point, mapped)) break;
        } else if (lead < 0xF0) {
            const NQChar code_point = (lead & 0x0F) << 12 | tail(1) << 6 | tail(2);
            pending = 3;
            if (!map_in_size<Case, kStore, 3>(unicode, at, target, code_point, mapped)) break;
        } else {
            if (lead > 0xF4) break;
            const NQChar code_point = (lead & 0x07) << 18 | tail(1) << 12 | tail(2) << 6 | tail(3);
            pending = 4;
            if (!map_in_size<Case, kStore, 4>(unicode, at, target, code_point, mapped)) break;
        }
        pending = 0;
    }
    return {static_cast<std::uint64_t>(at - source), pending, mapped};
}

// The number of ASCII bytes at the start.
inline std::size_t ascii_prefix(const std::uint8_t* text, std::size_t length) noexcept {
    std::size_t i = 0;
    for (; length - i >= 8; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text + i, sizeof word);
        if (word & 0x8080808080808080) break;
    }
    while (i < length && text[i] < 0x80) ++i;
    return i;
}

// Maps the ASCII units at the start in place and returns their number.
template <class Case>
inline std::size_t map_ascii_units(NQChar* units, std::size_t count) noexcept {
    const std::size_t near = std::min<std::size_t>(count, kShortAsciiRun / 2);
    const std::size_t done = loops::map_ascii_units(units, near, Case::kFirstLetter);
    if (done < kShortAsciiRun / 2) return done;
    return done + text_kernels().map_ascii_units(units + done, count - done, Case::kFirstLetter);
}

}  // namespace nq
