#include "tool/commands/describe.hpp"

#include <algorithm>
#include <array>
#include <optional>

#include "nqinstance/base/held.hpp"
#include "standalone/values/access.hpp"
#include "tool/commands/definitions_file.hpp"
#include "tool/commands/json_text.hpp"
#include "tool/commands/session.hpp"
#include "tool/io/input.hpp"
#include "typed/value_text.hpp"

namespace nq::tool {
namespace {

// The library's JSON type name of a leaf: a list of names joined by ", " where there are several
// expected types, nothing where any value fits.
NQStatus type_name_of(const Services& services, HostPool* pool, const DefinitionNode& leaf,
                      std::optional<std::string>& name) {
    Held<NQU8String> text;
    uint8_t is_list = 0;
    const NQStatus status = services.api()->typeForDefinition(
        services.strings(), pool, leaf.definition, text.out(), &is_list);
    if (status) return status;
    name = text ? std::optional<std::string>(text_of(*text.get())) : std::nullopt;
    return NQ_STATUS_OK;
}

struct Description {
    const DefinitionNode* leaf;
    std::optional<std::string> type_name;
};

using Row = std::array<std::string, 5>;

std::size_t shown_width(std::string_view text) noexcept {
    const auto trailing = std::count_if(text.begin(), text.end(), is_continuation);
    return text.size() - static_cast<std::size_t>(trailing);
}

std::string table_of(const std::vector<Description>& descriptions) {
    std::vector<Row> rows{{"KEY", "TYPE", "MIN", "MAX", "VALUES"}};
    for (const auto& [leaf, type_name] : descriptions) {
        rows.push_back({leaf->path, type_name.value_or("any"), shown_bound(*leaf, "min"),
                        shown_bound(*leaf, "max"), shown_accepted_values(*leaf)});
    }
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], shown_width(row[i]));
    }
    std::string table;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            line.append(widths[i] - shown_width(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        table += line + "\n";
    }
    return table;
}

// A limit as JSON has it.
void append_limit(JsonText& json, InstanceHeader* limit) {
    const PlainValue value = plain_value_of(limit, PlainValue::Kind::kString);
    switch (value.kind) {
        case PlainValue::Kind::kString:
            json.string(value.text);
            break;
        case PlainValue::Kind::kContainer: {
            json.open('{');
            for (const std::string_view key : {"min", "max"}) {
                json.key(key);
                append_limit(json, entry_of(as<NQDictionary>(limit), key).value_or(nullptr));
            }
            json.close();
            break;
        }
        default:
            json.raw(shown_value(value));
            break;
    }
}

std::string json_of(const std::vector<Description>& descriptions) {
    JsonText json;
    json.open('[');
    for (const auto& [leaf, type_name] : descriptions) {
        json.open('{').key("path").string(leaf->path);
        json.key("type");
        if (type_name) {
            json.string(*type_name);
        } else {
            json.raw("null");
        }
        json.key("dataType").string(keyword_of(leaf->type));
        for (const std::string_view key : {"min", "max", "values"}) {
            const auto limit = entry_of(leaf->definition, key);
            if (!limit) continue;
            json.key(key);
            if (key != "values") {
                append_limit(json, *limit);
                continue;
            }
            json.open('[');
            for (InstanceHeader* element : elements_of(*as<NQArray>(*limit))) {
                append_limit(json, element);
            }
            json.close();
        }
        json.close();
    }
    return json.close().take();
}

}  // namespace

void run_describe(Run& run, const DescribeSettings& settings) {
    const Session session(run);
    const DefinitionsFile definitions(session, run.operands().front());
    const OwnedPool pool = session.make_pool("nqtool names pool");
    std::vector<Description> descriptions;
    for (const DefinitionNode* leaf : definitions.get().leaves()) {
        descriptions.push_back({leaf, std::nullopt});
        const NQStatus status =
            type_name_of(session.services(), pool.get(), *leaf, descriptions.back().type_name);
        if (status) run.fail(status);
    }
    const bool is_table = settings.table_format == 0;
    run.output().write(is_table ? table_of(descriptions) : json_of(descriptions));
}

}  // namespace nq::tool
