#include "tool/commands/fault_report.hpp"

#include "tool/commands/json_text.hpp"
#include "tool/io/report.hpp"
#include "tool/io/version.hpp"

namespace nq::tool {
namespace {

// What the faults of a kind have in common.
const char* description_of(FaultKind kind) noexcept {
    switch (kind) {
        case FaultKind::kType:
            return "A value is not of the type that its definition names.";
        case FaultKind::kBounds:
            return "A value is below the minimum or above the maximum of its definition.";
        case FaultKind::kValues:
            return "A value is none of those that its definition accepts.";
        case FaultKind::kSection:
            return "A value stands where a section belongs, or a section where a value belongs.";
        case FaultKind::kUnknownKey:
            return "A key has no definition.";
        case FaultKind::kMissingKey:
            return "A definition has no key.";
        case FaultKind::kDefinition:
            return "A definition cannot be used to check a value.";
        case FaultKind::kSyntax:
            return "The text is not valid.";
    }
    return "";
}

// A file's name as a URI reference.
std::string uri_of(const std::string& file) {
    constexpr std::string_view kKept =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    constexpr char kHex[] = "0123456789ABCDEF";
    std::string uri = file.starts_with('/') ? "file://" : "";
    for (const char byte : file) {
        if (kKept.find(byte) != kKept.npos) {
            uri += byte;
            continue;
        }
        const auto code = static_cast<uint8_t>(byte);
        uri += '%';
        uri += kHex[code >> 4];
        uri += kHex[code & 15];
    }
    return uri;
}

void append_fault(JsonText& json, const FaultOfFile& entry) {
    const Fault& fault = entry.fault;
    json.open('{').key("file").string(entry.file);
    json.key("line");
    if (fault.line) {
        json.number(fault.line);
    } else {
        json.raw("null");
    }
    if (fault.column) json.key("column").number(fault.column);
    if (!fault.path.empty()) {
        json.key("section").string(fault.section());
        json.key("key").string(fault.path.back());
        json.key("path").open('[');
        for (const std::string& key : fault.path) json.string(key);
        json.close();
    }
    json.key("kind").string(name_of(fault.kind));
    if (!fault.value.empty()) json.key("value").string(fault.value);
    if (!fault.expected.empty()) json.key("expected").string(fault.expected);
    json.key("message").string(fault.message).close();
}

void append_rules(JsonText& json) {
    json.key("rules").open('[');
    for (std::size_t i = 0; i < kFaultKindCount; ++i) {
        const auto kind = static_cast<FaultKind>(i);
        json.open('{').key("id").string(name_of(kind));
        json.key("shortDescription").open('{').key("text").string(description_of(kind)).close();
        json.key("defaultConfiguration").open('{').key("level").string("error").close();
        json.close();
    }
    json.close();
}

std::string message_of(const Fault& fault) {
    return fault.path.empty() ? fault.message : fault.shown_path() + ": " + fault.message;
}

void append_result(JsonText& json, const FaultOfFile& entry) {
    const Fault& fault = entry.fault;
    json.open('{').key("ruleId").string(name_of(fault.kind));
    json.key("ruleIndex").number(static_cast<unsigned>(fault.kind));
    json.key("level").string("error");
    json.key("message").open('{').key("text").string(message_of(fault)).close();
    json.key("locations").open('[').open('{');
    json.key("physicalLocation").open('{');
    json.key("artifactLocation").open('{').key("uri").string(uri_of(entry.file)).close();
    if (fault.line) {
        json.key("region").open('{').key("startLine").number(fault.line);
        if (fault.column) json.key("startColumn").number(fault.column);
        json.close();
    }
    json.close();
    if (!fault.path.empty()) {
        json.key("logicalLocations").open('[').open('{');
        json.key("name").string(fault.path.back());
        json.key("fullyQualifiedName").string(fault.shown_path());
        json.key("kind").string("member").close().close();
    }
    json.close().close().close();
}

}  // namespace

std::string fault_line(const std::string& file, const Fault& fault) {
    return place_in(file, fault.line, fault.column) + ": " + on_one_line(message_of(fault));
}

std::string text_report(const FaultReport& report) {
    std::string text;
    for (const auto& [file, fault] : report.shown) text += fault_line(file, fault) + "\n";
    if (const uint64_t omitted = report.omitted()) {
        text += std::to_string(omitted) + (omitted == 1 ? " more fault\n" : " more faults\n");
    }
    return text;
}

std::string json_report(const FaultReport& report) {
    JsonText json;
    json.open('{').key("faults").open('[');
    for (const FaultOfFile& entry : report.shown) append_fault(json, entry);
    json.close();
    json.key("count").number(report.count);
    json.key("omitted").number(report.omitted());
    return json.close().take();
}

std::string sarif_report(const FaultReport& report) {
    JsonText json;
    json.open('{');
    json.key("$schema").string("https://json.schemastore.org/sarif-2.1.0.json");
    json.key("version").string("2.1.0");
    json.key("runs").open('[').open('{');
    json.key("tool").open('{').key("driver").open('{');
    json.key("name").string("nqtool").key("version").string(kVersion);
    append_rules(json);
    json.close().close();
    json.key("columnKind").string("unicodeCodePoints");
    json.key("results").open('[');
    for (const FaultOfFile& entry : report.shown) append_result(json, entry);
    json.close();
    json.key("properties").open('{');
    json.key("faultCount").number(report.count).key("omittedFaults").number(report.omitted());
    json.close();
    return json.close().close().close().take();
}

}  // namespace nq::tool
