#pragma once
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nqinstance/config/configuration.h"
#include "nqinstance/config/text_reader.h"
#include "tests/support/checking_host.hpp"

namespace nq::test {

// A configuration as plain data: a text, or entries in order.
struct Tree {
    bool is_dictionary = false;
    std::string text = {};
    std::vector<std::pair<std::string, Tree>> entries = {};

    static Tree dictionary() { return {.is_dictionary = true}; }
    static Tree of(std::string text) { return {.text = std::move(text)}; }

    // Stores the value under the key; a key that is there already keeps its place.
    Tree& set(const std::string& key, Tree value);

    friend bool operator==(const Tree&, const Tree&) = default;
};

// {a: "text", b: {}} for a readable comparison.
std::string to_string(const Tree& tree);
std::ostream& operator<<(std::ostream& out, const Tree& tree);

// What a dictionary of the checking host holds.
Tree tree_of(NQDictionary* dictionary);

// What reading a configuration gave: a tree only after success.
struct Outcome {
    NQStatus status = NQ_STATUS_OK;
    std::int32_t line = 0;
    Tree tree = {};
    friend bool operator==(const Outcome&, const Outcome&) = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

// What `line_number` holds before the call.
inline constexpr std::int32_t kLineUntouched = 4711;

// Reads the file that the host has under the name.
Outcome read_configuration(CheckingHost& host, const char* name = "test.conf",
                           HostPool* pool = nullptr);

// A text reader, released with the scope.
class Reader {
  public:
    explicit Reader(CheckingHost& host, const char* file = nullptr);
    ~Reader() { release(reader_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    NQTextReader* operator->() const { return reader_; }
    NQTextReader* get() const { return reader_; }

    NQStatus open(const char* file);
    // The plain operation; the caller releases the line.
    NQStatus read(NQU8String** line);
    // The next line as text: "<end>" at the end of the file, "<status 803fe813>" on failure. A
    // line that was begun is released.
    std::string next();
    // All lines to the end or the first failure.
    std::vector<std::string> all();

  private:
    InstanceApi* api_;
    NQTextReader* reader_ = nullptr;
};

}  // namespace nq::test
