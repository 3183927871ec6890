#include "standalone/text/format.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "standalone/base/utf8.hpp"

namespace nq {
namespace {

// In a record of its own, since a va_list may be an array that cannot be handed on by reference.
class Arguments {
  public:
    explicit Arguments(va_list list) noexcept { va_copy(list_, list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    ~Arguments() { va_end(list_); }

    uint64_t integer() noexcept { return va_arg(list_, uint64_t); }
    double real() noexcept { return va_arg(list_, double); }
    const void* pointer() noexcept { return va_arg(list_, const void*); }

  private:
    va_list list_;
};

enum class Size { kNormal, kChar, kShort, kLong };

struct Directive {
    bool is_left = false;
    bool has_plus = false;
    bool has_space = false;
    bool has_zeros = false;
    bool is_alternate = false;
    bool has_precision = false;
    uint64_t width = 0;
    uint64_t precision = 0;
    Size size = Size::kNormal;
    char conversion = 0;
};

constexpr uint64_t kGreatestCount = INT32_MAX;  // of a width or precision

constexpr uint64_t magnitude(int64_t value) noexcept {
    // The least value has no counterpart in its own type.
    return value < 0 ? static_cast<uint64_t>(-(value + 1)) + 1 : static_cast<uint64_t>(value);
}

// Reads what follows a percent sign.
template <class Unit>
class DirectiveReader {
  public:
    DirectiveReader(const Unit* at, const Unit* end, Arguments& arguments) noexcept
        : at_(at), end_(end), arguments_(arguments) {}

    const Unit* at() const noexcept { return at_; }

    bool read(Directive& directive) noexcept {
        while (flag(directive)) ++at_;
        if (take('*')) {
            const auto width = static_cast<int64_t>(arguments_.integer());
            directive.is_left |= width < 0;
            directive.width = magnitude(width);
            if (directive.width > kGreatestCount) return false;
        } else if (!number(directive.width)) {
            return false;
        }
        if (take('.') && !precision(directive)) return false;
        directive.size = size();
        if (at_ == end_) return false;
        // No conversion is a NUL: what lies outside ASCII is thereby unknown.
        directive.conversion = *at_ > 0 && *at_ < 0x7f ? static_cast<char>(*at_) : '\0';
        ++at_;
        return true;
    }

  private:
    bool is_at(char character) const noexcept {
        return at_ != end_ && *at_ == static_cast<Unit>(character);
    }
    bool take(char character) noexcept {
        const bool is_there = is_at(character);
        at_ += is_there;
        return is_there;
    }

    bool flag(Directive& directive) const noexcept {
        if (is_at('-')) return directive.is_left = true;
        if (is_at('+')) return directive.has_plus = true;
        if (is_at(' ')) return directive.has_space = true;
        if (is_at('0')) return directive.has_zeros = true;
        if (is_at('#')) return directive.is_alternate = true;
        return false;
    }

    bool number(uint64_t& value) noexcept {
        for (value = 0; at_ != end_ && *at_ >= Unit{'0'} && *at_ <= Unit{'9'}; ++at_) {
            value = value * 10 + static_cast<uint64_t>(*at_ - Unit{'0'});
            if (value > kGreatestCount) return false;
        }
        return true;
    }

    bool precision(Directive& directive) noexcept {
        directive.has_precision = true;
        if (!take('*')) return number(directive.precision);
        const auto precision = static_cast<int64_t>(arguments_.integer());
        directive.has_precision = precision >= 0;
        directive.precision = precision < 0 ? 0 : static_cast<uint64_t>(precision);
        return directive.precision <= kGreatestCount;
    }

    Size size() noexcept {
        if (take('h')) return take('h') ? Size::kChar : Size::kShort;
        if (take('l')) return take('l') ? Size::kNormal : Size::kLong;
        if (!take('j') && !take('z') && !take('t')) take('L');
        return Size::kNormal;
    }

    const Unit* at_;
    const Unit* end_;
    Arguments& arguments_;
};

// A number as text, in the pieces that padding and precision set apart.
struct Number {
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

// No double has more digits than this before or after its point; all further ones are zeros.
constexpr uint64_t kMostDigits = 1100;
using NumberBuffer = std::array<char, 1536>;

void add_sign(const Directive& directive, bool is_negative, Number& number) noexcept {
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

uint64_t narrowed(uint64_t value, Size size, bool is_signed) noexcept {
    switch (size) {
        case Size::kChar:
            return is_signed ? static_cast<uint64_t>(static_cast<int8_t>(value))
                             : static_cast<uint8_t>(value);
        case Size::kShort:
            return is_signed ? static_cast<uint64_t>(static_cast<int16_t>(value))
                             : static_cast<uint16_t>(value);
        default:
            return value;
    }
}

// `value` is a magnitude; a sign and 0x are in the prefix already. Consumes the zero flag.
void render_magnitude(uint64_t value, int base, Directive& directive, NumberBuffer& buffer,
                      Number& number) noexcept {
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

void render_integer(uint64_t value, Directive& directive, NumberBuffer& buffer,
                    Number& number) noexcept {
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
                    Number& number) noexcept {
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
                   Number& number) noexcept {
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

void render_real(double value, Directive& directive, NumberBuffer& buffer,
                 Number& number) noexcept {
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

// Calls `use` with each of the first `limit` characters; reads nothing behind the last of them.
template <class Use>
void each_character(const char* text, uint64_t limit, Use&& use) {
    constexpr int kEndsWithNul = -1;
    const auto* bytes = reinterpret_cast<const uint8_t*>(text);
    for (; limit != 0 && *bytes; --limit) {
        int length = 0;
        int32_t character;
        U8_NEXT(bytes, length, kEndsWithNul, character);
        use(character < 0 ? kReplacementCharacter : static_cast<NQChar>(character));
        bytes += length;
    }
}

template <class Use>
void each_character(const NQChar* text, uint64_t limit, Use&& use) {
    for (; limit != 0 && *text; ++text, --limit) use(*text);
}

class UnitSink {
  public:
    UnitSink(NQChar* buffer, uint64_t capacity) noexcept : buffer_(buffer), room_(capacity) {}

    void literal(const NQChar* text, uint64_t length) noexcept { copy(text, length); }
    void fill(char character, uint64_t length) noexcept {
        const uint64_t count = claim(length);
        buffer_ = std::fill_n(buffer_, count, static_cast<NQChar>(character));
    }
    void ascii(std::string_view text) noexcept { copy(text.data(), text.size()); }
    void put(NQChar character) noexcept { literal(&character, 1); }
    bool is_full() const noexcept { return is_full_; }
    const NQChar* end() const noexcept { return buffer_; }

  private:
    template <class Unit>
    void copy(const Unit* text, uint64_t length) noexcept {
        // Most pieces are a few characters, for which a loop is cheaper than a call.
        const Unit* const end = text + claim(length);
        while (text != end) *buffer_++ = static_cast<NQChar>(*text++);
    }

    uint64_t claim(uint64_t length) noexcept {
        is_full_ |= length > room_;
        const uint64_t count = std::min(length, room_);
        room_ -= count;
        return count;
    }

    NQChar* buffer_;
    uint64_t room_;
    bool is_full_ = false;  // something did not fit
};

class Utf8Sink {
  public:
    explicit Utf8Sink(std::string& out) noexcept : out_(out) {}

    void literal(const char* text, uint64_t length) { out_.append(text, length); }
    void fill(char character, uint64_t length) { out_.append(length, character); }
    void ascii(std::string_view text) { out_.append(text); }
    void put(NQChar character) {
        uint8_t bytes[4];
        out_.append(reinterpret_cast<const char*>(bytes), encode_utf8(character, bytes));
    }
    static constexpr bool is_full() noexcept { return false; }

  private:
    std::string& out_;
};

template <class Sink>
void emit(const Directive& directive, Number& number, Sink& sink) {
    const uint64_t length = number.length();
    uint64_t padding = directive.width > length ? directive.width - length : 0;
    if (!directive.is_left && directive.has_zeros) number.zeros += std::exchange(padding, 0);
    if (!directive.is_left) sink.fill(' ', std::exchange(padding, 0));
    sink.ascii({number.prefix, number.prefix_length});
    sink.fill('0', number.zeros);
    sink.ascii(number.head);
    if (number.has_point) sink.ascii(".");
    sink.fill('0', number.more_zeros);
    sink.ascii(number.tail);
    sink.fill(' ', padding);
}

template <class Character, class Sink>
void emit_text(const Directive& directive, const Character* text, Sink& sink) {
    const uint64_t limit = directive.has_precision ? directive.precision : UINT64_MAX;
    uint64_t padding = 0;
    if (directive.width != 0) {
        uint64_t length = 0;
        each_character(text, limit, [&](NQChar) { ++length; });
        if (directive.width > length) padding = directive.width - length;
    }
    if (!directive.is_left) sink.fill(' ', std::exchange(padding, 0));
    each_character(text, limit, [&](NQChar character) { sink.put(character); });
    sink.fill(' ', padding);
}

template <class Character, class Sink>
void emit_text_or_null(const Directive& directive, const void* text, Sink& sink) {
    if (text) {
        emit_text(directive, static_cast<const Character*>(text), sink);
    } else {
        emit_text(directive, "(null)", sink);
    }
}

// False: there is no such conversion.
template <class Sink>
bool convert(Directive directive, Arguments& arguments, Sink& sink) {
    NumberBuffer buffer;
    Number number;
    switch (directive.conversion) {
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            render_integer(arguments.integer(), directive, buffer, number);
            break;
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            render_real(arguments.real(), directive, buffer, number);
            break;
        case 'p':
            render_pointer(arguments.pointer(), directive, buffer, number);
            break;
        case 'c': {
            const auto character = static_cast<NQChar>(arguments.integer());
            const uint64_t padding = directive.width > 1 ? directive.width - 1 : 0;
            if (!directive.is_left) sink.fill(' ', padding);
            sink.put(character);
            if (directive.is_left) sink.fill(' ', padding);
            return true;
        }
        case 's':
            if (directive.size != Size::kLong) {
                emit_text_or_null<char>(directive, arguments.pointer(), sink);
                return true;
            }
            [[fallthrough]];
        case 'S':
            emit_text_or_null<NQChar>(directive, arguments.pointer(), sink);
            return true;
        default:
            return false;
    }
    emit(directive, number, sink);
    return true;
}

// The directive that most are: a decimal integer, perhaps with zeros before it. It is read and
// formatted without what only the others need.
template <class Unit>
class PlainInteger {
  public:
    // False: what follows the percent sign is another directive.
    bool read(const Unit* at, const Unit* end) noexcept {
        if (end - at >= 2 && at[0] == Unit{'0'} && at[1] >= Unit{'1'} && at[1] <= Unit{'9'}) {
            width_ = static_cast<std::size_t>(at[1] - Unit{'0'});
            at += 2;
        }
        for (int i = 0; i < 2 && at != end && *at == Unit{'l'}; ++i) ++at;
        if (at == end || (*at != Unit{'d'} && *at != Unit{'u'})) return false;
        is_signed_ = *at == Unit{'d'};
        at_ = at + 1;
        return true;
    }

    // Where the format goes on.
    const Unit* at() const noexcept { return at_; }

    template <class Sink>
    void emit(uint64_t value, Sink& sink) const {
        char text[1 + std::numeric_limits<uint64_t>::digits10 + 1];
        char* const end = text + sizeof text;
        char* begin = end;
        const bool is_negative = is_signed_ && static_cast<int64_t>(value) < 0;
        if (is_negative) value = magnitude(static_cast<int64_t>(value));
        const std::size_t width = width_ - (is_negative && width_ != 0);
        do {
            *--begin = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        while (static_cast<std::size_t>(end - begin) < width) *--begin = '0';
        if (is_negative) *--begin = '-';
        sink.ascii({begin, static_cast<std::size_t>(end - begin)});
    }

  private:
    const Unit* at_ = nullptr;
    std::size_t width_ = 0;
    bool is_signed_ = false;
};

template <class Unit, class Sink>
NQStatus format(const Unit* at, uint64_t length, Arguments& arguments, Sink& sink) {
    const Unit* const end = at + length;
    while (at != end) {
        const Unit* const percent = std::find(at, end, Unit{'%'});
        sink.literal(at, static_cast<uint64_t>(percent - at));
        if (sink.is_full()) return NQ_STATUS_BUFFER_TOO_SMALL;
        if (percent == end) break;
        at = percent + 1;
        PlainInteger<Unit> integer;
        if (at != end && *at == Unit{'%'}) {
            sink.fill('%', 1);
            ++at;
        } else if (integer.read(at, end)) {
            integer.emit(arguments.integer(), sink);
            at = integer.at();
        } else {
            Directive directive;
            DirectiveReader<Unit> reader(at, end, arguments);
            if (!reader.read(directive) || !convert(directive, arguments, sink))
                return NQ_STATUS_INVALID_ARGUMENT;
            at = reader.at();
        }
        if (sink.is_full()) return NQ_STATUS_BUFFER_TOO_SMALL;
    }
    return NQ_STATUS_OK;
}

}  // namespace

NQStatus format_units(const NQChar* format_text, uint64_t format_length, NQChar* buffer,
                      uint64_t capacity, uint64_t* out_length, va_list list) noexcept {
    Arguments arguments(list);
    UnitSink sink(buffer, capacity);
    const NQStatus status = format(format_text, format_length, arguments, sink);
    *out_length = static_cast<uint64_t>(sink.end() - buffer);
    return status;
}

NQStatus format_utf8(std::string_view format_text, va_list list, std::string& out) noexcept {
    Arguments arguments(list);
    out.clear();
    try {
        Utf8Sink sink(out);
        return format(format_text.data(), format_text.size(), arguments, sink);
    } catch (...) {
        return NQ_STATUS_NO_MEMORY;
    }
}

}  // namespace nq
