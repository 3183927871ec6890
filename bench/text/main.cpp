// How many times as fast as the ordinary way the text library does its work, as one table. Each
// routine is called through the library's border, and each row is measured in one run. `least` is
// what is promised, where something is.
//
//     text_bench [module...]     memory, utf, search, case, character, compare; all without one
#include <algorithm>
#include <span>
#include <string_view>

#include "bench/loaded_library.hpp"
#include "bench/text/rows.hpp"

namespace {

struct Module {
    std::string_view name;
    void (*rows)(const nq::Host&);
};

constexpr Module kModules[] = {
    {"memory", nq::bench::memory_rows},       {"utf", nq::bench::utf_rows},
    {"search", nq::bench::search_rows},       {"case", nq::bench::case_rows},
    {"character", nq::bench::character_rows}, {"compare", nq::bench::compare_rows}};

}  // namespace

int main(int argc, char** argv) {
    nq::Host host;
    nq::bench::load_or_exit(host);
    const std::span<char*> wanted(argv + 1, static_cast<std::size_t>(argc - 1));
    nq::bench::print_heading();
    for (const Module& module : kModules) {
        const bool is_wanted =
            wanted.empty() || std::ranges::find(wanted, module.name) != wanted.end();
        if (is_wanted) module.rows(host);
    }
}
