#include "typed/configuration.hpp"

#include <algorithm>
#include <map>
#include <new>
#include <optional>
#include <span>

#include "nqinstance/base/held.hpp"
#include "standalone/base/utf8.hpp"
#include "standalone/values/access.hpp"
#include "typed/key_lines.hpp"
#include "typed/value_text.hpp"
#include "typed/verdict.hpp"

namespace nq {
namespace {

using Kind = PlainValue::Kind;

std::string joined(std::span<const std::string> keys) {
    std::string result;
    for (const std::string& key : keys) {
        if (&key != keys.data()) result += '.';
        result += key;
    }
    return result;
}

class Copier {
  public:
    Copier(const Services& services, HostPool* pool, const TypedOptions& options,
           std::vector<Fault>& faults)
        : services_(services),
          json_(services.json()),
          pool_(pool),
          options_(options),
          faults_(faults) {}

    NQStatus copy(const DefinitionNode& section, NQDictionary* source, NQDictionary** out) {
        Held<NQDictionary> made;
        NQDictionaryApi* dictionaries = services_.dictionaries();
        NQStatus status =
            dictionaries->createDictionary(dictionaries, pool_, nullptr, made.out(), dictionaries);
        if (status) return status;
        std::vector<bool> is_there(section.children.size());
        if (source) {
            Held<NQArray> keys;
            status = source->listKeys(source, keys.out());
            if (status) return status;
            for (InstanceHeader* element : elements_of(*keys.get())) {
                auto* key = reinterpret_cast<NQU8String*>(element);
                InstanceHeader* value = nullptr;
                source->get(source, key, &value);
                const DefinitionNode* node = section.child(text_of(*key));
                if (node) is_there[node->index] = true;
                path_.emplace_back(text_of(*key));
                status = copy_entry(node, key, value, made.get());
                path_.pop_back();
                if (status) return status;
            }
        }
        if (options_.wants_all) report_missing(section, is_there);
        *out = made.take();
        return NQ_STATUS_OK;
    }

  private:
    bool is_json() const noexcept { return options_.syntax == SourceSyntax::kJson; }
    Kind text_kind() const noexcept { return is_json() ? Kind::kString : Kind::kText; }

    NQStatus copy_entry(const DefinitionNode* node, NQU8String* key, InstanceHeader* value,
                        NQDictionary* target) {
        if (!node) {
            if (options_.refuses_unknown) {
                add(FaultKind::kUnknownKey, "", "", "the key is not defined");
            }
            return target->set(target, key, value);
        }
        Held<InstanceHeader> made;
        const NQStatus status =
            node->is_leaf() ? make_value(*node, value, made) : make_section(*node, value, made);
        if (status || !made) return status;
        return target->set(target, key, made.get());
    }

    // `made` stays null when there is a fault.
    NQStatus make_section(const DefinitionNode& node, InstanceHeader* value,
                          Held<InstanceHeader>& made) {
        NQDictionary* inner = as<NQDictionary>(value);
        if (!inner && !is_empty_text(value)) {
            const std::string shown = shown_value(plain_value_of(value, text_kind()));
            add(FaultKind::kSection, shown, "a section",
                "value " + shown + " stands where a section belongs");
            return NQ_STATUS_OK;
        }
        NQDictionary* copied = nullptr;
        const NQStatus status = copy(node, inner, &copied);
        if (status == NQ_STATUS_OK) *made.out() = &copied->header;
        return status;
    }

    // A key without a value right after a nested block is empty text, everywhere else an empty
    // block.
    bool is_empty_text(InstanceHeader* value) const noexcept {
        const PlainValue plain = plain_value_of(value, Kind::kText);
        return !is_json() && plain.kind == Kind::kText && plain.text.empty();
    }

    static bool is_empty(NQDictionary* dictionary) {
        Held<NQArray> keys;
        if (dictionary->listKeys(dictionary, keys.out())) throw std::bad_alloc();
        return keys->count == 0;
    }

    NQStatus make_value(const DefinitionNode& leaf, InstanceHeader* value,
                        Held<InstanceHeader>& made) {
        PlainValue plain = plain_value_of(value, text_kind());
        NQDictionary* block = is_json() ? nullptr : as<NQDictionary>(value);
        NQStatus status = NQ_STATUS_WRONG_TYPE;
        if (block && is_empty(block)) {
            // Text where text will do, else the empty block that it is.
            const PlainValue empty = PlainValue::of_text("");
            status = make_typed_value(json_, pool_, leaf, empty, made.out());
            if (status == NQ_STATUS_WRONG_TYPE) {
                status = make_typed_value(json_, pool_, leaf, plain, made.out());
            }
            plain = empty;
        } else {
            status = make_typed_value(json_, pool_, leaf, plain, made.out());
            if (status == NQ_STATUS_WRONG_TYPE && is_empty_text(value)) {
                return make_empty_block(leaf, plain, made);
            }
            if (status == NQ_STATUS_WRONG_TYPE && block) {
                add(FaultKind::kSection, "", expectation(leaf),
                    "a section stands where a value belongs: expected " + expectation(leaf));
                return NQ_STATUS_OK;
            }
        }
        if (status == NQ_STATUS_WRONG_TYPE) {
            add(leaf, plain, wrong_type(leaf, plain));
            return NQ_STATUS_OK;
        }
        return status ? status : check(leaf, plain, made);
    }

    // Empty text where a dictionary is expected.
    NQStatus make_empty_block(const DefinitionNode& leaf, const PlainValue& text,
                              Held<InstanceHeader>& made) {
        Held<NQDictionary> block;
        NQDictionaryApi* dictionaries = services_.dictionaries();
        NQStatus status =
            dictionaries->createDictionary(dictionaries, pool_, nullptr, block.out(), dictionaries);
        if (status) return status;
        const PlainValue plain = plain_value_of(&block->header, Kind::kText);
        status = make_typed_value(json_, pool_, leaf, plain, made.out());
        if (status == NQ_STATUS_WRONG_TYPE) {
            add(leaf, text, wrong_type(leaf, text));
            return NQ_STATUS_OK;
        }
        return status ? status : check(leaf, plain, made);
    }

    NQStatus check(const DefinitionNode& leaf, const PlainValue& plain,
                   Held<InstanceHeader>& made) {
        std::optional<ValueFault> fault;
        const NQStatus status = check_value(json_, pool_, leaf, plain, made.get(), fault);
        if (status || !fault) return status;
        add(leaf, plain, std::move(*fault));
        made.reset();
        return NQ_STATUS_OK;
    }

    static std::string expected_by(const DefinitionNode& leaf, FaultKind kind) {
        switch (kind) {
            case FaultKind::kDefinition:
                return {};
            case FaultKind::kValues:
                return "one of " + shown_accepted_values(leaf);
            case FaultKind::kBounds:
                return "a number " + shown_limits(leaf);
            default:
                return expectation(leaf);
        }
    }

    void add(const DefinitionNode& leaf, const PlainValue& plain, ValueFault fault) {
        add(fault.kind, shown_value(plain), expected_by(leaf, fault.kind), std::move(fault.message),
            fault.status);
    }

    void add(FaultKind kind, std::string value, std::string expected, std::string message,
             NQStatus status = NQ_STATUS_OK) {
        faults_.push_back({.kind = kind,
                           .path = path_,
                           .value = std::move(value),
                           .expected = std::move(expected),
                           .message = std::move(message),
                           .status = status,
                           .line = 0,
                           .column = 0});
    }

    // Every leaf of the section that is not there, those of absent sections within it too.
    void report_missing(const DefinitionNode& section, const std::vector<bool>& is_there) {
        for (const auto& child : section.children) {
            if (is_there[child->index]) continue;
            path_.push_back(child->key);
            if (child->is_leaf()) {
                add(FaultKind::kMissingKey, "", expectation(*child),
                    "the key is missing: expected " + expectation(*child));
            } else {
                report_missing(*child, std::vector<bool>(child->children.size()));
            }
            path_.pop_back();
        }
    }

    const Services& services_;
    const JsonServices json_;
    HostPool* pool_;
    const TypedOptions& options_;
    std::vector<Fault>& faults_;
    std::vector<std::string> path_;
};

}  // namespace

std::string Fault::section() const {
    return joined(std::span(path).first(path.empty() ? 0 : path.size() - 1));
}

std::string Fault::shown_path() const { return joined(path); }

NQStatus make_typed_configuration(const Services& services, HostPool* pool,
                                  const Definitions& definitions, NQDictionary* source,
                                  const TypedOptions& options, NQDictionary** out,
                                  std::vector<Fault>& faults) {
    *out = nullptr;
    return Copier(services, pool, options, faults).copy(definitions.root(), source, out);
}

NQStatus replace_characters(const Services& services, HostPool* pool, const DefinitionNode& section,
                            NQDictionary* typed) {
    Held<NQArray> keys;
    if (const NQStatus status = typed->listKeys(typed, keys.out())) return status;
    for (InstanceHeader* element : elements_of(*keys.get())) {
        auto* key = reinterpret_cast<NQU8String*>(element);
        const DefinitionNode* node = section.child(text_of(*key));
        InstanceHeader* value = nullptr;
        typed->get(typed, key, &value);
        if (!node || !value) continue;
        NQStatus status = NQ_STATUS_OK;
        const auto* character = as<NQCharInstance>(value);
        if (!node->is_leaf()) {
            // Never anything but a dictionary in a typed copy.
            status =
                replace_characters(services, pool, *node, reinterpret_cast<NQDictionary*>(value));
        } else if (character) {
            uint8_t bytes[4];
            const unsigned count = encode_utf8(character->value, bytes);
            Held<NQU8String> text;
            NQStringApi* strings = services.strings();
            status = strings->createFromUtf8(strings, text.out(), pool, bytes, count, 0);
            if (!status) status = typed->set(typed, key, &text->header);
        }
        if (status) return status;
    }
    return NQ_STATUS_OK;
}

void find_lines(std::string_view text, SourceSyntax syntax, std::vector<Fault>& faults) {
    using Path = std::span<const std::string>;
    struct IsLess {
        bool operator()(Path a, Path b) const {
            return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
        }
    };
    // What stands twice counts where it stands last, as for the reader.
    struct Place {
        uint32_t line = 0;
        uint64_t turn = 0;  // when it was visited last, from 1
    };
    std::map<Path, Place, IsLess> places;
    for (const Fault& fault : faults) {
        Path path(fault.path);
        places.try_emplace(path);
        if (fault.kind != FaultKind::kMissingKey) continue;
        for (; !path.empty(); path = path.first(path.size() - 1)) places.try_emplace(path);
    }
    uint64_t turn = 0;
    const KeyVisitor note = [&](Path path, uint32_t line) {
        const auto found = places.find(path);
        if (found != places.end()) found->second = {line, ++turn};
    };
    if (syntax == SourceSyntax::kJson) {
        visit_json_keys(text, note);
    } else {
        visit_configuration_keys(text, note);
    }
    for (Fault& fault : faults) {
        Path path(fault.path);
        if (fault.kind != FaultKind::kMissingKey) {
            fault.line = places.find(path)->second.line;
            continue;
        }
        // The innermost section that is there: visited after all around it, for one that comes
        // again begins anew.
        uint64_t last_turn = 0;
        for (std::size_t keys = 1; keys < path.size(); ++keys) {
            const Place& place = places.find(path.first(keys))->second;
            if (place.turn <= last_turn) break;
            last_turn = place.turn;
            fault.line = place.line;
        }
    }
}

}  // namespace nq
