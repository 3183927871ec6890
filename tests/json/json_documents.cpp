// Writes random trees as pairs of lines: a Python expression of the tree, then the hexadecimal
// digits of the JSON text that the library made of it. read_back.py compares them.
#include <cstdio>

#include "tests/json/json_tree.hpp"
#include "tests/support/random.hpp"

using namespace nq::test;

int main() {
    RandomTrees trees(seeded_generator(), {.legal = true});
    const std::uint64_t rounds = setting("ITER", 2000 / kSlowdown);
    CheckingHost host;
    InstanceApi* api = host.load();
    constexpr JsonLayout kLayouts[] = {{0, 0}, {1, 0}, {1, -1}, {2, 3}};
    for (std::uint64_t i = 0; i < rounds; ++i) {
        const Tree tree = trees.next();
        InstanceHeader* instance = make_instance(host, tree);
        std::printf("%s\n", python_expression(tree).c_str());
        NQU8String* out = nullptr;
        const JsonLayout layout = kLayouts[i % 4];
        if (api->toJSON2(api, host.string_api(), host.pool(), layout.mode, layout.indent, instance,
                         &out)) {
            return 1;
        }
        for (const char c : text_of(out)) std::printf("%02x", static_cast<unsigned char>(c));
        std::printf("\n");
        release(out);
        release(instance);
    }
    return 0;
}
