#pragma once
#include "bench/compare.hpp"
#include "bench/require.hpp"
#include "bench/sample_texts.hpp"
#include "standalone/host.hpp"

// The rows of the text library, a function for each of its modules.
namespace nq::bench {

void memory_rows(const Host& host);
void utf_rows(const Host& host);
void search_rows(const Host& host);
void case_rows(const Host& host);
void character_rows(const Host& host);
void compare_rows(const Host& host);

// The function of that name that the loaded library exports; null if it has none.
#define NQ_EXPORTED(host, name) (reinterpret_cast<decltype(&::name)>((host).symbol(#name)))

}  // namespace nq::bench
