#pragma once
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace nq {

// Called for each key in the order of the text: the keys from the top to this one, and the line
// where it stands, from 1.
using KeyVisitor = std::function<void(std::span<const std::string> path, uint32_t line)>;

// The keys of a configuration text that the library's reader accepts: sections, keys in them and
// keys in nested blocks, as the reader puts them into dictionaries. A key that stands in the text
// twice is visited twice; what the reader keeps is the last. Slow beside the reader: it is for the
// messages after a fault.
void visit_configuration_keys(std::string_view text, const KeyVisitor& visit);

// The keys of the objects of a JSON text that a parser accepts, but not those within arrays.
void visit_json_keys(std::string_view text, const KeyVisitor& visit);

}  // namespace nq
