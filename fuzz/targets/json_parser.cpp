// Reading JSON text: what is accepted, and as what, agrees with a parser of others and with the
// search for the offending byte; what was read is written and read again as the same.
#include "standalone/json/parser.hpp"

#include <nlohmann/json.hpp>

#include "fuzz/support/checking.hpp"
#include "nqinstance/core/instance.h"
#include "standalone/base/statuses.hpp"
#include "standalone/json/position.hpp"

namespace nq::fuzz {
namespace {

using Json = nlohmann::ordered_json;

template <class Instance>
const Instance* as(InstanceHeader* instance, const char* type) {
    if (!instance || !instance->isType(instance, type)) return nullptr;
    return reinterpret_cast<const Instance*>(instance);
}

bool equal(InstanceHeader* instance, const Json& json) {
    switch (json.type()) {
        case Json::value_t::null:
            return !instance;
        case Json::value_t::boolean: {
            const auto* boolean = as<NQBooleanInstance>(instance, "NQBooleanInstance");
            return boolean && boolean->value == (json.get<bool>() ? 1 : 0);
        }
        case Json::value_t::number_integer:
        case Json::value_t::number_unsigned: {
            if (const auto* number = as<NQInt64Instance>(instance, "NQInt64Instance")) {
                return json == number->value;
            }
            const auto* number = as<NQUInt64Instance>(instance, "NQUInt64Instance");
            return number && number->value > INT64_MAX && json == number->value;
        }
        case Json::value_t::number_float: {
            const auto* number = as<NQDoubleInstance>(instance, "NQDoubleInstance");
            return number && number->value == json.get<double>();
        }
        case Json::value_t::string: {
            const auto* string = as<NQU8String>(instance, "NQU8String");
            return string && test::text_of(string) == json.get_ref<const std::string&>();
        }
        case Json::value_t::array: {
            const auto* array = as<NQArray>(instance, "NQArray");
            if (!array || array->count != json.size()) return false;
            for (std::uint64_t i = 0; i < array->count; ++i) {
                if (!equal(array->elements[i], json[i])) return false;
            }
            return true;
        }
        case Json::value_t::object: {
            if (!as<NQDictionary>(instance, "NQDictionary")) return false;
            const auto entries = test::entries_of(reinterpret_cast<NQDictionary*>(instance));
            if (entries.size() != json.size()) return false;
            auto at = json.begin();
            return std::ranges::all_of(entries, [&](const auto& entry) {
                const bool same = entry.first == at.key() && equal(entry.second, at.value());
                ++at;
                return same;
            });
        }
        default:
            return false;
    }
}

struct Parsed {
    NQStatus status;
    InstanceHeader* instance = nullptr;
    std::uint32_t line = 99;
    std::uint32_t column = 99;
};

class Parser {
  public:
    explicit Parser(CheckingHost& host)
        : host_(host),
          services_{host.api(), host.string_api(), host.array_api(), host.dictionary_api()} {}

    Parsed parse(const Bytes& text) {
        Parsed parsed;
        parsed.instance = reinterpret_cast<InstanceHeader*>(0x10);
        parsed.status = parse_json(services_, host_.pool(), text.data(), text.size(),
                                   &parsed.instance, &parsed.line, &parsed.column);
        if (parsed.status) NQ_REQUIRE(!parsed.instance);
        return parsed;
    }

  private:
    CheckingHost& host_;
    JsonServices services_;
};

// A position within the text: the line is one of it, and the column at most behind its end.
void require_position(const Parsed& parsed, std::string_view text, std::uint64_t offset) {
    const TextPosition position = position_of(text, offset);
    NQ_REQUIRE(offset <= text.size());
    NQ_REQUIRE(parsed.line == position.line && parsed.column == position.column);
    NQ_REQUIRE(parsed.line >= 1 && parsed.column >= 1);
    NQ_REQUIRE(parsed.line <= 1u + static_cast<std::uint64_t>(std::ranges::count(text, '\n')));
    NQ_REQUIRE(parsed.column <= text.size() + 1);
}

// Writes what was read as compact text, which holds no text that the writer does not escape, and
// reads it again.
bool is_writable(const Json& json) {
    if (json.is_number_float() && std::abs(json.get<double>()) > 1e200) return false;
    const auto is_plain = [](const std::string& text, bool is_key) {
        return std::ranges::all_of(text, [is_key](char c) {
            if (is_key && (c == '"' || c == '\\')) return false;
            return static_cast<unsigned char>(c) >= 0x20 || (!is_key && (c == '\t' || c == '\n'));
        });
    };
    if (json.is_string()) return is_plain(json.get_ref<const std::string&>(), false);
    if (json.is_object()) {
        for (const auto& [key, value] : json.items()) {
            if (!is_plain(key, true) || !is_writable(value)) return false;
        }
        return true;
    }
    return !json.is_array() || std::ranges::all_of(json, is_writable);
}

// As the writer rounds.
Json rounded(const Json& json) {
    if (json.is_number_float()) {
        char text[400];
        std::snprintf(text, sizeof text, "%f", json.get<double>());
        return Json(std::strtod(text, nullptr));
    }
    Json result = json;
    if (json.is_structured()) {
        for (Json& value : result) value = rounded(value);
    }
    return result;
}

void require_round_trip(CheckingHost& host, Parser& parser, InstanceHeader* instance,
                        const Json& json) {
    InstanceApi* api = host.api();
    NQU8String* written = nullptr;
    NQ_REQUIRE(!api->toJSON2(api, host.string_api(), host.pool(), 0, 0, instance, &written));
    const Bytes text(written->bytes, written->bytes + written->length);
    test::release(written);
    const Parsed again = parser.parse(text);
    NQ_REQUIRE(!again.status && equal(again.instance, rounded(json)));
    test::release(again.instance);
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    const PlannedFailure failure(input);
    const Bytes text = input.text(400);

    CheckingHost host;
    NQ_REQUIRE(host.load() != nullptr);
    Parser parser(host);
    const nq::test::HostState before = host.state();
    if (failure.fails) {
        failure.arm(host);
        const Parsed failed = parser.parse(text);
        // What is wrong with the text is found before anything is made of it.
        if (failed.line == 0) require_explained(host, failed.status);
        host.plan().clear();
        nq::test::release(failed.instance);
        NQ_REQUIRE(host.state() == before);
    }

    std::string_view plain(reinterpret_cast<const char*>(text.data()), text.size());
    constexpr std::string_view kMark = "\xef\xbb\xbf";
    if (plain.starts_with(kMark)) plain.remove_prefix(kMark.size());
    const Parsed parsed = parser.parse(text);
    const std::optional<std::uint64_t> error = nq::find_json_error(plain, UINT64_MAX);
    // The other parser's input would end at a NUL, and begin behind one more mark; no JSON text
    // holds either.
    const bool is_misread = plain.find('\0') != plain.npos || plain.starts_with(kMark);
    const Json json = is_misread ? Json(Json::value_t::discarded)
                                 : Json::parse(plain.begin(), plain.end(), nullptr, false);
    switch (parsed.status) {
        case NQ_STATUS_OK:
            NQ_REQUIRE(parsed.line == 0 && parsed.column == 0);
            NQ_REQUIRE(!error && !json.is_discarded() && equal(parsed.instance, json));
            if (is_writable(json)) require_round_trip(host, parser, parsed.instance, json);
            nq::test::release(parsed.instance);
            break;
        case NQ_HOST_STATUS_JSON_NUMBER:
            // A number that no double holds breaks no grammar.
            NQ_REQUIRE(!error && json.is_discarded() && parsed.line != 0);
            break;
        default:
            NQ_REQUIRE(parsed.status == NQ_HOST_STATUS_JSON_SYNTAX ||
                       parsed.status == NQ_HOST_STATUS_JSON_ENCODING);
            NQ_REQUIRE(error && json.is_discarded());
            require_position(parsed, plain, *error);
    }
    NQ_REQUIRE(host.state() == before);
    host.check();
    return 0;
}
