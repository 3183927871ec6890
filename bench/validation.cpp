// One value against a definition with type, bounds and eight accepted values, through
// nqInstanceValidateData with the standalone host's dictionary, against valijson with the same
// schema and values over nlohmann's and over RapidJSON's documents.
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/adapters/rapidjson_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include "bench/compare.hpp"
#include "bench/loaded_library.hpp"

namespace nq::bench {
namespace {

constexpr char kDefinition[] =
    R"({"dataType": "integer", "min": 1, "max": 65535,
        "values": [22, 80, 443, 1080, 3128, 5432, 8080, 8443]})";
constexpr char kSchema[] =
    R"({"type": "integer", "minimum": 1, "maximum": 65535,
        "enum": [22, 80, 443, 1080, 3128, 5432, 8080, 8443]})";

// Accepted values from the list's start to its end, and what each of the checks turns down.
constexpr std::array<std::int64_t, 12> kValues{22,   80,   443,  1080, 3128,  5432,
                                               8080, 8443, 8081, 0,    65536, 65535};
constexpr std::size_t kValid = 8;

class Library {
  public:
    explicit Library(Host& host) : host_(host), pool_(host.make_pool("bench")) {
        auto json = extension<NQInstJsonApi>(host);
        const std::uint8_t options[6] = {};
        InstanceHeader* parsed = nullptr;
        std::uint32_t line;
        std::uint32_t column;
        require(json->parse(json.get(), pool_, reinterpret_cast<const std::uint8_t*>(kDefinition),
                            sizeof kDefinition - 1, options, &parsed, &line, &column) == 0,
                "the definition cannot be read");
        definition_ = reinterpret_cast<NQDictionary*>(parsed);
        InstanceApi* api = host.api();
        for (const std::int64_t value : kValues) {
            NQStatus status;
            values_.push_back(&api->createInt64(api, pool_, value, &status)->header);
        }
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() {
        release(definition_);
        pool_->destroy(pool_);
    }

    std::size_t count_valid() const {
        const auto validate = host_.api()->validateData;
        std::size_t valid = 0;
        for (InstanceHeader* value : values_) {
            std::uint32_t verdict = 1;
            if (validate(value, definition_, &verdict, nullptr)) std::abort();
            valid += verdict == 0;
        }
        return valid;
    }

  private:
    Host& host_;
    HostPool* pool_;
    NQDictionary* definition_ = nullptr;
    std::vector<InstanceHeader*> values_;
};

template <class Adapter, class Document>
class Valijson {
  public:
    Valijson(const Document& schema, std::vector<Document> values) : values_(std::move(values)) {
        valijson::SchemaParser parser;
        parser.populateSchema(Adapter(schema), schema_);
    }

    std::size_t count_valid() {
        std::size_t valid = 0;
        for (const Document& value : values_) {
            valid += validator_.validate(schema_, Adapter(value), nullptr);
        }
        return valid;
    }

  private:
    valijson::Schema schema_;
    valijson::Validator validator_;
    std::vector<Document> values_;
};

auto over_nlohmann() {
    std::vector<nlohmann::json> values(kValues.begin(), kValues.end());
    return Valijson<valijson::adapters::NlohmannJsonAdapter, nlohmann::json>(
        nlohmann::json::parse(kSchema), std::move(values));
}

auto over_rapidjson() {
    rapidjson::Document schema;
    schema.Parse(kSchema);
    std::vector<rapidjson::Value> values;
    for (const std::int64_t value : kValues) values.emplace_back(value);
    return Valijson<valijson::adapters::RapidJsonAdapter, rapidjson::Value>(schema,
                                                                            std::move(values));
}

template <class Peer>
void row(const Library& library, Peer&& peer, const char* name) {
    require(library.count_valid() == kValid && peer.count_valid() == kValid,
            "the two do not find the same values valid");
    compare(
        {"ValidateData", "type, bounds, 8 values", name, 2.0}, [&] { keep(library.count_valid()); },
        [&] { keep(peer.count_valid()); });
}

}  // namespace
}  // namespace nq::bench

int main() {
    nq::Host host;
    nq::bench::load_or_exit(host);
    const nq::bench::Library library(host);
    nq::bench::print_heading();
    nq::bench::row(library, nq::bench::over_nlohmann(), "valijson 1.0, nlohmann 3.11");
    nq::bench::row(library, nq::bench::over_rapidjson(), "valijson 1.0, RapidJSON 1.1");
}
