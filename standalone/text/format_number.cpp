#include "standalone/text/format_number.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>

namespace nq {
namespace {

// No double has more digits than this before or after its point; all further ones are zeros.
constexpr uint64_t kMostDigits = 1100;

void add_sign(const Directive& directive, bool is_negative, NumberText& number) noexcept {
    if (is_negative) {
        number.add_prefix('-');
    } else if (directive.has_plus) {
        number.add_prefix('+');
    } else if (directive.has_space) {
        number.add_prefix(' ');
    }
}

void to_upper(char* begin, char* end) noexcept {
    std::transform(begin, end, begin, [](char character) {
        return character >= 'a' && character <= 'z' ? static_cast<char>(character - 32) : character;
    });
}

uint64_t narrowed(uint64_t value, ArgumentSize size, bool is_signed) noexcept {
    switch (size) {
        case ArgumentSize::kChar:
            return is_signed ? static_cast<uint64_t>(static_cast<int8_t>(value))
                             : static_cast<uint8_t>(value);
        case ArgumentSize::kShort:
            return is_signed ? static_cast<uint64_t>(static_cast<int16_t>(value))
                             : static_cast<uint16_t>(value);
        default:
            return value;
    }
}

// `value` is a magnitude; a sign and 0x are in the prefix already. Consumes the zero flag.
void render_magnitude(uint64_t value, int base, Directive& directive, NumberBuffer& buffer,
                      NumberText& number) noexcept {
    char* const begin = buffer.data();
    char* end = begin;
    if (value != 0 || !directive.has_precision || directive.precision != 0)
        end = std::to_chars(begin, begin + buffer.size(), value, base).ptr;
    number.head = {begin, end};
    if (!directive.has_precision) return;
    directive.has_zeros = false;
    if (directive.precision > number.head.size())
        number.zeros = directive.precision - number.head.size();
}

// The digits of a number that is finite and not negative, in `format` and with `precision`.
std::string_view digits(double value, std::chars_format format, uint64_t precision,
                        NumberBuffer& buffer) noexcept {
    char* const begin = buffer.data();
    const auto limited = static_cast<int>(std::min(precision, kMostDigits));
    return {begin, std::to_chars(begin, begin + buffer.size(), value, format, limited).ptr};
}

// The fixed digits of a number that is not negative and small enough to be scaled in whole numbers;
// the result is exact before it is rounded, half to even, as it is from the general way. Empty: the
// number or the precision is too great.
std::string_view small_fixed_digits(double value, uint64_t precision,
                                    NumberBuffer& buffer) noexcept {
    constexpr uint64_t kPowers[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
    constexpr double kLimit = 0x1p32;
    if (precision == 0 || precision >= std::size(kPowers) || !(value < kLimit)) return {};
    // value = mantissa / 2^shift
    constexpr int kMantissaBits = std::numeric_limits<double>::digits - 1;
    constexpr uint64_t kHiddenBit = uint64_t{1} << kMantissaBits;
    const auto bits = std::bit_cast<uint64_t>(value);
    const auto exponent = static_cast<int>(bits >> kMantissaBits);
    const uint64_t mantissa = (bits & (kHiddenBit - 1)) | (exponent ? kHiddenBit : 0);
    const int shift = 1023 + kMantissaBits - (exponent ? exponent : 1);
    // Beyond that all is less than half of the last digit.
    uint64_t scaled = 0;
    if (shift < 2 * 64 - 1) {
        __extension__ using Wide = unsigned __int128;
        const Wide product = Wide{mantissa} * kPowers[precision];
        const Wide half = Wide{1} << (shift - 1);
        const Wide rest = product & (half * 2 - 1);
        scaled = static_cast<uint64_t>(product >> shift);
        scaled += rest > half || (rest == half && (scaled & 1));
    }
    char* const begin = buffer.data();
    char* end = std::to_chars(begin, begin + buffer.size(), scaled / kPowers[precision]).ptr;
    *end = '.';
    uint64_t fraction = scaled % kPowers[precision];
    for (uint64_t i = precision; i != 0; --i, fraction /= 10) {
        end[i] = static_cast<char>('0' + fraction % 10);
    }
    return {begin, end + 1 + precision};
}

// Where the exponent begins; the end when there is none.
std::size_t exponent_position(std::string_view text, char mark) noexcept {
    return std::min(text.find(mark), text.size());
}

// The conversion (e or f) and the precision that stand for g with the flag #, which keeps the
// trailing zeros.
void resolve_general(double value, Directive& directive, NumberBuffer& buffer) noexcept {
    const uint64_t significant = std::max<uint64_t>(directive.precision, 1);
    const std::string_view text =
        digits(value, std::chars_format::scientific, significant - 1, buffer);
    int exponent = 0;
    const char* from = text.data() + exponent_position(text, 'e') + 1;
    std::from_chars(from + (*from == '+'), text.data() + text.size(), exponent);
    const bool is_fixed = exponent >= -4 && exponent < static_cast<int64_t>(significant);
    directive.conversion = is_fixed ? 'f' : 'e';
    directive.precision =
        is_fixed ? static_cast<uint64_t>(static_cast<int64_t>(significant) - 1 - exponent)
                 : significant - 1;
}

void render_finite(double value, Directive directive, NumberBuffer& buffer,
                   NumberText& number) noexcept {
    if (directive.conversion == 'g' && directive.is_alternate)
        resolve_general(value, directive, buffer);
    std::string_view text;
    char mark = 'e';
    switch (directive.conversion) {
        case 'f':
            number.head = small_fixed_digits(value, directive.precision, buffer);
            if (!number.head.empty()) return;
            text = digits(value, std::chars_format::fixed, directive.precision, buffer);
            break;
        case 'e':
            text = digits(value, std::chars_format::scientific, directive.precision, buffer);
            break;
        case 'g':
            number.head = digits(value, std::chars_format::general,
                                 std::max<uint64_t>(directive.precision, 1), buffer);
            return;
        default:
            mark = 'p';
            number.add_prefix('0');
            number.add_prefix('x');
            if (directive.has_precision) {
                text = digits(value, std::chars_format::hex, directive.precision, buffer);
            } else {
                char* const end = buffer.data() + buffer.size();
                text = {buffer.data(),
                        std::to_chars(buffer.data(), end, value, std::chars_format::hex).ptr};
            }
            break;
    }
    const std::size_t exponent = exponent_position(text, mark);
    number.head = text.substr(0, exponent);
    number.tail = text.substr(exponent);
    number.has_point = directive.is_alternate && number.head.find('.') == text.npos;
    if (directive.precision > kMostDigits) number.more_zeros = directive.precision - kMostDigits;
}

}  // namespace

void render_integer(uint64_t value, Directive& directive, NumberBuffer& buffer,
                    NumberText& number) noexcept {
    const char conversion = directive.conversion;
    if (conversion == 'd' || conversion == 'i') {
        const auto narrow = static_cast<int64_t>(narrowed(value, directive.size, true));
        add_sign(directive, narrow < 0, number);
        return render_magnitude(magnitude(narrow), 10, directive, buffer, number);
    }
    value = narrowed(value, directive.size, false);
    const int base = conversion == 'u' ? 10 : conversion == 'o' ? 8 : 16;
    if (base == 16 && directive.is_alternate && value != 0) {
        number.add_prefix('0');
        number.add_prefix(conversion);
    }
    render_magnitude(value, base, directive, buffer, number);
    if (conversion == 'X') to_upper(buffer.data(), buffer.data() + number.head.size());
    if (base == 8 && directive.is_alternate && number.zeros == 0 && !number.head.starts_with('0'))
        number.zeros = 1;
}

void render_pointer(const void* pointer, Directive& directive, NumberBuffer& buffer,
                    NumberText& number) noexcept {
    if (!pointer) {
        directive.has_zeros = false;
        number.head = "(nil)";
        return;
    }
    add_sign(directive, false, number);
    number.add_prefix('0');
    number.add_prefix('x');
    render_magnitude(reinterpret_cast<uintptr_t>(pointer), 16, directive, buffer, number);
}

void render_real(double value, Directive& directive, NumberBuffer& buffer,
                 NumberText& number) noexcept {
    const char given = directive.conversion;
    const bool is_upper = given >= 'A' && given <= 'Z';
    if (is_upper) directive.conversion = static_cast<char>(given + 32);
    add_sign(directive, std::signbit(value) && !std::isnan(value), number);
    if (!std::isfinite(value)) {
        directive.has_zeros = false;
        std::string_view(std::isnan(value) ? "nan" : "inf").copy(buffer.data(), 3);
        number.head = {buffer.data(), 3};
    } else {
        if (!directive.has_precision && directive.conversion != 'a') directive.precision = 6;
        render_finite(std::abs(value), directive, buffer, number);
    }
    if (!is_upper) return;
    to_upper(buffer.data(), buffer.data() + number.head.size() + number.tail.size());
    to_upper(std::begin(number.prefix), std::end(number.prefix));
}

}  // namespace nq
