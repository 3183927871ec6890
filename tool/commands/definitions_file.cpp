#include "tool/commands/definitions_file.hpp"

#include "tool/io/input.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {

bool DefinitionsFile::load(Host& host, const Services& services, const std::string& name) {
    const std::string shown_name = shown_input_name(name);
    std::string bytes;
    if (const int error_number = read_input(name, bytes)) {
        report_error_number(shown_name, error_number);
        return false;
    }
    pool_.reset(host.make_pool("nqtool definitions pool"));
    if (!pool_) {
        report("nqtool", "out of memory");
        return false;
    }
    DefinitionsError error;
    if (definitions_.load(services.json(), pool_.get(), bytes, error)) return true;
    report(place_in(shown_name, error.line, error.column), on_one_line(error.what));
    return false;
}

}  // namespace nq::tool
