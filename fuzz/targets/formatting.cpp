// Formatting under a format that the input gives: the standalone host's formatter against the C
// library's, through each of the library's entries to the formatting service.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "fuzz/support/input.hpp"
#include "nqinstance/datefmt/formatting.h"
#include "standalone/text/format.hpp"

namespace nq::fuzz {
namespace {

using Units = std::vector<NQChar>;

// What one call left behind.
struct Formatted {
    NQStatus status;
    Units text;
    friend bool operator==(const Formatted&, const Formatted&) = default;
};

// A kernel that has nothing but the formatter, and hands its record on to be looked at.
struct FormattingKernel : HostKernel {
    FormattingKernel() : HostKernel{} {
        formatToBuffer = [](HostKernel*, void* record, const NQChar* format, std::uint64_t length,
                            NQChar* buffer, std::uint64_t capacity, std::uint64_t* out_length,
                            std::uint64_t zero, va_list arguments) noexcept {
            NQ_REQUIRE(zero == 0 && record == expected_record(record));
            return format_units(format, length, buffer, capacity, out_length, arguments);
        };
        captureMessage = [](HostKernel*, void*, void*, va_list arguments) noexcept {
            return static_cast<NQStatus>(va_arg(arguments, std::uint64_t));
        };
        renderMessage = [](HostKernel*, void* record, void* first, void* second, void* fourth,
                           void* fifth) noexcept {
            NQ_REQUIRE(record == expected_record(record));
            return word(first) + 3 * word(second) + 5 * word(fourth) + 7 * word(fifth);
        };
        renderFormatted = [](HostKernel*, void* record, void* first, void* second, void* third,
                             va_list arguments) noexcept {
            NQ_REQUIRE(record == expected_record(record));
            return word(first) + 3 * word(second) + 5 * word(third) +
                   7 * va_arg(arguments, std::uint64_t);
        };
        formatStatus = [](HostKernel*, void* record, NQStatus status, void* first, void* second,
                          void* third, va_list arguments) noexcept {
            NQ_REQUIRE(record == expected_record(record));
            return status + static_cast<NQStatus>(word(first) + 3 * word(second) + 5 * word(third) +
                                                  7 * va_arg(arguments, std::uint64_t));
        };
    }

    static std::uint64_t word(void* pointer) { return std::bit_cast<std::uint64_t>(pointer); }

    // The caller's variable where the routine hands that on, else a record with the context.
    static const void* expected_record(const void* record) {
        if (variable) return variable;
        if (!record) return nullptr;
        const auto& call = *static_cast<const NQCallRecord*>(record);
        NQ_REQUIRE(call.context == context && call.zero == 0);
        return record;
    }

    static inline NQContext** variable = nullptr;
    static inline NQContext* context = nullptr;
};

// The arguments of all directives: integers, then doubles, which come from registers or memory of
// their own, then nothing that a directive could ask for.
struct Values {
    std::uint64_t integers[4];
    double doubles[2];
};

// One of the entries to the formatter.
Formatted format(unsigned entry, const Units& text, std::uint64_t capacity, const Values& values) {
    static FormattingKernel kernel;
    static FormattingKernel other;
    static NQEnvironment environment{{}, &other};
    static NQContext some_context{{}, &environment};
    Exported_NQHandle = &kernel;
    const auto& i = values.integers;
    const auto& d = values.doubles;
    NQContext* context = entry & 1 ? &some_context : nullptr;
    NQContext* held = context;
    NQContext** variable = entry & 2 ? &held : nullptr;
    FormattingKernel::context = context;
    FormattingKernel::variable = variable;
    Units buffer(capacity, 0xEEEEEEEE);
    std::uint64_t length = 0;
    NQStatus status;
    if (variable) {
        status = nqzFormat2Buff(variable, text.data(), text.size(), buffer.data(), capacity,
                                &length, i[0], d[0], i[1], i[2], d[1], i[3]);
    } else {
        status = nqzFormatBuff(context, text.data(), text.size(), buffer.data(), capacity, &length,
                               i[0], d[0], i[1], i[2], d[1], i[3]);
    }
    NQ_REQUIRE(length <= capacity);
    for (std::uint64_t k = length; k < capacity; ++k) NQ_REQUIRE(buffer[k] == 0xEEEEEEEE);
    buffer.resize(length);
    return {status, buffer};
}

// A directive of the input's choice, or plain characters.
class FormatBuilder {
  public:
    explicit FormatBuilder(Input& input) : input_(input) {}

    // Directives that fetch what stands in Values, in its order: the text for the C library, whose
    // integers are given their size, and the same without sizes.
    void legal() {
        constexpr bool kIsDouble[] = {false, true, false, false, true, false};
        for (const bool is_double : kIsDouble) {
            plain();
            const std::string flags = take("-+ #0", input_.byte() % 4);
            const std::string width = number();
            std::string precision = number();
            if (!precision.empty() || input_.byte() % 4 == 3) precision = "." + precision;
            if (is_double) {
                add(flags + width + precision, "", take("fFeEgGaA", 1));
                continue;
            }
            const std::string conversion = take("diuoxXc", 1);
            if (conversion == "c") {
                // Precision and zeros have no meaning there.
                add(flags.find('-') == std::string::npos ? width : "-" + width, "", "c");
            } else {
                add(flags + width + precision, take_size(), conversion);
            }
        }
        plain();
    }

    // Anything.
    void raw() {
        const Bytes bytes = input_.rest();
        ours = {bytes.begin(), bytes.end()};
    }

    Units ours;
    std::string theirs;

  private:
    std::string take(std::string_view from, std::size_t count) {
        std::string text;
        while (text.size() < count) text += from[input_.byte() % from.size()];
        return text;
    }

    std::string number() {
        const std::uint32_t choice = input_.byte();
        return choice < 96 ? std::to_string(choice) : "";
    }

    std::string take_size() {
        constexpr const char* kSizes[] = {"ll", "ll", "hh", "h", "j", "z", "t", "l"};
        return kSizes[input_.byte() % std::size(kSizes)];
    }

    void plain() {
        for (std::uint32_t left = input_.byte() % 3; left > 0; --left) {
            const auto c = static_cast<char>('a' + input_.byte() % 26);
            append(c == 'z' ? "%%" : std::string(1, c));
        }
    }

    void add(const std::string& start, const std::string& size, const std::string& conversion) {
        // A negative or leading zero of a width would be a flag.
        append("%" + start + size + conversion);
    }

    void append(const std::string& text) {
        theirs += text;
        for (const char c : text) ours.push_back(static_cast<unsigned char>(c));
    }

    Input& input_;
};

void require_forwarding(const Values& values) {
    const auto pointer = [](std::uint64_t value) { return std::bit_cast<void*>(value); };
    const auto& i = values.integers;
    void* const a = pointer(i[0]);
    void* const b = pointer(i[1]);
    void* const c = pointer(i[2]);
    const std::uint64_t rest = i[3];
    const std::uint64_t rendered = i[0] + 3 * i[1] + 5 * i[2] + 7 * rest;
    FormattingKernel kernel;
    FormattingKernel other;
    NQEnvironment environment{{}, &other};
    NQContext some_context{{}, &environment};
    NQContext* default_context = &some_context;
    Exported_NQHandle = &kernel;
    NQ_REQUIRE(nqzCapture(&other, a, b, rest) == static_cast<NQStatus>(rest));
    for (NQContext* const context : {static_cast<NQContext*>(nullptr), &some_context}) {
        NQContext* held = context;
        FormattingKernel::variable = nullptr;
        FormattingKernel::context = context;
        NQ_REQUIRE(nqzRender(context, a, b, nullptr, c, pointer(rest)) == rendered);
        NQ_REQUIRE(nqzRenderFmt(context, a, b, c, rest) == rendered);
        FormattingKernel::variable = &held;
        NQ_REQUIRE(nqzRender2(&held, a, b, nullptr, c, pointer(rest)) == rendered);
        NQ_REQUIRE(nqzRender2Fmt(&held, a, b, c, rest) == rendered);
        // A status needs a context, which the host may have.
        const auto code = static_cast<NQStatus>(i[0]);
        const NQStatus expected = code + static_cast<NQStatus>(rendered);
        for (NQContext** const place : {static_cast<NQContext**>(nullptr), &default_context}) {
            kernel.defaultContext = place;
            held = context;
            const bool is_served = context || place;
            FormattingKernel::variable = nullptr;
            FormattingKernel::context = context ? context : default_context;
            NQ_REQUIRE(nqzStatusBuff(context, code, a, b, c, rest) ==
                       (is_served ? expected : NQ_STATUS_NO_SERVICE));
            FormattingKernel::variable = &held;
            NQ_REQUIRE(nqzStatus2Buff(&held, code, a, b, c, rest) ==
                       (is_served ? expected : NQ_STATUS_NO_SERVICE));
            NQ_REQUIRE(held == (is_served ? &some_context : nullptr));
        }
    }
    Exported_NQHandle = nullptr;
    FormattingKernel::variable = nullptr;
    FormattingKernel::context = nullptr;
    NQ_REQUIRE(nqzRender(nullptr, a, b, nullptr, c, a) == NQ_STATUS_NO_SERVICE);
    NQ_REQUIRE(nqzRender2(nullptr, a, b, nullptr, c, a) == NQ_STATUS_NO_SERVICE);
    NQ_REQUIRE(nqzCapture(nullptr, a, b, rest) == NQ_STATUS_NO_SERVICE);
    NQ_REQUIRE(nqzStatus2Buff(nullptr, 1, a, b, c, rest) == NQ_STATUS_NO_SERVICE);
}

NQStatus format_text(std::string& out, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const NQStatus status = format_utf8(format, arguments, out);
    va_end(arguments);
    return status;
}

// Text in a field: as the C library does where a character is a byte; other text, from UTF-8 and
// from units, comes out alike.
void require_strings(Input& input) {
    const std::string flag = input.byte() & 1 ? "-" : "";
    const std::uint32_t width = input.byte() % 40;
    const std::uint32_t precision = input.byte() % 40;
    std::string text;
    for (const std::uint8_t byte : input.text(60)) text += static_cast<char>(byte ? byte : 1);
    const bool is_ascii =
        std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    const std::string field = "%" + flag + std::to_string(width) + "." + std::to_string(precision);
    std::string out;
    NQ_REQUIRE(!format_text(out, (field + "s|").c_str(), text.c_str()));
    if (is_ascii) {
        char expected[200];
        // NOLINTNEXTLINE: the format is the point.
        std::snprintf(expected, sizeof expected, (field + "s|").c_str(), text.c_str());
        NQ_REQUIRE(out == expected);
    }
    // Well-formed by now, so it reads the same from units.
    std::string whole;
    NQ_REQUIRE(!format_text(whole, "%s", text.c_str()));
    Units units;
    for (std::size_t i = 0; i < whole.size();) {
        const auto lead = static_cast<unsigned char>(whole[i]);
        const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        NQChar unit = bytes == 1 ? lead : lead & (0x7Fu >> bytes);
        for (std::size_t k = 1; k < bytes; ++k) unit = unit << 6 | (whole[i + k] & 0x3F);
        units.push_back(unit);
        i += bytes;
    }
    units.push_back(0);
    for (const char* conversion : {"ls|", "S|"}) {
        std::string wide;
        NQ_REQUIRE(!format_text(wide, (field + conversion).c_str(), units.data()));
        NQ_REQUIRE(wide == out);
    }
    std::string null;
    NQ_REQUIRE(!format_text(null, "%s%ls", nullptr, nullptr) && null == "(null)(null)");
    char pointer[40];
    std::snprintf(pointer, sizeof pointer, "%p", static_cast<void*>(units.data()));
    NQ_REQUIRE(!format_text(null, "%p", units.data()) && null == pointer);
    NQ_REQUIRE(!format_text(null, "%p", nullptr) && null == "(nil)");
}

// A format that fetches pointers, or more than there is, is not the formatter's fault.
bool is_safe(const Units& format) {
    int directives = 0;
    for (const NQChar unit : format) {
        directives += unit == '%' || unit == '*';
        if (unit == 's' || unit == 'S') return false;
    }
    return directives <= 4;
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const std::uint32_t choice = input.byte();
    Values values{};
    for (std::uint64_t& value : values.integers) {
        value = input.number();
        if (value & 0x8000) value |= ~std::uint64_t{0xffff};
        if ((value & 0xf) == 0xf) value *= 0x1000100010001;
    }
    for (double& value : values.doubles) {
        const auto base = static_cast<std::int16_t>(input.number());
        value = std::ldexp(base, static_cast<std::int8_t>(input.byte()));
    }
    if (choice % 8 == 7) require_forwarding(values);
    if (choice & 32) {
        require_strings(input);
        return 0;
    }

    FormatBuilder builder(input);
    if (choice & 16) {
        // One after the other; only the integers and doubles that are there may be fetched.
        builder.raw();
        if (!is_safe(builder.ours)) return 0;
        // Widths that a format may ask for are beyond any buffer.
        format(choice & 3, builder.ours, 64, values);
        return 0;
    }
    builder.legal();
    const auto& i = values.integers;
    const auto& d = values.doubles;
    // The C library takes a character as an int and has other ones beyond ASCII.
    if (builder.theirs.find('c') != std::string::npos) {
        for (std::uint64_t& value : values.integers) value &= 0x7f;
    }
    std::vector<char> room(8192);
    // NOLINTNEXTLINE: the format is the point.
    const int length = std::snprintf(room.data(), room.size(), builder.theirs.c_str(), i[0], d[0],
                                     i[1], i[2], d[1], i[3]);
    NQ_REQUIRE(length >= 0 && static_cast<std::size_t>(length) < room.size());
    const Units expected(room.begin(), room.begin() + length);
    NQ_REQUIRE(format(choice & 3, builder.ours, expected.size(), values) ==
               Formatted{NQ_STATUS_OK, expected});
    const std::size_t half = expected.size() / 2;
    const Formatted cut = format(choice & 3, builder.ours, half, values);
    if (half != expected.size()) {
        NQ_REQUIRE(cut == Formatted{NQ_STATUS_BUFFER_TOO_SMALL,
                                    Units(expected.begin(),
                                          expected.begin() + static_cast<std::ptrdiff_t>(half))});
    }
    return 0;
}
