// Checks a configuration file by definitions: check LIBRARY DEFINITIONS FILE.
#include <cstdio>
#include <fstream>
#include <iterator>

#include "standalone/host.hpp"
#include "typed/configuration.hpp"

namespace {

std::string content(const char* name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// 0: every value is what its definition says; 1: something is wrong, which is printed.
int check(nq::Host& host, HostPool* pool, const char* definitions_name, const char* name) {
    const nq::Services services(host.kernel(), host.api());
    nq::Definitions definitions;
    nq::DefinitionsError error;
    if (!definitions.load(services.json(), pool, content(definitions_name), error)) {
        std::fprintf(stderr, "%s:%u: %s\n", definitions_name, error.line, error.what.c_str());
        return 1;
    }
    NQDictionary* source = nullptr;
    NQDictionary* typed = nullptr;
    int32_t line = -1;
    std::vector<nq::Fault> faults;
    NQStatus status = host.api()->readConfiguration(host.api(), pool, name, &line, &source);
    if (!status) {
        status =
            nq::make_typed_configuration(services, pool, definitions, source, {}, &typed, faults);
    }
    if (status) {
        std::fprintf(stderr, "%s:%d: %s\n", name, line + 1, host.message(status).c_str());
        return 1;
    }
    nq::find_lines(content(name), nq::SourceSyntax::kConfiguration, faults);
    for (const nq::Fault& fault : faults) {
        std::printf("%s:%u: %s: %s\n", name, fault.line, fault.shown_path().c_str(),
                    fault.message.c_str());
    }
    return faults.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    nq::Host host;
    std::string error = "usage: check LIBRARY DEFINITIONS FILE";
    if (argc != 4 || !host.load(argv[1], error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    HostPool* pool = host.make_pool("check");
    const int result = check(host, pool, argv[2], argv[3]);
    pool->destroy(pool);  // gives back the dictionaries and their values
    return result;
}
