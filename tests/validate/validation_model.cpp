#include "tests/validate/validation_model.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <set>

namespace nq::test::model {
namespace {

__extension__ using Wide = __int128;

// The type name of a value, as its instance has it.
std::string type_of(const Value& value) {
    if (const auto* other = std::get_if<Other>(&value.content)) return other->type_name;
    static const std::vector<std::string> names{"",
                                                "NQBooleanInstance",
                                                "NQInt32Instance",
                                                "NQInt64Instance",
                                                "NQUInt32Instance",
                                                "NQUInt64Instance",
                                                "NQDoubleInstance",
                                                "NQCharInstance",
                                                "NQU8String",
                                                "NQString",
                                                "",
                                                "NQArray",
                                                "NQDictionary"};
    return names[value.content.index()];
}

// A string of either kind, when it is ASCII.
std::optional<std::string> ascii_of(const Value& value) {
    if (const auto* bytes = std::get_if<std::string>(&value.content)) return *bytes;
    const auto* units = std::get_if<std::u32string>(&value.content);
    if (!units) return std::nullopt;
    std::string text;
    for (const char32_t unit : *units) {
        if (unit > 127) return std::nullopt;
        text += static_cast<char>(unit);
    }
    return text;
}

// The keywords and the types that each accepts.
const std::map<std::string, std::set<std::string>>& keywords() {
    static const std::set<std::string> integers{"NQInt32Instance", "NQUInt32Instance",
                                                "NQInt64Instance", "NQUInt64Instance"};
    static const std::map<std::string, std::set<std::string>> all{
        {"array", {"NQArray"}},
        {"dictionary", {"NQDictionary"}},
        {"integer",
         {"NQInt32Instance", "NQInt64Instance", "NQUInt32Instance", "NQUInt64Instance",
          "NQDoubleInstance"}},
        {"double", {"NQDoubleInstance", "NQInt64Instance"}},
        {"boolean", {"NQBooleanInstance"}},
        {"int32", integers},
        {"uint32", integers},
        {"int64", integers},
        {"uint64", integers},
        {"char", {"NQCharInstance"}},
        {"string", {"NQString", "NQU8String"}},
        {"data", {"NQData"}},
        {"date", {"NQCalendarDateInstance"}},
        {"time", {"NQTimeInstance"}},
        {"datetime", {"NQDateTimeInstanceName"}},
    };
    return all;
}

// The bits of an integer, as many as it has, extended by its sign.
std::optional<Wide> integer_of(const Value& value) {
    if (const auto* v = std::get_if<std::int32_t>(&value.content)) return *v;
    if (const auto* v = std::get_if<std::int64_t>(&value.content)) return *v;
    if (const auto* v = std::get_if<std::uint32_t>(&value.content)) return *v;
    if (const auto* v = std::get_if<std::uint64_t>(&value.content)) return *v;
    return std::nullopt;
}

// The value that has the low bits of `number`, as a type of `bits` bits.
Wide low_bits(Wide number, int bits, bool is_signed) {
    const Wide span = Wide{1} << bits;
    Wide rest = number % span;
    if (rest < 0) rest += span;
    if (is_signed && rest >= span / 2) rest -= span;
    return rest;
}

constexpr Wide kSmallest64 = -(Wide{1} << 63);

// Truncated to a signed number of so many bits, the smallest where it does not fit.
Wide truncated(double number, int bits) {
    const Wide smallest = -(Wide{1} << (bits - 1));
    if (std::isnan(number)) return smallest;
    const double whole = std::trunc(number);
    if (whole < std::ldexp(-1.0, bits - 1) || whole >= std::ldexp(1.0, bits - 1)) return smallest;
    return static_cast<Wide>(whole);
}

// A number as a member of the family has it.
struct Number {
    Wide integer = 0;
    double real = 0;
};

struct Family {
    std::string type;
    bool is_double;
    int bits;
    bool is_signed;
    NQStatus below, above, outside;

    bool less(const Number& a, const Number& b) const {
        return is_double ? a.real < b.real : a.integer < b.integer;
    }
    bool equal(const Number& a, const Number& b) const {
        return is_double ? a.real == b.real : a.integer == b.integer;
    }
    bool within(const Number& value, const Number& min, const Number& max) const {
        if (is_double) return min.real <= value.real && value.real <= max.real;
        return min.integer <= value.integer && value.integer <= max.integer;
    }
    std::string text(const Number& value) const {
        if (is_double) {
            char buffer[64] = {};
            return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value.real).ptr};
        }
        if (value.integer == 0) return "0";
        std::string digits;
        for (Wide rest = value.integer < 0 ? -value.integer : value.integer; rest != 0;
             rest /= 10) {
            digits += static_cast<char>('0' + static_cast<int>(rest % 10));
        }
        if (value.integer < 0) digits += '-';
        return {digits.rbegin(), digits.rend()};
    }

    std::optional<Number> from_double(double number) const {
        if (is_double) return Number{0, number};
        if (bits == 32 && is_signed) return Number{truncated(number, 32), 0};
        if (bits == 32) return Number{low_bits(truncated(number, 64), 32, false), 0};
        if (is_signed) return Number{truncated(number, 64), 0};
        if (!(number >= 9223372036854775808.0)) {
            return Number{low_bits(truncated(number, 64), 64, false), 0};
        }
        // The difference to 2^63, with the top bit set if it is not.
        const Wide rest = low_bits(truncated(number - 9223372036854775808.0, 64), 64, false);
        return Number{rest >= -kSmallest64 ? rest : rest - kSmallest64, 0};
    }

    std::optional<Number> convert(const Value& value) const {
        if (const auto integer = integer_of(value)) {
            if (is_double) {
                // In two steps: the sign decides which integer type the processor converts.
                return Number{0, *integer < 0
                                     ? static_cast<double>(static_cast<std::int64_t>(*integer))
                                     : static_cast<double>(static_cast<std::uint64_t>(*integer))};
            }
            return Number{low_bits(*integer, bits, is_signed), 0};
        }
        if (const auto* real = std::get_if<double>(&value.content)) return from_double(*real);
        const auto text = ascii_of(value);
        if (!text || (bits == 64 && !is_signed && !is_double)) return std::nullopt;
        if (*text == "min") {
            if (is_double) return Number{0, 2.2250738585072014e-308};
            return Number{is_signed ? -(Wide{1} << (bits - 1)) : 0, 0};
        }
        if (*text == "max") {
            if (is_double) return Number{0, 1.7976931348623157e308};
            return Number{(Wide{1} << (is_signed ? bits - 1 : bits)) - 1, 0};
        }
        return std::nullopt;
    }
};

const std::vector<Family>& families() {
    static const std::vector<Family> all{
        {"NQInt32Instance", false, 32, true, NQ_MESSAGE_SIGNED_BELOW_MIN,
         NQ_MESSAGE_SIGNED_ABOVE_MAX, NQ_MESSAGE_SIGNED_NOT_ACCEPTED},
        {"NQUInt32Instance", false, 32, false, NQ_MESSAGE_UNSIGNED_BELOW_MIN,
         NQ_MESSAGE_UNSIGNED_ABOVE_MAX, NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED},
        {"NQInt64Instance", false, 64, true, NQ_MESSAGE_SIGNED_BELOW_MIN,
         NQ_MESSAGE_SIGNED_ABOVE_MAX, NQ_MESSAGE_SIGNED_NOT_ACCEPTED},
        {"NQUInt64Instance", false, 64, false, NQ_MESSAGE_UNSIGNED_BELOW_MIN,
         NQ_MESSAGE_UNSIGNED_ABOVE_MAX, NQ_MESSAGE_UNSIGNED_NOT_ACCEPTED},
        {"NQDoubleInstance", true, 0, true, NQ_MESSAGE_DOUBLE_BELOW_MIN,
         NQ_MESSAGE_DOUBLE_ABOVE_MAX, NQ_MESSAGE_DOUBLE_NOT_ACCEPTED},
    };
    return all;
}

Outcome refuse(NQStatus status) { return {status, kUntouched, std::nullopt}; }

Outcome check_values(const Family& family, const Number& value, const Value& values) {
    const auto* list = std::get_if<List>(&values.content);
    if (!list) return refuse(NQ_STATUS_VALUES_NOT_ARRAY);
    for (const Value& element : *list) {
        if (const auto* range = std::get_if<Entries>(&element.content)) {
            const Value* min = range->find("min");
            if (!min) return refuse(NQ_STATUS_RANGE_WITHOUT_MIN);
            const Value* max = range->find("max");
            if (!max) return refuse(NQ_STATUS_RANGE_WITHOUT_MAX);
            const auto low = family.convert(*min);
            const auto high = family.convert(*max);
            if (!low || !high) return refuse(NQ_STATUS_NOT_CONVERTIBLE);
            if (family.within(value, *low, *high)) return {0, 0, std::nullopt};
        } else {
            const auto scalar = family.convert(element);
            if (!scalar) return refuse(NQ_STATUS_NOT_CONVERTIBLE);
            if (family.equal(value, *scalar)) return {0, 0, std::nullopt};
        }
    }
    return {0, NQ_STATUS_NOT_ACCEPTED, Message{family.outside, family.text(value)}};
}

Outcome check(const Family& family, const Number& value, const Entries& definition) {
    const auto missed = [&](NQStatus code, const Number& bound) -> Outcome {
        return {0, NQ_STATUS_OUT_OF_BOUNDS,
                Message{code, family.text(value) + ", " + family.text(bound)}};
    };
    if (const Value* min = definition.find("min")) {
        const auto bound = family.convert(*min);
        if (!bound) return refuse(NQ_STATUS_NOT_CONVERTIBLE);
        if (family.less(value, *bound)) return missed(family.below, *bound);
    }
    if (const Value* max = definition.find("max")) {
        const auto bound = family.convert(*max);
        if (!bound) return refuse(NQ_STATUS_NOT_CONVERTIBLE);
        if (family.less(*bound, value)) return missed(family.above, *bound);
    }
    const Value* values = definition.find("values");
    return values ? check_values(family, value, *values) : Outcome{0, 0, std::nullopt};
}

}  // namespace

const Value* Entries::find(const std::string& key) const {
    const auto found = std::find(keys.begin(), keys.end(), key);
    return found == keys.end() ? nullptr : &values[static_cast<std::size_t>(found - keys.begin())];
}

NQStatus match(const Value& value, const Entries& definition) {
    const Value* data_type = definition.find("dataType");
    if (!data_type) return NQ_STATUS_NO_DATA_TYPE;
    const std::string word = ascii_of(*data_type).value_or("");
    if (keywords().count(word)) {
        return keywords().at(word).count(type_of(value)) ? 0 : NQ_STATUS_WRONG_TYPE;
    }
    if (word != "instance") return NQ_STATUS_UNKNOWN_DATA_TYPE;
    const Value* expected = definition.find("expectedTypes");
    if (!expected) return 0;
    for (const Value& entry : std::get<List>(expected->content)) {
        const auto* entries = std::get_if<Entries>(&entry.content);
        const Value* type = entries ? entries->find("dataType") : nullptr;
        if (!type) continue;
        const std::string entry_word = ascii_of(*type).value_or("");
        if (entry_word == "instance") return NQ_STATUS_NESTED_INSTANCE;
        const auto found = keywords().find(entry_word);
        if (found != keywords().end() && found->second.count(type_of(value))) return 0;
    }
    return NQ_STATUS_WRONG_TYPE;
}

Outcome validate(const Value& value, const Entries& definition) {
    for (const Family& family : families()) {
        if (family.type == type_of(value)) return check(family, *family.convert(value), definition);
    }
    return {0, 0, std::nullopt};
}

Outcome validate_data(const Value& value, const Entries& definition) {
    if (const NQStatus verdict = match(value, definition)) return {0, verdict, std::nullopt};
    Outcome outcome = validate(value, definition);
    // The matching stored its verdict first.
    if (outcome.status) outcome.verdict = 0;
    return outcome;
}

}  // namespace nq::test::model
