#include "standalone/values/strings.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <new>
#include <string>

#include "standalone/base/base64.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/base/utf8.hpp"
#include "standalone/text/messages.hpp"
#include "standalone/values/object.hpp"

namespace nq {
namespace {

// Text of up to so many bytes begins its life in the object's block, right behind the object, and
// moves to a block of its own when it grows beyond the room there.
constexpr uint64_t kLongestInline = 255;
constexpr uint64_t kShortestInline = 31;

struct StringObject : NQU8String {
    uint64_t capacity;  // bytes of text that the buffer has room for beside the terminator

    uint8_t* inline_bytes() noexcept { return reinterpret_cast<uint8_t*>(this + 1); }
};

StringObject& object(NQU8String* string) noexcept { return *static_cast<StringObject*>(string); }

bool is_inline(StringObject& string) noexcept { return string.bytes == string.inline_bytes(); }

void end_at(StringObject& string, uint64_t length) noexcept {
    string.length = length;
    string.bytes[length] = 0;
}

bool set_capacity(StringObject& string, uint64_t capacity) noexcept {
    HostPool* pool = string.header.pool;
    uint64_t room;
    if (__builtin_add_overflow(capacity, uint64_t{1}, &room)) return false;
    void* buffer =
        is_inline(string) ? pool->alloc(pool, room, 0) : pool->realloc(pool, string.bytes, room, 0);
    if (!buffer) return false;
    if (is_inline(string)) std::memcpy(buffer, string.bytes, string.length + 1);
    string.bytes = static_cast<uint8_t*>(buffer);
    string.capacity = capacity;
    return true;
}

// Room for `added` more bytes. The buffer at least doubles, so that appending costs the same
// for every byte in the long run.
bool make_room(StringObject& string, uint64_t added) noexcept {
    uint64_t needed;
    if (__builtin_add_overflow(string.length, added, &needed)) return false;
    if (needed <= string.capacity) return true;
    const uint64_t doubled = string.capacity * 2;
    return set_capacity(string, needed < doubled ? doubled : needed);
}

// Text that a caller hands to an operation: it may lie in the string's own buffer and then moves
// with it.
class SourceText {
  public:
    SourceText(const StringObject& string, const void* text) noexcept
        : string_(string), text_(static_cast<const uint8_t*>(text)) {
        const auto start = reinterpret_cast<uintptr_t>(string.bytes);
        offset_ = reinterpret_cast<uintptr_t>(text_) - start;
        is_own_ = offset_ <= string.capacity;
    }
    bool is_own() const noexcept { return is_own_; }
    // Own text must not reach beyond the string's.
    bool has(uint64_t bytes) const noexcept {
        return !is_own_ || (offset_ <= string_.length && bytes <= string_.length - offset_);
    }
    uint64_t offset() const noexcept { return offset_; }
    const uint8_t* get() const noexcept { return is_own_ ? string_.bytes + offset_ : text_; }

  private:
    const StringObject& string_;
    const uint8_t* text_;
    uint64_t offset_;
    bool is_own_;
};

NQStatus append_bytes(StringObject& string, const void* text, uint64_t length) noexcept {
    const SourceText source(string, text);
    if (!source.has(length)) return NQ_STATUS_INVALID_ARGUMENT;
    if (!make_room(string, length)) return NQ_STATUS_NO_MEMORY;
    std::memmove(string.bytes + string.length, source.get(), length);
    end_at(string, string.length + length);
    return NQ_STATUS_OK;
}

// The units are read by memcpy, for those in a string's buffer need not be aligned.
NQChar unit_at(const uint8_t* text, uint64_t index) noexcept {
    NQChar unit;
    std::memcpy(&unit, text + index * sizeof unit, sizeof unit);
    return unit;
}

// Most text is ASCII: a block of it is taken at once.
struct UnitBlock {
    static constexpr uint64_t kUnits = 16;
    NQChar units[kUnits];

    // False where fewer units are left, or one is not ASCII; at once where the first is not.
    bool load_ascii(const uint8_t* source, uint64_t index, uint64_t count) noexcept {
        if (count - index < kUnits || unit_at(source, index) >= 0x80) return false;
        std::memcpy(units, source + index * sizeof(NQChar), sizeof units);
        NQChar all = 0;
        for (const NQChar unit : units) all |= unit;
        return all < 0x80;
    }

    void store(uint8_t* out) const noexcept {
        for (uint64_t i = 0; i < kUnits; ++i) out[i] = static_cast<uint8_t>(units[i]);
    }
};

// Short text, such as that of a number, is seen through at once.
bool is_short_ascii(const uint8_t* source, uint64_t units) noexcept {
    if (units > 4 * UnitBlock::kUnits) return false;
    NQChar all = 0;
    for (uint64_t i = 0; i < units; ++i) all |= unit_at(source, i);
    return all < 0x80;
}

uint64_t utf8_bytes_of(const uint8_t* source, uint64_t units) noexcept {
    uint64_t bytes = 0;
    UnitBlock block;
    for (uint64_t i = 0; i < units;) {
        const bool is_ascii = block.load_ascii(source, i, units);
        bytes += is_ascii ? UnitBlock::kUnits : utf8_bytes(unit_at(source, i));
        i += is_ascii ? UnitBlock::kUnits : 1;
    }
    return bytes;
}

void encode_units(const uint8_t* source, uint64_t units, uint8_t* out) noexcept {
    UnitBlock block;
    for (uint64_t i = 0; i < units;) {
        if (block.load_ascii(source, i, units)) {
            block.store(out);
            out += UnitBlock::kUnits;
            i += UnitBlock::kUnits;
        } else {
            out += encode_utf8(unit_at(source, i++), out);
        }
    }
}

NQStatus append_units(StringObject& string, const void* text, uint64_t units) noexcept {
    const SourceText source(string, text);
    uint64_t source_bytes;
    if (__builtin_mul_overflow(units, sizeof(NQChar), &source_bytes) || !source.has(source_bytes)) {
        return NQ_STATUS_INVALID_ARGUMENT;
    }
    const bool is_ascii = is_short_ascii(source.get(), units);
    const uint64_t bytes = is_ascii ? units : utf8_bytes_of(source.get(), units);
    if (!make_room(string, bytes)) return NQ_STATUS_NO_MEMORY;
    uint8_t* const out = string.bytes + string.length;
    if (is_ascii) {
        const uint8_t* const from = source.get();
        for (uint64_t i = 0; i < units; ++i) out[i] = static_cast<uint8_t>(unit_at(from, i));
    } else {
        encode_units(source.get(), units, out);
    }
    end_at(string, string.length + bytes);
    return NQ_STATUS_OK;
}

NQStatus append(NQU8String* self, const void* text, uint64_t length, uint32_t encoding) noexcept {
    if (encoding != NQ_ENCODING_UTF8 && encoding != NQ_ENCODING_NQCHAR) {
        return NQ_HOST_STATUS_UNKNOWN_ENCODING;
    }
    if (length == 0) return NQ_STATUS_OK;
    if (!text) return NQ_STATUS_INVALID_ARGUMENT;
    return encoding == NQ_ENCODING_UTF8 ? append_bytes(object(self), text, length)
                                        : append_units(object(self), text, length);
}

NQStatus insert(NQU8String* self, uint64_t position, const uint8_t* text,
                uint64_t length) noexcept {
    StringObject& string = object(self);
    if (position > string.length || (length && !text)) return NQ_STATUS_INVALID_ARGUMENT;
    if (length == 0) return NQ_STATUS_OK;
    const SourceText source(string, text);
    if (!source.has(length)) return NQ_STATUS_INVALID_ARGUMENT;
    if (!make_room(string, length)) return NQ_STATUS_NO_MEMORY;
    uint8_t* gap = string.bytes + position;
    // Text from the string itself: what stands behind the position moves away with the tail.
    uint64_t head = length;
    if (source.is_own()) {
        head = source.offset() < position ? position - source.offset() : 0;
        if (head > length) head = length;
    }
    std::memmove(gap + length, gap, string.length - position);
    std::memmove(gap, source.get(), head);
    if (head < length) std::memmove(gap + head, source.get() + head + length, length - head);
    end_at(string, string.length + length);
    return NQ_STATUS_OK;
}

NQStatus trim(NQU8String* self) noexcept {
    StringObject& string = object(self);
    const std::string_view kept = trimmed(text_of(string));
    // Most lines have nothing before their text.
    const auto* start = reinterpret_cast<const uint8_t*>(kept.data());
    if (start != string.bytes) std::memmove(string.bytes, start, kept.size());
    end_at(string, kept.size());
    return NQ_STATUS_OK;
}

NQStatus format_message_text(NQU8String* self, void*, NQStatus code, ...) noexcept {
    va_list arguments;
    va_start(arguments, code);
    NQStatus status;
    try {
        std::string text;
        status = format_message(code, arguments, text);
        if (status == NQ_STATUS_OK) status = assign(*self, text);
    } catch (const std::bad_alloc&) {
        status = NQ_STATUS_NO_MEMORY;
    }
    va_end(arguments);
    return status;
}

constexpr NQU8StringMethods kMethods{
    .append = append,
    .insert = insert,
    .trim = trim,
    .formatMessage = format_message_text,
};

NQStatus destroy(InstanceHeader* self) noexcept {
    HostPool* pool = self->pool;
    StringObject& string = object(reinterpret_cast<NQU8String*>(self));
    if (!is_inline(string)) pool->free(pool, string.bytes);
    return pool->free(pool, &string);
}

// The string that a clone operation copies, given by its header.
template <class String>
const String& source_of(InstanceHeader* header) noexcept {
    return *reinterpret_cast<const String*>(header);
}

NQStatus store(InstanceHeader* made, InstanceHeader** out) noexcept {
    if (!made) return NQ_STATUS_NO_MEMORY;
    *out = made;
    return NQ_STATUS_OK;
}

NQStatus clone(InstanceHeader* self, HostPool* pool, uint32_t, InstanceHeader** out) noexcept {
    const auto& source = source_of<NQU8String>(self);
    NQU8String* made = make_u8string(pool ? pool : self->pool, text_of(source));
    return store(made ? &made->header : nullptr, out);
}

constexpr ObjectKind kStringKind = object_kind<"NQU8String">(destroy, clone);

StringObject* make_with_capacity(HostPool* pool, uint64_t capacity) noexcept {
    const uint64_t room = capacity > kLongestInline ? 0 : std::max(capacity, kShortestInline);
    auto* string = make_object<StringObject>(kStringKind, pool, room + 1);
    if (!string) return nullptr;
    string->methods = &kMethods;
    string->bytes = string->inline_bytes();
    string->capacity = room;
    end_at(*string, 0);
    if (capacity > room && !set_capacity(*string, capacity)) {
        pool->free(pool, string);
        return nullptr;
    }
    return string;
}

NQStatus create_encoded(NQStringApi*, NQU8String** out, HostPool* pool, const void* text,
                        uint64_t length, uint32_t encoding) noexcept {
    const bool is_utf8 = encoding == NQ_ENCODING_UTF8;
    StringObject* string = make_with_capacity(pool, is_utf8 ? length : 0);
    if (!string) return NQ_STATUS_NO_MEMORY;
    if (is_utf8 && length && text) {
        std::memcpy(string->bytes, text, length);
        end_at(*string, length);
    } else if (const NQStatus status = append(string, text, length, encoding)) {
        drop(&string->header);
        return status;
    }
    *out = string;
    return NQ_STATUS_OK;
}

NQStatus create_from_utf8(NQStringApi* self, NQU8String** out, HostPool* pool, const uint8_t* text,
                          uint64_t length, uint32_t flag) noexcept {
    if (flag && *out) return append(*out, text, length, NQ_ENCODING_UTF8);
    return create_encoded(self, out, pool, text, length, NQ_ENCODING_UTF8);
}

NQU8String* new_string(NQStringApi* self, HostPool* pool, const uint8_t* text, uint64_t length,
                       uint32_t) noexcept {
    NQU8String* string = nullptr;
    create_encoded(self, &string, pool, text, length, NQ_ENCODING_UTF8);
    return string;
}

NQStatus create_with_capacity(NQStringApi*, NQU8String** out, HostPool* pool,
                              uint64_t capacity) noexcept {
    StringObject* string = make_with_capacity(pool, capacity);
    if (!string) return NQ_STATUS_NO_MEMORY;
    *out = string;
    return NQ_STATUS_OK;
}

NQStatus copy_text(NQStringApi* self, NQU8String** out, HostPool* pool, const NQChar* text,
                   uint64_t length) noexcept {
    return create_encoded(self, out, pool, text, length, NQ_ENCODING_NQCHAR);
}

template <Base64Alphabet kAlphabet>
NQStatus base64(NQStringApi*, const uint8_t* bytes, uint64_t length, HostPool* pool,
                NQU8String** out, uint32_t option1, uint32_t option2) noexcept {
    if (option1 || option2) return NQ_STATUS_UNSUPPORTED;
    if (length && !bytes) return NQ_STATUS_INVALID_ARGUMENT;
    const uint64_t text_length = base64_length(length);
    StringObject* string = make_with_capacity(pool, text_length);
    if (!string) return NQ_STATUS_NO_MEMORY;
    encode_base64(bytes, length, kAlphabet, string->bytes);
    end_at(*string, text_length);
    *out = string;
    return NQ_STATUS_OK;
}

NQStatus destroy_units(InstanceHeader* self) noexcept { return self->pool->free(self->pool, self); }

NQStatus clone_units(InstanceHeader* self, HostPool* pool, uint32_t,
                     InstanceHeader** out) noexcept {
    const auto& source = source_of<NQString>(self);
    NQString* made = make_nqstring(pool ? pool : self->pool, source.text, source.length);
    return store(made ? &made->header : nullptr, out);
}

constexpr ObjectKind kUnitStringKind = object_kind<"NQString">(destroy_units, clone_units);

}  // namespace

NQStringApi string_operations() noexcept {
    NQStringApi api{};
    api.newString = new_string;
    api.createFromUtf8 = create_from_utf8;
    api.createEncoded = create_encoded;
    api.createWithCapacity = create_with_capacity;
    api.copyText = copy_text;
    api.base64EncodeU8 = base64<Base64Alphabet::kStandard>;
    api.base64URLEncodeU8 = base64<Base64Alphabet::kUrlSafe>;
    return api;
}

NQU8String* make_u8string(HostPool* pool, std::string_view text) noexcept {
    return new_string(nullptr, pool, reinterpret_cast<const uint8_t*>(text.data()), text.size(), 0);
}

NQStatus assign(NQU8String& string, std::string_view text) noexcept {
    StringObject& assigned = object(&string);
    if (text.size() > assigned.capacity && !set_capacity(assigned, text.size())) {
        return NQ_STATUS_NO_MEMORY;
    }
    if (!text.empty()) std::memmove(assigned.bytes, text.data(), text.size());
    end_at(assigned, text.size());
    return NQ_STATUS_OK;
}

NQString* make_nqstring(HostPool* pool, const NQChar* text, uint64_t length) noexcept {
    uint64_t bytes;
    if (__builtin_mul_overflow(length, sizeof(NQChar), &bytes) ||
        __builtin_add_overflow(bytes, sizeof(NQChar) + sizeof(NQString), &bytes)) {
        return nullptr;
    }
    auto* string = make_object<NQString>(kUnitStringKind, pool, bytes - sizeof(NQString));
    if (!string) return nullptr;
    string->text = reinterpret_cast<NQChar*>(string + 1);
    string->length = length;
    if (length) std::memcpy(string->text, text, length * sizeof(NQChar));
    string->text[length] = 0;
    return string;
}

}  // namespace nq
