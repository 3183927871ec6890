#pragma once
#include "nqinstance/text/case_fold.hpp"
#include "nqinstance/text/kernels/case_loops.hpp"

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
    static CaseOperation operation(const HostUnicode* unicode) noexcept {
        if (unicode) return unicode->toUpper;
        return [](HostUnicode*, uint32_t code_point, uint64_t) noexcept {
            return table_upper(code_point);
        };
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
    static CaseOperation operation(const HostUnicode* unicode) noexcept {
        if (unicode) return unicode->toLower;
        return [](HostUnicode*, uint32_t code_point, uint64_t) noexcept {
            return table_lower(code_point);
        };
    }
};

// Shorter runs, such as those between the letters of another script, are not worth a call.
inline constexpr std::size_t kShortAsciiRun = 16;

// Maps the ASCII bytes at the start and returns their number. The target may be the source, or
// start before it and overlap it.
template <class Case>
inline std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target,
                             std::size_t length) noexcept {
    const std::size_t near = std::min(length, kShortAsciiRun);
    const std::size_t done = loops::map_ascii(source, target, near, Case::kFirstLetter);
    if (done < kShortAsciiRun) return done;
    return done + text_kernels().map_ascii(source + done, target + done, length - done,
                                           Case::kFirstLetter);
}

// The result of map_run: the bytes that it mapped. Where `pending` is not 0, the next character
// takes so many bytes and `mapped` is its mapping, which has another size and is still to be
// stored.
struct CaseRun {
    std::uint64_t bytes;
    std::uint64_t pending;
    NQChar mapped;
};

// Copies a character of kSize bytes; the places may overlap.
template <std::uint32_t kSize>
inline void copy_character(const std::uint8_t* from, std::uint8_t* to) noexcept {
    if constexpr (kSize == 3) {
        // The compiler would make a call of a copy of three bytes.
        const std::uint8_t last = from[2];
        std::memmove(to, from, 2);
        to[2] = last;
    } else {
        std::memmove(to, from, kSize);
    }
}

// Maps characters, most of them outside ASCII, as long as they are valid and keep their size, so
// that one check of the place serves source and target. The target may be the source, or start
// before it and overlap it; without kStore the text is only measured. Stops before two ASCII
// characters in a row. Decodes as decode_utf8 does, with the size a constant in each branch. Never
// inlined, so that all its state stays in registers.
template <class Case, bool kStore>
[[gnu::noinline]] CaseRun map_run(HostUnicode* unicode, const std::uint8_t* source,
                                  std::uint8_t* target, std::uint64_t length) noexcept {
    const CaseOperation operation = Case::operation(unicode);
    const std::uint8_t* at = source;
    // Every character that starts before `end` is there in full.
    const std::uint8_t* const end = source + (length < 4 ? 0 : length - 3);
    NQChar mapped = 0;
    // Maps one of kSize bytes; false where the mapping is of another size.
    const auto map_next = [&]<std::uint32_t kSize>(NQChar code_point)
        __attribute__((always_inline)) {
        mapped = operation(unicode, code_point, 1);
        if (mapped == code_point) [[likely]] {
            if (kStore) copy_character<kSize>(at, target);
        } else {
            if (utf8_size(mapped) != kSize) return false;
            if (kStore) encode_utf8(mapped, target, kSize);
        }
        at += kSize;
        if (kStore) target += kSize;
        return true;
    };
    std::uint64_t pending = 0;
    while (at < end) {
        const std::uint32_t lead = *at;
        if (lead < 0xE0) {
            if (lead < 0x80) {
                if (at[1] < 0x80) break;
                if (kStore) *target++ = Case::kAsciiTable[lead];
                ++at;
                continue;
            }
            if (lead < 0xC2) break;
            if (!map_next.template operator()<2>(decode_two(at))) {
                pending = 2;
                break;
            }
        } else if (lead < 0xF0) {
            if (!map_next.template operator()<3>(decode_three(at))) {
                pending = 3;
                break;
            }
        } else {
            if (lead > 0xF4) break;
            if (!map_next.template operator()<4>(decode_four(at))) {
                pending = 4;
                break;
            }
        }
    }
    return {static_cast<std::uint64_t>(at - source), pending, mapped};
}

// The number of ASCII bytes at the start.
inline std::size_t ascii_prefix(const std::uint8_t* text, std::size_t length) noexcept {
    std::size_t i = 0;
    for (; length - i >= 8; i += 8) {
        if (!is_ascii(load64(text + i))) break;
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
