#include <vector>

#include "standalone/base/utf8.hpp"
#include "typed/key_lines.hpp"

namespace nq {
namespace {

// Tells the grammar of the library's reader again, since the reader gives no lines. A test compares
// the two on random documents.
class Walker {
  public:
    explicit Walker(const KeyVisitor& visit) : visit_(visit) {}

    void take(std::string_view line) {
        ++line_;
        const bool is_indented = line.starts_with(' ') || line.starts_with('\t');
        line = trimmed(line);
        if (line.empty() || line.front() == '#') return;
        if (line.front() == '[') {
            const std::size_t close = line.find(']');
            if (close == line.npos) return;
            path_.assign(1, std::string(line.substr(1, close - 1)));
            target_depth_ = 1;
            is_in_block_ = false;
            visit_(path_, line_);
            return;
        }
        const std::size_t equals = line.find('=');
        if (equals == line.npos) return;
        const bool has_value = !trimmed(line.substr(equals + 1)).empty();
        const bool is_inside = is_in_block_ && is_indented;
        const bool ends_block = is_in_block_ && !is_indented;
        path_.resize(target_depth_ + is_inside);
        path_.emplace_back(trimmed(line.substr(0, equals)));
        visit_(path_, line_);
        if (ends_block) is_in_block_ = false;
        // The line that ends a block does not open another one.
        else if (!is_in_block_ && !has_value)
            is_in_block_ = true;
    }

  private:
    const KeyVisitor& visit_;
    std::vector<std::string> path_;  // of the last key or section
    std::size_t target_depth_ = 0;   // 1 after the first section header
    bool is_in_block_ = false;       // the nested block's key is at target_depth_
    uint32_t line_ = 0;
};

}  // namespace

void visit_configuration_keys(std::string_view text, const KeyVisitor& visit) {
    text = without_byte_order_mark(text);
    Walker walker(visit);
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("\n\x15");
        std::string_view line = text.substr(0, end);
        if (end != text.npos && line.ends_with('\r')) line.remove_suffix(1);
        walker.take(line);
        if (end == text.npos) break;
        text.remove_prefix(end + 1);
    }
}

}  // namespace nq
