// Records of 200 bytes with eight fields: parsed, checked against definitions and written again, as
// `nqtool stream` does it, against nlohmann's parser and writer with valijson between them.
#include <nlohmann/json.hpp>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validator.hpp>

#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "bench/compare.hpp"
#include "bench/loaded_library.hpp"
#include "standalone/json/services.hpp"
#include "typed/definitions.hpp"
#include "typed/record_checker.hpp"

namespace nq::bench {
namespace {

constexpr std::size_t kRecords = 4096;
constexpr std::size_t kRecordBytes = 200;  // with the line feed

constexpr char kDefinitions[] = R"({
    "id": {"dataType": "int64", "min": 1},
    "time": {"dataType": "datetime"},
    "host": {"dataType": "string"},
    "port": {"dataType": "int32", "min": 1, "max": 65535},
    "state": {"dataType": "string", "values": ["active", "idle", "closing", "failed"]},
    "load": {"dataType": "double", "min": 0, "max": 64},
    "enabled": {"dataType": "boolean"},
    "message": {"dataType": "string"}})";
constexpr char kSchema[] = R"({"type": "object", "properties": {
    "id": {"type": "integer", "minimum": 1},
    "time": {"type": "string"},
    "host": {"type": "string"},
    "port": {"type": "integer", "minimum": 1, "maximum": 65535},
    "state": {"type": "string", "enum": ["active", "idle", "closing", "failed"]},
    "load": {"type": "number", "minimum": 0, "maximum": 64},
    "enabled": {"type": "boolean"},
    "message": {"type": "string"}}})";

std::string make_records() {
    constexpr const char* kStates[] = {"active", "idle", "closing", "failed"};
    constexpr std::string_view kWords[] = {"request ", "served ", "from ",  "the ",  "cache ",
                                           "after ",   "a ",      "short ", "wait ", "in "};
    std::mt19937 random(1);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    std::string all;
    for (std::size_t i = 0; i < kRecords; ++i) {
        char record[kRecordBytes];
        std::snprintf(record, sizeof record,
                      R"({"id":%u%09u,"time":"20%02u-%02u-%02uT%02u:%02u:%02u",)"
                      R"("host":"web-%02u.example.org","port":%u,"state":"%s","load":%u.%06u,)"
                      R"("enabled":%s,"message":")",
                      1 + below(9), below(1000000000), below(38), 1 + below(12), 1 + below(28),
                      below(24), below(60), below(60), below(100), 1024 + below(64512),
                      kStates[below(4)], below(64), below(1000000), below(2) ? "true" : "false");
        std::string line = record;
        while (line.size() < kRecordBytes - 3) line += kWords[below(std::size(kWords))];
        line.resize(kRecordBytes - 3);
        all += line;
        all += "\"}\n";
    }
    return all;
}

template <class Use>
void each_line(std::string_view text, Use&& use) {
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        use(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
}

class Library {
  public:
    explicit Library(Host& host)
        : services_(host.kernel(), host.api()), pool_(host.make_pool("bench")) {
        DefinitionsError error;
        const bool is_loaded = definitions_.load(services_.json(), pool_, kDefinitions, error);
        require(is_loaded, error.what.c_str());
        checker_ = std::make_unique<RecordChecker>(services_.json(), pool_, definitions_.root());
    }

    // What is written for the lines, which have the checker's padding behind them.
    std::string_view convert(std::string_view lines) {
        checker_->clear_output();
        each_line(lines, [&](std::string_view line) {
            require(checker_->check(line, fault_) == NQ_STATUS_OK, "a record cannot be checked");
            require(fault_.what.empty(), fault_.what.c_str());
        });
        return checker_->output();
    }

  private:
    Services services_;
    HostPool* pool_;  // ends with the host
    Definitions definitions_;
    std::unique_ptr<RecordChecker> checker_;
    RecordFault fault_;
};

class Valijson {
  public:
    Valijson() {
        const auto schema = nlohmann::json::parse(kSchema);
        valijson::SchemaParser().populateSchema(valijson::adapters::NlohmannJsonAdapter(schema),
                                                schema_);
    }

    std::string_view convert(std::string_view lines) {
        written_.clear();
        each_line(lines, [&](std::string_view line) {
            const auto record = nlohmann::json::parse(line);
            const valijson::adapters::NlohmannJsonAdapter adapter(record);
            require(validator_.validate(schema_, adapter, nullptr), "valijson finds a fault");
            written_ += record.dump();
            written_ += '\n';
        });
        return written_;
    }

  private:
    valijson::Schema schema_;
    valijson::Validator validator_;
    std::string written_;
};

void run() {
    Host host;
    load_or_exit(host);
    std::string records = make_records();
    const std::size_t bytes = records.size();
    records.append(RecordChecker::kPadding, '\n');
    const std::string_view lines(records.data(), bytes);

    Library library(host);
    Valijson valijson;
    require(library.convert(lines) == lines, "the records are not what they were");
    const std::string_view written = valijson.convert(lines);
    require(std::count(written.begin(), written.end(), '\n') == std::ptrdiff_t{kRecords},
            "valijson writes something else");

    const Times best = best_times([&] { keep(library.convert(lines).data()); },
                                  [&] { keep(valijson.convert(lines).data()); });
    print_heading();
    print({"stream", "200 bytes, 8 fields", "nlohmann 3.11 + valijson 1.0"}, best.ratio());
    std::printf("%.0f MB/s on one core\n", static_cast<double>(bytes) / best.library / 1e6);
}

}  // namespace
}  // namespace nq::bench

int main() { nq::bench::run(); }
