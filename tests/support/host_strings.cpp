#include "tests/support/host_strings.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstring>
#include <utility>

#include "nqinstance/host/status.h"
#include "tests/support/faults.hpp"

namespace nq::test {
namespace {

constexpr std::uint64_t kAlwaysMovedBelow = 4096;

struct HostString : NQU8String {
    StringService* service;
    std::uint64_t capacity;
};

struct HostText : NQString {
    StringService* service;
};

HostString& own(NQU8String* string) { return *static_cast<HostString*>(string); }

// One call of a string's operation: refused when the string is gone or the plan says so.
NQStatus enter(NQU8String* string, Call call) {
    if (!HostCore::alive(string, call_name(call))) return NQ_STATUS_INVALID_ARGUMENT;
    return own(string).service->core().plan.next(call);
}

CheckingPool& pool_of(NQU8String& string) { return CheckingPool::of(string.header.pool); }

// Moves the string to a buffer with room for `capacity` bytes and the terminator.
bool move_buffer(HostString& string, std::uint64_t capacity) {
    auto* bytes =
        static_cast<std::uint8_t*>(pool_of(string).take(capacity + 1, false, BlockKind::kPlain));
    if (!bytes) return false;
    const std::uint64_t kept = std::min(string.length, capacity);
    if (string.bytes) {
        std::memcpy(bytes, string.bytes, kept);
        pool_of(string).give(string.bytes);
    }
    bytes[kept] = 0;
    string.bytes = bytes;
    string.length = kept;
    string.capacity = capacity;
    return true;
}

bool make_room(HostString& string, std::uint64_t added) {
    const std::uint64_t needed = string.length + added;
    if (needed <= string.capacity && needed >= kAlwaysMovedBelow) return true;
    return move_buffer(string, needed < kAlwaysMovedBelow ? needed : needed * 2);
}

NQStatus insert_bytes(HostString& string, std::uint64_t position, std::string_view text) {
    if (!make_room(string, text.size())) return NQ_STATUS_NO_MEMORY;
    std::uint8_t* place = string.bytes + position;
    std::memmove(place + text.size(), place, string.length - position);
    if (!text.empty()) std::memcpy(place, text.data(), text.size());
    string.length += text.size();
    string.bytes[string.length] = 0;
    return NQ_STATUS_OK;
}

// The UTF-8 bytes of text in either encoding; the length counts bytes or units.
std::string decode(const void* text, std::uint64_t length, std::uint32_t encoding) {
    if (!text && length) {
        report_fault("a null text with a length");
        return {};
    }
    if (encoding == NQ_ENCODING_UTF8) return {static_cast<const char*>(text), length};
    if (encoding == NQ_ENCODING_NQCHAR) return to_utf8(static_cast<const NQChar*>(text), length);
    report_fault("unknown encoding code " + std::to_string(encoding));
    return {};
}

NQStatus append(NQU8String* self, const void* text, std::uint64_t length,
                std::uint32_t encoding) noexcept {
    if (const NQStatus status = enter(self, Call::kStringAppend)) return status;
    HostString& string = own(self);
    return insert_bytes(string, string.length, decode(text, length, encoding));
}

// True when the text holds no part of a UTF-8 sequence.
bool holds_whole_characters(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const std::size_t bytes = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
        if ((lead >= 0x80 && lead < 0xc0) || bytes > text.size() - at) return false;
        for (const char c : text.substr(at + 1, bytes - 1)) {
            if ((static_cast<unsigned char>(c) & 0xc0) != 0x80) return false;
        }
        at += bytes;
    }
    return true;
}

NQStatus insert(NQU8String* self, std::uint64_t position, const std::uint8_t* text,
                std::uint64_t length) noexcept {
    if (const NQStatus status = enter(self, Call::kStringInsert)) return status;
    HostString& string = own(self);
    if (position > string.length) {
        report_fault("insert beyond the end of a string");
        return NQ_STATUS_INVALID_ARGUMENT;
    }
    const std::string inserted = decode(text, length, NQ_ENCODING_UTF8);
    if (!holds_whole_characters(inserted)) report_fault("insert of text that is not UTF-8");
    return insert_bytes(string, position, inserted);
}

NQStatus trim(NQU8String* self) noexcept {
    if (const NQStatus status = enter(self, Call::kStringTrim)) return status;
    HostString& string = own(self);
    constexpr std::string_view kWhite = " \t\n\v\f\r";
    std::string text = text_of(self);
    text.erase(0, std::min(text.find_first_not_of(kWhite), text.size()));
    text.erase(text.find_last_not_of(kWhite) + 1);
    string.length = 0;
    return insert_bytes(string, 0, text);
}

enum class Argument { kNone, kSigned, kUnsigned, kDouble };

// What the messages of validation have for arguments, in the order of their codes: the value and
// the bound, or the value alone.
struct MessageArguments {
    Argument kind = Argument::kNone;
    int count = 0;
};

MessageArguments arguments_of(NQStatus code) {
    const NQStatus index = code - NQ_MESSAGE_SIGNED_BELOW_MIN;
    if (code < NQ_MESSAGE_SIGNED_BELOW_MIN || index >= 9) return {};
    constexpr Argument kKinds[] = {Argument::kSigned, Argument::kUnsigned, Argument::kDouble};
    return {kKinds[index % 3], index < 6 ? 2 : 1};
}

std::string next_argument(Argument kind, va_list arguments) {
    switch (kind) {
        case Argument::kSigned:
            return std::to_string(va_arg(arguments, std::int64_t));
        case Argument::kUnsigned:
            return std::to_string(va_arg(arguments, std::uint64_t));
        default: {
            std::array<char, 64> text{};
            const auto end = std::to_chars(text.begin(), text.end(), va_arg(arguments, double)).ptr;
            return {text.begin(), end};
        }
    }
}

NQStatus format_message(NQU8String* self, void* user_data, NQStatus code, ...) noexcept {
    if (const NQStatus status = enter(self, Call::kFormatMessage)) return status;
    std::string text;
    va_list arguments;
    va_start(arguments, code);
    const MessageArguments expected = arguments_of(code);
    for (int i = 0; i < expected.count; ++i) {
        if (i != 0) text += ", ";
        text += next_argument(expected.kind, arguments);
    }
    va_end(arguments);
    HostString& string = own(self);
    string.service->record({user_data, code, text});
    string.length = 0;
    return insert_bytes(string, 0, "message " + std::to_string(code) + "(" + text + ")");
}

constexpr NQU8StringMethods kMethods{append, insert, trim, format_message};

NQStatus release_string(void* self) noexcept {
    if (!HostCore::alive(self, "release")) return NQ_STATUS_INVALID_ARGUMENT;
    HostString& string = own(static_cast<NQU8String*>(self));
    const NQStatus status = string.service->core().plan.next(Call::kReleaseObject);
    drop_reference(&string.header);
    return status;
}

NQStatus destroy_string(InstanceHeader* self) noexcept {
    auto& string = *reinterpret_cast<HostString*>(self);
    if (string.bytes[string.length] != 0) report_fault("a string without its terminator");
    CheckingPool& pool = pool_of(string);
    pool.give(string.bytes);
    pool.give(&string);
    return NQ_STATUS_OK;
}

NQStatus clone_string(InstanceHeader* self, HostPool* pool, std::uint32_t,
                      InstanceHeader** out) noexcept {
    auto* source = reinterpret_cast<NQU8String*>(self);
    if (const NQStatus status = enter(source, Call::kCloneObject)) return status;
    HostString& string = own(source);
    NQU8String* clone = string.service->make(pool ? pool : self->pool, text_of(&string));
    if (!clone) return NQ_STATUS_NO_MEMORY;
    *out = &clone->header;
    return NQ_STATUS_OK;
}

NQStatus release_text(void* self) noexcept {
    if (!HostCore::alive(self, "release")) return NQ_STATUS_INVALID_ARGUMENT;
    auto* text = static_cast<HostText*>(self);
    const NQStatus status = text->service->core().plan.next(Call::kReleaseObject);
    drop_reference(&text->header);
    return status;
}

NQStatus destroy_text(InstanceHeader* self) noexcept {
    auto* text = reinterpret_cast<HostText*>(self);
    CheckingPool& pool = CheckingPool::of(self->pool);
    pool.give(text->text);
    pool.give(text);
    return NQ_STATUS_OK;
}

NQStatus clone_text(InstanceHeader* self, HostPool* pool, std::uint32_t,
                    InstanceHeader** out) noexcept {
    auto* text = reinterpret_cast<HostText*>(self);
    if (const NQStatus status = text->service->core().plan.next(Call::kCloneObject)) return status;
    NQString* clone = text->service->make_text(
        pool ? pool : self->pool, {reinterpret_cast<const char32_t*>(text->text), text->length});
    if (!clone) return NQ_STATUS_NO_MEMORY;
    *out = &clone->header;
    return NQ_STATUS_OK;
}

using Table = ExtensionTable<NQStringApi, StringService>;

// One call of the extension: counted, and refused when the plan says so.
NQStatus enter(NQStringApi* self, Call call) {
    Table& table = Table::of(self);
    table.core->check_use(Extension::kString, call_name(call));
    return table.core->plan.next(call);
}

NQStatus store(NQU8String* string, NQU8String** out) {
    if (!string) return NQ_STATUS_NO_MEMORY;
    *out = string;
    return NQ_STATUS_OK;
}

NQU8String* new_string(NQStringApi* self, HostPool* pool, const std::uint8_t* text,
                       std::uint64_t length, std::uint32_t) noexcept {
    if (enter(self, Call::kNewString)) return nullptr;
    return Table::of(self).service->make(pool, decode(text, length, NQ_ENCODING_UTF8));
}

NQStatus create_from_utf8(NQStringApi* self, NQU8String** out, HostPool* pool,
                          const std::uint8_t* text, std::uint64_t length,
                          std::uint32_t flag) noexcept {
    if (const NQStatus status = enter(self, Call::kCreateFromUtf8)) return status;
    if (flag > 1) report_fault("createFromUtf8 with an unknown flag");
    StringService& service = *Table::of(self).service;
    const std::string bytes = decode(text, length, NQ_ENCODING_UTF8);
    NQU8String* held = flag == 1 && service.flag1 != Flag1::kMakeNew ? *out : nullptr;
    if (held && !HostCore::alive(held, "createFromUtf8")) return NQ_STATUS_INVALID_ARGUMENT;
    if (held && service.flag1 == Flag1::kContinue) {
        return insert_bytes(own(held), held->length, bytes);
    }
    NQU8String* made = service.make(pool, bytes);
    if (made && held) drop_reference(&held->header);
    return store(made, out);
}

NQStatus create_encoded(NQStringApi* self, NQU8String** out, HostPool* pool, const void* text,
                        std::uint64_t length, std::uint32_t encoding) noexcept {
    if (const NQStatus status = enter(self, Call::kCreateEncoded)) return status;
    return store(Table::of(self).service->make(pool, decode(text, length, encoding)), out);
}

NQStatus create_with_capacity(NQStringApi* self, NQU8String** out, HostPool* pool,
                              std::uint64_t capacity) noexcept {
    if (const NQStatus status = enter(self, Call::kCreateWithCapacity)) return status;
    NQU8String* string = Table::of(self).service->make(pool, {});
    if (string && !move_buffer(*static_cast<HostString*>(string), capacity)) {
        drop_reference(&string->header);
        return NQ_STATUS_NO_MEMORY;
    }
    return store(string, out);
}

NQStatus copy_text(NQStringApi* self, NQU8String** out, HostPool* pool, const NQChar* text,
                   std::uint64_t length) noexcept {
    if (const NQStatus status = enter(self, Call::kCopyText)) return status;
    return store(Table::of(self).service->make(pool, decode(text, length, NQ_ENCODING_NQCHAR)),
                 out);
}

std::string base64(const std::uint8_t* bytes, std::uint64_t length, const char* last_two) {
    std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    alphabet += last_two;
    std::string text;
    for (std::uint64_t i = 0; i < length; i += 3) {
        const std::uint64_t taken = std::min<std::uint64_t>(3, length - i);
        std::uint32_t group = 0;
        for (std::uint64_t k = 0; k < 3; ++k) group = group << 8 | (k < taken ? bytes[i + k] : 0u);
        for (std::uint64_t k = 0; k < 4; ++k) {
            text += k <= taken ? alphabet[group >> (18 - 6 * k) & 63] : '=';
        }
    }
    return text;
}

NQStatus base64_encode(NQStringApi* self, const std::uint8_t* bytes, std::uint64_t length,
                       HostPool* pool, NQU8String** out, std::uint32_t, std::uint32_t) noexcept {
    if (const NQStatus status = enter(self, Call::kBase64)) return status;
    return store(Table::of(self).service->make(pool, base64(bytes, length, "+/")), out);
}

NQStatus base64_url_encode(NQStringApi* self, const std::uint8_t* bytes, std::uint64_t length,
                           HostPool* pool, NQU8String** out, std::uint32_t,
                           std::uint32_t) noexcept {
    if (const NQStatus status = enter(self, Call::kBase64Url)) return status;
    return store(Table::of(self).service->make(pool, base64(bytes, length, "-_")), out);
}

}  // namespace

StringService::StringService(HostCore& core) : core_(core) {
    table_.fill(Extension::kString, *this, core);
    table_.newString = new_string;
    table_.createFromUtf8 = create_from_utf8;
    table_.createEncoded = create_encoded;
    table_.createWithCapacity = create_with_capacity;
    table_.copyText = copy_text;
    table_.base64EncodeU8 = base64_encode;
    table_.base64URLEncodeU8 = base64_url_encode;
}

void StringService::record(FormattedMessage message) {
    constexpr std::size_t kMessagesKept = 4096;
    const std::lock_guard lock(messages_mutex_);
    if (messages_.size() == kMessagesKept) messages_.clear();
    messages_.push_back(std::move(message));
}

NQU8String* StringService::make(HostPool* pool, std::string_view text) {
    CheckingPool& memory = CheckingPool::of(pool);
    auto* string =
        static_cast<HostString*>(memory.take(sizeof(HostString), true, BlockKind::kString));
    if (!string) return nullptr;
    fill_host_header(string->header, "NQU8String", pool, release_string, destroy_string,
                     clone_string);
    string->methods = &kMethods;
    string->service = this;
    if (!move_buffer(*string, 0) || insert_bytes(*string, 0, text)) {
        if (string->bytes) memory.give(string->bytes);
        memory.give(string);
        return nullptr;
    }
    return string;
}

NQString* StringService::make_text(HostPool* pool, std::u32string_view units) {
    CheckingPool& memory = CheckingPool::of(pool);
    auto* text = static_cast<HostText*>(memory.take(sizeof(HostText), true, BlockKind::kText));
    if (!text) return nullptr;
    fill_host_header(text->header, "NQString", pool, release_text, destroy_text, clone_text);
    // Exactly as long as the text: there is no terminator.
    text->text =
        static_cast<NQChar*>(memory.take(units.size() * sizeof(NQChar), false, BlockKind::kPlain));
    text->length = units.size();
    text->service = this;
    if (!text->text) {
        memory.give(text);
        return nullptr;
    }
    std::copy(units.begin(), units.end(), text->text);
    return text;
}

std::string text_of(const NQU8String* string) {
    if (string->bytes[string->length] != 0) report_fault("a string without its terminator");
    return {reinterpret_cast<const char*>(string->bytes), string->length};
}

std::string to_utf8(const NQChar* text, std::uint64_t units) {
    std::string result;
    const auto add = [&](std::uint32_t byte) { result += static_cast<char>(byte); };
    for (std::uint64_t i = 0; i < units; ++i) {
        std::uint32_t c = text[i];
        if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) c = 0xFFFD;
        if (c < 0x80) {
            add(c);
        } else if (c < 0x800) {
            add(0xC0 | c >> 6);
            add(0x80 | (c & 63));
        } else if (c < 0x10000) {
            add(0xE0 | c >> 12);
            add(0x80 | (c >> 6 & 63));
            add(0x80 | (c & 63));
        } else {
            add(0xF0 | c >> 18);
            add(0x80 | (c >> 12 & 63));
            add(0x80 | (c >> 6 & 63));
            add(0x80 | (c & 63));
        }
    }
    return result;
}

std::string to_utf8(std::u32string_view text) {
    return to_utf8(reinterpret_cast<const NQChar*>(text.data()), text.size());
}

}  // namespace nq::test
