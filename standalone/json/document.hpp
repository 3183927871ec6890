#pragma once
#include <simdjson.h>

#include <cstdint>
#include <string_view>

#include "standalone/json/parser.hpp"
#include "standalone/json/position.hpp"

namespace nq {

// What the keys of a dictionary are made of.
enum class JsonKeys {
    kPlain,    // their text
    kEscaped,  // their text as it stands between quotes, for a writer that writes keys as they are
};

// JSON text taken apart. It may be used for one text after the other and keeps its room, which is
// that of the longest so far.
class JsonDocument {
  public:
    // How many bytes behind a text that `is_padded` can be read, whatever they are.
    static constexpr std::size_t kPadding = simdjson::SIMDJSON_PADDING;

    // `max_depth`: how many containers may lie in one another.
    explicit JsonDocument(uint64_t max_depth = kMaxJsonDepth) noexcept : max_depth_(max_depth) {}

    // Statuses as `parse_json`, without the position. Failed, there is no `top`.
    NQStatus parse(std::string_view text, bool is_padded);

    simdjson::dom::element top() const noexcept { return top_; }

    // Makes a part of the document an instance, as `parse_json` says. `depth`: how many containers
    // lie around it.
    NQStatus build(const JsonServices& services, HostPool* pool, simdjson::dom::element element,
                   JsonKeys keys, uint64_t depth, InstanceHeader** out) const;

    // Finds the place of a failure in the text and names it exactly; 0 and 0: it has none.
    NQStatus locate(std::string_view text, NQStatus status, TextPosition& where) const;

  private:
    simdjson::error_code read(std::string_view text, bool is_padded) noexcept;

    uint64_t max_depth_;
    simdjson::dom::parser parser_;
    simdjson::dom::element top_;
};

}  // namespace nq
