#pragma once
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

#include "nqinstance/host/base.h"

namespace nq::test {

// Every call that the library can make to its host and that reports whether it worked, as X(call,
// name, what it may report). Those that give something back come last: a planned failure still does
// it and only reports the status.
// clang-format off
#define NQ_HOST_CALLS(X)                                \
    X(kAlloc, "alloc", kOther)                          \
    X(kRealloc, "realloc", kOther)                      \
    X(kCreatePool, "createPool", kOther)                \
    X(kRegister, "registerHandle", kOther)              \
    X(kLoadExtension, "loadExtension", kOther)          \
    X(kGetOption, "getOption", kOther)                  \
    X(kGetTempPool, "getTempPool", kOther)              \
    X(kNewString, "newString", kText)                   \
    X(kCreateFromUtf8, "createFromUtf8", kText)         \
    X(kCreateEncoded, "createEncoded", kText)           \
    X(kCreateWithCapacity, "createWithCapacity", kText) \
    X(kCopyText, "copyText", kText)                     \
    X(kBase64, "base64EncodeU8", kText)                 \
    X(kBase64Url, "base64URLEncodeU8", kText)           \
    X(kStringAppend, "string append", kText)            \
    X(kStringInsert, "string insert", kText)            \
    X(kStringTrim, "string trim", kText)                \
    X(kFormatMessage, "string formatMessage", kFormat)  \
    X(kCloneObject, "clone", kOther)                    \
    X(kCreateArray, "createArray", kOther)              \
    X(kArrayAppend, "array append", kOther)             \
    X(kCreateDictionary, "createDictionary", kOther)    \
    X(kDictionarySet, "dictionary set", kOther)         \
    X(kDictionaryGet, "dictionary get", kOther)         \
    X(kListKeys, "dictionary listKeys", kOther)         \
    X(kOpenFile, "openFile", kFile)                     \
    X(kReadFile, "read", kFile)                         \
    X(kParseJson, "JSON parse", kOther)                 \
    X(kCreateTranscoder, "createTranscoder", kOther)    \
    X(kConvert, "convert", kConvert)                    \
    X(kCaptureMessage, "captureMessage", kFormat)       \
    X(kFormatToBuffer, "formatToBuffer", kFormat)       \
    X(kRenderMessage, "renderMessage", kFormat)         \
    X(kRenderFormatted, "renderFormatted", kFormat)     \
    X(kFormatStatus, "formatStatus", kFormat)           \
    X(kCreateNormalizer, "createNormalizer", kOther)    \
    X(kNormalize, "normalize", kOther)                  \
    X(kCompareTexts, "normalizer compare", kOther)      \
    X(kFree, "free", kOther)                            \
    X(kDestroyPool, "pool destroy", kOther)             \
    X(kUnregister, "unregisterHandle", kOther)          \
    X(kReleaseTempPool, "releaseTempPool", kOther)      \
    X(kReleaseExtension, "extension release", kOther)   \
    X(kReleaseObject, "object release", kOther)         \
    X(kCloseFile, "file release", kOther)               \
    X(kReleaseTranscoder, "transcoder release", kOther)
// clang-format on

enum class Call : std::uint8_t {
#define NQ_CALL(call, name, statuses) call,
    NQ_HOST_CALLS(NQ_CALL)
#undef NQ_CALL
};

#define NQ_ONE_MORE(...) +1
inline constexpr std::size_t kCallKinds = NQ_HOST_CALLS(NQ_ONE_MORE);
#undef NQ_ONE_MORE

const char* call_name(Call call);
constexpr bool gives_back(Call call) { return call >= Call::kFree; }

// Statuses that the service behind a call may report; at least two.
std::span<const NQStatus> statuses_of(Call call);

struct FailedCall {
    Call call;
    NQStatus status;
};

// Decides which host calls fail, and counts them all. Calls are numbered from 0.
class FailurePlan {
  public:
    // The n-th call of this kind from now fails with `status`: once, or with `sticky` every call
    // of the kind from then on. Calls that return a pointer return null.
    void fail(Call kind, std::uint64_t n, NQStatus status, bool sticky = false);

    // The n-th call of any kind fails; `variant` picks the status out of statuses_of(). With
    // `sticky` all calls fail from then on.
    void fail_any(std::uint64_t n, std::size_t variant = 0, bool sticky = false);

    // The calls `first` and `second` of any kind fail, each with its own pick of status.
    void fail_pair(std::uint64_t first, std::uint64_t second, std::size_t first_variant = 0,
                   std::size_t second_variant = 0);

    // Nothing fails any more; the counts start again at 0.
    void clear();

    // createDictionary, openFile and parse hand out an object along with the failing status.
    void deliver_with_failure(bool deliver) { deliver_with_failure_ = deliver; }
    bool delivers_with_failure() const { return deliver_with_failure_; }

    std::uint64_t calls(Call kind) const { return counts_[static_cast<std::size_t>(kind)]; }
    std::uint64_t total() const { return total_; }

    // The calls that failed since the last clear(), in order; the first few hundred of them.
    std::vector<FailedCall> failures() const;

    // Keeps the order of the calls from now on; not for use with several threads.
    void record() { recording_ = true; }
    const std::vector<Call>& recorded() const { return recorded_; }

    // For the host's services: counts the call; the status to fail with, or 0.
    NQStatus next(Call kind);

  private:
    static constexpr std::uint64_t kNever = UINT64_MAX;
    struct Rule {
        std::uint64_t at = kNever;
        bool sticky = false;
        NQStatus status = 0;
        bool hits(std::uint64_t n) const { return sticky ? n >= at : n == at; }
    };

    std::array<Rule, kCallKinds> rules_{};
    Rule any_{};
    Rule any_other_{};
    std::size_t variant_ = 0;
    std::size_t other_variant_ = 0;
    bool deliver_with_failure_ = false;
    std::array<std::atomic<std::uint64_t>, kCallKinds> counts_{};
    std::atomic<std::uint64_t> total_{0};
    mutable std::mutex mutex_;
    std::vector<FailedCall> failures_;
    bool recording_ = false;
    std::vector<Call> recorded_;
};

}  // namespace nq::test
