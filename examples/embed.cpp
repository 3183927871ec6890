// Reads a configuration file and prints it as JSON: embed LIBRARY FILE.
#include <cstdio>

#include "standalone/host.hpp"

int main(int argc, char** argv) {
    nq::Host host;
    std::string error = "usage: embed LIBRARY FILE";
    if (argc != 3 || !host.load(argv[1], error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    InstanceApi* api = host.api();
    HostPool* pool = host.make_pool("embed");
    NQDictionary* root = nullptr;
    NQU8String* json = nullptr;
    int32_t line = -1;
    NQStatus status = api->readConfiguration(api, pool, argv[2], &line, &root);
    if (!status) status = api->toJSON(api, pool, &root->header, &json);
    if (!status) std::fwrite(json->bytes, 1, json->length, stdout);
    if (status)
        std::fprintf(stderr, "%s:%d: %s\n", argv[2], line + 1, host.message(status).c_str());
    pool->destroy(pool);  // gives back the dictionary, the text and whatever else was made in it
    return status ? 1 : 0;
}
