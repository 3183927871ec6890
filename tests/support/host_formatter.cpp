#include "tests/support/host_formatter.hpp"

#include <array>
#include <cstdio>

#include "tests/support/faults.hpp"
#include "tests/support/host_strings.hpp"

namespace nq::test {
namespace {

// One value under a printf format of a single directive with `*` for the width.
template <class Value>
std::string print(const char* format, int width, Value value) {
    std::array<char, 512> buffer;
    const int length = std::snprintf(buffer.data(), buffer.size(), format, width, value);
    return {buffer.data(), static_cast<std::size_t>(length)};
}

}  // namespace

std::string format_text(const NQChar* format, std::uint64_t length, va_list arguments) {
    std::string result;
    for (std::uint64_t i = 0; i < length; ++i) {
        if (format[i] != '%') {
            result += to_utf8(format + i, 1);
            continue;
        }
        const auto next = [&]() -> NQChar { return ++i < length ? format[i] : 0; };
        NQChar c = next();
        const bool zeros = c == '0';
        int width = 0;
        for (; c >= '0' && c <= '9'; c = next()) width = width * 10 + static_cast<int>(c - '0');
        for (int k = 0; k < 2 && c == 'l'; ++k) c = next();
        switch (c) {
            case 'd':
                result += print(zeros ? "%0*lld" : "%*lld", width, va_arg(arguments, long long));
                break;
            case 'u':
                result +=
                    print(zeros ? "%0*llu" : "%*llu", width, va_arg(arguments, unsigned long long));
                break;
            case 'f':
                result += print(zeros ? "%0*f" : "%*f", width, va_arg(arguments, double));
                break;
            case 'c': {
                const auto unit = static_cast<NQChar>(va_arg(arguments, unsigned long long));
                result += to_utf8(&unit, 1);
                break;
            }
            case '%':
                result += '%';
                break;
            default:
                report_fault("a format directive that the host does not know");
                return result;
        }
    }
    return result;
}

}  // namespace nq::test
