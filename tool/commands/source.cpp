#include "tool/commands/source.hpp"

#include "nqinstance/host/status.h"
#include "standalone/json/parser.hpp"
#include "tool/io/input.hpp"
#include "tool/io/report.hpp"
#include "tool/library.hpp"

namespace nq::tool {
namespace {

// The name under which the library reads an input from memory.
constexpr const char* kInputName = "nqtool input";

// Bytes that the library reads through the host, for the scope's time.
class MemoryFile {
  public:
    MemoryFile(Host& host, const std::string& bytes) : host_(host) {
        host_.add_memory_file(kInputName, bytes);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { host_.remove_memory_file(kInputName); }

  private:
    Host& host_;
};

}  // namespace

Source::Source(Host& host, const std::string& name)
    : host_(host), name_(name), shown_name_(shown_input_name(name)) {}

bool Source::read() {
    const int error_number = read_input(name_, bytes_);
    if (error_number) report_error_number(shown_name_, error_number);
    return error_number == 0;
}

ExitStatus Source::parse(HostPool* pool, const JsonServices& services, SourceSyntax syntax,
                         SourceError& error) {
    return syntax == SourceSyntax::kJson ? parse_json(pool, services, error)
                                         : parse_configuration(pool, error);
}

ExitStatus Source::parse_configuration(HostPool* pool, SourceError& error) {
    if (const auto position = find_malformed(bytes_)) {
        error = {position->line, position->column, "not valid UTF-8"};
        return ExitStatus::kInvalid;
    }
    const MemoryFile file(host_, bytes_);
    InstanceApi* api = host_.api();
    int32_t line = -1;
    const NQStatus status = api->readConfiguration(api, pool, kInputName, &line, dictionary_.out());
    switch (status) {
        case NQ_STATUS_OK:
            return ExitStatus::kGood;
        case NQ_STATUS_UNCLOSED_SECTION:
        case NQ_STATUS_MISSING_EQUALS:
            // The library counts lines from 0.
            error = {static_cast<uint64_t>(int64_t{line} + 1), 0,
                     status == NQ_STATUS_UNCLOSED_SECTION ? "section header without \"]\""
                                                          : "line without \"=\""};
            return ExitStatus::kInvalid;
        default:
            return report_status(host_, shown_name_, status);
    }
}

ExitStatus Source::parse_json(HostPool* pool, const JsonServices& services, SourceError& error) {
    Held<InstanceHeader> top;
    uint32_t line = 0;
    uint32_t column = 0;
    const NQStatus status =
        nq::parse_json(services, pool, reinterpret_cast<const uint8_t*>(bytes_.data()),
                       bytes_.size(), top.out(), &line, &column);
    if (status && !line) return report_status(host_, shown_name_, status);
    if (status) {
        error = {line, column, host_.message(status)};
        if (error.what.ends_with('.')) error.what.pop_back();
        return ExitStatus::kInvalid;
    }
    if (!top || !top->isType(top.get(), "NQDictionary")) {
        error = {1, 0, "the JSON text is not an object"};
        return ExitStatus::kInvalid;
    }
    *dictionary_.out() = reinterpret_cast<NQDictionary*>(top.take());
    return ExitStatus::kGood;
}

}  // namespace nq::tool
