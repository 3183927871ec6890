#include "standalone/text/format.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "standalone/base/utf8.hpp"
#include "standalone/text/format_number.hpp"

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

constexpr uint64_t kGreatestCount = INT32_MAX;  // of a width or precision

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

    ArgumentSize size() noexcept {
        if (take('h')) return take('h') ? ArgumentSize::kChar : ArgumentSize::kShort;
        if (take('l')) return take('l') ? ArgumentSize::kNormal : ArgumentSize::kLong;
        if (!take('j') && !take('z') && !take('t')) take('L');
        return ArgumentSize::kNormal;
    }

    const Unit* at_;
    const Unit* end_;
    Arguments& arguments_;
};

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
        while (text != end) *buffer_++ = static_cast<std::make_unsigned_t<Unit>>(*text++);
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
void emit(const Directive& directive, NumberText& number, Sink& sink) {
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
    NumberText number;
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
            if (directive.size != ArgumentSize::kLong) {
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
