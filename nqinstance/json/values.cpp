#include <string.h>

#include <type_traits>

#include "nqinstance/base/try.hpp"
#include "nqinstance/base/variadic.hpp"
#include "nqinstance/core/data.h"
#include "nqinstance/core/datetime.h"
#include "nqinstance/core/known.hpp"
#include "nqinstance/host/array.h"
#include "nqinstance/host/dictionary.h"
#include "nqinstance/json/escape.hpp"
#include "nqinstance/json/writer.hpp"

namespace nq {
namespace {

template <class Instance>
inline constexpr Format kNumberFormat{""};
template <>
inline constexpr Format kNumberFormat<NQInt32Instance>{"%d"};
template <>
inline constexpr Format kNumberFormat<NQInt64Instance>{"%lld"};
template <>
inline constexpr Format kNumberFormat<NQUInt32Instance>{"%u"};
template <>
inline constexpr Format kNumberFormat<NQUInt64Instance>{"%llu"};
template <>
inline constexpr Format kNumberFormat<NQDoubleInstance>{"%f"};

template <class Instance>
NQStatus write_number(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept {
    static_assert(kNumberFormat<Instance>.length != 0, "the record is no number");
    NQ_TRY(writer.indent_value(in_dictionary));
    return writer.write_formatted(Lead::kNothing, &kNumberFormat<Instance>,
                                  widened(reinterpret_cast<Instance*>(instance)->value));
}

// Any byte but 1 is false, on purpose: a boolean that holds 2 is written as false.
NQStatus write_boolean(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept {
    NQ_TRY(writer.indent_value(in_dictionary));
    return writer.write(reinterpret_cast<NQBooleanInstance*>(instance)->value == 1 ? "true"
                                                                                   : "false");
}

// Writes a text between double quotes. `make(text)` has the string service make it.
template <class Make>
NQStatus write_made_text(JsonWriter& writer, bool in_dictionary, Make make) noexcept {
    NQ_TRY(writer.indent_value(in_dictionary));
    NQ_TRY(writer.write("\""));
    {
        Held<NQU8String> text;
        NQ_TRY(make(text));
        NQ_TRY(writer.write(text));
    }
    return writer.write("\"");
}

NQStatus write_string(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept {
    return write_made_text(writer, in_dictionary, [&](Held<NQU8String>& escaped) {
        const auto* string = reinterpret_cast<const NQU8String*>(instance);
        NQ_TRY(writer.flush_if_output(string));
        return escape_string(writer.strings, writer.pool, instance, escaped);
    });
}

NQStatus write_data(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept {
    return write_made_text(writer, in_dictionary, [&](Held<NQU8String>& encoded) {
        const auto& data = *reinterpret_cast<NQData*>(instance);
        NQStringApi* strings = writer.strings;
        return strings->base64EncodeU8(strings, data.bytes, data.length, writer.pool, encoded.out(),
                                       0, 0);
    });
}

// The opening bracket of a container behind its key stands on a line of its own.
NQStatus begin_container(JsonWriter& writer, bool in_dictionary) noexcept {
    const bool starts_line = writer.depth > 0 && in_dictionary && writer.prettyMode == 1;
    return starts_line ? writer.write("\n") : NQ_STATUS_OK;
}

NQStatus open_container(JsonWriter& writer, std::string_view bracket) noexcept {
    NQ_TRY(writer.write(writer.currentIndent));
    if (writer.depth > 0) NQ_TRY(writer.write(writer.bracketIndent));
    NQ_TRY(writer.write(bracket));
    if (writer.prettyMode == 1) NQ_TRY(writer.write("\n"));
    if (NQU8String* indent = writer.currentIndent.get()) {
        const NQU8String& unit = *writer.indentUnit.get();
        NQ_TRY(indent->methods->append(indent, unit.bytes, unit.length, NQ_ENCODING_UTF8));
    }
    ++writer.depth;
    return NQ_STATUS_OK;
}

NQStatus end_element(JsonWriter& writer, bool is_last) noexcept {
    if (!is_last) NQ_TRY(writer.write(","));
    return writer.prettyMode == 1 ? writer.write("\n") : NQ_STATUS_OK;
}

void leave_level(JsonWriter& writer) noexcept {
    --writer.depth;
    NQU8String* indent = writer.currentIndent.get();
    if (!indent || writer.indentWidth <= 0) return;
    const auto width = static_cast<uint64_t>(writer.indentWidth);
    indent->length -= indent->length < width ? indent->length : width;
    indent->bytes[indent->length] = 0;
}

NQStatus close_container(JsonWriter& writer, std::string_view bracket) noexcept {
    if (writer.depth > 0) NQ_TRY(writer.write(writer.bracketIndent));
    return writer.write(bracket);
}

NQStatus write_array(JsonWriter& writer, InstanceHeader* instance, bool in_dictionary) noexcept {
    const auto& array = *reinterpret_cast<NQArray*>(instance);
    NQ_TRY(begin_container(writer, in_dictionary));
    NQ_TRY(open_container(writer, "["));
    for (uint64_t i = 0; i < array.count; ++i) {
        NQ_TRY(write_value(writer, false, array.elements[i]));
        NQ_TRY(end_element(writer, i + 1 == array.count));
    }
    leave_level(writer);
    NQ_TRY(writer.write(writer.currentIndent));
    return close_container(writer, "]");
}

NQStatus write_entry(JsonWriter& writer, NQDictionary* dictionary, NQU8String* key) noexcept {
    InstanceHeader* value = nullptr;
    // A value that cannot be had is written as null.
    dictionary->get(dictionary, key, &value);
    NQ_TRY(writer.write(writer.currentIndent));
    NQ_TRY(writer.write("\""));
    NQ_TRY(writer.flush_if_output(key));
    NQ_TRY(writer.write(text_of(*key)));
    NQ_TRY(writer.write(writer.prettyMode ? "\": " : "\":"));
    return write_value(writer, true, value);
}

// Unlike an array's, the closing brace has no indentation but `bracketIndent`, on purpose: programs
// that compare texts rely on it. With `currentIndent` before it, as an array has it, every nested
// brace would stand farther to the right.
NQStatus write_dictionary(JsonWriter& writer, InstanceHeader* instance,
                          bool in_dictionary) noexcept {
    auto* dictionary = reinterpret_cast<NQDictionary*>(instance);
    NQ_TRY(begin_container(writer, in_dictionary));
    Held<NQArray> keys;
    NQ_TRY(dictionary->listKeys(dictionary, keys.out()));
    NQ_TRY(open_container(writer, "{"));
    for (uint64_t i = 0; i < keys->count; ++i) {
        auto* key = reinterpret_cast<NQU8String*>(keys->elements[i]);
        NQ_TRY(write_entry(writer, dictionary, key));
        NQ_TRY(end_element(writer, i + 1 == keys->count));
    }
    leave_level(writer);
    return close_container(writer, "}");
}

using WriteValue = NQStatus (*)(JsonWriter& writer, InstanceHeader* instance,
                                bool in_dictionary) noexcept;

// A single character cannot be written.
template <class Record>
inline constexpr bool kIsWritable = !std::is_same_v<Record, NQCharInstance>;

// What writes each record; null where it cannot be written.
template <class Record>
inline constexpr WriteValue kWriteValue = write_number<Record>;
template <>
inline constexpr WriteValue kWriteValue<NQU8String> = write_string;
template <>
inline constexpr WriteValue kWriteValue<NQString> = write_string;
template <>
inline constexpr WriteValue kWriteValue<NQArray> = write_array;
template <>
inline constexpr WriteValue kWriteValue<NQDictionary> = write_dictionary;
template <>
inline constexpr WriteValue kWriteValue<NQBooleanInstance> = write_boolean;
template <>
inline constexpr WriteValue kWriteValue<NQTime> = write_time;
template <>
inline constexpr WriteValue kWriteValue<NQCalendarDate> = write_calendar_date;
template <>
inline constexpr WriteValue kWriteValue<NQDateTime> = write_date_time;
template <>
inline constexpr WriteValue kWriteValue<NQCalendarDateTime> = write_calendar_date_time;
template <>
inline constexpr WriteValue kWriteValue<NQData> = write_data;
template <>
inline constexpr WriteValue kWriteValue<NQCharInstance> = nullptr;

constexpr WriteValue kWriters[] = {
#define NQ_WRITER(kind, name, Record) kWriteValue<Record>,
    NQ_INSTANCE_KINDS(NQ_WRITER)
#undef NQ_WRITER
};

constexpr KindSet kWritable = [] {
    KindSet writable;
#define NQ_WRITABLE(kind, name, Record) \
    if (kIsWritable<Record>) writable = writable.with(Kind::kind);
    NQ_INSTANCE_KINDS(NQ_WRITABLE)
#undef NQ_WRITABLE
    return writable;
}();

}  // namespace

NQStatus write_value(JsonWriter& writer, bool in_dictionary, InstanceHeader* instance) noexcept {
    if (!instance) {
        NQ_TRY(writer.indent_value(in_dictionary));
        return writer.write("null");
    }
    const Known known = known_as(instance, kWritable);
    if (known.kind != Kind::kCount) {
        return kWriters[static_cast<std::size_t>(known.kind)](writer, known.fields, in_dictionary);
    }
    // The text before the instance comes first, also where it cannot be appended.
    const NQStatus status = writer.flush();
    return status ? status : NQ_STATUS_UNSUPPORTED;
}

}  // namespace nq
