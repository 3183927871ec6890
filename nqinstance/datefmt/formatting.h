#pragma once
#include "nqinstance/host/kernel.h"
#include "nqinstance/host/status.h"

NQ_BEGIN_C

/* One way in to the formatting services of a kernel table. Nothing is formatted here: every
 * argument goes on to the service as it came, and what the service returns comes back unchanged.
 * What an untyped argument means, the directives of a format and what becomes of output that does
 * not fit are the host's rules.
 *
 * Which table serves the call: that of the context's environment; without a context the host
 * kernel's own. A routine that takes an NQContext* hands the service an NQCallRecord with it; a
 * routine with a 2 in its name takes the address of the caller's context variable, which may be
 * null, and hands on that address, so that the service may change the variable.
 *
 * A routine whose name ends in V takes the values as a list, its twin as variadic arguments, where
 * each integer and character is to be passed as 64 bits and each floating value as a double.
 *
 * Every routine returns NQ_STATUS_NO_SERVICE without a call when there is no table. All may be
 * called by several threads where the table's services may. */

/* Captures a message with the services of `kernel` itself. */
NQ_EXPORT NQStatus nqzCapture(HostKernel* kernel, void* first, void* second, ...) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzCaptureV(HostKernel* kernel, void* first, void* second,
                               va_list arguments) NQ_NOEXCEPT;

/* Formats values into `buffer`, which has room for `capacity` units; `*outLength` receives the
 * units stored, without a terminator. `formatLength` counts units. */
NQ_EXPORT NQStatus nqzFormatBuff(NQContext* context, const NQChar* format, uint64_t formatLength,
                                 NQChar* buffer, uint64_t capacity, uint64_t* outLength,
                                 ...) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzFormatBuffV(NQContext* context, const NQChar* format, uint64_t formatLength,
                                  NQChar* buffer, uint64_t capacity, uint64_t* outLength,
                                  va_list arguments) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzFormat2Buff(NQContext** context, const NQChar* format, uint64_t formatLength,
                                  NQChar* buffer, uint64_t capacity, uint64_t* outLength,
                                  ...) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzFormat2BuffV(NQContext** context, const NQChar* format, uint64_t formatLength,
                                   NQChar* buffer, uint64_t capacity, uint64_t* outLength,
                                   va_list arguments) NQ_NOEXCEPT;

/* Renders a message and returns the service's result word. `third` is not passed on, on
 * purpose: the service takes four words, and given `third` it would take `fourth` for another. */
NQ_EXPORT uint64_t nqzRender(NQContext* context, void* first, void* second, void* third,
                             void* fourth, void* fifth) NQ_NOEXCEPT;
NQ_EXPORT uint64_t nqzRender2(NQContext** context, void* first, void* second, void* third,
                              void* fourth, void* fifth) NQ_NOEXCEPT;

/* Renders a message with values and returns the service's result word. */
NQ_EXPORT uint64_t nqzRenderFmt(NQContext* context, void* first, void* second, void* third,
                                ...) NQ_NOEXCEPT;
NQ_EXPORT uint64_t nqzRenderFmtV(NQContext* context, void* first, void* second, void* third,
                                 va_list arguments) NQ_NOEXCEPT;
NQ_EXPORT uint64_t nqzRender2Fmt(NQContext** context, void* first, void* second, void* third,
                                 ...) NQ_NOEXCEPT;
NQ_EXPORT uint64_t nqzRender2FmtV(NQContext** context, void* first, void* second, void* third,
                                  va_list arguments) NQ_NOEXCEPT;

/* Formats the message of a status. Without a context these take the host's default context, which
 * then stands in the call record or in the caller's variable; the table is the host kernel's.
 * NQ_STATUS_NO_SERVICE: there is no default context either; nothing was called or stored. */
NQ_EXPORT NQStatus nqzStatusBuff(NQContext* context, NQStatus status, void* first, void* second,
                                 void* third, ...) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzStatusBuffV(NQContext* context, NQStatus status, void* first, void* second,
                                  void* third, va_list arguments) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzStatus2Buff(NQContext** context, NQStatus status, void* first, void* second,
                                  void* third, ...) NQ_NOEXCEPT;
NQ_EXPORT NQStatus nqzStatus2BuffV(NQContext** context, NQStatus status, void* first, void* second,
                                   void* third, va_list arguments) NQ_NOEXCEPT;

NQ_END_C
