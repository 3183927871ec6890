#include "standalone/text/encoding.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "nqinstance/host/status.h"
#include "standalone/base/registry.hpp"
#include "standalone/base/utf8_decoder.hpp"

namespace nq {
namespace {

constexpr NQChar kByteOrderMark = 0xfeff;

struct Utf8Transcoder : Transcoder {
    Utf8Decoder decoder;
    bool is_begun = false;  // a character, or a malformed sequence, was met
    Registry<Utf8Transcoder>* registry = nullptr;
};

NQStatus release_transcoder(void* self) noexcept {
    auto* transcoder = static_cast<Utf8Transcoder*>(static_cast<Transcoder*>(self));
    transcoder->registry->erase(transcoder);
    return NQ_STATUS_OK;
}

// Widens the ASCII bytes at the start of the source, at most `length`; returns how many.
uint64_t widen_ascii(const uint8_t* source, uint64_t length, NQChar* target) noexcept {
    constexpr uint64_t kHighBits = UINT64_C(0x8080808080808080);
    uint64_t i = 0;
    for (; i + 8 <= length; i += 8) {
        uint64_t block;
        std::memcpy(&block, source + i, sizeof block);
        if (block & kHighBits) break;
        for (uint64_t j = i; j != i + 8; ++j) target[j] = source[j];
    }
    for (; i != length && source[i] < 0x80; ++i) target[i] = source[i];
    return i;
}

NQStatus convert(Transcoder* base, const uint8_t* source, uint64_t length, NQChar* target,
                 uint64_t target_bytes, uint64_t* bytes_written, void* state_block,
                 uint64_t) noexcept {
    auto* self = static_cast<Utf8Transcoder*>(base);
    auto* state = static_cast<TranscoderState*>(state_block);
    const uint64_t room = target_bytes / sizeof(NQChar);
    Utf8Decoder decoder = self->decoder;
    const uint8_t* at = source;
    const uint8_t* const end = source + length;
    uint64_t produced = 0;
    bool is_bad = false;
    while (at != end && produced != room) {
        NQChar character = kReplacementCharacter;
        const Utf8Decoder::Step step = decoder.next(at, end, character);
        if (step == Utf8Decoder::Step::kMore) continue;
        is_bad |= step == Utf8Decoder::Step::kMalformed;
        if (character == kByteOrderMark && !self->is_begun) {
            self->is_begun = true;
            continue;
        }
        self->is_begun = true;
        target[produced++] = character;
        if (character < 0x80) {
            const uint64_t run = widen_ascii(
                at, std::min(static_cast<uint64_t>(end - at), room - produced), target + produced);
            at += run;
            produced += run;
        }
    }
    self->decoder = decoder;
    state->flags = is_bad ? NQ_TRANSCODER_BAD_INPUT : 0;
    state->consumed = static_cast<uint64_t>(at - source);
    *bytes_written = produced * sizeof(NQChar);
    return at == end ? NQ_STATUS_OK : NQ_STATUS_BUFFER_TOO_SMALL;
}

uint32_t canonical(uint32_t encoding) noexcept { return encoding ? encoding : NQ_ENCODING_NQCHAR; }

int32_t needs_transcoding(HostEncoding*, uint32_t from, uint32_t to) noexcept {
    return canonical(from) != canonical(to);
}

}  // namespace

class EncodingService::Impl {
  public:
    static Transcoder* create(HostEncoding* service, uint32_t from, uint32_t to,
                              uint64_t) noexcept {
        if (from != NQ_ENCODING_UTF8 || canonical(to) != NQ_ENCODING_NQCHAR) return nullptr;
        try {
            auto transcoder = std::make_unique<Utf8Transcoder>();
            Utf8Transcoder* result = transcoder.get();
            transcoder->handle = {NQ_MAGIC, "UTF-8 transcoder", release_transcoder};
            transcoder->convert = convert;
            transcoder->registry = &static_cast<EncodingService*>(service)->impl_->registry_;
            result->registry->insert(std::move(transcoder));
            return result;
        } catch (...) {
            return nullptr;
        }
    }

  private:
    Registry<Utf8Transcoder> registry_;
};

EncodingService::EncodingService() : HostEncoding{}, impl_(std::make_unique<Impl>()) {
    handle = {NQ_MAGIC, "encoding service", [](void*) noexcept { return NQ_STATUS_OK; }};
    needsTranscoding = needs_transcoding;
    createTranscoder = Impl::create;
}

EncodingService::~EncodingService() = default;

}  // namespace nq
