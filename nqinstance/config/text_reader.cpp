#include "nqinstance/config/text_reader.h"

#include <string.h>

#include <algorithm>
#include <new>

#include "nqinstance/base/held.hpp"
#include "nqinstance/base/try.hpp"
#include "nqinstance/config/line_scan.hpp"
#include "nqinstance/core/api.h"
#include "nqinstance/core/instance.hpp"
#include "nqinstance/text/memory.h"

namespace nq {
namespace {

constexpr uint64_t kCapacity = 2048;    // characters of the buffer, bytes of the raw buffer
constexpr uint64_t kBytesPerPlace = 6;  // reserved for each character of the buffer
constexpr uint64_t kTargetBytes = kCapacity * sizeof(NQChar);
constexpr uint64_t kReadBytes = 0x1000;

constexpr InstanceKind kTextReaderKind{"NQTextReader", nqTextReaderDestroy, nullptr, nullptr};

constexpr IoeOpenParameters kOpenParameters{
    .engine = {'D', 'I', 'S', 'K', ' ', ' ', ' ', ' '},
    .word_32 = 1,
    .word_36 = 0,
    .blockSize = 0x1000,
    .word_48 = 1,
    .word_52 = 0,
    .word_56 = 4,
    .host_60 = {},
    .word_188 = 0,
    .word_192 = 28,
    .word_196 = 28,
    .word_200 = 1,
    .host_204 = {},
};

// The status that an open reports stands right behind its parameters.
struct OpenRequest {
    IoeOpenParameters parameters;
    NQStatus status;
};

template <class T>
void release_if_present(T* object) noexcept {
    if (object) release(object);
}

// Reads until the raw buffer is full or the file ends; `total` counts the bytes read, without
// those left over that stand before them.
NQStatus read_raw(NQTextReader& reader, uint64_t& total) noexcept {
    total = 0;
    IoeFile* file = reader.file;
    if (!file) return NQ_STATUS_INVALID_ARGUMENT;
    NQData& raw = *reader.rawBuffer;
    const uint64_t leftover = reader.leftover;
    if (leftover) memmove(raw.bytes, raw.bytes + raw.length - leftover, leftover);
    const uint64_t room = raw.length - leftover;
    const IoeParameters parameters{};
    while (total < room) {
        const uint64_t asked = std::min(room - total, kReadBytes);
        uint8_t* cursor = raw.bytes + leftover + total;
        uint64_t delivered = asked;
        uint64_t word = 0;
        const NQStatus status = file->read(file, &cursor, &delivered, &word, 0, &parameters);
        if (status && status != NQ_STATUS_END_OF_FILE) return status;
        total += std::min(delivered, asked);
        if (status) return total ? NQ_STATUS_OK : NQ_STATUS_END_OF_FILE;
    }
    return NQ_STATUS_OK;
}

NQStatus convert(NQTextReader& reader, uint64_t total) noexcept {
    Transcoder* transcoder = reader.transcoder;
    TranscoderState* state = reader.convState;
    // Less the left-over count, not plus it, on purpose: plus it, the lines of a file would be
    // others where a transcoder leaves bytes over.
    const uint64_t source_bytes = total < reader.leftover ? 0 : total - reader.leftover;
    uint64_t written = 0;
    const NQStatus status =
        transcoder->convert(transcoder, reader.rawBuffer->bytes, source_bytes, reader.charBuffer,
                            kTargetBytes, &written, state, 0);
    reader.leftover = 0;
    if (state->flags & NQ_TRANSCODER_BAD_INPUT) return NQ_STATUS_UNCONVERTIBLE;
    if (status == NQ_STATUS_BUFFER_TOO_SMALL) {
        reader.leftover = total - std::min(total, state->consumed);
    } else if (status) {
        return status;
    }
    reader.charCount = std::min(written, kTargetBytes) / sizeof(NQChar);
    return NQ_STATUS_OK;
}

// Fills the character buffer anew; on failure it is empty.
NQStatus fill(NQTextReader& reader) noexcept {
    reader.charCount = 0;
    uint64_t total;
    NQ_TRY(read_raw(reader, total));
    if (reader.transcoder) {
        NQ_TRY(convert(reader, total));
    } else {
        memcpy(reader.charBuffer, reader.rawBuffer->bytes, total + reader.leftover);
        reader.charCount = (total + reader.leftover) / sizeof(NQChar);
    }
    reader.position = reader.charBuffer;
    return NQ_STATUS_OK;
}

NQStatus begin_line(NQTextReader& reader, NQU8String** line) noexcept {
    NQStringApi* strings = reader.stringExt;
    return strings->createFromUtf8(strings, line, reader.header.pool, nullptr, 0, 1);
}

NQStatus append(NQU8String* line, const NQChar* start, const NQChar* end) noexcept {
    return line->methods->append(line, start, static_cast<uint64_t>(end - start),
                                 NQ_ENCODING_NQCHAR);
}

// Adds the last characters of a line and takes off a carriage return at its end.
NQStatus end_line(NQTextReader& reader, const NQChar* terminator, NQU8String** line) noexcept {
    if (!*line) NQ_TRY(begin_line(reader, line));
    NQU8String* text = *line;
    if (const NQStatus status = append(text, reader.position, terminator)) {
        release(text);
        *line = nullptr;
        return status;
    }
    if (text->length && text->bytes[text->length - 1] == '\r') {
        text->length -= 1;
        text->bytes[text->length] = 0;
    }
    reader.position += terminator - reader.position + 1;
    return NQ_STATUS_OK;
}

// Adds what is buffered, without a terminator, to the line.
NQStatus take_segment(NQTextReader& reader, const NQChar* end, NQU8String** line) noexcept {
    // Also for a line that was begun before: the string service continues it.
    NQ_TRY(begin_line(reader, line));
    return append(*line, reader.position, end);
}

NQStatus read_line(NQTextReader& reader, NQU8String** line) noexcept {
    if (reader.charCount == 0) {
        const NQStatus status = fill(reader);
        if (status && status != NQ_STATUS_END_OF_FILE) return status;
        if (status) {
            *line = nullptr;
            return NQ_STATUS_OK;
        }
    }
    *line = nullptr;
    for (;;) {
        const NQChar* end = reader.charBuffer + reader.charCount;
        const NQChar* terminator = find_terminator(reader.position, end);
        if (terminator != end) return end_line(reader, terminator, line);
        if (reader.position != end) NQ_TRY(take_segment(reader, end, line));
        const NQStatus status = fill(reader);
        if (status) return status == NQ_STATUS_END_OF_FILE ? NQ_STATUS_OK : status;
    }
}

NQStatus undo(NQTextReader* reader, NQStatus status) noexcept {
    nqTextReaderDestroy(&reader->header);
    return status;
}

}  // namespace
}  // namespace nq

NQStatus nqTextReaderCreate(InstanceApi* api, HostPool* pool, NQTextReader** reader) noexcept {
    void* block = pool->alloc(pool, sizeof(NQTextReader), ALLOC_ZERO_FILL);
    if (!block) return NQ_STATUS_NO_MEMORY;
    auto* made = new (block) NQTextReader{};
    nq::fill_header(made->header, nq::kTextReaderKind, api, pool);
    made->capacity = nq::kCapacity;

    made->convState =
        static_cast<TranscoderState*>(pool->alloc(pool, sizeof(TranscoderState), ALLOC_ZERO_FILL));
    if (made->convState) {
        made->charBuffer =
            static_cast<NQChar*>(pool->alloc(pool, nq::kCapacity * nq::kBytesPerPlace, 0));
    }
    if (!made->charBuffer) {
        // Only the reader goes back. The state block is left with the pool on purpose: freed, it
        // would be one call of the host more, which may fail.
        pool->free(pool, made);
        return NQ_STATUS_NO_MEMORY;
    }
    NQStatus status = NQ_STATUS_OK;
    made->rawBuffer = nqDataCreateSized(api, pool, nq::kCapacity, &status);
    if (status) return nq::undo(made, status);
    made->ioeExt = nq::load_extension<NQIoeApi>();
    made->stringExt = nq::load_extension<NQStringApi>();
    if (!made->ioeExt || !made->stringExt) return nq::undo(made, NQ_STATUS_NO_EXTENSION);
    *reader = made;
    return NQ_STATUS_OK;
}

NQStatus nqTextReaderOpen(NQTextReader* reader, const char* fileName) noexcept {
    nq::OpenRequest request{nq::kOpenParameters, NQ_STATUS_OK};
    nq::release_if_present(reader->transcoder);
    reader->transcoder = nullptr;
    HostEncoding* encoding = Exported_NQHandle->encoding;
    if (encoding->needsTranscoding(encoding, NQ_ENCODING_UTF8, NQ_ENCODING_NQCHAR)) {
        reader->transcoder = encoding->createTranscoder(encoding, NQ_ENCODING_UTF8, 0, 0);
        if (!reader->transcoder) return NQ_STATUS_NO_SERVICE;
    }

    NQStringApi* strings = reader->stringExt;
    nq::Held<NQU8String> name;
    NQ_TRY(strings->createEncoded(strings, name.out(), reader->header.pool, fileName,
                                  mwStrLen(fileName), NQ_ENCODING_UTF8));
    NQIoeApi* ioe = reader->ioeExt;
    const IoeParameters io_parameters{};
    // A file opened before is replaced and not closed, on purpose: its holder may still read it.
    reader->file = ioe->openFile(ioe, name->bytes, name->length, &request.parameters, 0, 0, "file",
                                 &request.status, &io_parameters);
    return request.status;
}

NQStatus nqTextReaderReadLine(NQTextReader* reader, NQU8String** line) noexcept {
    const NQStatus status = nq::read_line(*reader, line);
    if (status) reader->charCount = 0;
    return status;
}

NQStatus nqTextReaderDestroy(InstanceHeader* instance) noexcept {
    auto* reader = reinterpret_cast<NQTextReader*>(instance);
    HostPool* pool = instance->pool;
    nq::release_if_present(reader->rawBuffer);
    nq::release_if_present(reader->transcoder);
    nq::release_if_present(reader->file);
    if (reader->convState) pool->free(pool, reader->convState);
    if (reader->charBuffer) pool->free(pool, reader->charBuffer);
    nq::release_if_present(reader->ioeExt);
    nq::release_if_present(reader->stringExt);
    pool->free(pool, reader);
    return NQ_STATUS_OK;
}
