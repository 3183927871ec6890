#include "typed/value_text.hpp"

#include <algorithm>
#include <charconv>

#include "standalone/base/unicode_escape.hpp"
#include "standalone/values/access.hpp"
#include "typed/sentence.hpp"

namespace nq {
namespace {

using Kind = PlainValue::Kind;

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
        } else {
            append_unicode_escape(result, byte);
        }
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

// What a leaf takes of a type of whole numbers.
WholeRange range_of(DataType type, const DefinitionNode& leaf) noexcept {
    WholeRange range = whole_range(type);
    if (type == DataType::kInteger && leaf.takes_uint64) range.most = UINT64_MAX;
    return range;
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
            return "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
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

std::string shown_bound(const DefinitionNode& leaf, std::string_view key) {
    const auto bound = entry_of(leaf.definition, key);
    return bound ? shown_limit(*bound) : std::string();
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
    const auto values = entry_of(leaf.definition, "values");
    const NQArray* array = values ? as<NQArray>(*values) : nullptr;
    if (!array) return list;
    for (InstanceHeader* element : elements_of(*array)) {
        if (NQDictionary* range = as<NQDictionary>(element)) {
            add(shown_limit(*entry_of(range, "min")) + " to " +
                shown_limit(*entry_of(range, "max")));
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
    const std::string least = std::to_string(range.least);
    const std::string most = std::to_string(range.most);
    const auto bound_or = [&](std::string_view key, const std::string& otherwise) {
        const std::string bound = shown_bound(leaf, key);
        if (bound == "min") return least;
        if (bound == "max") return most;
        return bound.empty() ? otherwise : bound;
    };
    return "a whole number from " + bound_or("min", least) + " to " + bound_or("max", most);
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
            return as<NQArray>(value.container) ? "[...]" : "{...}";
    }
    return {};
}

std::string fault_text(const DefinitionNode& leaf, const PlainValue& value, NQStatus verdict,
                       std::string_view run_message) {
    // The catalogue's messages are sentences: "The value 5 is above the maximum 4."
    if (run_message.starts_with("The ")) run_message.remove_prefix(4);
    run_message = without_stop(run_message);
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
