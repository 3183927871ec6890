#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/json/parser.hpp"
#include "typed/data_type.hpp"

namespace nq {

// One place of a definitions file: a section, or a leaf, which is a definition.
//
// All of it is read-only once the file is loaded and may be used by several threads at once.
struct DefinitionNode {
    std::string key;   // empty for the root
    std::string path;  // the keys from the root, joined by "."; empty for the root
    const DefinitionNode* parent = nullptr;
    uint32_t index = 0;  // among the parent's children

    // Of a leaf; `definition` is null for a section.
    NQDictionary* definition = nullptr;  // what nqInstanceValidateData takes
    DataType type = DataType::kInstance;
    bool has_expected_types = false;       // of an "instance": only the types in this list fit
    std::vector<DataType> expected_types;  // in the order of the file, none of them kInstance
    // Whether integers above the range of Int64 fit: the library would compare them wrongly with
    // negative bounds and with keywords.
    bool takes_uint64 = false;
    // What "values" accepts of text and characters; empty when there is no such list. The library
    // checks lists of numbers only.
    std::vector<std::string> accepted_texts;
    bool has_accepted_texts = false;

    // Of a section, in the order of the file.
    std::vector<std::unique_ptr<DefinitionNode>> children;

    bool is_leaf() const noexcept { return definition != nullptr; }

    // The section's child of that key, or null. Takes constant time and allocates nothing.
    const DefinitionNode* child(std::string_view wanted) const noexcept {
        if (slots.empty()) return nullptr;
        const std::size_t mask = slots.size() - 1;
        for (std::size_t slot = hash(wanted) & mask; slots[slot]; slot = (slot + 1) & mask) {
            const DefinitionNode& node = *children[slots[slot] - 1];
            if (node.key == wanted) return &node;
        }
        return nullptr;
    }

    // The index behind `child`: numbers of the children counted from 1, at most half of the slots.
    // The keys are those of a trusted file, so a plain hash will do.
    std::vector<uint32_t> slots;
    static std::size_t hash(std::string_view text) noexcept {
        uint64_t mixed = 0x9E3779B97F4A7C15u ^ text.size();
        for (const char byte : text) {
            mixed = (mixed ^ static_cast<uint8_t>(byte)) * 0x100000001B3u;
        }
        return static_cast<std::size_t>(mixed ^ mixed >> 32);
    }
};

// What makes a definitions text unusable.
struct DefinitionsError {
    uint32_t line = 0;    // from 1; 0 when that is not known
    uint32_t column = 0;  // from 1; 0 when the line is all that is known
    std::string what;
};

// How deep sections may lie in one another.
inline constexpr std::size_t kMaxDefinitionDepth = 64;

// A definitions file: JSON text whose top is an object. An object with a string "dataType" is a
// definition, any other object is a section.
class Definitions {
  public:
    Definitions() = default;
    Definitions(const Definitions&) = delete;
    Definitions& operator=(const Definitions&) = delete;
    ~Definitions() { clear(); }

    // Reads the text into instances of `pool`, which outlives this object. False: `error` says
    // why, and the definitions are empty.
    //
    // Refused are: text that is not JSON, a top that is no object, a place that is no object, a key
    // that stands twice in an object, a "dataType" that is not known, an entry of a definition that
    // is not known, "min", "max" and "values" that the library cannot use with the type or would
    // not check at all, or that leave nothing to fit, "expectedTypes" other than an array of
    // definitions, and a "description" other than text.
    bool load(const JsonServices& services, HostPool* pool, std::string_view text,
              DefinitionsError& error);

    const DefinitionNode& root() const noexcept { return root_; }

    // All leaves in the order of the file.
    const std::vector<const DefinitionNode*>& leaves() const noexcept { return leaves_; }

  private:
    DefinitionNode root_;
    std::vector<const DefinitionNode*> leaves_;
    void clear() noexcept;

    InstanceHeader* tree_ = nullptr;  // what the file was read as; the leaves refer to it
};

}  // namespace nq
