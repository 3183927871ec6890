#include "tests/support/host_json.hpp"

#include <algorithm>
#include <charconv>

#include "nqinstance/host/status.h"
#include "tests/support/faults.hpp"
#include "tests/support/statuses.hpp"

namespace nq::test {
namespace {

class Parser {
  public:
    Parser(JsonService& service, HostPool* pool, std::string_view text)
        : service_(service), pool_(pool), rest_(text) {}

    // The whole text as one value, or null and a status; null is a value as well.
    InstanceHeader* parse(NQStatus& status) {
        InstanceHeader* value = read_value();
        if (!status_ && !next().empty()) fail(kJsonSyntaxError);
        status = status_;
        if (!status_) return value;
        drop_unplanned(value);
        return nullptr;
    }

  private:
    InstanceHeader* fail(NQStatus status) {
        if (!status_) status_ = status;
        return nullptr;
    }

    // What is left behind the blanks.
    std::string_view next() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size()));
        return rest_;
    }
    bool take(std::string_view word) {
        if (!next().starts_with(word)) return false;
        rest_.remove_prefix(word.size());
        return true;
    }

    template <class Object>
    InstanceHeader* made(Object* object) {
        return object ? &object->header : fail(NQ_STATUS_NO_MEMORY);
    }

    InstanceHeader* read_value() {
        InstanceApi* api = service_.instances;
        NQStatus status;
        if (take("null")) return nullptr;
        if (take("true")) return made(api->createBoolean(api, pool_, 1, &status));
        if (take("false")) return made(api->createBoolean(api, pool_, 0, &status));
        if (next().starts_with('"')) return made(read_string());
        if (take("[")) return read_array();
        if (take("{")) return read_dictionary();
        return read_number();
    }

    NQU8String* read_string() {
        std::string text;
        if (!take("\"")) {
            fail(kJsonSyntaxError);
            return nullptr;
        }
        while (!rest_.empty() && rest_[0] != '"') {
            if (rest_[0] == '\\') rest_.remove_prefix(1);
            if (rest_.empty()) break;
            text += rest_[0];
            rest_.remove_prefix(1);
        }
        if (!take("\"")) {
            fail(kJsonSyntaxError);
            return nullptr;
        }
        NQU8String* string = service_.strings().make(pool_, text);
        if (!string) fail(NQ_STATUS_NO_MEMORY);
        return string;
    }

    InstanceHeader* read_number() {
        InstanceApi* api = service_.instances;
        NQStatus status;
        const std::string_view text = rest_.substr(0, rest_.find_first_not_of("+-.0123456789eE"));
        const auto is_all = [&](auto& value) {
            const auto [end, error] =
                std::from_chars(text.data(), text.data() + text.size(), value);
            return error == std::errc() && end == text.data() + text.size() && !text.empty();
        };
        std::int64_t integer;
        std::uint64_t natural;
        double number = 0;
        rest_.remove_prefix(text.size());
        if (is_all(integer)) return made(api->createInt64(api, pool_, integer, &status));
        if (is_all(natural)) return made(api->createUInt64(api, pool_, natural, &status));
        if (is_all(number)) return made(api->createDouble(api, pool_, number, &status));
        return fail(kJsonSyntaxError);
    }

    // Reads the elements up to the closing bracket.
    template <class Read>
    void read_elements(std::string_view close, Read read) {
        if (take(close)) return;
        do {
            read();
        } while (!status_ && take(","));
        if (!status_ && !take(close)) fail(kJsonSyntaxError);
    }

    InstanceHeader* read_array() {
        NQArray* array = service_.arrays().make(pool_);
        if (!array) return fail(NQ_STATUS_NO_MEMORY);
        read_elements("]", [&] {
            InstanceHeader* element = read_value();
            if (!status_ && !ArrayService::add(array, element)) fail(NQ_STATUS_NO_MEMORY);
            drop_unplanned(element);
        });
        return &array->header;
    }

    InstanceHeader* read_dictionary() {
        NQDictionary* dictionary = service_.dictionaries().make(pool_);
        if (!dictionary) return fail(NQ_STATUS_NO_MEMORY);
        read_elements("}", [&] {
            NQU8String* key = read_string();
            if (!key) return;
            InstanceHeader* value = take(":") ? read_value() : fail(kJsonSyntaxError);
            if (!status_ && !DictionaryService::put(dictionary, key, value)) {
                fail(NQ_STATUS_NO_MEMORY);
            }
            drop_unplanned(&key->header);
            drop_unplanned(value);
        });
        return &dictionary->header;
    }

    JsonService& service_;
    HostPool* pool_;
    std::string_view rest_;
    NQStatus status_ = NQ_STATUS_OK;
};

NQStatus parse(NQInstJsonApi* self, HostPool* pool, const std::uint8_t* text, std::uint64_t length,
               const void* options, InstanceHeader** out, std::uint32_t* first,
               std::uint32_t* second) noexcept {
    auto& table = ExtensionTable<NQInstJsonApi, JsonService>::of(self);
    table.core->check_use(Extension::kJson, "parse");
    const auto* bytes = static_cast<const char*>(options);
    if (std::any_of(bytes, bytes + 6, [](char byte) { return byte != 0; })) {
        report_fault("parse with options that are not zero");
    }
    // The outputs are the host's own to write.
    *first = *second = 0xA5A5A5A5u;
    FailurePlan& plan = table.core->plan;
    const NQStatus planned = plan.next(Call::kParseJson);
    if (planned && !plan.delivers_with_failure()) return planned;
    NQStatus status;
    InstanceHeader* value =
        Parser(*table.service, pool, {reinterpret_cast<const char*>(text), length}).parse(status);
    if (status) return planned ? planned : status;
    *out = value;
    return planned;
}

}  // namespace

JsonService::JsonService(HostCore& core, StringService& strings, ArrayService& arrays,
                         DictionaryService& dictionaries)
    : core_(core), strings_(strings), arrays_(arrays), dictionaries_(dictionaries) {
    table_.fill(Extension::kJson, *this, core);
    table_.parse = parse;
}

}  // namespace nq::test
