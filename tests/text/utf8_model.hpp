#pragma once
#include <algorithm>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include "nqinstance/host/status.h"
#include "tests/text/utf_model.hpp"

// A slow model of the operations on UTF-8 text, step by step from the written rules.
namespace nq::test::model {

using Text = std::span<const std::uint8_t>;

inline bool may_begin(std::uint8_t byte) { return byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4); }

inline bool is_in(std::uint8_t byte, int first, int last) { return byte >= first && byte <= last; }

// --- One character -------------------------------------------------------------------------------

struct Sized {
    std::uint64_t size;
    bool is_valid;
    bool operator==(const Sized&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Sized& sized) {
    return out << sized.size << (sized.is_valid ? " valid" : " invalid");
}

inline Sized valid_char_size(const std::uint8_t* p) {
    if (p[0] < 0x80) return {1, true};
    const std::uint64_t length = announced_length(p[0]);
    bool v = may_begin(p[0]);
    std::uint64_t k = length - 1;
    std::uint64_t size = 1;
    std::uint64_t at = 1;
    if (p[0] == 0xE0 || p[0] == 0xED || p[0] == 0xF0) {
        if (p[0] == 0xE0 && !is_in(p[1], 0xA0, 0xBF)) v = false;
        if (p[0] == 0xED && !is_in(p[1], 0x80, 0x9F)) v = false;
        if (p[0] == 0xF0 && !is_in(p[1], 0x90, 0xBF)) v = false;
        size = 2;
        at = 2;
        k = length - 2;
    }
    for (; k > 0; --k, ++at) {
        if (!is_continuation(p[at])) {
            v = false;
            break;
        }
        ++size;
    }
    return {size, v};
}

inline std::uint64_t char_size(const std::uint8_t* p) {
    const std::uint64_t length = announced_length(p[0]);
    std::uint64_t k = length - 1;
    std::uint64_t size = 1;
    std::uint64_t at = 1;
    if (k == 0) return 1;
    if (p[0] == 0xE0) {
        if (!is_in(p[1], 0xA0, 0xBF)) k = length - 2;
        size = 2;
    } else if (p[0] == 0xED || p[0] == 0xF0) {
        const bool fits = p[0] == 0xED ? is_in(p[1], 0x80, 0x9F) : is_in(p[1], 0x90, 0xBF);
        if (!fits) {
            k = length - 2;
            at = 2;
        }
        size = 2;
    }
    while (k > 0 && is_continuation(p[at])) {
        ++size;
        ++at;
        --k;
    }
    return size;
}

// --- Sizes by announced lengths ------------------------------------------------------------------

inline std::uint64_t slenb(Text text) {
    std::uint64_t count = 0;
    for (std::uint64_t at = 0; at < text.size(); at += announced_length(text[at])) ++count;
    return count;
}

inline std::uint64_t slen(const std::uint8_t* text) {
    std::uint64_t count = 0;
    for (; *text; text += announced_length(*text)) ++count;
    return count;
}

inline std::uint64_t blenb(Text text) {
    const std::uint64_t n = text.size();
    if (n == 0) return 0;
    if (text[n - 1] < 0x80) return n;
    std::uint64_t at = n - 1;
    while (at > 0 && is_continuation(text[at])) --at;
    if (!may_begin(text[at])) return 0;
    const std::uint64_t e = at + announced_length(text[at]);
    return e <= n ? e : at;
}

// --- Characters ----------------------------------------------------------------------------------

// The bytes of the character at `at`, as the counts step through text.
inline std::uint64_t step_size(Text text, std::uint64_t at) {
    std::uint64_t end = at + 1;
    while (end < text.size() && end - at < announced_length(text[at]) &&
           is_continuation(text[end])) {
        ++end;
    }
    return end - at;
}

inline std::uint64_t num_chars(Text text) {
    std::uint64_t count = 0;
    for (std::uint64_t at = 0; at < text.size(); at += step_size(text, at)) ++count;
    return count;
}

inline std::uint64_t byte_length(Text text, std::uint64_t count) {
    std::uint64_t at = 0;
    for (; count > 0; --count) at += step_size(text, at);
    return at;
}

// --- Searching -----------------------------------------------------------------------------------

inline std::int64_t find_char(Text haystack, Text needle) {
    if (needle.empty()) return 0;
    if (haystack.empty() || needle.size() > haystack.size()) return -1;
    const auto first = std::ranges::find(haystack, needle[0]);
    if (first == haystack.end()) return -1;
    auto at = static_cast<std::uint64_t>(first - haystack.begin());
    if (needle.size() == 1) return static_cast<std::int64_t>(at);
    for (; at < haystack.size() - 1; at += announced_length(haystack[at])) {
        if (haystack.size() - at < needle.size()) break;
        if (std::ranges::equal(haystack.subspan(at, needle.size()), needle)) {
            return static_cast<std::int64_t>(at);
        }
    }
    return -1;
}

// --- Copying and blanks --------------------------------------------------------------------------

struct Copied {
    std::uint64_t bytes;
    Bytes target;
    bool operator==(const Copied&) const = default;
};

inline Copied copy(Text source, std::uint64_t room) {
    const std::uint64_t n = blenb(source.first(std::min<std::uint64_t>(source.size(), room)));
    Bytes target(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(n));
    target.resize(room, ' ');
    return {n, target};
}

struct Justified {
    NQStatus status;
    std::uint32_t length;
    std::uint32_t offset;
    Bytes field;
    bool operator==(const Justified&) const = default;
};

inline Justified justify(Text field, char mode) {
    const auto size = static_cast<std::int64_t>(field.size());
    std::int64_t start = 0;
    while (start < size && field[static_cast<std::size_t>(start)] == ' ') ++start;
    if (start == size) return {0, 0, 0, Bytes(field.begin(), field.end())};
    std::int64_t end = size;
    while (field[static_cast<std::size_t>(end - 1)] == ' ') --end;
    const std::int64_t n = size - start;
    const std::int64_t m = end - start;
    std::int64_t shift = 0;
    NQStatus status = 0;
    switch (mode) {
        case 'C':
        case 'c':
            shift = n - (size + m + 1) / 2;
            break;
        case 'L':
        case 'l':
            shift = n - size;
            break;
        case 'R':
        case 'r':
            shift = n - m;
            break;
        case 'N':
        case 'n':
            break;
        default:
            status = NQ_STATUS_UNKNOWN_JUSTIFICATION;
    }
    Bytes result(field.size(), ' ');
    std::copy_n(field.begin() + start, m, result.begin() + start + shift);
    return {status, static_cast<std::uint32_t>(m), static_cast<std::uint32_t>(start + shift),
            result};
}

inline const std::vector<Bytes>& spaces(std::uint32_t blank_class) {
    static const auto list = [](std::vector<NQChar> code_points) {
        std::vector<Bytes> result;
        for (const NQChar code_point : code_points) result.push_back(utf8_of(code_point));
        return result;
    };
    static const std::vector<NQChar> kWide{0x20,   0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003,
                                           0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A,
                                           0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
    static const std::vector<NQChar> kAll = [] {
        std::vector<NQChar> all = kWide;
        all.insert(all.end(), {0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x85});
        return all;
    }();
    static const std::vector<Bytes> kLists[] = {list({0x20}), list(kWide), list(kAll)};
    return kLists[blank_class == 0 ? 0 : blank_class == 2 ? 1 : 2];
}

inline std::uint64_t strip(Text text, std::uint32_t blank_class) {
    while (!text.empty()) {
        std::uint64_t start = text.size() - 1;
        // Byte-wise for the blank alone.
        while (blank_class != 0 && start > 0 && is_continuation(text[start])) --start;
        const Bytes last = utf8_of(read_utf8(&text[start], text.size() - start).code_point);
        if (std::ranges::count(spaces(blank_class), last) == 0) break;
        text = text.first(start);
    }
    return text.size();
}

// --- The modified form ---------------------------------------------------------------------------

struct Converted {
    NQStatus status;
    Bytes bytes;
    bool operator==(const Converted&) const = default;
};

// Takes pieces until one does not fit.
class Target {
  public:
    explicit Target(std::uint64_t capacity) : capacity_(capacity) {}

    bool put(const Bytes& piece) {
        if (capacity_ - bytes_.size() < piece.size()) {
            status_ = NQ_STATUS_BUFFER_TOO_SMALL;
            return false;
        }
        bytes_.insert(bytes_.end(), piece.begin(), piece.end());
        return true;
    }
    bool replace() {
        if (!put({0xEF, 0xBF, 0xBD})) return false;
        status_ = NQ_STATUS_MALFORMED;
        return true;
    }
    Converted result() const { return {status_, bytes_}; }

  private:
    std::uint64_t capacity_;
    Bytes bytes_;
    NQStatus status_ = 0;
};

inline bool is_complete(const Bytes& character) {
    return may_begin(character[0]) && character.size() == announced_length(character[0]);
}

inline Converted decode(Text source, std::uint64_t capacity, std::uint32_t flags) {
    if (!(flags & 1) && (flags & 4)) {
        const std::uint64_t room = std::min<std::uint64_t>(source.size(), capacity);
        Copied copied = copy(source, room);
        copied.target.resize(copied.bytes);
        return {copied.bytes < source.size() ? NQ_STATUS_BUFFER_TOO_SMALL : 0, copied.target};
    }
    Target target(capacity);
    std::optional<Bytes> held;
    for (std::uint64_t at = 0; at < source.size();) {
        const Text part = source.subspan(at, step_size(source, at));
        at += part.size();
        Bytes character(part.begin(), part.end());
        const bool is_surrogate = character.size() == 3 && character[0] == 0xED;
        if (held && is_surrogate && is_in(character[1], 0xB0, 0xBF)) {
            const std::uint32_t high = (*held)[1] % 16u * 64 + (*held)[2] % 64u;
            const std::uint32_t low = character[1] % 16u * 64 + character[2] % 64u;
            held.reset();
            if (!target.put(utf8_of(0x10000 + high * 0x400 + low))) return target.result();
            continue;
        }
        if (held) {
            held.reset();
            if (!target.replace()) return target.result();
        }
        if (is_surrogate && is_in(character[1], 0xA0, 0xAF)) {
            held = character;
            continue;
        }
        bool goes_on;
        if ((flags & 1) && character == Bytes{0xC0, 0x80}) {
            goes_on = target.put({0});
        } else {
            character.resize(8);  // what is missing is no continuation byte
            const bool is_well_formed = valid_char_size(character.data()).is_valid;
            character.resize(part.size());
            goes_on = is_well_formed ? target.put(character) : target.replace();
        }
        if (!goes_on) return target.result();
    }
    if (held) target.replace();
    return target.result();
}

inline Converted encode(Text source, std::uint64_t capacity, std::uint32_t flags) {
    Target target(capacity);
    for (std::uint64_t at = 0; at < source.size();) {
        const Text part = source.subspan(at, step_size(source, at));
        at += part.size();
        const Bytes character(part.begin(), part.end());
        bool goes_on;
        if (character == Bytes{0}) {
            goes_on = target.put((flags & 1) ? Bytes{0xC0, 0x80} : Bytes{0});
        } else if (!is_complete(character) ||
                   (character[0] == 0xED && is_in(character[1], 0xA0, 0xBF)) ||
                   (character.size() == 4 && !(flags & 1) && (flags & 4))) {
            goes_on = target.replace();
        } else if (character.size() == 4) {
            const std::uint32_t offset =
                (read_utf8(character.data(), 4).code_point - 0x10000) % 0x100000;
            Bytes pair = utf8_of(0xD800 + offset / 0x400);
            const Bytes low = utf8_of(0xDC00 + offset % 0x400);
            pair.insert(pair.end(), low.begin(), low.end());
            goes_on = target.put(pair);
        } else {
            goes_on = target.put(character);
        }
        if (!goes_on) break;
    }
    return target.result();
}

// --- How much to try -----------------------------------------------------------------------------

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NQ_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NQ_SANITIZED 1
#endif
#endif

// By this the volume of the long tests is divided.
#if defined(NQ_SANITIZED)
inline constexpr std::uint32_t kSlowdown = 17;
#else
inline constexpr std::uint32_t kSlowdown = 1;
#endif

// --- Texts to try --------------------------------------------------------------------------------

// Text of about that length: characters of one to four bytes, surrogates, over-long forms, cut-off
// characters, stray and random bytes. A `mixture` of 0 has only well-formed characters, larger ones
// have more of the others.
template <class Random>
Bytes random_text(Random& random, std::uint64_t length, std::uint64_t mixture) {
    const auto below = [&random](std::uint64_t bound) { return random() % bound; };
    Bytes text;
    const auto add = [&text](const Bytes& bytes) {
        text.insert(text.end(), bytes.begin(), bytes.end());
    };
    const auto code_point = [&](std::uint64_t from, std::uint64_t to) {
        return static_cast<NQChar>(from + below(to - from));
    };
    while (text.size() < length) {
        if (below(100) < mixture) {
            switch (below(7)) {
                case 0:
                    add({static_cast<std::uint8_t>(below(256))});
                    break;
                case 1:
                    add({static_cast<std::uint8_t>(0x80 + below(64))});
                    break;
                case 2:
                    add({static_cast<std::uint8_t>(0xC0 + below(64))});
                    break;
                case 3:
                    add(utf8_of(code_point(0xD800, 0xE000)));
                    break;
                case 4:
                    add({0xED, static_cast<std::uint8_t>(0xA0 + below(16)), 0x80});
                    break;
                case 5: {
                    Bytes cut = utf8_of(code_point(0x80, 0x110000));
                    cut.pop_back();
                    add(cut);
                    break;
                }
                default:
                    add(below(2) ? Bytes{0xC0, 0x80} : Bytes{0});
            }
        } else {
            switch (below(6)) {
                case 0:
                    add(Bytes(1 + below(40), static_cast<std::uint8_t>(' ' + below(90))));
                    break;
                case 1:
                    add(utf8_of(code_point(0x80, 0x800)));
                    break;
                case 2:
                    add(utf8_of(code_point(0x800, 0xD800)));
                    break;
                case 3:
                    add(utf8_of(code_point(0xE000, 0x10000)));
                    break;
                case 4:
                    add(utf8_of(code_point(0x10000, 0x110000)));
                    break;
                default:
                    add({static_cast<std::uint8_t>(1 + below(0x7F))});
            }
        }
    }
    return text;
}

}  // namespace nq::test::model
