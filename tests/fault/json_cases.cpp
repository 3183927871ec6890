#include <array>
#include <string_view>

#include "nqinstance/core/api.h"
#include "nqinstance/json/json_writer.h"
#include "tests/fault/cases.hpp"

namespace nq::test {
namespace {

using Tree = InstanceHeader* (*)(CheckingHost&);

template <class T>
InstanceHeader* as_header(T* instance) {
    return &instance->header;
}

NQDictionary* scalars(CheckingHost& host) {
    NQStatus status;
    InstanceApi* api = host.api();
    HostPool* pool = host.pool();
    return host.dictionary({
        {"true", api->createBoolean(api, pool, 1, &status)},
        {"int32", api->createInt32(api, pool, -5, &status)},
        {"int64", api->createInt64(api, pool, INT64_MIN, &status)},
        {"uint32", api->createUInt32(api, pool, UINT32_MAX, &status)},
        {"uint64", api->createUInt64(api, pool, UINT64_MAX, &status)},
        {"double", api->createDouble(api, pool, 1.5, &status)},
        {"null", nullptr},
    });
}

NQArray* dates(CheckingHost& host) {
    NQStatus status;
    InstanceApi* api = host.api();
    HostPool* pool = host.pool();
    NQTime* time = api->createTime(api, pool, &status);
    time->hour = 12;
    time->millisecond = 250;
    time->zoneOffset = 3600;
    time->hasZoneOffset = 1;
    NQCalendarDate* date = api->createCalendarDate(api, pool, &status);
    date->year = 1960;
    date->month = date->day = 1;
    NQCalendarDateTime* both = api->createCalendarDateTime(api, pool, &status);
    both->year = 2020;
    both->month = 2;
    both->day = 29;
    NQDateTime* value = api->createDateTime(api, pool, 86400.25, &status);
    value->zoneOffset = -19800;
    value->hasZoneOffset = 1;
    return host.array({time, date, both, value});
}

NQArray* texts(CheckingHost& host) {
    NQStatus status;
    const char bytes[] = "some bytes";
    return host.array({
        host.string("quote \" backslash \\ tab\tline\n"),
        host.text(U"wide \"\u20AC\" \U0001F600"),
        host.string(""),
        host.api()->createData(host.api(), host.pool(), bytes, sizeof bytes, 1, 0, &status),
    });
}

InstanceHeader* one_number(CheckingHost& host) {
    NQStatus status;
    return as_header(host.api()->createInt32(host.api(), host.pool(), 42, &status));
}
InstanceHeader* one_string(CheckingHost& host) { return as_header(host.string("a \"word\"")); }
InstanceHeader* null_instance(CheckingHost&) { return nullptr; }
InstanceHeader* empty_containers(CheckingHost& host) {
    return as_header(host.array({host.array(), host.dictionary(), nullptr}));
}
InstanceHeader* scalar_tree(CheckingHost& host) { return as_header(scalars(host)); }
InstanceHeader* date_tree(CheckingHost& host) { return as_header(dates(host)); }
InstanceHeader* text_tree(CheckingHost& host) { return as_header(texts(host)); }
InstanceHeader* deep_tree(CheckingHost& host) {
    return as_header(host.dictionary({
        {"scalars", scalars(host)},
        {"dates", dates(host)},
        {"deeper", host.array({host.dictionary({{"texts", texts(host)}}), host.array()})},
    }));
}
// A long text lets the output grow past anything that is gathered before it is appended.
InstanceHeader* large_tree(CheckingHost& host) {
    NQArray* array = host.array();
    for (int i = 0; i < 16; ++i) {
        host.add(array, host.string(std::string(300, static_cast<char>('a' + i % 26)) + "\n"));
        host.add(array, one_number(host));
    }
    return as_header(array);
}
InstanceHeader* with_a_character(CheckingHost& host) {
    NQStatus status;
    return as_header(host.array({host.string("before"),
                                 host.api()->createNQChar(host.api(), host.pool(), 65, &status),
                                 host.string("after")}));
}

struct Layout {
    const char* name;
    bool chosen;  // false: nqInstanceToJSON
    std::uint32_t mode;
    std::int32_t indent;
};

constexpr std::array kLayouts{
    Layout{"nqInstanceToJSON", false, 1, 4},
    Layout{"compact", true, 0, 0},
    Layout{"pretty, width 2", true, 1, 2},
    Layout{"pretty, not indented", true, 1, -1},
    Layout{"blanks after colons, width 4", true, 2, 0},
};

constexpr const char* kBeginning = "already here: ";

class WriteJson : public Operation {
  public:
    WriteJson(Tree tree, Layout layout, bool continues, NQStatus normal)
        : tree_of_(tree), layout_(layout), continues_(continues), normal_(normal) {}

    void prepare(CheckingHost& host) override {
        tree_ = tree_of_(host);
        out_ = continues_ ? host.string(kBeginning) : nullptr;
        given_ = out_;
    }
    NQStatus call(CheckingHost& host) override {
        InstanceApi* api = host.api();
        if (!layout_.chosen) return api->toJSON(api, host.pool(), tree_, &out_);
        return api->toJSON2(api, host.string_api(), host.pool(), layout_.mode, layout_.indent,
                            tree_, &out_);
    }
    std::string result(CheckingHost&) override { return text_of(out_); }

    std::string check_failure(const Round& round) override {
        if (!continues_) return out_ ? "a string in spite of the failure" : "";
        if (out_ != given_) return "another string in *out";
        // A string of the caller keeps the text so far: the beginning of the whole text. What a
        // key has after a failed look-up is null, so only the rest of the text is compared.
        const std::string text = text_of(out_);
        if (round.failed(Call::kDictionaryGet)) return {};
        return full_text(round.host).starts_with(text) ? "" : "the text so far is \"" + text + "\"";
    }
    void drop_result(CheckingHost&) override {
        if (!continues_) release(out_);
    }
    void clean_up(CheckingHost&) override {
        release(given_);
        release(tree_);
    }

    // The status of a look-up is not looked at; its value is then null.
    NQStatus status_for(const FailedCall& failed) const override {
        return failed.call == Call::kDictionaryGet ? NQ_STATUS_OK : Operation::status_for(failed);
    }
    bool right_result(const Round& round, const std::string& expected,
                      const std::string& result) const override {
        return has_values_replaced(expected, result, round.failed(Call::kDictionaryGet));
    }
    NQStatus normal_status() const override { return normal_; }

  private:
    // True when so many pieces of the text are replaced by "null".
    static bool has_values_replaced(std::string_view text, std::string_view other,
                                    std::uint64_t times) {
        if (times == 0) return text == other;
        for (std::size_t at = other.find("null"); at != std::string_view::npos;
             at = other.find("null", at + 1)) {
            if (text.substr(0, at) != other.substr(0, at)) return false;
            const std::string_view rest = other.substr(at + 4);
            for (std::size_t end = at; end <= text.size(); ++end) {
                if (has_values_replaced(text.substr(end), rest, times - 1)) return true;
            }
        }
        return false;
    }

    // What the operation writes when nothing fails, into a string of its own.
    std::string full_text(CheckingHost& host) {
        if (full_text_.empty()) {
            NQU8String* kept = std::exchange(out_, host.string(kBeginning));
            call(host);
            full_text_ = text_of(out_);
            release(std::exchange(out_, kept));
        }
        return full_text_;
    }

    const Tree tree_of_;
    const Layout layout_;
    const bool continues_;
    const NQStatus normal_;
    InstanceHeader* tree_ = nullptr;
    NQU8String* out_ = nullptr;
    NQU8String* given_ = nullptr;
    std::string full_text_;
};

struct NamedTree {
    const char* name;
    Tree make;
    NQStatus normal = NQ_STATUS_OK;
};

constexpr std::array kTrees{
    NamedTree{"a number", one_number},
    NamedTree{"a string", one_string},
    NamedTree{"null", null_instance},
    NamedTree{"empty containers", empty_containers},
    NamedTree{"scalars", scalar_tree},
    NamedTree{"dates", date_tree},
    NamedTree{"texts", text_tree},
    NamedTree{"a deep tree", deep_tree},
    NamedTree{"a large array", large_tree},
    NamedTree{"a character", with_a_character, NQ_STATUS_UNSUPPORTED},
};

}  // namespace

std::vector<SweepCase> json_cases() {
    std::vector<SweepCase> cases;
    for (const NamedTree& tree : kTrees) {
        for (const Layout& layout : kLayouts) {
            for (const bool continues : {false, true}) {
                cases.push_back({std::string(layout.name) + " of " + tree.name +
                                     (continues ? " into the caller's string" : ""),
                                 {layout.chosen ? "nqInstanceToJSON2" : "nqInstanceToJSON"},
                                 made_of<WriteJson>(tree.make, layout, continues, tree.normal)});
            }
        }
    }
    return cases;
}

}  // namespace nq::test
