#include "nqinstance/datefmt/formatting.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "nqinstance/core/api.h"
#include "nqinstance/host/status.h"
#include "tests/support/library.hpp"

namespace {

enum class Service { kNone, kCapture, kFormat, kRender, kRenderFormatted, kStatus };

// What the last call of a service got; the values behind are fetched as two 64-bit integers and
// a double.
struct Received {
    int calls = 0;
    Service service = Service::kNone;
    HostKernel* table = nullptr;
    void* record = nullptr;
    NQCallRecord call_record{};             // when `record` is one
    NQContext* context_variable = nullptr;  // what the variable holds during the call
    std::vector<std::uint64_t> arguments;
    std::int64_t integer = 0;
    std::uint64_t unsigned_integer = 0;
    double real = 0;
};

Received received;
bool record_is_variable = false;
NQContext* put_into_variable = nullptr;
constexpr std::uint64_t kResult = 0xfeedface12345678u;
constexpr NQStatus kStatus = NQ_STATUS_BUFFER_TOO_SMALL;

std::uint64_t word(const void* pointer) { return reinterpret_cast<std::uint64_t>(pointer); }

void receive(Service service, HostKernel* table, void* record,
             std::vector<std::uint64_t> arguments) {
    ++received.calls;
    received.service = service;
    received.table = table;
    received.record = record;
    received.arguments = std::move(arguments);
    if (!record) return;
    if (record_is_variable) {
        received.context_variable = *static_cast<NQContext**>(record);
        if (put_into_variable) *static_cast<NQContext**>(record) = put_into_variable;
    } else {
        received.call_record = *static_cast<NQCallRecord*>(record);
    }
}

void receive_values(va_list values) {
    received.integer = va_arg(values, std::int64_t);
    received.unsigned_integer = va_arg(values, std::uint64_t);
    received.real = va_arg(values, double);
}

NQStatus capture(HostKernel* self, void* first, void* second, va_list values) noexcept {
    receive(Service::kCapture, self, nullptr, {word(first), word(second)});
    receive_values(values);
    return kStatus;
}

NQStatus format(HostKernel* self, void* record, const NQChar* text, std::uint64_t length,
                NQChar* buffer, std::uint64_t capacity, std::uint64_t* out_length,
                std::uint64_t zero, va_list values) noexcept {
    receive(Service::kFormat, self, record,
            {word(text), length, word(buffer), capacity, word(out_length), zero});
    receive_values(values);
    return kStatus;
}

std::uint64_t render(HostKernel* self, void* record, void* first, void* second, void* fourth,
                     void* fifth) noexcept {
    receive(Service::kRender, self, record, {word(first), word(second), word(fourth), word(fifth)});
    return kResult;
}

std::uint64_t render_formatted(HostKernel* self, void* record, void* first, void* second,
                               void* third, va_list values) noexcept {
    receive(Service::kRenderFormatted, self, record, {word(first), word(second), word(third)});
    receive_values(values);
    return kResult;
}

NQStatus format_status(HostKernel* self, void* record, NQStatus status, void* first, void* second,
                       void* third, va_list values) noexcept {
    receive(Service::kStatus, self, record, {status, word(first), word(second), word(third)});
    receive_values(values);
    return kStatus;
}

HostKernel make_kernel() {
    HostKernel kernel{};
    kernel.handle = {NQ_MAGIC, "kernel", nullptr};
    kernel.captureMessage = capture;
    kernel.formatToBuffer = format;
    kernel.renderMessage = render;
    kernel.renderFormatted = render_formatted;
    kernel.formatStatus = format_status;
    return kernel;
}

// The fixed arguments of the untyped routines, told apart by their addresses.
char places[8];
void* const kFirst = &places[1];
void* const kSecond = &places[2];
void* const kThird = &places[3];
void* const kFourth = &places[4];
void* const kFifth = &places[5];

const NQChar kFormat[19] = {'%', '0', '2', 'd', ':'};
NQChar buffer[255];
std::uint64_t out_length;

const std::vector<std::uint64_t> kFormatArguments{word(kFormat),     19, word(buffer), 255,
                                                  word(&out_length), 0};
const std::vector<std::uint64_t> kThreeArguments{word(kFirst), word(kSecond), word(kThird)};
const std::vector<std::uint64_t> kRenderArguments{word(kFirst), word(kSecond), word(kFourth),
                                                  word(kFifth)};
constexpr NQStatus kMessageStatus = NQ_STATUS_UNCLOSED_SECTION;
const std::vector<std::uint64_t> kStatusArguments{kMessageStatus, word(kFirst), word(kSecond),
                                                  word(kThird)};

#define NQ_VALUES INT64_C(-7), UINT64_C(0xfedcba9876543210), 1.25

// Every routine that takes an NQContext* or NQContext**, under a common form.
template <class Context>
struct Routine {
    const char* name;
    Service service;
    std::uint64_t (*call)(Context context);
    bool has_values;
    std::uint64_t result;
    const std::vector<std::uint64_t>& arguments;
};

// Calls a list-taking routine with the values behind the tag.
template <class Call>
std::uint64_t with_list(Call call, ...) {
    va_list values;
    va_start(values, call);
    const std::uint64_t result = call(values);
    va_end(values);
    return result;
}

#define NQ_FORMAT_ARGUMENTS kFormat, 19, buffer, 255, &out_length
#define NQ_STATUS_ARGUMENTS kMessageStatus, kFirst, kSecond, kThird

#define NQ_VARIADIC(routine, Context, service, result, expected, ...)                   \
    {#routine,                                                                          \
     service,                                                                           \
     [](Context context) -> std::uint64_t {                                             \
         return NQ_LIBRARY(routine)(context, __VA_ARGS__, NQ_VALUES);                   \
     },                                                                                 \
     true,                                                                              \
     result,                                                                            \
     expected},                                                                         \
    {                                                                                   \
#routine "V", service,                                                                \
            [](Context context) -> std::uint64_t {                                            \
                return with_list(                                                             \
                    [context](va_list values) -> std::uint64_t {                              \
                        return NQ_LIBRARY(routine##V)(context, __VA_ARGS__, values);          \
                    },                                                                        \
                    NQ_VALUES);                                                               \
            },                                                                                \
            true, result, expected \
    }
#define NQ_RENDER(routine, Context)                                                     \
    {                                                                                   \
#routine, Service::kRender,                                                           \
            [](Context context) -> std::uint64_t {                                            \
                return NQ_LIBRARY(routine)(context, kFirst, kSecond, kThird, kFourth,         \
                                           kFifth);                                           \
            },                                                                                \
            false, kResult, kRenderArguments \
    }

const std::vector<Routine<NQContext*>>& context_routines() {
    static const std::vector<Routine<NQContext*>> routines{
        NQ_VARIADIC(nqzFormatBuff, NQContext*, Service::kFormat, kStatus, kFormatArguments,
                    NQ_FORMAT_ARGUMENTS),
        NQ_RENDER(nqzRender, NQContext*),
        NQ_VARIADIC(nqzRenderFmt, NQContext*, Service::kRenderFormatted, kResult, kThreeArguments,
                    kFirst, kSecond, kThird),
    };
    return routines;
}

const std::vector<Routine<NQContext*>>& context_status_routines() {
    static const std::vector<Routine<NQContext*>> routines{
        NQ_VARIADIC(nqzStatusBuff, NQContext*, Service::kStatus, kStatus, kStatusArguments,
                    NQ_STATUS_ARGUMENTS),
    };
    return routines;
}

const std::vector<Routine<NQContext**>>& variable_routines() {
    static const std::vector<Routine<NQContext**>> routines{
        NQ_VARIADIC(nqzFormat2Buff, NQContext**, Service::kFormat, kStatus, kFormatArguments,
                    NQ_FORMAT_ARGUMENTS),
        NQ_RENDER(nqzRender2, NQContext**),
        NQ_VARIADIC(nqzRender2Fmt, NQContext**, Service::kRenderFormatted, kResult, kThreeArguments,
                    kFirst, kSecond, kThird),
    };
    return routines;
}

const std::vector<Routine<NQContext**>>& variable_status_routines() {
    static const std::vector<Routine<NQContext**>> routines{
        NQ_VARIADIC(nqzStatus2Buff, NQContext**, Service::kStatus, kStatus, kStatusArguments,
                    NQ_STATUS_ARGUMENTS),
    };
    return routines;
}

class Formatting : public testing::Test {
  protected:
    void SetUp() override {
        received = {};
        record_is_variable = false;
        put_into_variable = nullptr;
        NQ_LIBRARY(nqextent)(&host_kernel_);
    }
    void TearDown() override { NQ_LIBRARY(nqextent)(nullptr); }

    // One call, which must reach its service with everything in place.
    template <class Context>
    void expect_served(const Routine<Context>& routine, Context context, HostKernel& table) {
        SCOPED_TRACE(routine.name);
        received = {};
        EXPECT_EQ(routine.call(context), routine.result);
        EXPECT_EQ(received.calls, 1);
        EXPECT_EQ(received.service, routine.service);
        EXPECT_EQ(received.table, &table);
        EXPECT_EQ(received.arguments, routine.arguments);
        if (!routine.has_values) return;
        EXPECT_EQ(received.integer, -7);
        EXPECT_EQ(received.unsigned_integer, UINT64_C(0xfedcba9876543210));
        EXPECT_EQ(received.real, 1.25);
    }

    template <class Context>
    void expect_refused(const Routine<Context>& routine, Context context) {
        SCOPED_TRACE(routine.name);
        received = {};
        EXPECT_EQ(routine.call(context), NQ_STATUS_NO_SERVICE);
        EXPECT_EQ(received.calls, 0);
    }

    void expect_record(NQContext* context) {
        EXPECT_EQ(received.call_record.context, context);
        EXPECT_EQ(received.call_record.zero, 0u);
    }

    HostKernel host_kernel_ = make_kernel();
    HostKernel other_kernel_ = make_kernel();
    NQEnvironment environment_{{NQ_MAGIC, "environment", nullptr}, &other_kernel_};
    NQContext context_{{NQ_MAGIC, "context", nullptr}, &environment_};
    NQContext default_context_{{NQ_MAGIC, "default", nullptr}, nullptr};
    NQContext* default_place_ = &default_context_;
};

template <class T>
std::vector<T> all_of(const std::vector<T>& plain, const std::vector<T>& status) {
    std::vector<T> result;
    for (const T& routine : plain) result.push_back(routine);
    for (const T& routine : status) result.push_back(routine);
    return result;
}

}  // namespace

TEST_F(Formatting, CaptureUsesItsTableDirectly) {
    EXPECT_EQ(NQ_LIBRARY(nqzCapture)(&other_kernel_, kFirst, kSecond, NQ_VALUES), kStatus);
    const auto expect_captured = [&] {
        EXPECT_EQ(received.service, Service::kCapture);
        EXPECT_EQ(received.table, &other_kernel_);
        EXPECT_EQ(received.arguments, (std::vector{word(kFirst), word(kSecond)}));
        EXPECT_EQ(received.integer, -7);
        EXPECT_EQ(received.unsigned_integer, UINT64_C(0xfedcba9876543210));
        EXPECT_EQ(received.real, 1.25);
    };
    expect_captured();
    received = {};
    const auto capture_list = [&](va_list values) -> std::uint64_t {
        return NQ_LIBRARY(nqzCaptureV)(&other_kernel_, kFirst, kSecond, values);
    };
    EXPECT_EQ(with_list(capture_list, NQ_VALUES), kStatus);
    expect_captured();
}

TEST_F(Formatting, CaptureWithoutTableIsRefused) {
    EXPECT_EQ(NQ_LIBRARY(nqzCapture)(nullptr, kFirst, kSecond, NQ_VALUES), NQ_STATUS_NO_SERVICE);
    EXPECT_EQ(received.calls, 0);
}

TEST_F(Formatting, ContextLeadsToItsEnvironmentsTable) {
    for (const auto& routine : all_of(context_routines(), context_status_routines())) {
        expect_served(routine, &context_, other_kernel_);
        expect_record(&context_);
    }
}

TEST_F(Formatting, WithoutContextTheHostKernelServes) {
    for (const auto& routine : context_routines()) {
        expect_served<NQContext*>(routine, nullptr, host_kernel_);
        ASSERT_NE(received.record, nullptr) << routine.name;
        expect_record(nullptr);
    }
}

TEST_F(Formatting, VariableItselfGoesToTheService) {
    record_is_variable = true;
    for (const auto& routine : all_of(variable_routines(), variable_status_routines())) {
        NQContext* variable = &context_;
        expect_served(routine, &variable, other_kernel_);
        EXPECT_EQ(received.record, &variable) << routine.name;
        EXPECT_EQ(variable, &context_) << routine.name;
    }
}

TEST_F(Formatting, ServiceMayUpdateTheVariable) {
    record_is_variable = true;
    put_into_variable = &default_context_;
    for (const auto& routine : all_of(variable_routines(), variable_status_routines())) {
        NQContext* variable = &context_;
        expect_served(routine, &variable, other_kernel_);
        EXPECT_EQ(variable, &default_context_) << routine.name;
    }
}

TEST_F(Formatting, VariableWithoutContextMeansTheHostKernel) {
    record_is_variable = true;
    for (const auto& routine : variable_routines()) {
        NQContext* variable = nullptr;
        expect_served(routine, &variable, host_kernel_);
        EXPECT_EQ(received.record, &variable) << routine.name;
        EXPECT_EQ(variable, nullptr) << routine.name;
        expect_served<NQContext**>(routine, nullptr, host_kernel_);
        EXPECT_EQ(received.record, nullptr) << routine.name;
    }
}

TEST_F(Formatting, StatusWithoutContextTakesTheDefault) {
    host_kernel_.defaultContext = &default_place_;
    for (const auto& routine : context_status_routines()) {
        expect_served<NQContext*>(routine, nullptr, host_kernel_);
        expect_record(&default_context_);
    }
    record_is_variable = true;
    for (const auto& routine : variable_status_routines()) {
        NQContext* variable = nullptr;
        expect_served(routine, &variable, host_kernel_);
        EXPECT_EQ(received.record, &variable) << routine.name;
        EXPECT_EQ(received.context_variable, &default_context_) << routine.name;
        EXPECT_EQ(variable, &default_context_) << routine.name;
        expect_served<NQContext**>(routine, nullptr, host_kernel_);
        EXPECT_EQ(received.record, nullptr) << routine.name;
    }
}

TEST_F(Formatting, StatusWithoutAnyContextIsRefused) {
    NQContext* no_context = nullptr;
    const auto expect_all_refused = [&] {
        for (const auto& routine : context_status_routines()) {
            expect_refused<NQContext*>(routine, nullptr);
        }
        for (const auto& routine : variable_status_routines()) {
            NQContext* variable = nullptr;
            expect_refused(routine, &variable);
            EXPECT_EQ(variable, nullptr) << routine.name;
            expect_refused<NQContext**>(routine, nullptr);
        }
    };
    host_kernel_.defaultContext = &no_context;
    expect_all_refused();
    host_kernel_.defaultContext = nullptr;
    expect_all_refused();
    NQ_LIBRARY(nqextent)(nullptr);
    expect_all_refused();
}

TEST_F(Formatting, WithoutAnyTableEveryRoutineIsRefused) {
    NQ_LIBRARY(nqextent)(nullptr);
    for (const auto& routine : context_routines()) expect_refused<NQContext*>(routine, nullptr);
    for (const auto& routine : variable_routines()) {
        NQContext* variable = nullptr;
        expect_refused(routine, &variable);
        expect_refused<NQContext**>(routine, nullptr);
    }
    // A context brings its own table.
    for (const auto& routine : all_of(context_routines(), context_status_routines())) {
        expect_served(routine, &context_, other_kernel_);
    }
    environment_.services = nullptr;
    for (const auto& routine : all_of(context_routines(), context_status_routines())) {
        expect_refused(routine, &context_);
    }
}
