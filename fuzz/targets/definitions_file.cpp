// A definitions file and a configuration, or JSON in its place: each is understood or refused with
// a place in the text; values get the types that were named for them, and every fault has the line
// of its key.
#include <algorithm>
#include <map>
#include <span>
#include <string>
#include <utility>

#include "fuzz/support/machine.hpp"
#include "nqinstance/base/held.hpp"
#include "standalone/values/strings.hpp"
#include "typed/configuration.hpp"
#include "typed/key_lines.hpp"
#include "typed/value_text.hpp"

namespace nq::fuzz {
namespace {

constexpr const char* kName = "fuzz.conf";

using Paths = std::map<std::vector<std::string>, uint32_t>;

Paths lines_of(std::string_view text, SourceSyntax syntax) {
    Paths lines;
    const KeyVisitor note = [&](std::span<const std::string> path, uint32_t line) {
        lines[{path.begin(), path.end()}] = line;
    };
    if (syntax == SourceSyntax::kJson) {
        visit_json_keys(text, note);
    } else {
        visit_configuration_keys(text, note);
    }
    return lines;
}

// Every key of the dictionary stands somewhere in the text.
void require_found(NQDictionary* dictionary, std::vector<std::string>& path, const Paths& lines) {
    Held<NQArray> keys;
    NQ_REQUIRE(dictionary->listKeys(dictionary, keys.out()) == NQ_STATUS_OK);
    for (InstanceHeader* element : std::span(keys->elements, keys->count)) {
        auto* key = reinterpret_cast<NQU8String*>(element);
        InstanceHeader* value = nullptr;
        dictionary->get(dictionary, key, &value);
        path.emplace_back(text_of(*key));
        NQ_REQUIRE(lines.contains(path));
        if (value && value->isType(value, "NQDictionary"))
            require_found(reinterpret_cast<NQDictionary*>(value), path, lines);
        path.pop_back();
    }
}

// What has the type of its definition is valid, and stays so.
void require_valid(const DefinitionNode& section, NQDictionary* typed) {
    for (const auto& child : section.children) {
        InstanceHeader* value = nullptr;
        const auto* key = reinterpret_cast<const uint8_t*>(child->key.data());
        if (!typed->find(typed, key, child->key.size(), &value)) continue;
        NQ_REQUIRE(value != nullptr);
        if (!child->is_leaf()) {
            NQ_REQUIRE(value->isType(value, "NQDictionary"));
            require_valid(*child, reinterpret_cast<NQDictionary*>(value));
            continue;
        }
        NQStatus verdict = 1;
        NQ_REQUIRE(check_typed_value(machine().api, *child, value, &verdict, nullptr) ==
                   NQ_STATUS_OK);
        NQ_REQUIRE(verdict == NQ_STATUS_OK);
    }
}

// Notes the file and the transcoder that the library takes for a configuration: its reader leaves
// them behind after a syntax error. The fuzzer would take that for a leak and look for it, which
// costs more than all else.
class TakenServices {
  public:
    TakenServices() {
        static const Held<NQIoeApi> files(load_extension<NQIoeApi>());
        if (open_) return;
        open_ = std::exchange(files->openFile, open);
        create_ = std::exchange(machine().kernel.encoding->createTranscoder, create);
    }
    void give_back() {
        release(file_);
        release(transcoder_);
    }

  private:
    static IoeFile* open(NQIoeApi* self, const std::uint8_t* name, std::uint64_t length,
                         const void* open_parameters, std::uint64_t zero1, std::uint64_t zero2,
                         const char* kind, NQStatus* status, const void* parameters) noexcept {
        return file_ = open_(self, name, length, open_parameters, zero1, zero2, kind, status,
                             parameters);
    }
    static Transcoder* create(HostEncoding* self, std::uint32_t from, std::uint32_t to,
                              std::uint64_t options) noexcept {
        return transcoder_ = create_(self, from, to, options);
    }

    static inline decltype(NQIoeApi::openFile) open_ = nullptr;
    static inline decltype(HostEncoding::createTranscoder) create_ = nullptr;
    static inline IoeFile* file_ = nullptr;
    static inline Transcoder* transcoder_ = nullptr;
};

bool read(HostPool* pool, const std::string& text, SourceSyntax syntax,
          Held<NQDictionary>& source) {
    if (syntax == SourceSyntax::kJson) {
        Held<InstanceHeader> top;
        uint32_t line, column;
        if (parse_json(machine().services.json(), pool,
                       reinterpret_cast<const uint8_t*>(text.data()), text.size(), top.out(), &line,
                       &column))
            return false;
        if (!top || !top->isType(top.get(), "NQDictionary")) return false;
        *source.out() = reinterpret_cast<NQDictionary*>(top.take());
        return true;
    }
    FileService& files = machine().kernel.files();
    files.add_memory_file(kName, text);
    TakenServices taken;
    int32_t line;
    InstanceApi* api = machine().api;
    const NQStatus status = api->readConfiguration(api, pool, kName, &line, source.out());
    files.remove_memory_file(kName);
    if (status == NQ_STATUS_UNCLOSED_SECTION || status == NQ_STATUS_MISSING_EQUALS)
        taken.give_back();
    return status == NQ_STATUS_OK;
}

void check(HostPool* pool, const Definitions& definitions, const std::string& text,
           const TypedOptions& options) {
    const Services& services = machine().services;
    Held<NQDictionary> source;
    if (!read(pool, text, options.syntax, source)) return;
    const Paths lines = lines_of(text, options.syntax);
    std::vector<std::string> path;
    require_found(source.get(), path, lines);

    Held<NQDictionary> typed;
    std::vector<Fault> faults;
    NQ_REQUIRE(make_typed_configuration(services, pool, definitions, source.get(), options,
                                        typed.out(), faults) == NQ_STATUS_OK);
    find_lines(text, options.syntax, faults);
    for (const Fault& fault : faults) {
        NQ_REQUIRE(!fault.path.empty() && !fault.message.empty() && !name_of(fault.kind).empty());
        NQ_REQUIRE(fault.shown_path().starts_with(fault.section()));
        if (fault.kind == FaultKind::kMissingKey) {
            // The key may stand in a section that came again without it.
            NQ_REQUIRE(options.wants_all);
        } else {
            NQ_REQUIRE(lines.at(fault.path) == fault.line);
        }
        if (fault.kind == FaultKind::kUnknownKey) NQ_REQUIRE(options.refuses_unknown);
        // The loader refuses what the library could not check with.
        NQ_REQUIRE(fault.kind != FaultKind::kDefinition);
    }
    require_valid(definitions.root(), typed.get());
    NQ_REQUIRE(replace_characters(services, pool, definitions.root(), typed.get()) == NQ_STATUS_OK);
    Held<NQU8String> json;
    InstanceApi* api = machine().api;
    const NQStatus status =
        api->toJSON2(api, services.strings(), pool, 0, 0, &typed->header, json.out());
    // The library has no room to write the greatest doubles.
    NQ_REQUIRE(status == NQ_STATUS_OK || status == NQ_STATUS_BUFFER_TOO_SMALL);
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq;
    using namespace nq::fuzz;
    Input input(data, size);
    const std::uint32_t choice = input.byte();
    const TypedOptions options{
        .syntax = choice & 1 ? SourceSyntax::kJson : SourceSyntax::kConfiguration,
        .wants_all = (choice & 2) != 0,
        .refuses_unknown = (choice & 4) != 0};
    const std::uint32_t definitions_bytes = input.number();
    const Bytes definitions_text = input.text(definitions_bytes);
    const Bytes rest = input.rest();

    // The reader of configurations leaves something in the pool after a syntax error.
    HostPool* pool = machine().kernel.pools().make("fuzz");
    {
        Definitions definitions;
        DefinitionsError error;
        const std::string_view text(reinterpret_cast<const char*>(definitions_text.data()),
                                    definitions_text.size());
        if (definitions.load(machine().services.json(), pool, text, error)) {
            NQ_REQUIRE(error.what.empty());
            std::size_t keys = 0;
            visit_json_keys(text, [&](auto, uint32_t) { ++keys; });
            NQ_REQUIRE(keys == lines_of(text, SourceSyntax::kJson).size());
            for (const DefinitionNode* leaf : definitions.leaves()) {
                NQ_REQUIRE(leaf->parent->child(leaf->key) == leaf);
                NQ_REQUIRE(!expectation(*leaf).empty());
            }
            check(pool, definitions, {rest.begin(), rest.end()}, options);
        } else {
            const auto ends = std::count(text.begin(), text.end(), '\n');
            NQ_REQUIRE(!error.what.empty() && error.line <= ends + 1);
            NQ_REQUIRE(definitions.leaves().empty());
        }
    }
    pool->destroy(pool);
    return 0;
}
