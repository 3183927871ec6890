// Writing a tree as JSON text in every layout: as the model of the layout has it; what is legal
// JSON reads back equal with a parser of others; a host call that fails leaves nothing behind.
#include <simdjson.h>

#include <cmath>

#include "fuzz/support/checking.hpp"
#include "nqinstance/host/status.h"
#include "tests/json/json_tree.hpp"

namespace nq::fuzz {
namespace {

using test::JsonLayout;
using test::Tree;
using test::TreeKind;

constexpr int kDeepest = 6;
constexpr std::size_t kMostItems = 8;

double double_of(Input& input) {
    switch (input.byte() % 4) {
        case 0:
            return static_cast<std::int16_t>(input.number());
        case 1:
            return static_cast<std::int16_t>(input.number()) / 1000.0;
        default: {
            std::uint64_t bits = 0;
            for (int i = 0; i < 4; ++i) bits = bits << 16 | input.number();
            double value;
            std::memcpy(&value, &bits, sizeof value);
            return value;
        }
    }
}

std::int64_t integer_of(Input& input) {
    std::uint64_t bits = input.byte();
    if (bits & 1) return static_cast<std::int64_t>(bits) - 128;
    for (int i = 0; i < 4; ++i) bits = bits << 16 | input.number();
    return static_cast<std::int64_t>(bits);
}

std::int32_t field_of(Input& input) {
    return input.left() % 16 == 15 ? static_cast<std::int32_t>(integer_of(input))
                                   : static_cast<std::int32_t>(input.byte());
}

void read_clock(Input& input, Tree& tree) {
    tree.hour = field_of(input);
    tree.minute = field_of(input);
    tree.second = field_of(input);
    tree.millisecond = field_of(input);
}

void read_zone(Input& input, Tree& tree) {
    tree.has_zone = static_cast<std::uint8_t>(input.byte());
    if (tree.has_zone) tree.zone_offset = double_of(input);
    // The offset of a zone has no meaning beyond this, nor has the model.
    if (!(std::fabs(tree.zone_offset) < 0x1p31)) tree.zone_offset = -0.5;
}

// The walk over the years takes time, and dates end where the model ends.
double moment_of(Input& input) {
    const double value = double_of(input);
    return std::fabs(value) < 1e12 ? value : 86399.75;
}

class TreeReader {
  public:
    explicit TreeReader(Input& input) : input_(input) {}

    Tree next(int depth) {
        Tree tree;
        const std::uint32_t choice = input_.byte();
        tree.kind = static_cast<TreeKind>(choice % static_cast<int>(TreeKind::kCount));
        switch (tree.kind) {
            case TreeKind::kArray:
            case TreeKind::kDictionary:
                read_items(tree, depth);
                break;
            case TreeKind::kText:
            case TreeKind::kString:
            case TreeKind::kData:
                read_text(tree);
                break;
            case TreeKind::kBoolean:
                tree.integer = input_.byte();
                break;
            case TreeKind::kInt32:
                tree.integer = static_cast<std::int32_t>(integer_of(input_));
                break;
            case TreeKind::kUInt32:
                tree.integer = static_cast<std::uint32_t>(integer_of(input_));
                break;
            case TreeKind::kInt64:
            case TreeKind::kUInt64:
                tree.integer = integer_of(input_);
                break;
            case TreeKind::kDouble:
                tree.real = double_of(input_);
                break;
            case TreeKind::kDateTime:
                tree.real = moment_of(input_);
                read_zone(input_, tree);
                break;
            case TreeKind::kCalendarDateTime:
            case TreeKind::kCalendarDate:
                tree.year = field_of(input_);
                tree.month = field_of(input_);
                tree.day = field_of(input_);
                if (tree.kind == TreeKind::kCalendarDate) break;
                [[fallthrough]];
            case TreeKind::kTime:
                read_clock(input_, tree);
                read_zone(input_, tree);
                break;
            default:
                break;
        }
        return tree;
    }

  private:
    void read_items(Tree& tree, int depth) {
        const std::size_t count = depth < kDeepest ? input_.byte() % kMostItems : 0;
        for (std::size_t i = 0; i < count && input_.left(); ++i) {
            if (tree.kind == TreeKind::kDictionary) {
                // A key that is there already would replace its value.
                tree.keys.push_back(bytes() + std::to_string(i));
            }
            tree.items.push_back(next(depth + 1));
        }
    }

    void read_text(Tree& tree) {
        tree.text = bytes();
        // So that escapes outgrow what is kept for them on the stack.
        if (input_.left() % 32 == 31) {
            const std::string once = tree.text;
            for (int i = 0; i < 80; ++i) tree.text += once;
        }
        if (tree.kind != TreeKind::kText) return;
        // Units come from well-formed text.
        for (char& byte : tree.text) byte = static_cast<char>(byte & 0x7f);
        if (input_.left() % 4 == 3) tree.text += "\u00e9\u4e2d\U0001f600";
    }

    std::string bytes() { return text_of(input_.text(input_.byte() % 40)); }

    Input& input_;
};

// A number is formatted in room for 255 characters.
bool is_too_wide(const Tree& tree) {
    return (tree.kind == TreeKind::kDouble && std::snprintf(nullptr, 0, "%f", tree.real) > 255) ||
           std::ranges::any_of(tree.items, is_too_wide);
}

bool is_legal_text(std::string_view text, bool is_key) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (is_key ? byte < 0x20 || c == '"' || c == '\\' : byte < 0x20 && c != '\t' && c != '\n') {
            return false;
        }
    }
    return simdjson::validate_utf8(text);
}

bool is_legal(const Tree& tree) {
    switch (tree.kind) {
        case TreeKind::kText:
        case TreeKind::kString:
            return is_legal_text(tree.text, false);
        case TreeKind::kDouble:
            return std::isfinite(tree.real);
        default:
            return std::ranges::all_of(tree.items, is_legal) &&
                   std::ranges::all_of(tree.keys,
                                       [](const auto& key) { return is_legal_text(key, true); });
    }
}

// What a parser of others made of the text is the tree; dates and data are text whose form the
// model judges.
bool reads_back(simdjson::dom::element element, const Tree& tree) {
    switch (tree.kind) {
        case TreeKind::kNull:
            return element.is_null();
        case TreeKind::kText:
        case TreeKind::kString:
            return element.is_string() && element.get_string().value_unsafe() == tree.text;
        case TreeKind::kArray: {
            simdjson::dom::array array;
            if (element.get_array().get(array) || array.size() != tree.items.size()) return false;
            auto item = tree.items.begin();
            return std::all_of(array.begin(), array.end(), [&](simdjson::dom::element value) {
                return reads_back(value, *item++);
            });
        }
        case TreeKind::kDictionary: {
            simdjson::dom::object object;
            if (element.get_object().get(object) || object.size() != tree.keys.size()) return false;
            std::size_t i = 0;
            for (const auto& [key, value] : object) {
                if (key != tree.keys[i] || !reads_back(value, tree.items[i])) return false;
                ++i;
            }
            return true;
        }
        case TreeKind::kBoolean:
            return element.is_bool() && element.get_bool().value_unsafe() == (tree.integer == 1);
        case TreeKind::kInt32:
        case TreeKind::kInt64:
        case TreeKind::kUInt32:
            return element.is_int64() && element.get_int64().value_unsafe() == tree.integer;
        case TreeKind::kUInt64: {
            std::uint64_t value = 0;
            return !element.get_uint64().get(value) &&
                   value == static_cast<std::uint64_t>(tree.integer);
        }
        case TreeKind::kDouble: {
            double value = 0;
            char rounded[400];
            std::snprintf(rounded, sizeof rounded, "%f", tree.real);
            return !element.get_double().get(value) && value == std::strtod(rounded, nullptr);
        }
        default:
            return element.is_string();
    }
}

// The text of one conversion, or nothing after a failure.
struct Written {
    NQStatus status;
    std::string text;
    bool lost_value = false;  // one that a dictionary did not give, which is written as null
};

class Writer {
  public:
    Writer(CheckingHost& host, InstanceHeader* instance) : host_(host), instance_(instance) {}

    Written by_default() {
        return written(nullptr, [this](NQU8String** out) {
            return host_.api()->toJSON(host_.api(), host_.pool(), instance_, out);
        });
    }
    Written in_layout(const JsonLayout& layout, bool continues) {
        NQU8String* begun = continues ? host_.string("begun\"") : nullptr;
        return written(begun, [this, &layout](NQU8String** out) {
            return host_.api()->toJSON2(host_.api(), host_.string_api(), host_.pool(), layout.mode,
                                        layout.indent, instance_, out);
        });
    }

  private:
    template <class Write>
    Written written(NQU8String* begun, Write write) {
        NQU8String* out = begun;
        const NQStatus status = write(&out);
        // A failure takes back the string of the call and leaves the caller's.
        if (status) NQ_REQUIRE(out == begun);
        if (begun) NQ_REQUIRE(out == begun);
        Written result{status, out ? test::text_of(out) : ""};
        if (status != NQ_STATUS_BUFFER_TOO_SMALL) require_explained(host_, status);
        for (const test::FailedCall& failed : host_.plan().failures()) {
            result.lost_value |= failed.call == test::Call::kDictionaryGet;
        }
        host_.plan().clear();
        test::release(out);
        return result;
    }

    CheckingHost& host_;
    InstanceHeader* instance_;
};

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    JsonLayout layout{input.number(), static_cast<std::int8_t>(input.byte())};
    const bool continues = input.byte() & 1;
    const PlannedFailure failure(input);
    const Tree tree = TreeReader(input).next(0);
    // A width below -1 is the string service's to refuse.
    if (layout.indent < -1) layout.indent = 40;

    CheckingHost host;
    NQ_REQUIRE(host.load() != nullptr);
    host.string_api();
    InstanceHeader* instance = nq::test::make_instance(host, tree);
    const nq::test::HostState before = host.state();
    Writer writer(host, instance);
    if (failure.fails) {
        failure.arm(host);
        const Written failed = continues ? writer.in_layout(layout, true) : writer.by_default();
        if (!failed.status && !continues && !failed.lost_value) {
            NQ_REQUIRE(failed.text == nq::test::expected_json(tree, {1, 4}) + "\n");
        }
        NQ_REQUIRE(host.state() == before);
    }
    std::string expected = nq::test::expected_json(tree, layout);
    if (continues) {
        expected = "begun\"" + expected;
    } else if ((layout.mode & 0xff) == 1) {
        expected += '\n';
    }
    const NQStatus status = is_too_wide(tree) ? NQ_STATUS_BUFFER_TOO_SMALL : NQ_STATUS_OK;
    const Written laid_out = writer.in_layout(layout, continues);
    NQ_REQUIRE(laid_out.status == status && (status || laid_out.text == expected));

    const Written plain = writer.by_default();
    NQ_REQUIRE(plain.status == status &&
               (status || plain.text == nq::test::expected_json(tree, {1, 4}) + "\n"));
    if (!status && is_legal(tree)) {
        static simdjson::dom::parser parser;
        for (const std::string& text : {plain.text, continues ? plain.text : laid_out.text}) {
            simdjson::dom::element element;
            NQ_REQUIRE(!parser.parse(text).get(element) && reads_back(element, tree));
        }
    }
    NQ_REQUIRE(host.state() == before);
    nq::test::release(instance);
    host.check();
    return 0;
}
