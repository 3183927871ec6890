#include "typed/definitions.hpp"

#include <algorithm>
#include <bit>
#include <optional>
#include <set>
#include <span>
#include <utility>

#include "nqinstance/base/held.hpp"
#include "nqinstance/host/status.h"
#include "standalone/base/utf8.hpp"
#include "standalone/json/scan.hpp"
#include "standalone/text/messages.hpp"
#include "standalone/values/access.hpp"
#include "standalone/values/object.hpp"
#include "typed/bound_rule.hpp"
#include "typed/key_lines.hpp"
#include "typed/sentence.hpp"

namespace nq {
namespace {

std::string quoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    return result.append(1, '"').append(text).append(1, '"');
}

// A definition is an object with a string "dataType".
bool is_definition(NQDictionary* dictionary) noexcept {
    const auto data_type = entry_of(dictionary, "dataType");
    return data_type && string_of(*data_type);
}

// Looks for a key that stands twice in one object of a JSON text.
class RepeatedKeys : public JsonEvents {
  public:
    // The first such key with its line; line 0: there is none.
    const DefinitionsError& error() const noexcept { return error_; }

    void open(char) override { open_.emplace_back(); }
    void close() override { open_.pop_back(); }
    void key(std::string_view key, uint32_t line) override {
        Container& object = open_.back();
        object.key = key;
        if (object.keys.emplace(key).second || error_.line) return;
        std::string path;
        for (const Container& container : open_) {
            // An array has no keys.
            if (!container.keys.empty()) path.append(container.key).append(1, '.');
        }
        path.pop_back();
        error_ = {line, 0, path + ": the key is given twice"};
    }

  private:
    struct Container {
        std::set<std::string, std::less<>> keys;
        std::string key;  // the last one
    };
    std::vector<Container> open_;  // from the outermost
    DefinitionsError error_;
};

bool has_repeated_key(std::string_view text, DefinitionsError& error) {
    RepeatedKeys keys;
    scan_json(without_byte_order_mark(text), UINT64_MAX, keys);
    if (!keys.error().line) return false;
    error = keys.error();
    return true;
}

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
        for (const std::string& key : keys_of(object)) {
            keys_.push_back(key);
            if (!add_child(node, *entry_of(object, key))) return false;
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
        NQDictionary* object = as<NQDictionary>(value);
        if (!object) {
            if (node.key == "dataType") return refuse("\"dataType\" must be text");
            return refuse("neither a definition nor a section: an object is missing");
        }
        return is_definition(object) ? fill_leaf(node, object) : fill_section(node, object);
    }

    bool fill_leaf(DefinitionNode& leaf, NQDictionary* definition) {
        const std::string_view keyword = *string_of(*entry_of(definition, "dataType"));
        const std::optional<DataType> type = data_type_of(keyword);
        if (!type) return refuse("unknown data type " + quoted(keyword), "dataType");
        leaf.type = *type;
        if (!check_entries(definition)) return false;
        if (!read_expected_types(leaf, definition)) return false;
        if (!check_limits(leaf, definition)) return false;
        leaf.takes_uint64 = is_free_of_signed_limits(definition);
        leaf.definition = definition;
        leaves_.push_back(&leaf);
        return true;
    }

    // Every entry means something, so that none is misspelt.
    bool check_entries(NQDictionary* definition) {
        for (const std::string& key : keys_of(definition)) {
            if (!is_among(key, kEntries)) return refuse("unknown entry " + quoted(key), key);
        }
        const auto description = entry_of(definition, "description");
        if (!description || string_of(*description)) return true;
        return refuse("\"description\" must be text", "description");
    }

    bool read_expected_types(DefinitionNode& leaf, NQDictionary* definition) {
        const auto list = entry_of(definition, "expectedTypes");
        if (!list) return true;
        const auto refuse_list = [this](const std::string& what) {
            return refuse(what, "expectedTypes");
        };
        if (leaf.type != DataType::kInstance) {
            return refuse_list("\"expectedTypes\" is for the data type \"instance\" only");
        }
        NQArray* array = as<NQArray>(*list);
        if (!array) return refuse_list("\"expectedTypes\" must be an array");
        if (!array->count) return refuse_list("\"expectedTypes\" is empty: nothing would fit");
        leaf.has_expected_types = true;
        for (InstanceHeader* element : elements_of(*array)) {
            NQDictionary* entry = as<NQDictionary>(element);
            if (!entry || !is_definition(entry)) {
                return refuse_list("an entry of \"expectedTypes\" has no \"dataType\"");
            }
            const std::string_view keyword = *string_of(*entry_of(entry, "dataType"));
            const std::optional<DataType> type = data_type_of(keyword);
            if (!type) {
                return refuse_list("unknown data type " + quoted(keyword) +
                                   " in \"expectedTypes\"");
            }
            if (type == DataType::kInstance) {
                return refuse_list("\"instance\" cannot stand in \"expectedTypes\"");
            }
            for (const std::string& key : keys_of(entry)) {
                if (key == "dataType" || key == "description") continue;
                return refuse_list((is_among(key, kEntries) ? quoted(key) + " has no effect"
                                                            : "unknown entry " + quoted(key)) +
                                   " within \"expectedTypes\"");
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
            const auto value = entry_of(definition, limit);
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
        if (!is_empty(rules, definition)) return true;
        return refuse("\"min\" is above \"max\": nothing would fit", "min");
    }

    bool check_bound(const std::vector<BoundRule>& rules, InstanceHeader* bound,
                     const std::string& shown, const std::string& key) {
        for (const BoundRule& rule : rules) {
            const std::string wanted = rule.refusal(bound);
            if (!wanted.empty()) return refuse(shown + " must be " + wanted, key);
        }
        return true;
    }

    bool check_values(const std::vector<BoundRule>& rules, InstanceHeader* values) {
        NQArray* array = array_of_values(values);
        if (!array) return false;
        for (InstanceHeader* element : elements_of(*array)) {
            NQDictionary* range = as<NQDictionary>(element);
            if (range ? !check_range(rules, range)
                      : !check_bound(rules, element, "an entry of \"values\"", "values")) {
                return false;
            }
        }
        return true;
    }

    bool check_range(const std::vector<BoundRule>& rules, NQDictionary* range) {
        const std::string of_range = " of a range in \"values\"";
        for (const std::string bound : {"min", "max"}) {
            const auto value = entry_of(range, bound);
            const std::string shown = quoted(bound) + of_range;
            if (!value) return refuse(shown + " is missing", "values");
            if (!check_bound(rules, *value, shown, "values")) return false;
        }
        for (const std::string& key : keys_of(range)) {
            if (key == "min" || key == "max") continue;
            return refuse("unknown entry " + quoted(key) + of_range, "values");
        }
        if (!is_empty(rules, range)) return true;
        return refuse("\"min\"" + of_range + " is above its \"max\"", "values");
    }

    // Whether the bounds, neither of which is refused, leave no number to a type.
    static bool is_empty(const std::vector<BoundRule>& rules, NQDictionary* bounds) noexcept {
        const auto least = entry_of(bounds, "min");
        const auto most = entry_of(bounds, "max");
        if (!least || !most) return false;
        return std::any_of(rules.begin(), rules.end(),
                           [&](const BoundRule& rule) { return rule.is_above(*least, *most); });
    }

    // Null: what "values" holds is refused.
    NQArray* array_of_values(InstanceHeader* values) {
        NQArray* array = as<NQArray>(values);
        if (!array) {
            refuse("\"values\" must be an array", "values");
        } else if (!array->count) {
            refuse("\"values\" is empty: nothing would fit", "values");
            return nullptr;
        }
        return array;
    }

    bool read_accepted_texts(DefinitionNode& leaf, InstanceHeader* values) {
        NQArray* array = array_of_values(values);
        if (!array) return false;
        leaf.has_accepted_texts = true;
        for (InstanceHeader* element : elements_of(*array)) {
            const auto text = string_of(element);
            if (!text) return refuse("an entry of \"values\" must be text", "values");
            leaf.accepted_texts.emplace_back(*text);
        }
        return true;
    }

    static bool is_negative_or_not_whole(InstanceHeader* limit) noexcept {
        if (const auto* number = as<NQInt64Instance>(limit)) return number->value < 0;
        return !as<NQUInt64Instance>(limit);
    }

    static bool is_free_of_signed_limits(NQDictionary* definition) noexcept {
        for (const std::string_view bound : {"min", "max"}) {
            const auto value = entry_of(definition, bound);
            if (value && is_negative_or_not_whole(*value)) return false;
        }
        const auto values = entry_of(definition, "values");
        NQArray* array = values ? as<NQArray>(*values) : nullptr;
        if (!array) return true;
        const auto elements = elements_of(*array);
        return std::none_of(elements.begin(), elements.end(), [](InstanceHeader* element) {
            NQDictionary* range = as<NQDictionary>(element);
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
    bool refuse(const std::string& what, std::optional<std::string_view> key = std::nullopt) {
        std::string shown;
        for (const std::string& name : keys_) {
            if (&name != keys_.data()) shown += '.';
            shown += name;
        }
        error_.what = shown + ": " + what;
        std::vector<std::string> wanted = keys_;
        if (key) wanted.emplace_back(*key);
        visit_json_keys(text_, [&](std::span<const std::string> path, uint32_t line) {
            if (std::equal(path.begin(), path.end(), wanted.begin(), wanted.end()))
                error_.line = line;
        });
        return false;
    }

    static std::vector<std::string> keys_of(NQDictionary* dictionary) {
        Held<NQArray> list;
        if (dictionary->listKeys(dictionary, list.out())) throw std::bad_alloc();
        std::vector<std::string> keys;
        for (InstanceHeader* key : elements_of(*list.get())) keys.emplace_back(*string_of(key));
        return keys;
    }

    static bool is_among(std::string_view key, std::span<const std::string_view> keys) noexcept {
        return std::find(keys.begin(), keys.end(), key) != keys.end();
    }

    static constexpr std::string_view kLimits[] = {"min", "max", "values"};
    static constexpr std::string_view kEntries[] = {"dataType", "min",           "max",
                                                    "values",   "expectedTypes", "description"};

    std::string_view text_;
    std::vector<const DefinitionNode*>& leaves_;
    DefinitionsError& error_;
    std::vector<std::string> keys_;  // from the root to the node that is being made
};

}  // namespace

void Definitions::clear() noexcept {
    root_ = {};
    leaves_.clear();
    drop(std::exchange(tree_, nullptr));
}

bool Definitions::load(const JsonServices& services, HostPool* pool, std::string_view text,
                       DefinitionsError& error) {
    clear();
    error = {};
    uint32_t line;
    uint32_t column;
    const NQStatus status =
        parse_json(services, pool, reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                   &tree_, &line, &column);
    if (status) {
        error = {line, column, std::string(without_stop(message_text(status)))};
        if (error.what.empty()) error.what = "the text cannot be made values of";
        return false;
    }
    NQDictionary* top = as<NQDictionary>(tree_);
    if (!top) {
        error = {1, 0, "the definitions are not an object"};
    } else if (is_definition(top)) {
        error = {1, 0, "the top of the definitions is a definition instead of a section"};
    } else if (!has_repeated_key(text, error) &&  // of which the dictionaries have the last only
               Loader(text, leaves_, error).fill_section(root_, top)) {
        return true;
    }
    clear();
    return false;
}

}  // namespace nq
