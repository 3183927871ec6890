#pragma once
#include <array>
#include <cstdint>
#include <string_view>

namespace nq {

enum class ArgumentSize { kNormal, kChar, kShort, kLong };

// A directive of a format: what stands between the percent sign and the conversion.
struct Directive {
    bool is_left = false;
    bool has_plus = false;
    bool has_space = false;
    bool has_zeros = false;
    bool is_alternate = false;
    bool has_precision = false;
    uint64_t width = 0;
    uint64_t precision = 0;
    ArgumentSize size = ArgumentSize::kNormal;
    char conversion = 0;
};

inline constexpr uint64_t magnitude(int64_t value) noexcept {
    // The least value has no counterpart in its own type.
    return value < 0 ? static_cast<uint64_t>(-(value + 1)) + 1 : static_cast<uint64_t>(value);
}

// A number as text, in the pieces that padding and precision set apart.
struct NumberText {
    char prefix[3] = {};  // sign and 0x
    uint64_t prefix_length = 0;
    uint64_t zeros = 0;
    std::string_view head;
    bool has_point = false;  // a point follows the head
    uint64_t more_zeros = 0;
    std::string_view tail;  // an exponent

    void add_prefix(char character) noexcept { prefix[prefix_length++] = character; }
    uint64_t length() const noexcept {
        return prefix_length + zeros + head.size() + has_point + more_zeros + tail.size();
    }
};

using NumberBuffer = std::array<char, 1536>;

// The numbers of the conversions: what the directive asks for, in pieces that may lie in the
// buffer. They consume the flag for zeros where it does not count.

// d, i, u, o, x, X.
void render_integer(uint64_t value, Directive& directive, NumberBuffer& buffer,
                    NumberText& number) noexcept;

// p.
void render_pointer(const void* pointer, Directive& directive, NumberBuffer& buffer,
                    NumberText& number) noexcept;

// f, F, e, E, g, G, a, A.
void render_real(double value, Directive& directive, NumberBuffer& buffer,
                 NumberText& number) noexcept;

}  // namespace nq
