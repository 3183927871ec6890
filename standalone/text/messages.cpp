#include "standalone/text/messages.hpp"

#include <algorithm>
#include <array>
#include <charconv>

#include "standalone/text/format.hpp"
#include "standalone/text/message_table.hpp"

namespace nq {
namespace {

constexpr bool is_before(const Message& a, const Message& b) noexcept { return a.code < b.code; }
constexpr bool is_sorted() noexcept {
    for (std::size_t i = 1; i != std::size(kMessages); ++i) {
        if (!is_before(kMessages[i - 1], kMessages[i])) return false;
    }
    return true;
}
static_assert(is_sorted(), "the codes are not in ascending order");

constexpr std::string_view kReal = "%.15g";
constexpr std::size_t kLastDigitAt = 3;  // in that directive

bool is_told_by(double value, int digits) noexcept {
    std::array<char, 32> text;
    const auto written =
        std::to_chars(text.begin(), text.end(), value, std::chars_format::general, digits);
    double read = 0;
    std::from_chars(text.begin(), written.ptr, read);
    return read == value;
}

// As many digits for each double as tell it from all others, so that a value never reads like the
// bound that it misses.
template <std::size_t kRoom>
std::string_view with_enough_digits(std::string_view text, va_list arguments,
                                    std::array<char, kRoom>& room) noexcept {
    std::copy(text.begin(), text.end(), room.begin());
    for (std::size_t at = text.find(kReal); at != text.npos; at = text.find(kReal, at + 1)) {
        const double value = va_arg(arguments, double);
        const int digits = is_told_by(value, 15) ? 15 : is_told_by(value, 16) ? 16 : 17;
        room[at + kLastDigitAt] = static_cast<char>('0' + digits - 10);
    }
    return {room.data(), text.size()};
}

constexpr std::size_t kLongestMessage = 96;
static_assert(std::all_of(std::begin(kMessages), std::end(kMessages),
                          [](const Message& row) { return row.text.size() <= kLongestMessage; }));

}  // namespace

std::string_view message_text(NQStatus code) noexcept {
    const Message* found =
        std::lower_bound(std::begin(kMessages), std::end(kMessages), Message{code, {}}, is_before);
    if (found == std::end(kMessages) || found->code != code) return {};
    return found->text;
}

NQStatus format_message(NQStatus code, va_list arguments, std::string& out) noexcept {
    std::string_view text = message_text(code);
    std::array<char, 32> unknown{"Status 0x"};
    if (text.empty()) {
        constexpr std::size_t kDigitsAt = 9;
        const auto end =
            std::to_chars(unknown.begin() + kDigitsAt, unknown.end() - 1, code, 16).ptr;
        *end = '.';
        text = {unknown.data(), static_cast<std::size_t>(end + 1 - unknown.data())};
    }
    std::array<char, kLongestMessage> room;
    if (text.find(kReal) != text.npos) {
        va_list values;
        va_copy(values, arguments);
        text = with_enough_digits(text, values, room);
        va_end(values);
    }
    return format_utf8(text, arguments, out);
}

}  // namespace nq
