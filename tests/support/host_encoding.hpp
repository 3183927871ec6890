#pragma once
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "nqinstance/host/encoding.h"
#include "tests/support/host_core.hpp"

namespace nq::test {

// What a transcoder does with a character that the source ends inside.
enum class Incomplete {
    kReport,    // leaves it: NQ_STATUS_BUFFER_TOO_SMALL and the bytes consumed
    kKeepTail,  // takes it and completes it with the next call's source
};

// What a transcoder does with bytes that are no UTF-8.
enum class BadBytes {
    kFlag,     // U+FFFD, and the flag in the state
    kReplace,  // U+FFFD alone
    kRefuse,   // NQ_STATUS_MALFORMED, nothing written
};

struct TranscoderPlan {
    bool needed = true;  // false: files hold UTF-32 already and there is no transcoder
    Incomplete incomplete = Incomplete::kReport;
    BadBytes bad = BadBytes::kFlag;
};

// The kernel's encoding service: UTF-8 to UTF-32. The room behind the written characters is
// overwritten.
class EncodingService {
  public:
    explicit EncodingService(HostCore& core);

    HostEncoding* table() { return &table_; }
    std::uint64_t live_transcoders() const;

    TranscoderPlan plan;

  private:
    struct Table : HostEncoding {
        EncodingService* service;
    };
    struct HostTranscoder : Transcoder {
        EncodingService* service;
        std::string tail;
        std::atomic<bool> released;
    };

    static std::int32_t needs_transcoding(HostEncoding* self, std::uint32_t from,
                                          std::uint32_t to) noexcept;
    static Transcoder* create(HostEncoding* self, std::uint32_t from, std::uint32_t to,
                              std::uint64_t options) noexcept;
    static NQStatus convert(Transcoder* self, const std::uint8_t* source, std::uint64_t length,
                            NQChar* target, std::uint64_t target_bytes, std::uint64_t* written,
                            void* state, std::uint64_t zero) noexcept;
    static NQStatus release(void* self) noexcept;

    HostCore& core_;
    Table table_{};
    mutable std::mutex mutex_;
    // Released ones stay, so that their use is seen.
    std::vector<std::unique_ptr<HostTranscoder>> transcoders_;
};

}  // namespace nq::test
