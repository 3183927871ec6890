#include "tests/config/configuration_model.hpp"

#include <algorithm>
#include <optional>

#include "nqinstance/host/status.h"

namespace nq::test {
namespace {

constexpr std::size_t kFillBytes = 2048;

bool in(unsigned value, unsigned low, unsigned high) { return low <= value && value <= high; }

// Bytes of the character whose first two bytes these are; 0 when no character begins so.
std::size_t character_bytes(unsigned lead, unsigned second) {
    if (lead < 0x80) return 1;
    if (in(lead, 0xC2, 0xDF)) return in(second, 0x80, 0xBF) ? 2 : 0;
    if (lead == 0xE0) return in(second, 0xA0, 0xBF) ? 3 : 0;
    if (lead == 0xED) return in(second, 0x80, 0x9F) ? 3 : 0;
    if (in(lead, 0xE1, 0xEF)) return in(second, 0x80, 0xBF) ? 3 : 0;
    if (lead == 0xF0) return in(second, 0x90, 0xBF) ? 4 : 0;
    if (in(lead, 0xF1, 0xF3)) return in(second, 0x80, 0xBF) ? 4 : 0;
    if (lead == 0xF4) return in(second, 0x80, 0x8F) ? 4 : 0;
    return 0;
}

bool begins_character(unsigned byte) { return byte < 0x80 || in(byte, 0xC2, 0xF4); }

struct Decoded {
    std::size_t whole;                   // bytes of whole characters before anything else
    std::optional<std::size_t> refused;  // the byte at which the text stops being UTF-8
};

Decoded decode(std::string_view text) {
    const auto byte = [&](std::size_t i) -> unsigned {
        return static_cast<unsigned char>(text[i]);
    };
    std::size_t i = 0;
    while (i < text.size()) {
        if (!begins_character(byte(i))) return {i, i};
        if (byte(i) < 0x80) {
            ++i;
            continue;
        }
        if (i + 1 == text.size()) return {i, {}};
        const std::size_t bytes = character_bytes(byte(i), byte(i + 1));
        if (bytes == 0) return {i, i + 1};
        for (std::size_t k = 2; k < bytes; ++k) {
            if (i + k == text.size()) return {i, {}};
            if (!in(byte(i + k), 0x80, 0xBF)) return {i, i + k};
        }
        i += bytes;
    }
    return {i, {}};
}

std::string_view trimmed(std::string_view text) {
    const auto is_white = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (!text.empty() && is_white(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_white(text.back())) text.remove_suffix(1);
    return text;
}

// Where an entry goes: the path from the root.
struct Place {
    std::optional<std::string> section;
    std::optional<std::string> block;
};

class Model {
  public:
    Outcome outcome{.line = -1, .tree = Tree::dictionary()};

    bool take(std::string_view line) {
        const std::int32_t number = next_line_++;
        const bool indented = line.starts_with('\t') || line.starts_with(' ');
        line = trimmed(line);
        if (line.empty() || line.front() == '#') return true;
        if (line.front() == '[') {
            const std::size_t close = line.find(']');
            if (close == std::string_view::npos) return fail(NQ_STATUS_UNCLOSED_SECTION, number);
            place_ = {.section = std::string(line.substr(1, close - 1)), .block = {}};
            outcome.tree.set(*place_.section, Tree::dictionary());
            return true;
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) return fail(NQ_STATUS_MISSING_EQUALS, number);
        const std::string key(trimmed(line.substr(0, equals)));
        const std::string value(trimmed(line.substr(equals + 1)));
        const bool was_open = place_.block.has_value();
        if (was_open && !indented) place_.block.reset();
        const bool opens = !was_open && value.empty();
        target().set(key, opens ? Tree::dictionary() : Tree::of(value));
        if (opens) place_.block = key;
        return true;
    }

  private:
    static Tree& child(Tree& parent, const std::string& key) {
        return std::find_if(parent.entries.begin(), parent.entries.end(),
                            [&](const auto& entry) { return entry.first == key; })
            ->second;
    }
    Tree& target() {
        Tree* tree = &outcome.tree;
        if (place_.section) tree = &child(*tree, *place_.section);
        if (place_.block) tree = &child(*tree, *place_.block);
        return *tree;
    }
    bool fail(NQStatus status, std::int32_t line) {
        outcome = {status, line};
        return false;
    }

    Place place_;
    std::int32_t next_line_ = 0;
};

}  // namespace

Outcome model_of(std::string_view document) {
    const Decoded decoded = decode(document);
    // Lines that end before the fill with the refused byte are taken before it is met.
    std::string_view text = document.substr(0, decoded.whole);
    if (decoded.refused) text = text.substr(0, *decoded.refused / kFillBytes * kFillBytes);
    Model model;
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("\n\x15");
        if (end == std::string_view::npos && decoded.refused) break;
        std::string_view line = text.substr(0, end);
        if (end != std::string_view::npos && line.ends_with('\r')) line.remove_suffix(1);
        if (!model.take(line)) return model.outcome;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    if (decoded.refused) return {NQ_STATUS_UNCONVERTIBLE, -1};
    return model.outcome;
}

}  // namespace nq::test
