#include "standalone/json/document.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "nqinstance/base/held.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/json/escape.hpp"
#include "standalone/json/scan.hpp"

namespace nq {
namespace {

namespace dom = simdjson::dom;

// Builds the instances without recursion, since the text says how deep they lie.
class Builder {
  public:
    Builder(const JsonServices& services, HostPool* pool, JsonKeys keys,
            uint64_t max_depth) noexcept
        : services_(services), pool_(pool), keys_(keys), max_depth_(max_depth) {}

    NQStatus build(dom::element element, InstanceHeader** out) {
        Held<InstanceHeader> top;
        if (const NQStatus status = make(element, top)) return status;
        if (const NQStatus status = enter(element, top.get())) return status;
        while (!open_.empty()) {
            const NQStatus status =
                std::visit([this](auto& cursor) { return advance(cursor); }, open_.back());
            if (status) return status;
        }
        *out = top.take();
        return NQ_STATUS_OK;
    }

  private:
    // A container that is being filled; the one around it holds `target`.
    template <class Target, class Source>
    struct Cursor {
        Target* target;
        typename Source::iterator at;
        typename Source::iterator end;
    };
    using ArrayCursor = Cursor<NQArray, dom::array>;
    using ObjectCursor = Cursor<NQDictionary, dom::object>;

    static dom::element value(const ArrayCursor& cursor) noexcept { return *cursor.at; }
    static dom::element value(const ObjectCursor& cursor) noexcept { return cursor.at.value(); }

    NQStatus attach(ArrayCursor& cursor, InstanceHeader* item) noexcept {
        return cursor.target->append(cursor.target, item, 0);
    }
    NQStatus attach(ObjectCursor& cursor, InstanceHeader* item) {
        const std::string_view text = cursor.at.key();
        Held<NQU8String> key;
        const NQStatus status = keys_ == JsonKeys::kPlain
                                    ? make_string(text, key.out())
                                    : make_string(json_escaped(text), key.out());
        if (status) return status;
        return cursor.target->set(cursor.target, key.get(), item);
    }

    // Adds the next element; a container is added empty and filled afterwards.
    template <class SomeCursor>
    NQStatus advance(SomeCursor& cursor) {
        if (!(cursor.at != cursor.end)) {
            open_.pop_back();
            return NQ_STATUS_OK;
        }
        const dom::element element = value(cursor);
        Held<InstanceHeader> item;
        if (const NQStatus status = make(element, item)) return status;
        if (const NQStatus status = attach(cursor, item.get())) return status;
        ++cursor.at;
        return enter(element, item.get());  // moves the cursors
    }

    NQStatus enter(dom::element element, InstanceHeader* instance) {
        if (!element.is_array() && !element.is_object()) return NQ_STATUS_OK;
        if (open_.size() == max_depth_) return NQ_HOST_STATUS_JSON_TOO_DEEP;
        if (element.is_array()) {
            const dom::array source = element.get_array().value_unsafe();
            open_.push_back(
                ArrayCursor{reinterpret_cast<NQArray*>(instance), source.begin(), source.end()});
        } else {
            const dom::object source = element.get_object().value_unsafe();
            open_.push_back(ObjectCursor{reinterpret_cast<NQDictionary*>(instance), source.begin(),
                                         source.end()});
        }
        return NQ_STATUS_OK;
    }

    NQStatus make_string(std::string_view text, NQU8String** out) noexcept {
        return services_.strings->createFromUtf8(services_.strings, out, pool_,
                                                 reinterpret_cast<const uint8_t*>(text.data()),
                                                 text.size(), 0);
    }

    // The object that `make` hands out, which may come along with a failure.
    template <class Object, class Make>
    static NQStatus store(InstanceHeader** out, Make make) noexcept {
        Object* object = nullptr;
        const NQStatus status = make(&object);
        *out = object ? &object->header : nullptr;
        return status;
    }

    template <class Instance, class Value>
    NQStatus make_scalar(Instance* (*InstanceApi::*create)(InstanceApi*, HostPool*, Value,
                                                           NQStatus*) noexcept,
                         Value scalar, InstanceHeader** out) noexcept {
        NQStatus status = NQ_STATUS_NO_MEMORY;
        InstanceApi* api = services_.instances;
        *out = reinterpret_cast<InstanceHeader*>((api->*create)(api, pool_, scalar, &status));
        return status;
    }

    // A new instance, of a container an empty one; nothing for null.
    NQStatus make(dom::element element, Held<InstanceHeader>& instance) noexcept {
        InstanceHeader** out = instance.out();
        switch (element.type()) {
            case dom::element_type::ARRAY:
                return store<NQArray>(out, [this](NQArray** array) {
                    return services_.arrays->createArray(services_.arrays, pool_, 0, array);
                });
            case dom::element_type::OBJECT:
                return store<NQDictionary>(out, [this](NQDictionary** dictionary) {
                    NQDictionaryApi* api = services_.dictionaries;
                    return api->createDictionary(api, pool_, nullptr, dictionary, api);
                });
            case dom::element_type::INT64:
                return make_scalar(&InstanceApi::createInt64, element.get_int64().value_unsafe(),
                                   out);
            case dom::element_type::UINT64:
                return make_scalar(&InstanceApi::createUInt64, element.get_uint64().value_unsafe(),
                                   out);
            case dom::element_type::DOUBLE:
                return make_scalar(&InstanceApi::createDouble, element.get_double().value_unsafe(),
                                   out);
            case dom::element_type::BOOL:
                return make_scalar(&InstanceApi::createBoolean,
                                   static_cast<uint8_t>(element.get_bool().value_unsafe()), out);
            case dom::element_type::STRING:
                return store<NQU8String>(out, [&](NQU8String** string) {
                    return make_string(element.get_string().value_unsafe(), string);
                });
            case dom::element_type::NULL_VALUE:
                break;
        }
        return NQ_STATUS_OK;
    }

    const JsonServices& services_;
    HostPool* pool_;
    JsonKeys keys_;
    uint64_t max_depth_;
    std::vector<std::variant<ArrayCursor, ObjectCursor>> open_;
};

NQStatus status_of(simdjson::error_code error) noexcept {
    switch (error) {
        case simdjson::SUCCESS:
            return NQ_STATUS_OK;
        case simdjson::MEMALLOC:
            return NQ_STATUS_NO_MEMORY;
        case simdjson::CAPACITY:
            return NQ_HOST_STATUS_JSON_TOO_LARGE;
        case simdjson::DEPTH_ERROR:
            return NQ_HOST_STATUS_JSON_TOO_DEEP;
        case simdjson::UTF8_ERROR:
            return NQ_HOST_STATUS_JSON_ENCODING;
        case simdjson::NUMBER_ERROR:
            return NQ_HOST_STATUS_JSON_NUMBER;
        default:
            return NQ_HOST_STATUS_JSON_SYNTAX;
    }
}

bool is_integer_beyond_64_bits(std::string_view number) noexcept {
    const bool is_negative = number.starts_with('-');
    const std::string_view digits = number.substr(is_negative);
    if (digits.empty() || digits.find_first_not_of("0123456789") != digits.npos) return false;
    const auto overflows = [&](auto value) {
        const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
        return read.ec == std::errc::result_out_of_range;
    };
    return is_negative ? overflows(int64_t{}) : overflows(uint64_t{});
}

using Number = std::pair<uint64_t, uint64_t>;  // where it begins and ends in the text

// The numbers of a text up to its first fault.
std::vector<Number> numbers_of(std::string_view text) {
    struct : JsonEvents {
        std::vector<Number> found;
        void number(uint64_t begin, uint64_t end) override { found.emplace_back(begin, end); }
    } numbers;
    scan_json(text, UINT64_MAX, numbers);
    return std::move(numbers.found);
}

// The text with ".0" behind each integer that needs more than 64 bits: the parser takes such a
// number only when it looks like a double.
std::string with_great_integers_as_doubles(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 64);
    uint64_t copied = 0;
    for (const auto& [begin, end] : numbers_of(text)) {
        if (!is_integer_beyond_64_bits(text.substr(begin, end - begin))) continue;
        result.append(text, copied, end - copied).append(".0");
        copied = end;
    }
    return result.append(text, copied);
}

// Where the first number begins that no double holds.
std::optional<uint64_t> find_great_number(std::string_view text) {
    dom::parser parser;
    for (const auto& [begin, end] : numbers_of(text)) {
        const std::string number = with_great_integers_as_doubles(text.substr(begin, end - begin));
        if (parser.parse(number).error() == simdjson::NUMBER_ERROR) return begin;
    }
    return std::nullopt;
}

// Whether a failure has a place in the text.
bool is_at_a_place(NQStatus status) noexcept {
    switch (status) {
        case NQ_HOST_STATUS_JSON_SYNTAX:
        case NQ_HOST_STATUS_JSON_NUMBER:
        case NQ_HOST_STATUS_JSON_ENCODING:
        case NQ_HOST_STATUS_JSON_TOO_DEEP:
            return true;
        default:
            return false;
    }
}

}  // namespace

simdjson::error_code JsonDocument::read(std::string_view text, bool is_padded) noexcept {
    if (text.empty()) return simdjson::EMPTY;
    if (text.size() > parser_.max_capacity()) return simdjson::CAPACITY;
    if (text.size() > parser_.capacity()) {
        const std::size_t room =
            std::clamp<std::size_t>(parser_.capacity() * 2, 64, parser_.max_capacity());
        // One level more than may be, for the builder finds what is too deep.
        const auto error = parser_.allocate(std::max(text.size(), room), max_depth_ + 1);
        if (error) return error;
    }
    return parser_.parse(text.data(), text.size(), !is_padded).get(top_);
}

NQStatus JsonDocument::parse(std::string_view text, bool is_padded) {
    simdjson::error_code error = read(text, is_padded);
    if (error == simdjson::NUMBER_ERROR) error = read(with_great_integers_as_doubles(text), false);
    return status_of(error);
}

NQStatus JsonDocument::build(const JsonServices& services, HostPool* pool, dom::element element,
                             JsonKeys keys, uint64_t depth, InstanceHeader** out) const {
    return Builder(services, pool, keys, max_depth_ - depth).build(element, out);
}

NQStatus JsonDocument::locate(std::string_view text, NQStatus status, TextPosition& where) const {
    where = {0, 0};
    if (!is_at_a_place(status)) return status;
    std::optional<uint64_t> offset =
        find_json_error(text, status == NQ_HOST_STATUS_JSON_TOO_DEEP ? max_depth_ : UINT64_MAX);
    if (status == NQ_HOST_STATUS_JSON_NUMBER) {
        // The parser calls a number that breaks the grammar and one out of range the same.
        if (offset) {
            status = NQ_HOST_STATUS_JSON_SYNTAX;
        } else {
            offset = find_great_number(text);
        }
    }
    if (offset) where = position_of(text, *offset);
    return status;
}

}  // namespace nq
