#include <vector>

#include "standalone/base/utf8.hpp"
#include "standalone/json/scan.hpp"
#include "typed/key_lines.hpp"

namespace nq {
namespace {

// Follows the keys of the objects outside of arrays.
class Keys : public JsonEvents {
  public:
    explicit Keys(const KeyVisitor& visit) : visit_(visit) {}

    void open(char bracket) override {
        if (arrays_ || bracket == '[') {
            ++arrays_;
        } else {
            path_.emplace_back();  // for the keys of the object
        }
    }
    void close() override {
        if (arrays_) {
            --arrays_;
        } else {
            path_.pop_back();
        }
    }
    void key(std::string_view key, uint32_t line) override {
        if (arrays_) return;
        path_.back() = key;
        visit_(path_, line);
    }

  private:
    const KeyVisitor& visit_;
    std::size_t arrays_ = 0;         // open containers from the outermost array inwards
    std::vector<std::string> path_;  // the current key of each open object outside of arrays
};

}  // namespace

void visit_json_keys(std::string_view text, const KeyVisitor& visit) {
    Keys keys(visit);
    scan_json(without_byte_order_mark(text), UINT64_MAX, keys);
}

}  // namespace nq
