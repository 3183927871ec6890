#include <array>
#include <cstdarg>

#include "nqinstance/base/units.hpp"
#include "nqinstance/datefmt/formatting.h"
#include "tests/fault/cases.hpp"

namespace nq::test {
namespace {

constexpr auto kFormat = nq::units("%02d-%lld");

// Calls one of the routines with the context, or the variable that holds it, and a buffer.
struct Buffer {
    std::array<NQChar, 16> units{};
    std::uint64_t length = 0;
};

void* word(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

// Turns variadic values into the list that the twin takes.
template <class List>
std::uint64_t with_list(List call, ...) {
    va_list arguments;
    va_start(arguments, call);
    const std::uint64_t result = call(arguments);
    va_end(arguments);
    return result;
}

using Routine = std::uint64_t (*)(CheckingHost&, NQContext**, Buffer&);

constexpr std::int64_t kFirst = 7;
constexpr std::int64_t kSecond = -1;

struct NamedRoutine {
    const char* name;
    Routine call;
    bool has_default;  // needs the host's default context
};

const std::array kRoutines{
    NamedRoutine{"nqzCapture",
                 [](CheckingHost& host, NQContext**, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzCapture)(host.kernel(), word(1), word(2), kFirst);
                 },
                 false},
    NamedRoutine{"nqzCaptureV",
                 [](CheckingHost& host, NQContext**, Buffer&) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) -> std::uint64_t {
                             return NQ_LIBRARY(nqzCaptureV)(host.kernel(), word(1), word(2), list);
                         },
                         kFirst);
                 },
                 false},
    NamedRoutine{"nqzFormatBuff",
                 [](CheckingHost&, NQContext** context, Buffer& out) -> std::uint64_t {
                     return NQ_LIBRARY(nqzFormatBuff)(*context, kFormat.data(), kFormat.size(),
                                                      out.units.data(), out.units.size(),
                                                      &out.length, kFirst, kSecond);
                 },
                 false},
    NamedRoutine{"nqzFormatBuffV",
                 [](CheckingHost&, NQContext** context, Buffer& out) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) -> std::uint64_t {
                             return NQ_LIBRARY(nqzFormatBuffV)(*context, kFormat.data(),
                                                               kFormat.size(), out.units.data(),
                                                               out.units.size(), &out.length, list);
                         },
                         kFirst, kSecond);
                 },
                 false},
    NamedRoutine{"nqzFormat2Buff",
                 [](CheckingHost&, NQContext** context, Buffer& out) -> std::uint64_t {
                     return NQ_LIBRARY(nqzFormat2Buff)(context, kFormat.data(), kFormat.size(),
                                                       out.units.data(), out.units.size(),
                                                       &out.length, kFirst, kSecond);
                 },
                 false},
    NamedRoutine{"nqzFormat2BuffV",
                 [](CheckingHost&, NQContext** context, Buffer& out) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) -> std::uint64_t {
                             return NQ_LIBRARY(nqzFormat2BuffV)(
                                 context, kFormat.data(), kFormat.size(), out.units.data(),
                                 out.units.size(), &out.length, list);
                         },
                         kFirst, kSecond);
                 },
                 false},
    NamedRoutine{"nqzRender",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzRender)(*context, word(1), word(2), word(3), word(4),
                                                  word(5));
                 },
                 false},
    NamedRoutine{"nqzRender2",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzRender2)(context, word(1), word(2), word(3), word(4),
                                                   word(5));
                 },
                 false},
    NamedRoutine{"nqzRenderFmt",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzRenderFmt)(*context, word(1), word(2), word(3), kFirst);
                 },
                 false},
    NamedRoutine{"nqzRenderFmtV",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) {
                             return NQ_LIBRARY(nqzRenderFmtV)(*context, word(1), word(2), word(3),
                                                              list);
                         },
                         kFirst);
                 },
                 false},
    NamedRoutine{"nqzRender2Fmt",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzRender2Fmt)(context, word(1), word(2), word(3), kFirst);
                 },
                 false},
    NamedRoutine{"nqzRender2FmtV",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) {
                             return NQ_LIBRARY(nqzRender2FmtV)(context, word(1), word(2), word(3),
                                                               list);
                         },
                         kFirst);
                 },
                 false},
    NamedRoutine{"nqzStatusBuff",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzStatusBuff)(*context, 9, word(1), word(2), word(3),
                                                      kFirst);
                 },
                 true},
    NamedRoutine{"nqzStatusBuffV",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) -> std::uint64_t {
                             return NQ_LIBRARY(nqzStatusBuffV)(*context, 9, word(1), word(2),
                                                               word(3), list);
                         },
                         kFirst);
                 },
                 true},
    NamedRoutine{"nqzStatus2Buff",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return NQ_LIBRARY(nqzStatus2Buff)(context, 9, word(1), word(2), word(3),
                                                       kFirst);
                 },
                 true},
    NamedRoutine{"nqzStatus2BuffV",
                 [](CheckingHost&, NQContext** context, Buffer&) -> std::uint64_t {
                     return with_list(
                         [&](va_list list) -> std::uint64_t {
                             return NQ_LIBRARY(nqzStatus2BuffV)(context, 9, word(1), word(2),
                                                                word(3), list);
                         },
                         kFirst);
                 },
                 true},
};

enum class Context { kNone, kOwnTable };

// One routine, which returns what the service returned.
class Forward : public Operation {
  public:
    Forward(NamedRoutine routine, Context context) : routine_(routine), kind_(context) {}

    void prepare(CheckingHost& host) override {
        host.record_bytes = sizeof(NQContext*);
        context_ = kind_ == Context::kNone ? nullptr : host.make_context(host.make_kernel());
        host.set_default_context(host.make_context(host.kernel()));
        out_ = {};
    }
    NQStatus call(CheckingHost& host) override {
        return static_cast<NQStatus>(routine_.call(host, &context_, out_));
    }
    std::string result(CheckingHost& host) override {
        return to_utf8(out_.units.data(), out_.length) + " with " +
               std::to_string(host.service_calls().back().first_variadic);
    }
    std::string check_failure(const Round&) override {
        return out_.length ? "a length in spite of the failure" : "";
    }

  private:
    const NamedRoutine routine_;
    const Context kind_;
    NQContext* context_ = nullptr;
    Buffer out_;
};

// A status routine without any context fails before it calls anything.
class WithoutContext : public Forward {
  public:
    explicit WithoutContext(NamedRoutine routine) : Forward(routine, Context::kNone) {}
    void prepare(CheckingHost& host) override {
        Forward::prepare(host);
        host.set_default_context(nullptr);
    }
    NQStatus normal_status() const override { return NQ_STATUS_NO_SERVICE; }
};

}  // namespace

std::vector<SweepCase> format_cases() {
    std::vector<SweepCase> cases;
    for (const NamedRoutine& routine : kRoutines) {
        const std::string name = routine.name;
        cases.push_back({name, {name}, made_of<Forward>(routine, Context::kNone)});
        cases.push_back(
            {name + " in a context", {name}, made_of<Forward>(routine, Context::kOwnTable)});
        if (routine.has_default) {
            cases.push_back({name + " without any", {name}, made_of<WithoutContext>(routine)});
        }
    }
    return cases;
}

}  // namespace nq::test
