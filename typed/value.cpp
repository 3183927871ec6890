#include "typed/value.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

#include "standalone/base/base64.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/base/utf8.hpp"
#include "standalone/values/access.hpp"
#include "standalone/values/object.hpp"
#include "typed/dates.hpp"

namespace nq {
namespace {

using Kind = PlainValue::Kind;

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
                return make_container<NQArray>(value, '[');
            case DataType::kDictionary:
                return make_container<NQDictionary>(value, '{');
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

    // `opening`: how the container's JSON text begins.
    template <class Container>
    NQStatus make_container(const PlainValue& value, char opening) noexcept {
        if (value.kind == Kind::kContainer) {
            if (!as<Container>(value.container)) return NQ_STATUS_WRONG_TYPE;
            retain(value.container);
            *out_ = value.container;
            return NQ_STATUS_OK;
        }
        if (value.kind != Kind::kText) return NQ_STATUS_WRONG_TYPE;
        // Another kind of value is not built only to be thrown away.
        const std::size_t first = value.text.find_first_not_of(" \t\r\n");
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

}  // namespace

PlainValue plain_value_of(InstanceHeader* instance, Kind text_kind) noexcept {
    if (!instance) return {};
    if (const auto text = string_of(instance)) return PlainValue::with(text_kind, *text);
    if (const auto* number = as<NQInt64Instance>(instance)) return PlainValue::of(number->value);
    if (const auto* number = as<NQUInt64Instance>(instance)) return PlainValue::of(number->value);
    if (const auto* number = as<NQDoubleInstance>(instance)) return PlainValue::of(number->value);
    if (const auto* truth = as<NQBooleanInstance>(instance))
        return PlainValue::of(truth->value == 1);
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

}  // namespace nq
