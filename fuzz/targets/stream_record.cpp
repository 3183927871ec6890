// Records against definitions, one a line, as a stream brings them. What is said of each, and what
// is written, is what the slow way finds, which builds the record, makes a typed copy and writes
// that; and it does not depend on the records before.
#include <algorithm>
#include <set>
#include <span>
#include <string>

#include "fuzz/support/counting_pool.hpp"
#include "nqinstance/base/held.hpp"
#include "standalone/json/escape.hpp"
#include "standalone/json/position.hpp"
#include "standalone/text/messages.hpp"
#include "standalone/values/object.hpp"
#include "standalone/values/strings.hpp"
#include "typed/configuration.hpp"
#include "typed/key_lines.hpp"
#include "typed/record_checker.hpp"

namespace nq::fuzz {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

struct Answer {
    RecordFault fault;
    std::string output;  // of a record without a fault

    friend bool operator==(const Answer& a, const Answer& b) {
        return a.fault.column == b.fault.column && a.fault.what == b.fault.what &&
               a.output == b.output;
    }
};

std::vector<std::string> keys_of(NQDictionary* dictionary) {
    Held<NQArray> list;
    NQ_REQUIRE(dictionary->listKeys(dictionary, list.out()) == NQ_STATUS_OK);
    std::vector<std::string> keys;
    for (InstanceHeader* key : std::span(list->elements, list->count)) {
        keys.emplace_back(text_of(*reinterpret_cast<NQU8String*>(key)));
    }
    return keys;
}

InstanceHeader* value_of(NQDictionary* dictionary, std::string_view key) {
    InstanceHeader* value = nullptr;
    NQ_REQUIRE(dictionary->find(dictionary, reinterpret_cast<const std::uint8_t*>(key.data()),
                                key.size(), &value));
    return value;
}

NQDictionary* dictionary_of(InstanceHeader* instance) {
    if (!instance || !instance->isType(instance, "NQDictionary")) return nullptr;
    return reinterpret_cast<NQDictionary*>(instance);
}

bool has_repeated_key(std::string_view json) {
    std::set<std::vector<std::string>> paths;
    std::size_t count = 0;
    visit_json_keys(json, [&](std::span<const std::string> path, std::uint32_t) {
        paths.emplace(path.begin(), path.end());
        ++count;
    });
    return paths.size() != count;
}

// Goes over well-formed JSON text.
struct Cursor {
    std::string_view left;

    char peek() {
        left.remove_prefix(std::min(left.find_first_not_of(kBlanks), left.size()));
        return left[0];
    }
    char take() {
        const char character = peek();
        left.remove_prefix(1);
        return character;
    }
    std::string_view value() {
        peek();
        std::size_t end = 0;
        std::size_t depth = 0;
        do {
            const char character = left[end];
            if (character == '"') {
                while (left[++end] != '"') end += left[end] == '\\';
                ++end;
            } else if (character == '{' || character == '[') {
                ++depth;
                ++end;
            } else if (character == '}' || character == ']') {
                --depth;
                ++end;
            } else {
                end = depth ? end + 1 : std::min(left.find_first_of(",]} \t\r", end), left.size());
            }
        } while (depth);
        const std::string_view value = left.substr(0, end);
        left.remove_prefix(end);
        return value;
    }
};

class SlowWay {
  public:
    SlowWay(HostPool* pool, const Definitions& definitions)
        : pool_(pool), definitions_(definitions) {}

    Answer check(std::string_view record) {
        Held<InstanceHeader> top;
        std::uint32_t line, column;
        if (const NQStatus status = parse(record, top.out(), line, column)) {
            NQ_REQUIRE(line == 1 && column >= 1 && column <= record.size() + 1);
            std::string_view message = message_text(status);
            NQ_REQUIRE(message.ends_with('.'));
            message.remove_suffix(1);
            return {{column, std::string(message)}, {}};
        }
        NQDictionary* source = dictionary_of(top.get());
        if (!source) return {{0, "the JSON text is not an object"}, {}};
        Held<NQDictionary> typed;
        std::string fault = fault_of(source, typed);
        if (has_repeated_key(record)) {
            const bool is_bad = !fault.empty();
            Cursor cursor{record};
            fault = first_fault(definitions_.root(), cursor.value(), "{", "}");
            NQ_REQUIRE(!is_bad || !fault.empty());
        }
        return fault.empty() ? write(typed.get()) : Answer{{0, fault}, {}};
    }

    // What was written is one line that reads as the same keys.
    void require_legal(const Answer& answer) {
        std::string_view line = answer.output;
        NQ_REQUIRE(line.ends_with('\n'));
        line.remove_suffix(1);
        NQ_REQUIRE(std::ranges::none_of(line, is_control));
        Held<InstanceHeader> top;
        std::uint32_t at_line, column;
        NQ_REQUIRE(parse(line, top.out(), at_line, column) == NQ_STATUS_OK);
        NQ_REQUIRE(dictionary_of(top.get()) && keys_of(dictionary_of(top.get())) == keys_);
    }

  private:
    NQStatus parse(std::string_view text, InstanceHeader** out, std::uint32_t& line,
                   std::uint32_t& column) {
        return parse_json(machine().services.json(), pool_,
                          reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), out,
                          &line, &column);
    }

    // The first fault in the order of the dictionary.
    std::string fault_of(NQDictionary* source, Held<NQDictionary>& typed) {
        std::vector<Fault> faults;
        NQ_REQUIRE(
            make_typed_configuration(
                machine().services, pool_, definitions_, source,
                {.syntax = SourceSyntax::kJson, .wants_all = false, .refuses_unknown = false},
                typed.out(), faults) == NQ_STATUS_OK);
        if (faults.empty()) return {};
        NQ_REQUIRE(faults[0].kind != FaultKind::kDefinition);
        return faults[0].shown_path() + ": " + faults[0].message;
    }

    // The first fault in the order of the text: each value is checked as if it were alone in the
    // record.
    std::string first_fault(const DefinitionNode& section, std::string_view object,
                            const std::string& before, const std::string& after) {
        Cursor cursor{object.substr(1)};
        while (cursor.peek() != '}') {
            if (cursor.peek() == ',') cursor.take();
            const std::string_view key = cursor.value();
            cursor.take();  // the colon
            const std::string_view value = cursor.value();
            const DefinitionNode* node = section.child(text_of_key(key));
            if (!node) continue;
            const std::string here = before + std::string(key) + ":";
            const std::string fault = !node->is_leaf() && value[0] == '{'
                                          ? first_fault(*node, value, here + "{", "}" + after)
                                          : fault_alone(here + std::string(value) + after);
            if (!fault.empty()) return fault;
        }
        return {};
    }

    std::string text_of_key(std::string_view quoted) {
        Held<InstanceHeader> key;
        std::uint32_t line, column;
        NQ_REQUIRE(parse(quoted, key.out(), line, column) == NQ_STATUS_OK);
        return std::string(text_of(*reinterpret_cast<NQU8String*>(key.get())));
    }

    std::string fault_alone(std::string_view record) {
        Held<InstanceHeader> top;
        std::uint32_t line, column;
        NQ_REQUIRE(parse(record, top.out(), line, column) == NQ_STATUS_OK);
        Held<NQDictionary> typed;
        return fault_of(dictionary_of(top.get()), typed);
    }

    Answer write(NQDictionary* typed) {
        NQ_REQUIRE(replace_characters(machine().services, pool_, definitions_.root(), typed) ==
                   NQ_STATUS_OK);
        keys_ = keys_of(typed);
        Held<InstanceHeader> escaped;
        escape_keys(&typed->header, escaped.out());
        InstanceApi* api = machine().api;
        Held<NQU8String> json;
        const NQStatus status =
            api->toJSON2(api, machine().services.strings(), pool_, 0, 0, escaped.get(), json.out());
        if (status == NQ_STATUS_BUFFER_TOO_SMALL) {
            return {{0, "a number too large to be written"}, {}};
        }
        NQ_REQUIRE(status == NQ_STATUS_OK);
        Answer answer;
        append_without_controls(answer.output, text_of(*json.get()));
        answer.output += '\n';
        return answer;
    }

    // A copy with keys that may be written as they are.
    void escape_keys(InstanceHeader* value, InstanceHeader** out) {
        const Services& services = machine().services;
        if (NQDictionary* dictionary = dictionary_of(value)) {
            NQDictionary* copy = nullptr;
            NQDictionaryApi* api = services.dictionaries();
            NQ_REQUIRE(api->createDictionary(api, pool_, nullptr, &copy, api) == NQ_STATUS_OK);
            for (const std::string& key : keys_of(dictionary)) {
                const Held<NQU8String> written(make_u8string(pool_, json_escaped(key)));
                Held<InstanceHeader> entry;
                escape_keys(value_of(dictionary, key), entry.out());
                NQ_REQUIRE(copy->set(copy, written.get(), entry.get()) == NQ_STATUS_OK);
            }
            *out = &copy->header;
        } else if (value && value->isType(value, "NQArray")) {
            const auto* array = reinterpret_cast<NQArray*>(value);
            NQArray* copy = nullptr;
            NQArrayApi* api = services.arrays();
            NQ_REQUIRE(api->createArray(api, pool_, 0, &copy) == NQ_STATUS_OK);
            for (InstanceHeader* element : std::span(array->elements, array->count)) {
                Held<InstanceHeader> item;
                escape_keys(element, item.out());
                NQ_REQUIRE(copy->append(copy, item.get(), 0) == NQ_STATUS_OK);
            }
            *out = &copy->header;
        } else {
            retain(value);
            *out = value;
        }
    }

    HostPool* pool_;
    const Definitions& definitions_;
    std::vector<std::string> keys_;  // of the record that was written last
};

bool may_have_short_year(std::string_view line) {
    for (auto at = line.find('"'); at != line.npos; at = line.find('"', at + 1)) {
        const auto end = line.find_first_not_of("0123456789", at + 1);
        if (end != line.npos && line[end] == '-' && end - at <= 4) return true;
    }
    return false;
}

// Fed with records, of which some are checked again.
class Stream {
  public:
    Stream(CountingPool& pool, const Definitions& definitions, std::uint8_t filler)
        : pool_(pool),
          slow_(&pool, definitions),
          filler_(filler),
          checker_(machine().services.json(), &pool, definitions.root()) {}

    void take(std::string_view record, bool is_again) {
        const Answer answer = check(record);
        require_expected(record, answer);
        if (answer.fault.what.empty()) slow_.require_legal(answer);
        if (is_again) {
            const std::uint64_t blocks = pool_.blocks();
            NQ_REQUIRE(check(record) == answer);
            NQ_REQUIRE(pool_.blocks() == blocks);
            if (answer.fault.what.empty()) require_stable(answer.output);
        }
    }

  private:
    Answer check(std::string_view record) {
        // Whatever stands behind the record does not count.
        Bytes text(record.begin(), record.end());
        text.resize(text.size() + RecordChecker::kPadding, filler_);
        Answer answer;
        answer.fault = {77, "of the record before"};
        const std::string_view padded(reinterpret_cast<const char*>(text.data()), record.size());
        NQ_REQUIRE(checker_.check(padded, answer.fault) == NQ_STATUS_OK);
        answer.output = checker_.output();
        checker_.clear_output();
        NQ_REQUIRE(checker_.output().empty());
        NQ_REQUIRE(answer.fault.what.empty() == !answer.output.empty());
        return answer;
    }

    void require_expected(std::string_view record, const Answer& answer) {
        if (record.starts_with("\xef\xbb\xbf")) {
            // A mark is no part of a record.
            NQ_REQUIRE(answer.fault.column == 1 && !answer.fault.what.empty());
            return;
        }
        const auto error = find_json_error(record, UINT64_MAX);
        const auto stop = find_json_error(record, RecordChecker::kMaxDepth);
        const bool is_deep = stop != error;
        if (is_deep && answer.fault.what == "arrays and objects lie more than 1024 deep") {
            NQ_REQUIRE(answer.fault.column == position_of(record, *stop).column);
            return;
        }
        const Answer expected = slow_.check(record);
        NQ_REQUIRE(answer == expected);
        NQ_REQUIRE(!is_deep || !answer.fault.what.empty());
        NQ_REQUIRE(!error || answer.fault.column == position_of(record, *error).column);
    }

    // A written record is written again as it is, but that a rounded double may be out of bounds
    // and a year of fewer than four digits belongs to no date.
    void require_stable(std::string_view line) {
        if (line.find('.') != line.npos || may_have_short_year(line)) return;
        line.remove_suffix(1);
        const Answer again = check(line);
        NQ_REQUIRE(again.fault.what.empty());
        NQ_REQUIRE(again.output.substr(0, line.size()) == line);
    }

    CountingPool& pool_;
    SlowWay slow_;
    std::uint8_t filler_;
    RecordChecker checker_;
};

// Each of two control characters, which no record may hold, stands for so many brackets: an input
// is too short for the greatest depth.
std::string widened(const Bytes& text) {
    constexpr std::size_t kBrackets = 128;
    std::string result;
    std::size_t left = 20;
    for (const std::uint8_t byte : text) {
        if ((byte == 1 || byte == 2) && left) {
            --left;
            result.append(kBrackets, byte == 1 ? '[' : ']');
        } else {
            result += static_cast<char>(byte);
        }
    }
    return result;
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq;
    using namespace nq::fuzz;
    Input input(data, size);
    const std::uint32_t choice = input.byte();
    const std::uint32_t definitions_bytes = input.number();
    const Bytes definitions_text = input.text(definitions_bytes);
    const std::string records = widened(input.rest());

    CountingPool pool;
    Definitions definitions;
    DefinitionsError error;
    const std::string_view text(reinterpret_cast<const char*>(definitions_text.data()),
                                definitions_text.size());
    if (!definitions.load(machine().services.json(), &pool, text, error)) return 0;
    Stream stream(pool, definitions, static_cast<std::uint8_t>("7\"} "[choice >> 1 & 3]));
    for (std::size_t at = 0; at <= records.size();) {
        const std::size_t end = std::min(records.find('\n', at), records.size());
        stream.take(std::string_view(records).substr(at, end - at), choice & 1);
        at = end + 1;
    }
    return 0;
}
