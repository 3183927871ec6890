#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

namespace nq {

// Is told what a JSON text holds, in the order of the text.
class JsonEvents {
  public:
    JsonEvents() = default;
    JsonEvents(const JsonEvents&) = delete;
    JsonEvents& operator=(const JsonEvents&) = delete;
    virtual ~JsonEvents() = default;

    // An opening bracket, '{' or '[', and the closing one that belongs to it.
    virtual void open(char /*bracket*/) {}
    virtual void close() {}
    // A key without its escapes, and its line, from 1.
    virtual void key(std::string_view /*key*/, uint32_t /*line*/) {}
    // The bytes of the text from `begin` to `end` are a number.
    virtual void number(uint64_t /*begin*/, uint64_t /*end*/) {}
};

// Walks over the text, without recursion. Returns where it breaks the grammar: the first byte that
// cannot stand there (the end when the text is cut off), or the bracket that nests deeper than
// `max_depth`; nothing when the text is well-formed. Slow beside a parser: it is for the messages
// after a failure.
std::optional<uint64_t> scan_json(std::string_view text, uint64_t max_depth, JsonEvents& events);

}  // namespace nq
