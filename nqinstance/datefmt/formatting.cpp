#include "nqinstance/datefmt/formatting.h"

namespace nq {
namespace {

HostKernel* table_of(NQContext* context) noexcept {
    return context ? context->environment->services : Exported_NQHandle;
}

NQContext* context_in(NQContext** variable) noexcept { return variable ? *variable : nullptr; }

NQContext* default_context() noexcept {
    HostKernel* kernel = Exported_NQHandle;
    return kernel && kernel->defaultContext ? *kernel->defaultContext : nullptr;
}

// Runs `call(table, record)` with a call record of the context.
template <class Call>
auto call_with(NQContext* context, Call call) noexcept -> decltype(call(nullptr, nullptr)) {
    HostKernel* table = table_of(context);
    if (!table) return NQ_STATUS_NO_SERVICE;
    NQCallRecord record{.context = context, .zero = 0};
    return call(table, &record);
}

// The same with the caller's variable in place of the record.
template <class Call>
auto call_with(NQContext** variable, Call call) noexcept -> decltype(call(nullptr, nullptr)) {
    HostKernel* table = table_of(context_in(variable));
    if (!table) return NQ_STATUS_NO_SERVICE;
    return call(table, variable);
}

// The same for the status routines, which need a context.
template <class Call>
NQStatus call_with_status(NQContext* context, Call call) noexcept {
    if (context) return call_with(context, call);
    NQCallRecord record{.context = default_context(), .zero = 0};
    if (!record.context) return NQ_STATUS_NO_SERVICE;
    return call(Exported_NQHandle, &record);
}

template <class Call>
NQStatus call_with_status(NQContext** variable, Call call) noexcept {
    if (context_in(variable)) return call_with(variable, call);
    NQContext* context = default_context();
    if (!context) return NQ_STATUS_NO_SERVICE;
    if (variable) *variable = context;
    return call(Exported_NQHandle, variable);
}

// The services, for a context and for a context variable alike.
template <class Context>
NQStatus format(Context context, const NQChar* text, uint64_t length, NQChar* buffer,
                uint64_t capacity, uint64_t* out_length, va_list values) noexcept {
    return call_with(context, [&](HostKernel* table, void* record) {
        return table->formatToBuffer(table, record, text, length, buffer, capacity, out_length, 0,
                                     values);
    });
}

template <class Context>
uint64_t render(Context context, void* first, void* second, void* fourth, void* fifth) noexcept {
    return call_with(context, [=](HostKernel* table, void* record) {
        return table->renderMessage(table, record, first, second, fourth, fifth);
    });
}

template <class Context>
uint64_t render_formatted(Context context, void* first, void* second, void* third,
                          va_list values) noexcept {
    return call_with(context, [&](HostKernel* table, void* record) {
        return table->renderFormatted(table, record, first, second, third, values);
    });
}

template <class Context>
NQStatus format_status(Context context, NQStatus status, void* first, void* second, void* third,
                       va_list values) noexcept {
    return call_with_status(context, [&](HostKernel* table, void* record) {
        return table->formatStatus(table, record, status, first, second, third, values);
    });
}

}  // namespace
}  // namespace nq

// A variadic routine calls the one that takes a va_list, with the values behind `last`.
#define NQ_RETURN_TWIN(twin, last, ...)            \
    va_list values;                                \
    va_start(values, last);                        \
    const auto result = twin(__VA_ARGS__, values); \
    va_end(values);                                \
    return result

NQStatus nqzCapture(HostKernel* kernel, void* first, void* second, ...) noexcept {
    NQ_RETURN_TWIN(nqzCaptureV, second, kernel, first, second);
}
NQStatus nqzCaptureV(HostKernel* kernel, void* first, void* second, va_list arguments) noexcept {
    if (!kernel) return NQ_STATUS_NO_SERVICE;
    return kernel->captureMessage(kernel, first, second, arguments);
}

NQStatus nqzFormatBuff(NQContext* context, const NQChar* format, uint64_t formatLength,
                       NQChar* buffer, uint64_t capacity, uint64_t* outLength, ...) noexcept {
    NQ_RETURN_TWIN(nqzFormatBuffV, outLength, context, format, formatLength, buffer, capacity,
                   outLength);
}
NQStatus nqzFormatBuffV(NQContext* context, const NQChar* format, uint64_t formatLength,
                        NQChar* buffer, uint64_t capacity, uint64_t* outLength,
                        va_list arguments) noexcept {
    return nq::format(context, format, formatLength, buffer, capacity, outLength, arguments);
}
NQStatus nqzFormat2Buff(NQContext** context, const NQChar* format, uint64_t formatLength,
                        NQChar* buffer, uint64_t capacity, uint64_t* outLength, ...) noexcept {
    NQ_RETURN_TWIN(nqzFormat2BuffV, outLength, context, format, formatLength, buffer, capacity,
                   outLength);
}
NQStatus nqzFormat2BuffV(NQContext** context, const NQChar* format, uint64_t formatLength,
                         NQChar* buffer, uint64_t capacity, uint64_t* outLength,
                         va_list arguments) noexcept {
    return nq::format(context, format, formatLength, buffer, capacity, outLength, arguments);
}

uint64_t nqzRender(NQContext* context, void* first, void* second, void*, void* fourth,
                   void* fifth) noexcept {
    return nq::render(context, first, second, fourth, fifth);
}
uint64_t nqzRender2(NQContext** context, void* first, void* second, void*, void* fourth,
                    void* fifth) noexcept {
    return nq::render(context, first, second, fourth, fifth);
}

uint64_t nqzRenderFmt(NQContext* context, void* first, void* second, void* third, ...) noexcept {
    NQ_RETURN_TWIN(nqzRenderFmtV, third, context, first, second, third);
}
uint64_t nqzRenderFmtV(NQContext* context, void* first, void* second, void* third,
                       va_list arguments) noexcept {
    return nq::render_formatted(context, first, second, third, arguments);
}
uint64_t nqzRender2Fmt(NQContext** context, void* first, void* second, void* third, ...) noexcept {
    NQ_RETURN_TWIN(nqzRender2FmtV, third, context, first, second, third);
}
uint64_t nqzRender2FmtV(NQContext** context, void* first, void* second, void* third,
                        va_list arguments) noexcept {
    return nq::render_formatted(context, first, second, third, arguments);
}

NQStatus nqzStatusBuff(NQContext* context, NQStatus status, void* first, void* second, void* third,
                       ...) noexcept {
    NQ_RETURN_TWIN(nqzStatusBuffV, third, context, status, first, second, third);
}
NQStatus nqzStatusBuffV(NQContext* context, NQStatus status, void* first, void* second, void* third,
                        va_list arguments) noexcept {
    return nq::format_status(context, status, first, second, third, arguments);
}
NQStatus nqzStatus2Buff(NQContext** context, NQStatus status, void* first, void* second,
                        void* third, ...) noexcept {
    NQ_RETURN_TWIN(nqzStatus2BuffV, third, context, status, first, second, third);
}
NQStatus nqzStatus2BuffV(NQContext** context, NQStatus status, void* first, void* second,
                         void* third, va_list arguments) noexcept {
    return nq::format_status(context, status, first, second, third, arguments);
}
