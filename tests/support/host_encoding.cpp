#include "tests/support/host_encoding.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "nqinstance/host/status.h"
#include "tests/support/faults.hpp"

namespace nq::test {
namespace {

struct Step {
    enum { kCharacter, kBad, kIncomplete } kind;
    std::uint64_t bytes;
    std::uint32_t code_point;
};

// The character at the start of the text, which is not empty.
Step first_character(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return {Step::kCharacter, 1, lead};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4) return {Step::kBad, 1, 0};
    std::uint32_t code_point = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size()) return {Step::kIncomplete, i, 0};
        // The second byte's range keeps out overlong forms, surrogates and what is too large.
        const unsigned low = i == 1 && lead == 0xE0 ? 0xA0 : i == 1 && lead == 0xF0 ? 0x90 : 0x80;
        const unsigned high = i == 1 && lead == 0xED ? 0x9F : i == 1 && lead == 0xF4 ? 0x8F : 0xBF;
        if (byte(i) < low || byte(i) > high) return {Step::kBad, i, 0};
        code_point = code_point << 6 | (byte(i) & 63);
    }
    return {Step::kCharacter, length, code_point};
}

}  // namespace

EncodingService::EncodingService(HostCore& core) : core_(core) {
    table_.handle = {NQ_MAGIC, "encoding", nullptr};
    table_.needsTranscoding = needs_transcoding;
    table_.createTranscoder = create;
    table_.service = this;
}

std::uint64_t EncodingService::live_transcoders() const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::uint64_t>(
        std::count_if(transcoders_.begin(), transcoders_.end(),
                      [](const auto& transcoder) { return !transcoder->released; }));
}

std::int32_t EncodingService::needs_transcoding(HostEncoding* self, std::uint32_t from,
                                                std::uint32_t to) noexcept {
    if (from != NQ_ENCODING_UTF8 || to != NQ_ENCODING_NQCHAR) {
        report_fault("needsTranscoding with unknown encodings");
    }
    return static_cast<Table*>(self)->service->plan.needed;
}

Transcoder* EncodingService::create(HostEncoding* self, std::uint32_t from, std::uint32_t to,
                                    std::uint64_t options) noexcept {
    EncodingService& service = *static_cast<Table*>(self)->service;
    if (from != NQ_ENCODING_UTF8 || to || options) {
        report_fault("createTranscoder with unknown arguments");
    }
    if (service.core_.plan.next(Call::kCreateTranscoder)) return nullptr;
    auto transcoder = std::make_unique<HostTranscoder>();
    transcoder->handle = {NQ_MAGIC, "transcoder", release};
    transcoder->convert = convert;
    transcoder->service = &service;
    const std::lock_guard lock(service.mutex_);
    service.transcoders_.push_back(std::move(transcoder));
    return service.transcoders_.back().get();
}

NQStatus EncodingService::convert(Transcoder* self, const std::uint8_t* source,
                                  std::uint64_t length, NQChar* target, std::uint64_t target_bytes,
                                  std::uint64_t* written, void* state,
                                  std::uint64_t zero) noexcept {
    auto& transcoder = *static_cast<HostTranscoder*>(self);
    EncodingService& service = *transcoder.service;
    if (transcoder.released) report_fault("convert with a released transcoder");
    if (zero) report_fault("convert with an argument that is not zero");
    if (const NQStatus status = service.core_.plan.next(Call::kConvert)) return status;
    auto& result = *static_cast<TranscoderState*>(state);
    if (target_bytes % sizeof(NQChar) == 0) std::memset(target, 0xEE, target_bytes);

    std::string text = std::move(transcoder.tail);
    transcoder.tail.clear();
    const std::uint64_t before = text.size();
    text.append(reinterpret_cast<const char*>(source), length);
    std::uint64_t used = 0;
    std::uint64_t units = 0;
    NQStatus status = NQ_STATUS_OK;
    while (used < text.size()) {
        const Step step = first_character(std::string_view(text).substr(used));
        if (step.kind == Step::kIncomplete) {
            if (service.plan.incomplete == Incomplete::kReport) {
                status = NQ_STATUS_BUFFER_TOO_SMALL;
            } else {
                transcoder.tail = text.substr(used);
                used = text.size();
            }
            break;
        }
        if (step.kind == Step::kBad && service.plan.bad == BadBytes::kRefuse) {
            return NQ_STATUS_MALFORMED;
        }
        if ((units + 1) * sizeof(NQChar) > target_bytes) return NQ_STATUS_NO_MEMORY;
        if (step.kind == Step::kBad && service.plan.bad == BadBytes::kFlag) {
            result.flags |= NQ_TRANSCODER_BAD_INPUT;
        }
        target[units++] = step.kind == Step::kBad ? 0xFFFD : step.code_point;
        used += step.bytes;
    }
    *written = units * sizeof(NQChar);
    result.consumed = used - before;
    return status;
}

NQStatus EncodingService::release(void* self) noexcept {
    auto& transcoder = *static_cast<HostTranscoder*>(static_cast<Transcoder*>(self));
    if (transcoder.released.exchange(true)) report_fault("a transcoder released twice");
    return transcoder.service->core_.plan.next(Call::kReleaseTranscoder);
}

}  // namespace nq::test
