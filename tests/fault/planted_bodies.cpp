// A body of the text routines with one mistake in it, which PLANT= names as "kernel mistake". It is
// linked into the programs that compare the bodies, in place of the list of those that this
// processor can run, and they must find it.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "nqinstance/text/kernels/table.hpp"

namespace nq {

// The linker gives every use of text_kernel_bodies() the first of these, and the second is it.
std::span<const TextKernels* const> planted_bodies() noexcept
    asm("__wrap__ZN2nq18text_kernel_bodiesEv");
std::span<const TextKernels* const> real_bodies() noexcept
    asm("__real__ZN2nq18text_kernel_bodiesEv");

namespace {

// The one length at which a body is wrong.
constexpr std::size_t kLength = 77;

enum class Mistake { kWrongAtOneLength, kAlwaysWrong, kReadsTooFar, kWritesTooFar };
Mistake mistake;

const TextKernels& generic() noexcept { return *real_bodies().back(); }

bool is_wrong_at(std::size_t length) noexcept {
    return length > 0 && (mistake == Mistake::kAlwaysWrong ||
                          (mistake == Mistake::kWrongAtOneLength && length == kLength));
}

// What a body does to the byte behind a text that it only reads, and to one that it changes.
[[gnu::noinline]] void behind(const std::uint8_t* end) noexcept {
    if (mistake == Mistake::kReadsTooFar) {
        static_cast<void>(*const_cast<const volatile std::uint8_t*>(end));
    }
}
[[gnu::noinline]] void behind(std::uint8_t* end) noexcept {
    behind(static_cast<const std::uint8_t*>(end));
    if (mistake == Mistake::kWritesTooFar) {
        auto* byte = const_cast<volatile std::uint8_t*>(end);
        *byte = static_cast<std::uint8_t>(*byte ^ 1);
    }
}

void to_upper(std::uint8_t* text, std::size_t length) noexcept {
    generic().to_upper(text, is_wrong_at(length) ? length - 1 : length);
    behind(text + length);
}

std::size_t map_ascii(const std::uint8_t* source, std::uint8_t* target, std::size_t length,
                      std::uint8_t first) noexcept {
    const std::size_t mapped = generic().map_ascii(source, target, length, first);
    if (is_wrong_at(length) && mapped == length) target[length - 1] ^= 1;
    behind(source + length);
    return mapped;
}

std::size_t find_first_not_byte(const std::uint8_t* text, std::size_t length,
                                std::uint8_t value) noexcept {
    behind(text + length);
    return is_wrong_at(length) ? length : generic().find_first_not_byte(text, length, value);
}

std::int32_t compare(const std::uint8_t* a, const std::uint8_t* b, std::size_t length) noexcept {
    behind(a + length);
    return is_wrong_at(length) ? 0 : generic().compare(a, b, length);
}

std::size_t find_pair(const std::uint8_t* text, std::size_t positions, std::size_t distance,
                      std::uint8_t first, std::uint8_t second) noexcept {
    behind(text + positions + distance);
    return is_wrong_at(positions) ? positions
                                  : generic().find_pair(text, positions, distance, first, second);
}

std::size_t equal_prefix_ignoring_ascii_case_utf8(const std::uint8_t* a, const std::uint8_t* b,
                                                  std::size_t length,
                                                  std::int32_t& order) noexcept {
    behind(a + length);
    return is_wrong_at(length)
               ? length
               : generic().equal_prefix_ignoring_ascii_case_utf8(a, b, length, order);
}

std::uint64_t count_characters(const std::uint8_t* text, std::size_t length) noexcept {
    behind(text + length);
    return generic().count_characters(text, length) + is_wrong_at(length);
}

NQStatus utf8_to_utf32(Cursor& cursor, ByteOrder out) noexcept {
    const Cursor start = cursor;
    behind(start.source + start.left);
    const NQStatus status = generic().utf8_to_utf32(cursor, out);
    if (is_wrong_at(start.left) && cursor.target != start.target) cursor.target[-1] ^= 1;
    behind(start.target + start.room);
    return status;
}

constexpr struct {
    const char* name;
    Mistake mistake;
} kMistakes[] = {{"wrong", Mistake::kWrongAtOneLength},
                 {"always", Mistake::kAlwaysWrong},
                 {"reads", Mistake::kReadsTooFar},
                 {"writes", Mistake::kWritesTooFar}};

TextKernels planted() noexcept {
    TextKernels kernels = generic();
    kernels.name = "planted";
    const char* const choice = std::getenv("PLANT");
    if (!choice || std::string_view(choice) == "none") return kernels;
    const std::string_view text = choice;
    const std::string_view kernel = text.substr(0, text.find(' '));
    bool known = false;
    for (const auto& one : kMistakes) {
        if (!text.ends_with(std::string(" ") + one.name)) continue;
        mistake = one.mistake;
        known = true;
    }
    const auto plant = [&](const char* name, auto& word, auto body) {
        if (kernel != name) return false;
        word = body;
        return true;
    };
    known =
        known && (plant("to_upper", kernels.to_upper, to_upper) ||
                  plant("map_ascii", kernels.map_ascii, map_ascii) ||
                  plant("find_first_not_byte", kernels.find_first_not_byte, find_first_not_byte) ||
                  plant("compare", kernels.compare, compare) ||
                  plant("find_pair", kernels.find_pair, find_pair) ||
                  plant("equal_prefix_ignoring_ascii_case_utf8",
                        kernels.equal_prefix_ignoring_ascii_case_utf8,
                        equal_prefix_ignoring_ascii_case_utf8) ||
                  plant("count_characters", kernels.count_characters, count_characters) ||
                  plant("utf8_to_utf32", kernels.utf8_to_utf32, utf8_to_utf32));
    if (known) return kernels;
    std::fprintf(stderr, "PLANT=%s is not known\n", choice);
    std::_Exit(0);  // what is not planted must not look as if it were found
}

}  // namespace

std::span<const TextKernels* const> planted_bodies() noexcept {
    static const TextKernels kernels = planted();
    static const TextKernels* const bodies[] = {&kernels, &generic()};
    return bodies;
}

}  // namespace nq
