#include "tool/json.hpp"

#include <algorithm>
#include <memory>

#include "nqinstance/host/held.hpp"
#include "nqinstance/host/status.h"
#include "tool/input.hpp"
#include "tool/library.hpp"
#include "tool/output.hpp"
#include "tool/report.hpp"

namespace nq::tool {
namespace {

// The name under which the library reads an input from memory.
constexpr const char* kInputName = "nqtool input";

struct DestroyPool {
    void operator()(HostPool* pool) const noexcept { pool->destroy(pool); }
};
using OwnedPool = std::unique_ptr<HostPool, DestroyPool>;

// Turns one input after the other into JSON text, each in a pool of its own. The pool also takes
// back what a reading that ended at a syntax error leaves behind.
class Converter {
  public:
    Converter(Host& host, const Settings& settings, Output& output)
        : host_(host), settings_(settings), output_(output) {
        HostKernel* kernel = host.kernel();
        constexpr auto& name = kExtensionName<NQStringApi>;
        *strings_.out() = reinterpret_cast<NQStringApi*>(
            kernel->loadExtension(kernel, name.data(), name.size(), 0, nullptr));
    }

    ExitStatus convert(const std::string& name) {
        const std::string shown_name = name == "-" ? "<stdin>" : name;
        std::string bytes;
        if (const int error_number = read_input(name, bytes)) {
            report_error_number(shown_name, error_number);
            return ExitStatus::kTrouble;
        }
        if (const auto position = find_malformed(bytes)) {
            report(shown_name + ":" + std::to_string(position->line) + ":" +
                       std::to_string(position->column),
                   "not valid UTF-8");
            return ExitStatus::kInvalid;
        }
        host_.add_memory_file(kInputName, std::move(bytes));
        const ExitStatus result = convert_memory_file(shown_name);
        host_.remove_memory_file(kInputName);
        return result;
    }

    // No further input makes sense after this.
    bool has_lost_output() const noexcept { return has_lost_output_; }

  private:
    ExitStatus convert_memory_file(const std::string& shown_name) {
        const OwnedPool pool(host_.make_pool("nqtool input pool"));
        if (!pool || !strings_) return report_status(host_, shown_name, NQ_STATUS_NO_MEMORY);
        InstanceApi* api = host_.api();
        Held<NQDictionary> dictionary;
        int32_t line = -1;
        NQStatus status =
            api->readConfiguration(api, pool.get(), kInputName, &line, dictionary.out());
        if (status == NQ_STATUS_UNCLOSED_SECTION || status == NQ_STATUS_MISSING_EQUALS) {
            // The library counts lines from 0.
            report(shown_name + ":" + std::to_string(int64_t{line} + 1),
                   status == NQ_STATUS_UNCLOSED_SECTION ? "section header without \"]\""
                                                        : "line without \"=\"");
            return ExitStatus::kInvalid;
        }
        if (status != NQ_STATUS_OK) return report_status(host_, shown_name, status);

        Held<NQU8String> text;
        status = write_json(pool.get(), &dictionary->header, text.out());
        if (status != NQ_STATUS_OK) return report_status(host_, shown_name, status);
        return print({reinterpret_cast<const char*>(text->bytes), text->length});
    }

    NQStatus write_json(HostPool* pool, InstanceHeader* value, NQU8String** text) {
        InstanceApi* api = host_.api();
        if (settings_.is_compact) return api->toJSON2(api, strings_.get(), pool, 0, 0, value, text);
        if (!settings_.indent) return api->toJSON(api, pool, value, text);
        return api->toJSON2(api, strings_.get(), pool, 1, *settings_.indent, value, text);
    }

    ExitStatus print(std::string_view text) {
        // The compact layout has no line feed of its own at the end.
        const bool is_line = text.ends_with('\n');
        if (output_.write(text) && (is_line || output_.write("\n"))) return ExitStatus::kGood;
        has_lost_output_ = true;
        return ExitStatus::kTrouble;
    }

    Host& host_;
    const Settings& settings_;
    Output& output_;
    Held<NQStringApi> strings_;
    bool has_lost_output_ = false;
};

}  // namespace

ExitStatus run_json(const Settings& settings) {
    Host host;
    Output output;
    if (!load_library(host, settings) || !output.open(settings.output)) return ExitStatus::kTrouble;

    Converter converter(host, settings, output);
    std::vector<std::string> files = settings.files;
    if (files.empty()) files.emplace_back("-");
    ExitStatus worst = ExitStatus::kGood;
    for (const std::string& file : files) {
        worst = std::max(worst, converter.convert(file));
        if (converter.has_lost_output()) return worst;
    }
    if (worst == ExitStatus::kGood && !output.commit()) return ExitStatus::kTrouble;
    return worst;
}

}  // namespace nq::tool
