#include "typed/value.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "standalone/base/base64.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/base/utf8.hpp"
#include "standalone/values/object.hpp"
#include "standalone/values/strings.hpp"
#include "typed/dates.hpp"

namespace nq {
namespace {

using Kind = PlainValue::Kind;

bool is(InstanceHeader* instance, const char* type) noexcept {
    return instance->isType(instance, type) == 1;
}

// Below it a double tells all whole numbers apart; itself it may stand for the next one too.
constexpr double kFirstInexact = 0x1p53;

// An integer as it stands in a text or a number, whatever its type will be.
struct Integer {
    bool is_negative;
    uint64_t bits;  // of an int64_t when negative
};

template <class Number>
bool fits(const Integer& integer) noexcept {
    return integer.is_negative ? std::in_range<Number>(static_cast<int64_t>(integer.bits))
                               : std::in_range<Number>(integer.bits);
}

std::string_view without_plus(std::string_view text) noexcept {
    // from_chars knows no plus sign; one before a minus sign is none.
    const bool has_plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    return text.substr(has_plus ? 1 : 0);
}

template <class Number, class... Format>
std::errc read_number(std::string_view text, Number& number, Format... format) noexcept {
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number, format...);
    if (error == std::errc::invalid_argument || rest != end) return std::errc::invalid_argument;
    return error;
}

std::optional<Integer> integer_of_text(std::string_view text) noexcept {
    text = without_plus(text);
    if (text.starts_with('-')) {
        int64_t number;
        if (read_number(text, number) != std::errc()) return std::nullopt;
        return Integer{number < 0, static_cast<uint64_t>(number)};
    }
    uint64_t number;
    if (read_number(text, number) != std::errc()) return std::nullopt;
    return Integer{false, number};
}

std::optional<Integer> integer_of(const PlainValue& value) noexcept {
    switch (value.kind) {
        case Kind::kText:
            return integer_of_text(value.text);
        case Kind::kInt64:
            return Integer{value.int64 < 0, static_cast<uint64_t>(value.int64)};
        case Kind::kUInt64:
            return Integer{false, value.uint64};
        case Kind::kDouble:
            // JSON does not tell 5 from 5.0.
            if (!(std::fabs(value.real) < kFirstInexact)) return std::nullopt;
            if (std::trunc(value.real) != value.real) return std::nullopt;
            return Integer{value.real < 0, static_cast<uint64_t>(static_cast<int64_t>(value.real))};
        default:
            return std::nullopt;
    }
}

// The double that is the integer, if there is one.
template <class Number>
std::optional<double> exact_double(Number number) noexcept {
    const auto real = static_cast<double>(number);
    // 2^63 and 2^64 are the only doubles here that the types themselves cannot hold.
    constexpr double kBeyond = sizeof(Number) == 8 && Number(-1) > 0 ? 0x1p64 : 0x1p63;
    if (real >= kBeyond || static_cast<Number>(real) != number) return std::nullopt;
    return real;
}

std::optional<double> double_of_text(std::string_view text) noexcept {
    text = without_plus(text);
    const bool is_negative = text.starts_with('-');
    // "inf" and "nan" are no numbers here, for JSON has no words for them.
    const std::string_view digits = text.substr(is_negative ? 1 : 0);
    if (digits.empty() || (digits[0] != '.' && (digits[0] < '0' || digits[0] > '9')))
        return std::nullopt;
    double real;
    if (read_number(text, real, std::chars_format::general) != std::errc()) return std::nullopt;
    if (digits.find_first_of(".eE") != digits.npos) return real;
    // Every decimal fraction is rounded to a double; an integer is not to be.
    if (std::fabs(real) < kFirstInexact) return real;
    char exact[400];
    const auto written =
        std::to_chars(exact, exact + sizeof exact, std::fabs(real), std::chars_format::fixed, 0);
    const std::size_t zeros = std::min(digits.find_first_not_of('0'), digits.size());
    const std::string_view shown(exact, static_cast<std::size_t>(written.ptr - exact));
    return shown == digits.substr(zeros) ? std::optional(real) : std::nullopt;
}

std::optional<double> double_of(const PlainValue& value) noexcept {
    switch (value.kind) {
        case Kind::kText:
            return double_of_text(value.text);
        case Kind::kInt64:
            return exact_double(value.int64);
        case Kind::kUInt64:
            return exact_double(value.uint64);
        case Kind::kDouble:
            return value.real;
        default:
            return std::nullopt;
    }
}

bool equals_word(std::string_view text, std::string_view lower_case_word) noexcept {
    return std::equal(text.begin(), text.end(), lower_case_word.begin(), lower_case_word.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

std::optional<bool> boolean_of(const PlainValue& value) noexcept {
    if (value.kind == Kind::kBoolean) return value.boolean;
    if (value.kind != Kind::kText) return std::nullopt;
    for (const std::string_view word : {"true", "yes", "on", "1"}) {
        if (equals_word(value.text, word)) return true;
    }
    for (const std::string_view word : {"false", "no", "off", "0"}) {
        if (equals_word(value.text, word)) return false;
    }
    return std::nullopt;
}

// The text of a value whose type JSON writes as a string.
std::optional<std::string_view> any_text(const PlainValue& value) noexcept {
    if (value.kind != Kind::kText && value.kind != Kind::kString) return std::nullopt;
    return value.text;
}

class Maker {
  public:
    Maker(const JsonServices& services, HostPool* pool, InstanceHeader** out) noexcept
        : services_(services), pool_(pool), out_(out) {}

    NQStatus make(DataType type, const DefinitionNode& leaf, const PlainValue& value) noexcept {
        switch (type) {
            case DataType::kInt32:
                return make_integer(&InstanceApi::createInt32, value);
            case DataType::kUInt32:
                return make_integer(&InstanceApi::createUInt32, value);
            case DataType::kInt64:
                return make_integer(&InstanceApi::createInt64, value);
            case DataType::kUInt64:
                return make_integer(&InstanceApi::createUInt64, value);
            case DataType::kInteger:
                return make_any_integer(leaf, value);
            case DataType::kDouble:
                if (const auto real = double_of(value))
                    return create(&InstanceApi::createDouble, *real);
                return NQ_STATUS_WRONG_TYPE;
            case DataType::kBoolean:
                if (const auto truth = boolean_of(value))
                    return create(&InstanceApi::createBoolean, static_cast<uint8_t>(*truth));
                return NQ_STATUS_WRONG_TYPE;
            case DataType::kArray:
                return make_container(value, "NQArray");
            case DataType::kDictionary:
                return make_container(value, "NQDictionary");
            case DataType::kInstance:
                return make_instance(leaf, value);
            default:
                break;
        }
        const auto text = any_text(value);
        if (!text) return NQ_STATUS_WRONG_TYPE;
        switch (type) {
            case DataType::kChar:
                return make_char(*text);
            case DataType::kData:
                return make_data(*text);
            case DataType::kDate:
                return make_date(*text);
            case DataType::kTime:
                return make_time(*text);
            case DataType::kDateTime:
                return make_date_time(*text);
            default:
                return make_string(*text);
        }
    }

  private:
    // Stores what an operation of the table made.
    template <class Instance>
    NQStatus store(Instance* instance, NQStatus status) noexcept {
        *out_ = reinterpret_cast<InstanceHeader*>(instance);
        if (instance) return NQ_STATUS_OK;
        return status ? status : NQ_STATUS_NO_MEMORY;
    }

    template <class Instance, class Value>
    NQStatus create(Instance* (*InstanceApi::*operation)(InstanceApi*, HostPool*, Value,
                                                         NQStatus*) noexcept,
                    Value value) noexcept {
        NQStatus status = NQ_STATUS_NO_MEMORY;
        InstanceApi* api = services_.instances;
        Instance* instance = (api->*operation)(api, pool_, value, &status);
        return store(instance, status);
    }

    // An instance whose fields are filled by `fill`.
    template <class Instance, class Fill>
    NQStatus create_filled(Instance* (*InstanceApi::*operation)(InstanceApi*, HostPool*,
                                                                NQStatus*) noexcept,
                           Fill fill) noexcept {
        NQStatus status = NQ_STATUS_NO_MEMORY;
        InstanceApi* api = services_.instances;
        Instance* instance = (api->*operation)(api, pool_, &status);
        if (instance) fill(*instance);
        return store(instance, status);
    }

    template <class Instance, class Number>
    NQStatus make_integer(Instance* (*InstanceApi::*operation)(InstanceApi*, HostPool*, Number,
                                                               NQStatus*) noexcept,
                          const PlainValue& value) noexcept {
        const auto integer = integer_of(value);
        if (!integer || !fits<Number>(*integer)) return NQ_STATUS_WRONG_TYPE;
        return create(operation, static_cast<Number>(integer->bits));
    }

    NQStatus make_any_integer(const DefinitionNode& leaf, const PlainValue& value) noexcept {
        const NQStatus status = make_integer(&InstanceApi::createInt64, value);
        if (status != NQ_STATUS_WRONG_TYPE || !leaf.takes_uint64) return status;
        return make_integer(&InstanceApi::createUInt64, value);
    }

    NQStatus make_char(std::string_view text) noexcept {
        if (text.empty()) return NQ_STATUS_WRONG_TYPE;
        const auto character =
            decode_utf8(reinterpret_cast<const uint8_t*>(text.data()), text.size());
        if (!character.valid || character.bytes != text.size()) return NQ_STATUS_WRONG_TYPE;
        return create(&InstanceApi::createNQChar, character.code_point);
    }

    NQStatus make_string(std::string_view text) noexcept {
        NQU8String* string = nullptr;
        NQStringApi* strings = services_.strings;
        const NQStatus status = strings->createFromUtf8(
            strings, &string, pool_, reinterpret_cast<const uint8_t*>(text.data()), text.size(), 0);
        return status ? status : store(string, status);
    }

    NQStatus make_data(std::string_view text) noexcept {
        const std::optional<uint64_t> length = decoded_base64_length(text);
        if (!length) return NQ_STATUS_WRONG_TYPE;
        const NQStatus status = create(&InstanceApi::createSizedData, *length);
        if (status == NQ_STATUS_OK) decode_base64(text, reinterpret_cast<NQData*>(*out_)->bytes);
        return status;
    }

    NQStatus make_date(std::string_view text) noexcept {
        const auto fields = parse_date(text);
        if (!fields) return NQ_STATUS_WRONG_TYPE;
        return create_filled(&InstanceApi::createCalendarDate, [&](NQCalendarDate& date) {
            date.year = fields->year;
            date.month = fields->month;
            date.day = fields->day;
        });
    }

    template <class Instance>
    static void set_zone(Instance& instance, const TimeFields& fields) noexcept {
        instance.zoneOffset = fields.zone_seconds;
        instance.hasZoneOffset = fields.has_zone;
    }

    NQStatus make_time(std::string_view text) noexcept {
        const auto fields = parse_time(text);
        if (!fields) return NQ_STATUS_WRONG_TYPE;
        return create_filled(&InstanceApi::createTime, [&](NQTime& time) {
            time.hour = fields->hour;
            time.minute = fields->minute;
            time.second = fields->second;
            time.millisecond = fields->millisecond;
            set_zone(time, *fields);
        });
    }

    NQStatus make_date_time(std::string_view text) noexcept {
        const auto fields = parse_date_time(text);
        // The library cannot give back the fields of a time before its epoch.
        if (!fields || fields->date.year < 1960) return NQ_STATUS_WRONG_TYPE;
        const NQStatus status = create(&InstanceApi::createDateTime, seconds_from_1960(*fields));
        if (status == NQ_STATUS_OK) set_zone(*reinterpret_cast<NQDateTime*>(*out_), fields->time);
        return status;
    }

    NQStatus make_container(const PlainValue& value, const char* type_name) noexcept {
        if (value.kind == Kind::kContainer) {
            if (!is(value.container, type_name)) return NQ_STATUS_WRONG_TYPE;
            retain(value.container);
            *out_ = value.container;
            return NQ_STATUS_OK;
        }
        if (value.kind != Kind::kText) return NQ_STATUS_WRONG_TYPE;
        // Another kind of value is not built only to be thrown away.
        const std::size_t first = value.text.find_first_not_of(" \t\r\n");
        const char opening = std::strcmp(type_name, "NQArray") == 0 ? '[' : '{';
        if (first == value.text.npos || value.text[first] != opening) return NQ_STATUS_WRONG_TYPE;
        uint32_t line;
        uint32_t column;
        const NQStatus status =
            parse_json(services_, pool_, reinterpret_cast<const uint8_t*>(value.text.data()),
                       value.text.size(), out_, &line, &column);
        switch (status) {
            case NQ_HOST_STATUS_JSON_SYNTAX:
            case NQ_HOST_STATUS_JSON_NUMBER:
            case NQ_HOST_STATUS_JSON_ENCODING:
            case NQ_HOST_STATUS_JSON_TOO_DEEP:
            case NQ_HOST_STATUS_JSON_TOO_LARGE:
                return NQ_STATUS_WRONG_TYPE;
            default:
                return status;
        }
    }

    NQStatus make_instance(const DefinitionNode& leaf, const PlainValue& value) noexcept {
        if (!leaf.has_expected_types) return make_as_it_is(value);
        for (const DataType type : leaf.expected_types) {
            const NQStatus status = make(type, leaf, value);
            if (status != NQ_STATUS_WRONG_TYPE) return status;
        }
        return NQ_STATUS_WRONG_TYPE;
    }

    NQStatus make_as_it_is(const PlainValue& value) noexcept {
        switch (value.kind) {
            case Kind::kText:
            case Kind::kString:
                return make_string(value.text);
            case Kind::kInt64:
                return create(&InstanceApi::createInt64, value.int64);
            case Kind::kUInt64:
                return create(&InstanceApi::createUInt64, value.uint64);
            case Kind::kDouble:
                return create(&InstanceApi::createDouble, value.real);
            case Kind::kBoolean:
                return create(&InstanceApi::createBoolean, static_cast<uint8_t>(value.boolean));
            case Kind::kContainer:
                retain(value.container);
                *out_ = value.container;
                return NQ_STATUS_OK;
            case Kind::kNull:
                break;
        }
        return NQ_STATUS_WRONG_TYPE;
    }

    const JsonServices& services_;
    HostPool* pool_;
    InstanceHeader** out_;
};

bool is_accepted_text(const DefinitionNode& leaf, InstanceHeader* instance) noexcept {
    uint8_t bytes[4];
    std::string_view text;
    if (leaf.type == DataType::kChar) {
        const NQChar character = reinterpret_cast<NQCharInstance*>(instance)->value;
        text = {reinterpret_cast<const char*>(bytes), encode_utf8(character, bytes)};
    } else {
        text = text_of(*reinterpret_cast<NQU8String*>(instance));
    }
    const auto& accepted = leaf.accepted_texts;
    return std::find(accepted.begin(), accepted.end(), text) != accepted.end();
}

std::string number_text(double number) {
    char buffer[32];
    const auto written = std::to_chars(buffer, buffer + sizeof buffer, number);
    return std::string(buffer, written.ptr);
}

// On one line, with what is no printable ASCII escaped where it would spoil the line.
std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char byte : text) {
        const auto code = static_cast<uint8_t>(byte);
        if (byte == '"' || byte == '\\') result += '\\';
        if (code >= 0x20 && code != 0x7f) {
            result += byte;
            continue;
        }
        constexpr char kHex[] = "0123456789abcdef";
        result += std::string("\\u00") + kHex[code >> 4] + kHex[code & 15];
    }
    return result + '"';
}

constexpr std::size_t kLongestShown = 64;

// The beginning of long text, cut between characters.
std::string shortened(std::string_view text, bool is_quoted) {
    const bool is_long = text.size() > kLongestShown;
    if (is_long) {
        std::size_t end = kLongestShown;
        while (end && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
        text = text.substr(0, end);
    }
    return (is_quoted ? quoted(text) : std::string(text)) + (is_long ? "..." : "");
}

bool is_plain_word(std::string_view text) noexcept {
    const auto is_plain = [](char byte) { return byte > ' ' && byte < 0x7f && byte != '"'; };
    return !text.empty() && std::all_of(text.begin(), text.end(), is_plain);
}

std::string shown_limit(InstanceHeader* limit) {
    if (!limit) return "null";
    return shown_value(plain_value_of(limit, Kind::kText));
}

InstanceHeader* entry_of(NQDictionary* dictionary, std::string_view key) noexcept {
    InstanceHeader* value = nullptr;
    dictionary->find(dictionary, reinterpret_cast<const uint8_t*>(key.data()), key.size(), &value);
    return value;
}

// The least and the greatest whole number of a type.
struct WholeRange {
    std::string_view least;
    std::string_view most;
};

WholeRange range_of(DataType type, const DefinitionNode& leaf) noexcept {
    switch (type) {
        case DataType::kInt32:
            return {"-2147483648", "2147483647"};
        case DataType::kUInt32:
            return {"0", "4294967295"};
        case DataType::kUInt64:
            return {"0", "18446744073709551615"};
        default:
            return {"-9223372036854775808", type == DataType::kInteger && leaf.takes_uint64
                                                ? "18446744073709551615"
                                                : "9223372036854775807"};
    }
}

std::string expectation_of(DataType type, const DefinitionNode& leaf) {
    switch (type) {
        case DataType::kArray:
            return "an array in JSON notation";
        case DataType::kDictionary:
            return "a nested block, or an object in JSON notation";
        case DataType::kInteger:
        case DataType::kInt32:
        case DataType::kUInt32:
        case DataType::kInt64:
        case DataType::kUInt64: {
            const auto [least, most] = range_of(type, leaf);
            return std::string("a whole number from ").append(least).append(" to ").append(most);
        }
        case DataType::kDouble:
            return "a number that a double holds";
        case DataType::kBoolean:
            return "true, yes, on or 1, or false, no, off or 0";
        case DataType::kChar:
            return "one character";
        case DataType::kString:
            return "text";
        case DataType::kData:
            return "base64";
        case DataType::kDate:
            return "a date such as 2024-02-29";
        case DataType::kTime:
            return "a time such as 08:05:00 or 08:05:00.250+05:30";
        case DataType::kDateTime:
            return "a date and time from 1960 on such as 2024-02-29T08:05:00+01:00";
        case DataType::kInstance:
            break;
    }
    std::string list;
    for (const DataType expected : leaf.expected_types)
        list += (list.empty() ? "" : ", or ") + expectation_of(expected, leaf);
    return list.empty() ? "a value" : list;
}

}  // namespace

PlainValue plain_value_of(InstanceHeader* instance, Kind text_kind) noexcept {
    if (!instance) return {};
    if (is(instance, "NQU8String"))
        return PlainValue::with(text_kind, text_of(*reinterpret_cast<NQU8String*>(instance)));
    if (is(instance, "NQInt64Instance"))
        return PlainValue::of(reinterpret_cast<NQInt64Instance*>(instance)->value);
    if (is(instance, "NQUInt64Instance"))
        return PlainValue::of(reinterpret_cast<NQUInt64Instance*>(instance)->value);
    if (is(instance, "NQDoubleInstance"))
        return PlainValue::of(reinterpret_cast<NQDoubleInstance*>(instance)->value);
    if (is(instance, "NQBooleanInstance"))
        return PlainValue::of(reinterpret_cast<NQBooleanInstance*>(instance)->value == 1);
    return PlainValue::of(instance);
}

NQStatus make_typed_value(const JsonServices& services, HostPool* pool, const DefinitionNode& leaf,
                          const PlainValue& value, InstanceHeader** out) noexcept {
    *out = nullptr;
    return Maker(services, pool, out).make(leaf.type, leaf, value);
}

NQStatus check_typed_value(InstanceApi* api, const DefinitionNode& leaf, InstanceHeader* instance,
                           NQStatus* verdict, ValidationRun* run) noexcept {
    *verdict = NQ_STATUS_OK;
    const NQStatus status = api->validateData(instance, leaf.definition, verdict, run);
    if (status || *verdict || !leaf.has_accepted_texts) return status;
    if (!is_accepted_text(leaf, instance)) *verdict = NQ_STATUS_NOT_ACCEPTED;
    return NQ_STATUS_OK;
}

std::string shown_bound(const DefinitionNode& leaf, std::string_view key) {
    InstanceHeader* bound = entry_of(leaf.definition, key);
    return bound ? shown_limit(bound) : std::string();
}

std::string shown_accepted_values(const DefinitionNode& leaf) {
    std::string list;
    const auto add = [&list](const std::string& shown) {
        list += (list.empty() ? "" : ", ") + shown;
    };
    for (const std::string& text : leaf.accepted_texts) {
        add(shortened(text, !is_plain_word(text) || text.find(',') != text.npos));
    }
    if (leaf.has_accepted_texts) return list;
    InstanceHeader* values = entry_of(leaf.definition, "values");
    if (!values || !is(values, "NQArray")) return list;
    const auto& array = *reinterpret_cast<NQArray*>(values);
    for (InstanceHeader* element : std::span(array.elements, array.count)) {
        if (element && is(element, "NQDictionary")) {
            auto* range = reinterpret_cast<NQDictionary*>(element);
            add(shown_limit(entry_of(range, "min")) + " to " + shown_limit(entry_of(range, "max")));
        } else {
            add(shown_limit(element));
        }
    }
    return list;
}

std::string expectation(const DefinitionNode& leaf) {
    const std::string limits = shown_limits(leaf);
    if (limits.empty() || !is_numeric(leaf.type)) return expectation_of(leaf.type, leaf);
    if (leaf.type == DataType::kDouble) return "a number " + limits;
    const WholeRange range = range_of(leaf.type, leaf);
    const auto bound_or = [&](std::string_view key, std::string_view otherwise) {
        const std::string bound = shown_bound(leaf, key);
        if (bound == "min") return std::string(range.least);
        if (bound == "max") return std::string(range.most);
        return bound.empty() ? std::string(otherwise) : bound;
    };
    return "a whole number from " + bound_or("min", range.least) + " to " +
           bound_or("max", range.most);
}

std::string shown_limits(const DefinitionNode& leaf) {
    const std::string least = shown_bound(leaf, "min");
    const std::string most = shown_bound(leaf, "max");
    if (!least.empty() && !most.empty()) return "from " + least + " to " + most;
    if (!least.empty()) return "of at least " + least;
    return most.empty() ? most : "of at most " + most;
}

std::string shown_value(const PlainValue& value) {
    switch (value.kind) {
        case Kind::kText:
            return shortened(value.text, !is_plain_word(value.text));
        case Kind::kString:
            return shortened(value.text, true);
        case Kind::kInt64:
            return std::to_string(value.int64);
        case Kind::kUInt64:
            return std::to_string(value.uint64);
        case Kind::kDouble:
            return number_text(value.real);
        case Kind::kBoolean:
            return value.boolean ? "true" : "false";
        case Kind::kNull:
            return "null";
        case Kind::kContainer:
            return is(value.container, "NQArray") ? "[...]" : "{...}";
    }
    return {};
}

std::string fault_text(const DefinitionNode& leaf, const PlainValue& value, NQStatus verdict,
                       std::string_view run_message) {
    // The catalogue's messages are sentences: "The value 5 is above the maximum 4."
    if (run_message.starts_with("The ")) run_message.remove_prefix(4);
    if (run_message.ends_with('.')) run_message.remove_suffix(1);
    const std::string shown = "value " + shown_value(value);
    switch (verdict) {
        case NQ_STATUS_WRONG_TYPE:
            return shown + " is not of type " + std::string(keyword_of(leaf.type)) + ": expected " +
                   expectation(leaf);
        case NQ_STATUS_NOT_ACCEPTED:
            return shown + " is none of the accepted values: " + shown_accepted_values(leaf);
        default:
            return run_message.empty() ? shown + " is out of bounds" : std::string(run_message);
    }
}

}  // namespace nq
