// Reads the configuration files named on standard input, one name a line, with the library in a
// standalone host, and prints what came of each as one line of JSON:
//     {"status": 0, "line": -1, "tree": [["key", "value"], ["section", [["key", "value"]]]]}
// A tree is printed after success only. The library's path is the argument.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "nqinstance/config/configuration.h"
#include "standalone/host.hpp"

namespace {

// Files read by one host; what stays with the pools after a syntax error ends with it.
constexpr unsigned kFilesPerHost = 200;

std::string quoted(const NQU8String* string) {
    std::string text = "\"";
    for (std::uint64_t i = 0; i < string->length; ++i) {
        const unsigned byte = string->bytes[i];
        char escape[8];
        if (byte < 0x20 || byte == 0x7f || byte == '"' || byte == '\\') {
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            text += escape;
        } else {
            text += static_cast<char>(byte);
        }
    }
    return text += '"';
}

template <class T>
T* cast(InstanceHeader* instance, const char* type) {
    if (instance->isType(instance, type)) return reinterpret_cast<T*>(instance);
    std::cerr << "an entry is no " << type << '\n';
    std::exit(2);
}

std::string tree_of(NQDictionary* dictionary) {
    NQArray* keys = nullptr;
    if (dictionary->listKeys(dictionary, &keys)) {
        std::cerr << "the keys cannot be listed\n";
        std::exit(2);
    }
    std::string text = "[";
    for (std::uint64_t i = 0; i < keys->count; ++i) {
        auto* key = cast<NQU8String>(keys->elements[i], "NQU8String");
        InstanceHeader* value = nullptr;
        if (dictionary->get(dictionary, key, &value)) {
            std::cerr << "a key has no value\n";
            std::exit(2);
        }
        if (i) text += ", ";
        text += '[';
        text += quoted(key);
        text += ", ";
        if (value->isType(value, "NQDictionary")) {
            text += tree_of(cast<NQDictionary>(value, "NQDictionary"));
        } else {
            text += quoted(cast<NQU8String>(value, "NQU8String"));
        }
        text += ']';
    }
    keys->header.release(keys);
    return text += ']';
}

void dump(nq::Host& host, const std::string& name) {
    InstanceApi* api = host.api();
    HostPool* pool = host.make_pool("one file");
    std::int32_t line = 0;
    NQDictionary* root = nullptr;
    const NQStatus status = api->readConfiguration(api, pool, name.c_str(), &line, &root);
    std::cout << "{\"status\": " << status << ", \"line\": " << line;
    if (root) {
        std::cout << ", \"tree\": " << tree_of(root);
        root->header.release(root);
    }
    std::cout << "}\n";
    pool->destroy(pool);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::cerr << "usage: config_dump LIBRARY < NAMES\n";
        return 2;
    }
    std::unique_ptr<nq::Host> host;
    std::string name;
    for (unsigned files = 0; std::getline(std::cin, name); ++files) {
        if (files % kFilesPerHost == 0) {
            host.reset();
            host = std::make_unique<nq::Host>();
            std::string error;
            if (!host->load(arguments[1], error)) {
                std::cerr << error << '\n';
                return 2;
            }
        }
        dump(*host, name);
    }
    return 0;
}
