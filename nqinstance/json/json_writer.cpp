#include "nqinstance/json/json_writer.h"

#include <string.h>

#include <algorithm>
#include <new>

#include "nqinstance/base/try.hpp"
#include "nqinstance/json/writer.hpp"

namespace nq {
namespace {

constexpr int32_t kDefaultIndent = 4;
constexpr int32_t kNoIndent = -1;

struct Layout {
    uint8_t pretty_mode;
    int32_t indent_width;
    bool is_indented;
};

// The caller's string variable. A string that this call puts there is taken back after a failure.
class Output {
  public:
    explicit Output(NQU8String** variable) noexcept : variable_(variable) {}

    // Makes the string unless there is one.
    NQStatus open(NQStringApi* strings, HostPool* pool) noexcept {
        if (*variable_) return NQ_STATUS_OK;
        Held<NQU8String> fresh;
        NQ_TRY(strings->createFromUtf8(strings, fresh.out(), pool, nullptr, 0, 1));
        *variable_ = fresh.take();
        is_fresh_ = true;
        return NQ_STATUS_OK;
    }

    bool is_fresh() const noexcept { return is_fresh_; }
    NQU8String* string() const noexcept { return *variable_; }

    // Takes the string back after a failure.
    NQStatus close(NQStatus status) noexcept {
        if (status && is_fresh_) {
            release(*variable_);
            *variable_ = nullptr;
        }
        return status;
    }

  private:
    NQU8String** variable_;
    bool is_fresh_ = false;
};

// A conversion's record in its pool.
class WriterBlock {
  public:
    WriterBlock(HostPool* pool, NQStringApi* strings) noexcept {
        void* block = pool->alloc(pool, sizeof(JsonWriter), ALLOC_ZERO_FILL);
        if (block) writer_ = new (block) JsonWriter(pool, strings);
    }
    WriterBlock(const WriterBlock&) = delete;
    WriterBlock& operator=(const WriterBlock&) = delete;
    ~WriterBlock() {
        if (!writer_) return;
        HostPool* pool = writer_->pool;
        writer_->~JsonWriter();
        pool->free(pool, writer_);
    }

    JsonWriter* get() const noexcept { return writer_; }

  private:
    JsonWriter* writer_ = nullptr;
};

// A width below zero asks for a size that no string has, which is for the service to refuse.
NQStatus create_blanks(const JsonWriter& writer, Held<NQU8String>& string, int64_t width) noexcept {
    NQStringApi* strings = writer.strings;
    NQ_TRY(strings->createWithCapacity(strings, string.out(), writer.pool,
                                       static_cast<uint64_t>(width)));
    const auto blanks = static_cast<uint64_t>(std::max<int64_t>(width, 0));
    memset(string->bytes, ' ', blanks);
    string->bytes[blanks] = 0;
    string->length = blanks;
    return NQ_STATUS_OK;
}

NQStatus create_indentation(JsonWriter& writer) noexcept {
    const int64_t width = writer.indentWidth;
    NQStringApi* strings = writer.strings;
    NQ_TRY(strings->createWithCapacity(strings, writer.currentIndent.out(), writer.pool,
                                       static_cast<uint64_t>(10 * width)));
    NQ_TRY(create_blanks(writer, writer.bracketIndent, std::max<int64_t>(width / 2, 1)));
    return create_blanks(writer, writer.indentUnit, width);
}

NQStatus write_document(JsonWriter& writer, InstanceHeader* instance, bool ends_line) noexcept {
    NQStatus status = write_value(writer, false, instance);
    if (!status && ends_line) status = writer.write("\n");
    // What was written before a failure belongs to the output too.
    const NQStatus flushed = writer.flush();
    return status ? status : flushed;
}

NQStatus convert(const Layout& layout, NQStringApi* strings, HostPool* pool,
                 InstanceHeader* instance, Output& output) noexcept {
    const WriterBlock block(pool, strings);
    if (!block.get()) return NQ_STATUS_NO_MEMORY;
    JsonWriter& writer = *block.get();
    writer.prettyMode = layout.pretty_mode;
    writer.indentWidth = layout.indent_width;
    if (layout.is_indented) NQ_TRY(create_indentation(writer));
    NQ_TRY(output.open(strings, pool));
    writer.out = output.string();
    return write_document(writer, instance, output.is_fresh() && layout.pretty_mode == 1);
}

}  // namespace
}  // namespace nq

NQStatus nqInstanceToJSON(InstanceApi*, HostPool* pool, InstanceHeader* instance,
                          NQU8String** out) noexcept {
    constexpr nq::Layout kLayout{
        .pretty_mode = 1, .indent_width = nq::kDefaultIndent, .is_indented = true};
    const nq::Held<NQStringApi> strings(nq::load_extension<NQStringApi>());
    if (!strings) return NQ_STATUS_NO_EXTENSION;
    nq::Output output(out);
    NQ_TRY(output.open(strings.get(), pool));
    return output.close(nq::convert(kLayout, strings.get(), pool, instance, output));
}

NQStatus nqInstanceToJSON2(InstanceApi*, NQStringApi* strings, HostPool* pool, uint32_t modeFlags,
                           int32_t indent, InstanceHeader* instance, NQU8String** out) noexcept {
    nq::Layout layout{.pretty_mode = static_cast<uint8_t>(modeFlags & 0xff),
                      .indent_width = indent,
                      .is_indented = false};
    layout.is_indented = layout.pretty_mode != 0 && indent != nq::kNoIndent;
    if (layout.is_indented && indent == 0) layout.indent_width = nq::kDefaultIndent;
    nq::Output output(out);
    return output.close(nq::convert(layout, strings, pool, instance, output));
}
