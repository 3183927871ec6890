#include "typed/record_checker.hpp"

#include <algorithm>
#include <optional>
#include <vector>

#include "nqinstance/base/held.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/json/document.hpp"
#include "standalone/json/escape.hpp"
#include "standalone/text/messages.hpp"
#include "standalone/values/access.hpp"
#include "typed/sentence.hpp"
#include "typed/value_text.hpp"
#include "typed/verdict.hpp"

namespace nq {
namespace {

namespace dom = simdjson::dom;

static_assert(RecordChecker::kPadding >= JsonDocument::kPadding);

std::string at_path(const DefinitionNode& node, const std::string& what) {
    return node.path + ": " + what;
}

PlainValue plain_scalar(dom::element element) noexcept {
    switch (element.type()) {
        case dom::element_type::INT64:
            return PlainValue::of(element.get_int64().value_unsafe());
        case dom::element_type::UINT64:
            return PlainValue::of(element.get_uint64().value_unsafe());
        case dom::element_type::DOUBLE:
            return PlainValue::of(element.get_double().value_unsafe());
        case dom::element_type::BOOL:
            return PlainValue::of(element.get_bool().value_unsafe());
        case dom::element_type::STRING:
            return PlainValue::of_string(element.get_string().value_unsafe());
        default:
            return {};
    }
}

// The writer knows no characters, so one is written as a string of one.
bool may_be_character(const DefinitionNode& leaf) noexcept {
    return leaf.type == DataType::kChar ||
           std::find(leaf.expected_types.begin(), leaf.expected_types.end(), DataType::kChar) !=
               leaf.expected_types.end();
}

// A section of the definitions and the dictionary of the last record that had it. Most records have
// the same keys in the same order as the one before: then only the values are exchanged.
class Section {
  public:
    explicit Section(const DefinitionNode& node) : node_(node), children_(node.children.size()) {}

    const DefinitionNode& node() const noexcept { return node_; }
    NQDictionary* dictionary() const noexcept { return dictionary_.get(); }

    struct Child {
        Held<NQU8String> written_key;
        std::unique_ptr<Section> section;  // made when a record has it
        bool may_be_character = false;
    };

    struct Field {
        std::string key;
        const DefinitionNode* node;  // null where there is no definition
        Child* child;
        // The key as the writer needs it, which is the dictionary's: it writes keys as they are.
        NQU8String* written_key;
    };

    const std::vector<Field>& fields() const noexcept { return fields_; }

    // Makes the fields and the keys of the dictionary those of the object.
    NQStatus take_keys(const JsonServices& services, HostPool* pool, dom::object object) {
        if (has_keys(object)) return NQ_STATUS_OK;
        fields_.clear();
        own_keys_.clear();
        NQDictionaryApi* api = services.dictionaries;
        if (const NQStatus status =
                api->createDictionary(api, pool, nullptr, dictionary_.out(), api)) {
            return status;
        }
        for (const dom::key_value_pair pair : object) {
            if (const NQStatus status = add_field(services, pool, pair.key)) return status;
        }
        return NQ_STATUS_OK;
    }

  private:
    bool has_keys(dom::object object) const noexcept {
        if (!dictionary_) return false;
        auto field = fields_.begin();
        for (auto at = object.begin(); at != object.end(); ++at, ++field) {
            if (field == fields_.end() || at.key() != field->key) return false;
        }
        return field == fields_.end();
    }

    NQStatus add_field(const JsonServices& services, HostPool* pool, std::string_view key) {
        const DefinitionNode* node = node_.child(key);
        Child* child = node ? &children_[node->index] : nullptr;
        Held<NQU8String>& written =
            child ? child->written_key : *own_keys_.emplace_back(new Held<NQU8String>);
        if (!written) {
            const std::string text = json_escaped(key);
            NQStringApi* strings = services.strings;
            const NQStatus status = strings->createFromUtf8(
                strings, written.out(), pool, reinterpret_cast<const uint8_t*>(text.data()),
                text.size(), 0);
            if (status) {
                fields_.clear();
                dictionary_.reset();
                return status;
            }
            if (child) child->may_be_character = nq::may_be_character(*node);
        }
        if (child && !node->is_leaf() && !child->section) {
            child->section = std::make_unique<Section>(*node);
        }
        fields_.push_back({std::string(key), node, child, written.get()});
        return NQ_STATUS_OK;
    }

    const DefinitionNode& node_;
    std::vector<Child> children_;
    std::vector<Field> fields_;
    std::vector<std::unique_ptr<Held<NQU8String>>> own_keys_;  // of fields without a definition
    Held<NQDictionary> dictionary_;
};

}  // namespace

class RecordChecker::Impl {
  public:
    Impl(const JsonServices& services, HostPool* pool, const DefinitionNode& root)
        : services_(services), pool_(pool), root_(root) {}

    NQStatus check(std::string_view text, RecordFault& fault) {
        fault_ = &fault;
        text_ = text;
        depth_ = 0;
        fault.column = 0;
        fault.what.clear();
        if (const NQStatus status = document_.parse(text, true)) return refuse_text(status);
        const NQStatus status = make_section(root_, document_.top());
        if (status || is_refused()) return status;
        return write(&root_.dictionary()->header);
    }

    std::string_view output() const noexcept {
        return output_ ? text_of(*output_.get()) : std::string_view();
    }

    void clear_output() noexcept {
        if (output_) cut_output(0);
    }

  private:
    NQStatus refuse_text(NQStatus status) {
        TextPosition where;
        status = document_.locate(text_, status, where);
        fault_->column = where.column;
        switch (status) {
            case NQ_HOST_STATUS_JSON_SYNTAX:
            case NQ_HOST_STATUS_JSON_NUMBER:
            case NQ_HOST_STATUS_JSON_ENCODING:
            case NQ_HOST_STATUS_JSON_TOO_LARGE:
                return refuse(std::string(without_stop(message_text(status))));
            case NQ_HOST_STATUS_JSON_TOO_DEEP:
                return refuse_deep();
            default:
                return status;
        }
    }

    NQStatus refuse_deep() {
        TextPosition where;
        document_.locate(text_, NQ_HOST_STATUS_JSON_TOO_DEEP, where);
        fault_->column = where.column;
        return refuse("arrays and objects lie more than " + std::to_string(kMaxDepth) + " deep");
    }

    NQStatus refuse(std::string what) {
        fault_->what = std::move(what);
        return NQ_STATUS_OK;
    }

    bool is_refused() const noexcept { return !fault_->what.empty(); }

    NQStatus refuse_section(const DefinitionNode& section, dom::element element) {
        if (!section.parent) return refuse("the JSON text is not an object");
        Held<InstanceHeader> container;
        PlainValue value;
        if (const NQStatus status = take_plain(element, container, value)) return status;
        if (is_refused()) return NQ_STATUS_OK;
        return refuse(
            at_path(section, "value " + shown_value(value) + " stands where a section belongs"));
    }

    // Both stop at the first fault.
    NQStatus make_section(Section& section, dom::element element) {
        if (!element.is_object()) return refuse_section(section.node(), element);
        const dom::object object = element.get_object().value_unsafe();
        if (const NQStatus status = section.take_keys(services_, pool_, object)) return status;
        ++depth_;
        auto field = section.fields().begin();
        for (auto at = object.begin(); at != object.end(); ++at, ++field) {
            const NQStatus status = set_field(*section.dictionary(), *field, at.value());
            if (status || is_refused()) return status;
        }
        --depth_;
        return NQ_STATUS_OK;
    }

    NQStatus set_field(NQDictionary& dictionary, const Section::Field& field,
                       dom::element element) {
        if (field.child && field.child->section) {
            Section& section = *field.child->section;
            const NQStatus status = make_section(section, element);
            if (status || is_refused()) return status;
            return dictionary.set(&dictionary, field.written_key, &section.dictionary()->header);
        }
        Held<InstanceHeader> value;
        // A field that has a node has a child. NOLINTBEGIN(clang-analyzer-core.NullDereference)
        const NQStatus status =
            field.node ? make_leaf(*field.node, field.child->may_be_character, element, value.out())
                       : build(element, value.out());
        // NOLINTEND(clang-analyzer-core.NullDereference)
        if (status || is_refused()) return status;
        return dictionary.set(&dictionary, field.written_key, value.get());
    }

    NQStatus build(dom::element element, InstanceHeader** out) {
        const NQStatus status =
            document_.build(services_, pool_, element, JsonKeys::kEscaped, depth_, out);
        return status == NQ_HOST_STATUS_JSON_TOO_DEEP ? refuse_deep() : status;
    }

    NQStatus make_leaf(const DefinitionNode& leaf, bool may_be_character, dom::element element,
                       InstanceHeader** out) {
        Held<InstanceHeader> container;
        PlainValue value;
        if (const NQStatus status = take_plain(element, container, value)) return status;
        if (is_refused()) return NQ_STATUS_OK;
        Held<InstanceHeader> made;
        NQStatus status = make_typed_value(services_, pool_, leaf, value, made.out());
        if (status == NQ_STATUS_WRONG_TYPE) {
            return refuse(at_path(leaf, wrong_type(leaf, value).message));
        }
        if (status) return status;
        std::optional<ValueFault> wrong;
        status = check_value(services_, pool_, leaf, value, made.get(), wrong);
        if (status) return status;
        if (wrong) return refuse(at_path(leaf, wrong->message));
        if (may_be_character && as<NQCharInstance>(made.get())) {
            return store_text(value.text, out);
        }
        *out = made.take();
        return NQ_STATUS_OK;
    }

    // The value before it has a type; a container is built and belongs to the caller.
    NQStatus take_plain(dom::element element, Held<InstanceHeader>& container, PlainValue& value) {
        value = plain_scalar(element);
        if (!element.is_array() && !element.is_object()) return NQ_STATUS_OK;
        const NQStatus status = build(element, container.out());
        value.kind = PlainValue::Kind::kContainer;
        value.container = container.get();
        return status;
    }

    NQStatus store_text(std::string_view text, InstanceHeader** out) noexcept {
        NQU8String* string = make_u8string(pool_, text);
        if (!string) return NQ_STATUS_NO_MEMORY;
        *out = &string->header;
        return NQ_STATUS_OK;
    }

    NQStatus write(InstanceHeader* record) {
        const std::size_t begin = output().size();
        InstanceApi* api = services_.instances;
        NQStatus status =
            api->toJSON2(api, services_.strings, pool_, 0, 0, record, output_.in_out());
        if (status == NQ_STATUS_OK) status = escape_controls(begin);
        if (status == NQ_STATUS_OK) status = append("\n");
        if (status == NQ_STATUS_OK) return status;
        if (output_) cut_output(begin);
        // The library has room for so many characters of a number.
        return status == NQ_STATUS_BUFFER_TOO_SMALL ? refuse("a number too large to be written")
                                                    : status;
    }

    // The library's writer leaves most control characters as they are.
    NQStatus escape_controls(std::size_t begin) {
        const std::string_view written = output().substr(begin);
        unsigned controls = 0;
        for (const char byte : written) controls += is_control(byte);
        if (!controls) return NQ_STATUS_OK;
        std::string escaped;
        append_without_controls(escaped, written);
        cut_output(begin);
        return append(escaped);
    }

    NQStatus append(std::string_view text) noexcept {
        NQU8String* string = output_.get();
        return string->methods->append(string, text.data(), text.size(), NQ_ENCODING_UTF8);
    }

    void cut_output(std::size_t length) noexcept {
        assign(*output_.get(), output().substr(0, length));
    }

    const JsonServices services_;
    HostPool* pool_;
    JsonDocument document_{kMaxDepth};
    Section root_;
    Held<NQU8String> output_;

    // Of the record that is being checked.
    std::string_view text_;
    RecordFault* fault_ = nullptr;
    uint64_t depth_ = 0;  // of the section whose fields are being made
};

RecordChecker::RecordChecker(const JsonServices& services, HostPool* pool,
                             const DefinitionNode& root)
    : impl_(std::make_unique<Impl>(services, pool, root)) {}

RecordChecker::~RecordChecker() = default;

NQStatus RecordChecker::check(std::string_view text, RecordFault& fault) noexcept {
    try {
        return impl_->check(text, fault);
    } catch (...) {
        return NQ_STATUS_NO_MEMORY;
    }
}

std::string_view RecordChecker::output() const noexcept { return impl_->output(); }
void RecordChecker::clear_output() noexcept { impl_->clear_output(); }

}  // namespace nq
