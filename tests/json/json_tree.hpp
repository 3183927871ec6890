#pragma once
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "standalone/memory/sanitizer.hpp"
#include "tests/support/checking_host.hpp"

namespace nq::test {

enum class TreeKind {
    kNull,
    kText,    // an "NQString"
    kString,  // an NQU8String
    kArray,
    kDictionary,
    kBoolean,
    kInt32,
    kInt64,
    kUInt32,
    kUInt64,
    kDouble,
    kTime,
    kCalendarDate,
    kDateTime,
    kCalendarDateTime,
    kData,
    kCount
};

// A value of any kind that can be written, outside the library.
struct Tree {
    TreeKind kind = TreeKind::kNull;
    std::string text;          // kText, kString (UTF-8) and kData (bytes)
    std::int64_t integer = 0;  // every integer kind, and the Boolean's byte
    double real = 0;           // kDouble and kDateTime
    std::int32_t year = 0, month = 0, day = 0;
    std::int32_t hour = 0, minute = 0, second = 0, millisecond = 0;
    double zone_offset = 0;
    std::uint8_t has_zone = 0;
    std::vector<Tree> items;        // elements, or the values of a dictionary
    std::vector<std::string> keys;  // of a dictionary
};

// How the text is laid out: the arguments of nqInstanceToJSON2. {1, 4} is nqInstanceToJSON's too.
struct JsonLayout {
    std::uint32_t mode;
    std::int32_t indent;
};

// The JSON text without a final line feed, by the written rules and none of the library's code.
std::string expected_json(const Tree& tree, JsonLayout layout);

// The same tree as a Python expression over pairs(), double() and base64().
std::string python_expression(const Tree& tree);

// The instance, one reference for the caller; null for kNull. The host has loaded the library.
InstanceHeader* make_instance(CheckingHost& host, const Tree& tree);

struct TreeOptions {
    // Only what comes out as legal JSON: well-formed text without further control characters,
    // keys that need no escape, each of them once.
    bool legal = false;
    int depth = 4;
};

class RandomTrees {
  public:
    RandomTrees(std::mt19937_64 random, TreeOptions options) : random_(random), options_(options) {}
    Tree next() { return make(options_.depth); }

  private:
    std::int64_t between(std::int64_t low, std::int64_t high) {
        return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
    }
    bool one_in(int n) { return between(1, n) == 1; }
    Tree make(int depth);
    std::string make_text(bool for_key);
    std::string make_bytes();
    void add_character(std::string& text, bool for_key);
    void add_items(Tree& tree, int depth);
    void set_date(Tree& tree);
    void set_clock(Tree& tree);
    void set_zone(Tree& tree);
    std::int64_t any_integer(std::int64_t low, std::int64_t high);
    double any_double();

    std::mt19937_64 random_;
    TreeOptions options_;
};

// By how much a volume shrinks in a build with sanitizers.
inline constexpr std::uint64_t kSlowdown = NQ_UNDER_SANITIZER ? 20 : 1;

}  // namespace nq::test
