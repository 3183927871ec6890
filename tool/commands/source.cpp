#include "tool/commands/source.hpp"

#include "nqinstance/host/status.h"
#include "standalone/json/parser.hpp"
#include "standalone/values/access.hpp"

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

Source::Source(const Session& session, const std::string& name)
    : session_(session), file_(name), bytes_(file_.read_whole()) {}

std::optional<SourceError> Source::parse(HostPool* pool, SourceSyntax syntax) {
    return syntax == SourceSyntax::kJson ? parse_json(pool) : parse_configuration(pool);
}

std::optional<SourceError> Source::parse_configuration(HostPool* pool) {
    if (const auto position = find_malformed(bytes_)) {
        return SourceError{position->line, position->column, "not valid UTF-8"};
    }
    const MemoryFile file(session_.host(), bytes_);
    InstanceApi* api = session_.services().api();
    int32_t line = -1;
    const NQStatus status = api->readConfiguration(api, pool, kInputName, &line, dictionary_.out());
    // The library counts lines from 0.
    const auto file_line = static_cast<uint64_t>(int64_t{line} + 1);
    // The words of the two syntax errors are the tool's own, shorter than those of the status.
    switch (status) {
        case NQ_STATUS_OK:
            return std::nullopt;
        case NQ_STATUS_UNCLOSED_SECTION:
            return SourceError{file_line, 0, "section header without \"]\""};
        case NQ_STATUS_MISSING_EQUALS:
            return SourceError{file_line, 0, "line without \"=\""};
        default:
            session_.run().fail(shown_name(), status);
    }
}

std::optional<SourceError> Source::parse_json(HostPool* pool) {
    Held<InstanceHeader> top;
    uint32_t line = 0;
    uint32_t column = 0;
    const NQStatus status = nq::parse_json(session_.services().json(), pool,
                                           reinterpret_cast<const uint8_t*>(bytes_.data()),
                                           bytes_.size(), top.out(), &line, &column);
    if (status && !line) session_.run().fail(shown_name(), status);
    if (status) {
        SourceError error{line, column, session_.host().message(status)};
        if (error.what.ends_with('.')) error.what.pop_back();
        return error;
    }
    if (!as<NQDictionary>(top.get())) return SourceError{1, 0, "the JSON text is not an object"};
    *dictionary_.out() = as<NQDictionary>(top.take());
    return std::nullopt;
}

}  // namespace nq::tool
