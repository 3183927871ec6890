#pragma once
#include <memory>

#include "nqinstance/host/encoding.h"

namespace nq {

// The host's encoding service. Its table's release does nothing, and any thread may use it; a
// transcoder belongs to one thread at a time, and one that nobody released is freed with the
// service.
//
// It knows UTF-8 (20) and NQChar text (27, also called 0) and makes transcoders from the first to
// the second only. A transcoder is strict: it writes U+FFFD for each malformed sequence and sets
// NQ_TRANSCODER_BAD_INPUT in the state of that call. It drops a byte-order mark that begins the
// stream. The bytes of a character that the source cuts off stay in the transcoder until the next
// call, so every byte of a source counts as consumed; bytes cut off by the end of the stream are
// never seen again. NQ_STATUS_BUFFER_TOO_SMALL means that the target is full: `consumed` says how
// many bytes of the source were used, and the next call continues with the others.
class EncodingService : public HostEncoding {
  public:
    EncodingService();
    ~EncodingService();
    EncodingService(const EncodingService&) = delete;
    EncodingService& operator=(const EncodingService&) = delete;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace nq
