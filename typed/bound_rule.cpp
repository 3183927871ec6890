#include "typed/bound_rule.hpp"

#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

#include "standalone/values/access.hpp"

namespace nq {
namespace {

using Whole = std::variant<int64_t, uint64_t>;

std::optional<double> real_of(InstanceHeader* bound) noexcept {
    if (const auto* number = as<NQInt64Instance>(bound)) return static_cast<double>(number->value);
    if (const auto* number = as<NQUInt64Instance>(bound)) return static_cast<double>(number->value);
    if (const auto* number = as<NQDoubleInstance>(bound)) return number->value;
    return std::nullopt;
}

std::optional<Whole> whole_of(InstanceHeader* bound) noexcept {
    if (const auto* number = as<NQInt64Instance>(bound)) return number->value;
    if (const auto* number = as<NQUInt64Instance>(bound)) return number->value;
    const auto real = real_of(bound);
    if (!real || std::trunc(*real) != *real || std::fabs(*real) >= 0x1p63) return std::nullopt;
    return static_cast<int64_t>(*real);
}

// As the library reads the words: that for the least double is the smallest positive normal one.
double end_of_doubles(InstanceHeader* word) noexcept {
    using Limits = std::numeric_limits<double>;
    return *string_of(word) == "min" ? Limits::min() : Limits::max();
}

Whole end_of(WholeRange range, InstanceHeader* word) noexcept {
    return *string_of(word) == "min" ? Whole(range.least) : Whole(range.most);
}

}  // namespace

// The library cuts what is out of the range of the type, without a word.
bool BoundRule::is_usable(InstanceHeader* bound) const noexcept {
    if (type_ == DataType::kDouble) return real_of(bound).has_value();
    const auto whole = whole_of(bound);
    if (!whole) return false;
    const auto is_in_range = [range = whole_range(type_)](auto value) {
        return std::cmp_greater_equal(value, range.least) && std::cmp_less_equal(value, range.most);
    };
    return std::visit(is_in_range, *whole);
}

std::string BoundRule::refusal(InstanceHeader* bound) const {
    if (is_usable(bound)) return {};
    const auto word = string_of(bound);
    // The library knows no words for this type.
    const bool has_words = type_ != DataType::kUInt64;
    if (has_words && word && (*word == "min" || *word == "max")) return {};
    if (type_ == DataType::kDouble) return "a number, \"min\" or \"max\"";
    const auto [least, most] = whole_range(type_);
    return "a whole number from " + std::to_string(least) + " to " + std::to_string(most) +
           (has_words ? ", \"min\" or \"max\"" : "");
}

bool BoundRule::is_above(InstanceHeader* least, InstanceHeader* most) const noexcept {
    if (type_ == DataType::kDouble) {
        const auto number = [](InstanceHeader* bound) {
            const auto real = real_of(bound);
            return real ? *real : end_of_doubles(bound);
        };
        return number(least) > number(most);
    }
    const auto number = [range = whole_range(type_)](InstanceHeader* bound) {
        const auto whole = whole_of(bound);
        return whole ? *whole : end_of(range, bound);
    };
    return std::visit([](auto a, auto b) { return std::cmp_greater(a, b); }, number(least),
                      number(most));
}

}  // namespace nq
