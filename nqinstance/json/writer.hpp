#pragma once
#include <string.h>

#include <string_view>

#include "nqinstance/base/held.hpp"
#include "nqinstance/host/status.h"
#include "nqinstance/json/format.hpp"

namespace nq {

inline std::string_view text_of(const NQU8String& string) noexcept {
    return {reinterpret_cast<const char*>(string.bytes), string.length};
}

// What is written before formatted text, once the formatting has succeeded.
enum class Lead { kNothing, kQuote, kIndentedQuote };

// One conversion in progress; it lives in a block of the caller's pool.
struct JsonWriter {
    HostPool* pool;
    NQStringApi* strings;
    uint8_t prettyMode = 0;   // 1: line feeds; any but 0: a blank after the colon
    int32_t indentWidth = 0;  // characters that `currentIndent` loses when a container closes
    uint32_t depth = 0;       // containers that are open

    // All three are null where nothing is indented.
    Held<NQU8String> currentIndent{};
    Held<NQU8String> indentUnit{};
    Held<NQU8String> bracketIndent{};

    NQU8String* out = nullptr;

    JsonWriter(HostPool* caller_pool, NQStringApi* string_service) noexcept
        : pool(caller_pool), strings(string_service) {}
    ~JsonWriter() {
        bracketIndent.reset();
        currentIndent.reset();
        indentUnit.reset();
    }

    // Writes UTF-8 text.
    NQStatus write(std::string_view text) noexcept {
        if (text.size() > sizeof gathered_ - gathered_bytes_) return write_large(text);
        if (!text.empty()) memcpy(gathered_ + gathered_bytes_, text.data(), text.size());
        gathered_bytes_ += text.size();
        return NQ_STATUS_OK;
    }

    NQStatus write(const Held<NQU8String>& string) noexcept {
        return string ? write(text_of(*string.get())) : NQ_STATUS_OK;
    }

    // A value's indentation: a value behind its key has none.
    NQStatus indent_value(bool in_dictionary) noexcept {
        return in_dictionary ? NQ_STATUS_OK : write(currentIndent);
    }

    // Formats the arguments, each of them 64 bits wide, then writes the lead and the text. Never
    // inlined: its buffer must not become part of the frames that nested containers pile up.
    NQStatus write_formatted(Lead lead, const Format* format, ...) noexcept;

    // Hands to the output what `write` gathered.
    NQStatus flush() noexcept;

    // Called before a string is read: where it is the output itself, it must hold what was gathered
    // for it.
    NQStatus flush_if_output(const NQU8String* string) noexcept {
        return string == out ? flush() : NQ_STATUS_OK;
    }

  private:
    NQStatus write_large(std::string_view text) noexcept;

    // Most pieces are a few bytes long: neighbours go to the output in one append.
    uint64_t gathered_bytes_ = 0;
    char gathered_[1024];
};

// Writes one value of any kind; `in_dictionary`: behind a key, on its line.
NQStatus write_value(JsonWriter& writer, bool in_dictionary, InstanceHeader* instance) noexcept;

// The values of the date and time kinds.
NQStatus write_time(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept;
NQStatus write_calendar_date(JsonWriter& writer, InstanceHeader* instance,
                             bool in_dictionary) noexcept;
NQStatus write_date_time(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept;
NQStatus write_calendar_date_time(JsonWriter& writer, InstanceHeader* instance,
                                  bool in_dictionary) noexcept;

}  // namespace nq
