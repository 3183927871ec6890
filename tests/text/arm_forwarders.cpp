// The locale forwarders on a 64-bit Arm processor: every register and stack argument passes through
// them. A program of its own without a C library, so that the build needs none for that processor.
// It ends with 0, or with the number of the first forwarder, counted from 1, that lost something.
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "nqinstance/host/status.h"
#include "nqinstance/text/locale_forwarders.h"

#if !defined(__aarch64__)
#error "this program is for a 64-bit Arm processor"
#endif

namespace nq::test {
namespace {

using Anything = void();

struct Forwarder {
    Anything* function;
    int word;
};

#define NQ_FORWARDER(operation, word) \
    { reinterpret_cast<Anything*>(nqzsu8##operation), word }

const Forwarder kForwarders[] = {
    NQ_FORWARDER(ToDouble, 4),        NQ_FORWARDER(DoubleFormat, 7),
    NQ_FORWARDER(IntfastFormat, 8),   NQ_FORWARDER(IntmaxFormat, 9),
    NQ_FORWARDER(UintfastFormat, 10), NQ_FORWARDER(UintmaxFormat, 11),
    NQ_FORWARDER(ToIntfast, 12),      NQ_FORWARDER(ToIntmax, 13),
    NQ_FORWARDER(ToUintfast, 14),     NQ_FORWARDER(ToUintmax, 15),
    NQ_FORWARDER(IntFormat, 16),      NQ_FORWARDER(UIntFormat, 17),
    NQ_FORWARDER(ToInt, 18),          NQ_FORWARDER(ToUInt, 19),
    NQ_FORWARDER(LongFormat, 20),     NQ_FORWARDER(ULongFormat, 21),
    NQ_FORWARDER(ToLong, 22),         NQ_FORWARDER(ToULong, 23),
    NQ_FORWARDER(DatetimeFormat, 28), NQ_FORWARDER(DateFormat, 29),
    NQ_FORWARDER(TimeFormat, 30),     NQ_FORWARDER(ToDatetime, 31),
    NQ_FORWARDER(ToDate, 32),         NQ_FORWARDER(ToTime, 33),
};
constexpr int kCount = sizeof kForwarders / sizeof *kForwarders;
static_assert(kCount == 24);

// A locale as a caller passes it: 34 words.
void* locale[34];
bool is_intact;

// More integers than the eight registers for them, and more doubles than theirs.
double take_all(void* self, uint64_t a, double p, uint64_t b, double q, uint64_t c, double r,
                uint64_t d, double s, uint64_t e, double t, uint64_t f, double u, uint64_t g,
                double v, uint64_t h, double w, double x, int32_t last) {
    const uint64_t integers[] = {a, b, c, d, e, f, g, h};
    const double doubles[] = {p, q, r, s, t, u, v, w, x};
    is_intact = self == locale && last == -1;
    for (int i = 0; i < 8; ++i) {
        is_intact = is_intact && integers[i] == UINT64_MAX - static_cast<uint64_t>(i);
    }
    for (int i = 0; i < 9; ++i) is_intact = is_intact && doubles[i] == i + 0.5;
    return 6.25;
}

NQStatus take_variable(void* self, int count, ...) {
    va_list arguments;
    va_start(arguments, count);
    is_intact = self == locale;
    for (int i = 0; i < count; ++i) {
        const auto integer = va_arg(arguments, uint64_t);
        const double number = va_arg(arguments, double);
        is_intact = is_intact && integer == static_cast<uint64_t>(i) << 40 && number == i * 0.25;
    }
    va_end(arguments);
    return NQ_STATUS_BUFFER_TOO_SMALL;
}

const void* return_address;

[[gnu::noinline]] void keep_return_address(void*) { return_address = __builtin_return_address(0); }

template <class Function>
Function* forward(const Forwarder& forwarder, Function* target) {
    for (void*& word : locale) word = nullptr;
    locale[forwarder.word] = reinterpret_cast<void*>(target);
    is_intact = false;
    return reinterpret_cast<Function*>(forwarder.function);
}

bool passes_everything(const Forwarder& forwarder) {
    constexpr uint64_t kMax = UINT64_MAX;
    const auto all = forward(forwarder, &take_all);
    if (all(locale, kMax, 0.5, kMax - 1, 1.5, kMax - 2, 2.5, kMax - 3, 3.5, kMax - 4, 4.5, kMax - 5,
            5.5, kMax - 6, 6.5, kMax - 7, 7.5, 8.5, -1) != 6.25 ||
        !is_intact) {
        return false;
    }
    constexpr auto integer = [](int i) { return static_cast<uint64_t>(i) << 40; };
    const auto variable = forward(forwarder, &take_variable);
    if (variable(locale, 10, integer(0), 0., integer(1), .25, integer(2), .5, integer(3), .75,
                 integer(4), 1., integer(5), 1.25, integer(6), 1.5, integer(7), 1.75, integer(8),
                 2., integer(9), 2.25) != NQ_STATUS_BUFFER_TOO_SMALL ||
        !is_intact) {
        return false;
    }
    // The operation returns to the caller itself, so nothing can be left on the stack.
    const auto* code = reinterpret_cast<const uint8_t*>(forwarder.function);
    forward(forwarder, &keep_return_address)(locale);
    const auto* returned_to = static_cast<const uint8_t*>(return_address);
    return returned_to < code || returned_to >= code + 16;
}

int first_that_loses() {
    for (int i = 0; i < kCount; ++i) {
        if (!passes_everything(kForwarders[i])) return i + 1;
    }
    return 0;
}

}  // namespace
}  // namespace nq::test

extern "C" [[noreturn]] void start() {
    register long status asm("x0") = nq::test::first_that_loses();
    register long exit_group asm("x8") = 94;
    asm volatile("svc #0" : : "r"(status), "r"(exit_group));
    __builtin_unreachable();
}
