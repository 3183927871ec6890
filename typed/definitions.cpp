#include "typed/definitions.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "nqinstance/host/status.h"
#include "standalone/text/messages.hpp"
#include "standalone/values/strings.hpp"
#include "typed/key_lines.hpp"

namespace nq {
namespace {

bool is(InstanceHeader* instance, const char* type) noexcept {
    return instance && instance->isType(instance, type) == 1;
}

NQDictionary* dictionary_of(InstanceHeader* instance) noexcept {
    return is(instance, "NQDictionary") ? reinterpret_cast<NQDictionary*>(instance) : nullptr;
}

NQArray* array_of(InstanceHeader* instance) noexcept {
    return is(instance, "NQArray") ? reinterpret_cast<NQArray*>(instance) : nullptr;
}

std::optional<std::string_view> string_of(InstanceHeader* instance) noexcept {
    if (!is(instance, "NQU8String")) return std::nullopt;
    return text_of(*reinterpret_cast<NQU8String*>(instance));
}

// The entry, or nothing; a null entry is null.
std::optional<InstanceHeader*> find(NQDictionary* dictionary, std::string_view key) noexcept {
    InstanceHeader* value = nullptr;
    const auto* bytes = reinterpret_cast<const uint8_t*>(key.data());
    if (!dictionary->find(dictionary, bytes, key.size(), &value)) return std::nullopt;
    return value;
}

std::string quoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    return result.append(1, '"').append(text).append(1, '"');
}

// A definition is an object with a string "dataType".
bool is_definition(NQDictionary* dictionary) noexcept {
    const auto data_type = find(dictionary, "dataType");
    return data_type && string_of(*data_type);
}

// What "min", "max" and the numbers of "values" may be for one type.
class BoundRule {
  public:
    explicit BoundRule(DataType type) noexcept : type_(type) {}

    // Empty when the library reads the bound as what it says; else what it must be.
    std::string_view refusal(InstanceHeader* bound) const noexcept {
        const bool is_usable = type_ == DataType::kDouble ? is_number(bound) : is_in_range(bound);
        if (is_usable) return {};
        const auto keyword = string_of(bound);
        const bool is_keyword = keyword && (*keyword == "min" || *keyword == "max");
        // The library knows no keywords for this type.
        if (type_ == DataType::kUInt64) return "a whole number from 0 to 18446744073709551615";
        if (is_keyword) return {};
        switch (type_) {
            case DataType::kDouble:
                return "a number, \"min\" or \"max\"";
            case DataType::kInt32:
                return "a whole number from -2147483648 to 2147483647, \"min\" or \"max\"";
            case DataType::kUInt32:
                return "a whole number from 0 to 4294967295, \"min\" or \"max\"";
            default:
                return "a whole number from -9223372036854775808 to 9223372036854775807, \"min\" "
                       "or \"max\"";
        }
    }

  private:
    static bool is_number(InstanceHeader* bound) noexcept {
        return is(bound, "NQInt64Instance") || is(bound, "NQUInt64Instance") ||
               is(bound, "NQDoubleInstance");
    }

    // The library cuts what is out of the range of the type, without a word.
    bool is_in_range(InstanceHeader* bound) const noexcept {
        const auto fits = [this](auto value) {
            switch (type_) {
                case DataType::kInt32:
                    return std::in_range<int32_t>(value);
                case DataType::kUInt32:
                    return std::in_range<uint32_t>(value);
                case DataType::kUInt64:
                    return std::in_range<uint64_t>(value);
                default:
                    return std::in_range<int64_t>(value);
            }
        };
        if (is(bound, "NQInt64Instance"))
            return fits(reinterpret_cast<NQInt64Instance*>(bound)->value);
        if (is(bound, "NQUInt64Instance"))
            return fits(reinterpret_cast<NQUInt64Instance*>(bound)->value);
        if (!is(bound, "NQDoubleInstance")) return false;
        const double value = reinterpret_cast<NQDoubleInstance*>(bound)->value;
        if (std::trunc(value) != value || std::fabs(value) >= 0x1p63) return false;
        return fits(static_cast<int64_t>(value));
    }

    DataType type_;
};

class Loader {
  public:
    Loader(std::string_view text, std::vector<const DefinitionNode*>& leaves,
           DefinitionsError& error)
        : text_(text), leaves_(leaves), error_(error) {}

    // Makes the node's children from the object. False: the error says why.
    bool fill_section(DefinitionNode& node, NQDictionary* object) {
        if (keys_.size() > kMaxDefinitionDepth) {
            return refuse("sections lie in one another too deep");
        }
        Held<NQArray> list;
        if (object->listKeys(object, list.out())) throw std::bad_alloc();
        for (uint64_t i = 0; i != list->count; ++i) {
            const auto& key = *reinterpret_cast<NQU8String*>(list->elements[i]);
            keys_.emplace_back(text_of(key));
            if (!add_child(node, *find(object, text_of(key)))) return false;
            keys_.pop_back();
        }
        index(node);
        return true;
    }

  private:
    bool add_child(DefinitionNode& parent, InstanceHeader* value) {
        auto owned = std::make_unique<DefinitionNode>();
        DefinitionNode& node = *owned;
        node.key = keys_.back();
        node.path = parent.parent ? parent.path + "." + node.key : node.key;
        node.parent = &parent;
        node.index = static_cast<uint32_t>(parent.children.size());
        parent.children.push_back(std::move(owned));
        NQDictionary* object = dictionary_of(value);
        if (!object) {
            if (node.key == "dataType") return refuse("\"dataType\" must be text");
            return refuse("neither a definition nor a section: an object is missing");
        }
        return is_definition(object) ? fill_leaf(node, object) : fill_section(node, object);
    }

    bool fill_leaf(DefinitionNode& leaf, NQDictionary* definition) {
        const std::string_view keyword = *string_of(*find(definition, "dataType"));
        const std::optional<DataType> type = data_type_of(keyword);
        if (!type) return refuse("unknown data type " + quoted(keyword), "dataType");
        leaf.type = *type;
        if (!read_expected_types(leaf, definition)) return false;
        if (!check_limits(leaf, definition)) return false;
        leaf.takes_uint64 = is_free_of_signed_limits(definition);
        leaf.definition = definition;
        leaves_.push_back(&leaf);
        return true;
    }

    bool read_expected_types(DefinitionNode& leaf, NQDictionary* definition) {
        const auto list = find(definition, "expectedTypes");
        if (!list) return true;
        const auto refuse_list = [this](const std::string& what) {
            return refuse(what, "expectedTypes");
        };
        if (leaf.type != DataType::kInstance) {
            return refuse_list("\"expectedTypes\" is for the data type \"instance\" only");
        }
        NQArray* array = array_of(*list);
        if (!array) return refuse_list("\"expectedTypes\" must be an array");
        if (!array->count) return refuse_list("\"expectedTypes\" is empty: nothing would fit");
        leaf.has_expected_types = true;
        for (InstanceHeader* element : std::span(array->elements, array->count)) {
            NQDictionary* entry = dictionary_of(element);
            if (!entry || !is_definition(entry)) {
                return refuse_list("an entry of \"expectedTypes\" has no \"dataType\"");
            }
            const std::string_view keyword = *string_of(*find(entry, "dataType"));
            const std::optional<DataType> type = data_type_of(keyword);
            if (!type) {
                return refuse_list("unknown data type " + quoted(keyword) +
                                   " in \"expectedTypes\"");
            }
            if (type == DataType::kInstance) {
                return refuse_list("\"instance\" cannot stand in \"expectedTypes\"");
            }
            for (const std::string_view limit : kLimits) {
                if (!find(entry, limit)) continue;
                return refuse_list(quoted(limit) + " has no effect within \"expectedTypes\"");
            }
            leaf.expected_types.push_back(*type);
        }
        return true;
    }

    static bool takes_texts(DataType type) noexcept {
        return type == DataType::kString || type == DataType::kChar;
    }

    // The types whose instances the limits of the definition are compared with.
    static std::vector<BoundRule> rules_of(const DefinitionNode& leaf) {
        std::vector<BoundRule> rules;
        if (is_numeric(leaf.type)) rules.emplace_back(leaf.type);
        for (const DataType type : leaf.expected_types) {
            if (is_numeric(type)) rules.emplace_back(type);
        }
        return rules;
    }

    bool check_limits(DefinitionNode& leaf, NQDictionary* definition) {
        const std::vector<BoundRule> rules = rules_of(leaf);
        for (const std::string_view limit : kLimits) {
            const auto value = find(definition, limit);
            if (!value) continue;
            const std::string name(limit);
            const bool is_list = limit == "values";
            if (is_list && takes_texts(leaf.type)) {
                if (!read_accepted_texts(leaf, *value)) return false;
            } else if (rules.empty()) {
                return refuse(quoted(name) + " has no effect on the data type " +
                                  quoted(keyword_of(leaf.type)),
                              name);
            } else if (is_list ? !check_values(rules, *value)
                               : !check_bound(rules, *value, quoted(name), name)) {
                return false;
            }
        }
        return true;
    }

    bool check_bound(const std::vector<BoundRule>& rules, InstanceHeader* bound,
                     const std::string& shown, const std::string& key) {
        for (const BoundRule& rule : rules) {
            const std::string_view wanted = rule.refusal(bound);
            if (!wanted.empty()) return refuse(shown + " must be " + std::string(wanted), key);
        }
        return true;
    }

    bool check_values(const std::vector<BoundRule>& rules, InstanceHeader* values) {
        NQArray* array = array_of(values);
        if (!array) return refuse("\"values\" must be an array", "values");
        for (InstanceHeader* element : std::span(array->elements, array->count)) {
            NQDictionary* range = dictionary_of(element);
            if (!range) {
                if (!check_bound(rules, element, "an entry of \"values\"", "values")) return false;
                continue;
            }
            for (const std::string bound : {"min", "max"}) {
                const auto value = find(range, bound);
                const std::string shown = quoted(bound) + " of a range in \"values\"";
                if (!value) return refuse(shown + " is missing", "values");
                if (!check_bound(rules, *value, shown, "values")) return false;
            }
        }
        return true;
    }

    bool read_accepted_texts(DefinitionNode& leaf, InstanceHeader* values) {
        NQArray* array = array_of(values);
        if (!array) return refuse("\"values\" must be an array", "values");
        leaf.has_accepted_texts = true;
        for (InstanceHeader* element : std::span(array->elements, array->count)) {
            const auto text = string_of(element);
            if (!text) return refuse("an entry of \"values\" must be text", "values");
            leaf.accepted_texts.emplace_back(*text);
        }
        return true;
    }

    static bool is_negative_or_not_whole(InstanceHeader* limit) noexcept {
        if (is(limit, "NQInt64Instance"))
            return reinterpret_cast<NQInt64Instance*>(limit)->value < 0;
        return !is(limit, "NQUInt64Instance");
    }

    static bool is_free_of_signed_limits(NQDictionary* definition) noexcept {
        for (const std::string_view bound : {"min", "max"}) {
            const auto value = find(definition, bound);
            if (value && is_negative_or_not_whole(*value)) return false;
        }
        const auto values = find(definition, "values");
        NQArray* array = values ? array_of(*values) : nullptr;
        if (!array) return true;
        const std::span elements(array->elements, array->count);
        return std::none_of(elements.begin(), elements.end(), [](InstanceHeader* element) {
            NQDictionary* range = dictionary_of(element);
            return range ? !is_free_of_signed_limits(range) : is_negative_or_not_whole(element);
        });
    }

    static void index(DefinitionNode& node) {
        const std::size_t count = node.children.size();
        if (!count) return;
        node.slots.resize(std::bit_ceil(2 * count));
        const std::size_t mask = node.slots.size() - 1;
        for (std::size_t i = 0; i < count; ++i) {
            std::size_t slot = DefinitionNode::hash(node.children[i]->key) & mask;
            while (node.slots[slot]) slot = (slot + 1) & mask;
            node.slots[slot] = static_cast<uint32_t>(i + 1);
        }
    }

    // The place is that of `key` in the object at keys_, or of the object itself.
    bool refuse(const std::string& what, std::string_view key = {}) {
        std::string shown;
        for (const std::string& name : keys_) {
            if (&name != keys_.data()) shown += '.';
            shown += name;
        }
        error_.what = shown + ": " + what;
        std::vector<std::string> wanted = keys_;
        if (!key.empty()) wanted.emplace_back(key);
        visit_json_keys(text_, [&](std::span<const std::string> path, uint32_t line) {
            if (std::equal(path.begin(), path.end(), wanted.begin(), wanted.end()))
                error_.line = line;
        });
        return false;
    }

    static constexpr std::string_view kLimits[] = {"min", "max", "values"};

    std::string_view text_;
    std::vector<const DefinitionNode*>& leaves_;
    DefinitionsError& error_;
    std::vector<std::string> keys_;  // from the root to the node that is being made
};

}  // namespace

bool Definitions::load(const JsonServices& services, HostPool* pool, std::string_view text,
                       DefinitionsError& error) {
    root_ = {};
    leaves_.clear();
    error = {};
    uint32_t line;
    uint32_t column;
    const NQStatus status =
        parse_json(services, pool, reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                   tree_.out(), &line, &column);
    if (status) {
        error = {line, column, std::string(message_text(status))};
        if (error.what.ends_with('.')) error.what.pop_back();
        if (error.what.empty()) error.what = "the text cannot be made values of";
        return false;
    }
    NQDictionary* top = dictionary_of(tree_.get());
    if (!top) {
        error = {1, 0, "the definitions are not an object"};
    } else if (is_definition(top)) {
        error = {1, 0, "the top of the definitions is a definition instead of a section"};
    } else if (Loader(text, leaves_, error).fill_section(root_, top)) {
        return true;
    }
    root_ = {};
    leaves_.clear();
    return false;
}

}  // namespace nq
