#include "tests/json/json_tree.hpp"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace nq::test {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

template <class... Values>
std::string print(const char* format, Values... values) {
    char buffer[512];
    const int length = std::snprintf(buffer, sizeof buffer, format, values...);
    return {buffer, static_cast<std::size_t>(length)};
}

// Bytes that a lead byte announces, itself included.
std::size_t announced(unsigned char lead) {
    if (lead < 0xC0) return 1;
    if (lead < 0xE0) return 2;
    if (lead < 0xF0) return 3;
    if (lead < 0xF8) return 4;
    return lead < 0xFC ? 5 : 6;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t size = announced(static_cast<unsigned char>(text[i]));
        switch (text[i]) {
            case '"':
                result += "\\\"";
                break;
            case '\\':
                result += "\\\\";
                break;
            case '\t':
                result += "\\t";
                break;
            case '\n':
                result += "\\n";
                break;
            default:
                result += text.substr(i, size);
        }
        i += size;
    }
    return result;
}

std::string base64(const std::string& bytes) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bits;
    for (const char c : bytes) {
        for (int bit = 7; bit >= 0; --bit) bits += (static_cast<unsigned char>(c) >> bit & 1) + '0';
    }
    std::string result;
    for (std::size_t i = 0; i < bits.size(); i += 6) {
        const std::string digit = (bits.substr(i, 6) + "00000").substr(0, 6);
        result += kDigits[std::stoi(digit, nullptr, 2)];
    }
    while (result.size() % 4) result += '=';
    return result;
}

std::string zone_text(double offset, bool short_hours) {
    const auto seconds = static_cast<std::int64_t>(std::fabs(offset)) % kSecondsPerDay;
    const auto hours = static_cast<int>(seconds / 3600);
    const auto minutes = static_cast<int>(seconds / 60 % 60);
    const char sign = offset < 0 ? '-' : '+';
    if (short_hours && minutes == 0) return print("%c%02d", sign, hours);
    return print("%c%02d%02d", sign, hours, minutes);
}

std::string clock_text(std::int64_t hour, std::int64_t minute, std::int64_t second,
                       std::int64_t millisecond) {
    std::string text = print("%02lld:%02lld:%02lld", static_cast<long long>(hour),
                             static_cast<long long>(minute), static_cast<long long>(second));
    if (millisecond) text += print(".%03lld", static_cast<long long>(millisecond));
    return text;
}

// Year, month and day of a day number, with the days before the epoch left in 1960.
std::string day_text(std::int64_t days) {
    if (days < 0) return print("1960-13-%02lld", static_cast<long long>(days - 365));
    // Days from the first of March 0000, in cycles of 400 years; the epoch is day 715815 of them.
    const std::int64_t from_march = days + 715815;
    const std::int64_t cycle = from_march / 146097;
    const std::int64_t of_cycle = from_march % 146097;
    const std::int64_t year_of_cycle =
        (of_cycle - of_cycle / 1460 + of_cycle / 36524 - of_cycle / 146096) / 365;
    const std::int64_t of_year =
        of_cycle - (365 * year_of_cycle + year_of_cycle / 4 - year_of_cycle / 100);
    const std::int64_t march_month = (5 * of_year + 2) / 153;
    const std::int64_t day = of_year - (153 * march_month + 2) / 5 + 1;
    const std::int64_t month = march_month < 10 ? march_month + 3 : march_month - 9;
    const std::int64_t year = cycle * 400 + year_of_cycle + (month <= 2 ? 1 : 0);
    return print("%lld-%02lld-%02lld", static_cast<long long>(year), static_cast<long long>(month),
                 static_cast<long long>(day));
}

std::string date_time_text(const Tree& tree) {
    const double whole = std::trunc(tree.real);
    const auto seconds = static_cast<std::int64_t>(whole);
    const std::int64_t of_day = seconds % kSecondsPerDay;
    std::string text = day_text(seconds / kSecondsPerDay) + "T" +
                       clock_text(of_day / 3600, of_day % 3600 / 60, of_day % 60,
                                  static_cast<std::int64_t>((tree.real - whole) * 1000.0));
    if (tree.has_zone && tree.zone_offset != 0) text += zone_text(tree.zone_offset, true);
    return text;
}

// The text of a value that is no container.
std::string scalar_json(const Tree& tree) {
    const std::string clock = clock_text(tree.hour, tree.minute, tree.second, tree.millisecond);
    const std::string date = print("%d-%02d-%02d", tree.year, tree.month, tree.day);
    switch (tree.kind) {
        case TreeKind::kText:
        case TreeKind::kString:
            return '"' + escaped(tree.text) + '"';
        case TreeKind::kBoolean:
            return tree.integer == 1 ? "true" : "false";
        case TreeKind::kInt32:
        case TreeKind::kInt64:
        case TreeKind::kUInt32:
            return std::to_string(tree.integer);
        case TreeKind::kUInt64:
            return std::to_string(static_cast<std::uint64_t>(tree.integer));
        case TreeKind::kDouble:
            return print("%f", tree.real);
        case TreeKind::kTime:
            return '"' + clock +
                   (tree.has_zone && tree.zone_offset != 0 ? zone_text(tree.zone_offset, false)
                                                           : "") +
                   '"';
        case TreeKind::kCalendarDate:
            return '"' + date + '"';
        case TreeKind::kDateTime:
            return '"' + date_time_text(tree) + '"';
        case TreeKind::kCalendarDateTime:
            return '"' + date + 'T' + clock +
                   (tree.has_zone ? zone_text(tree.zone_offset, true) : "") + '"';
        case TreeKind::kData:
            return '"' + base64(tree.text) + '"';
        default:
            return "null";
    }
}

class Model {
  public:
    explicit Model(JsonLayout layout)
        : mode_(static_cast<unsigned char>(layout.mode)),
          indents_(mode_ != 0 && layout.indent != -1),
          width_(layout.indent == 0 ? 4 : static_cast<std::size_t>(layout.indent)) {}

    std::string value(const Tree& tree, std::size_t depth, bool behind_key) const {
        switch (tree.kind) {
            case TreeKind::kArray: {
                std::vector<std::string> lines;
                for (const Tree& item : tree.items) lines.push_back(value(item, depth + 1, false));
                return opening('[', depth, behind_key) + joined(lines) + blanks(depth) +
                       half(depth) + "]";
            }
            case TreeKind::kDictionary: {
                std::vector<std::string> lines;
                for (std::size_t i = 0; i < tree.items.size(); ++i) {
                    lines.push_back(blanks(depth + 1) + '"' + tree.keys[i] +
                                    (mode_ ? "\": " : "\":") +
                                    value(tree.items[i], depth + 1, true));
                }
                return opening('{', depth, behind_key) + joined(lines) + half(depth) + "}";
            }
            default:
                return (behind_key ? "" : blanks(depth)) + scalar_json(tree);
        }
    }

  private:
    bool has_lines() const { return mode_ == 1; }
    std::string blanks(std::size_t depth) const {
        return std::string(indents_ ? depth * width_ : 0, ' ');
    }
    std::string half(std::size_t depth) const {
        return std::string(indents_ && depth > 0 ? std::max<std::size_t>(width_ / 2, 1) : 0, ' ');
    }
    std::string opening(char bracket, std::size_t depth, bool behind_key) const {
        std::string text = behind_key && depth > 0 && has_lines() ? "\n" : "";
        text += blanks(depth) + half(depth) + bracket;
        return has_lines() ? text + '\n' : text;
    }
    std::string joined(const std::vector<std::string>& lines) const {
        std::string text;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            text += lines[i];
            if (i + 1 < lines.size()) text += ',';
            if (has_lines()) text += '\n';
        }
        return text;
    }

    unsigned mode_;
    bool indents_;
    std::size_t width_;
};

void add_python_bytes(std::string& out, const std::string& bytes) {
    out += "b'";
    for (const char c : bytes) out += print("\\x%02x", static_cast<unsigned char>(c));
    out += "'";
}

void add_python_text(std::string& out, const std::string& utf8) {
    add_python_bytes(out, utf8);
    out += ".decode()";
}

void add_python(std::string& out, const Tree& tree) {
    switch (tree.kind) {
        case TreeKind::kNull:
            out += "None";
            break;
        case TreeKind::kText:
        case TreeKind::kString:
            add_python_text(out, tree.text);
            break;
        case TreeKind::kArray:
            out += "[";
            for (const Tree& item : tree.items) {
                add_python(out, item);
                out += ",";
            }
            out += "]";
            break;
        case TreeKind::kDictionary:
            out += "pairs(";
            for (std::size_t i = 0; i < tree.items.size(); ++i) {
                out += "(";
                add_python_text(out, tree.keys[i]);
                out += ",";
                add_python(out, tree.items[i]);
                out += "),";
            }
            out += ")";
            break;
        case TreeKind::kBoolean:
            out += tree.integer == 1 ? "True" : "False";
            break;
        case TreeKind::kDouble:
            out += print("double('%a')", tree.real);
            break;
        case TreeKind::kData:
            out += "base64(";
            add_python_bytes(out, tree.text);
            out += ")";
            break;
        default:
            // Numbers, dates and times read the same in both.
            out += scalar_json(tree);
    }
}

template <class Instance>
InstanceHeader* filled(Instance* instance, const Tree& tree) {
    if constexpr (requires { instance->year; }) {
        instance->year = tree.year;
        instance->month = tree.month;
        instance->day = tree.day;
    }
    if constexpr (requires { instance->hour; }) {
        instance->hour = tree.hour;
        instance->minute = tree.minute;
        instance->second = tree.second;
        instance->millisecond = tree.millisecond;
    }
    if constexpr (requires { instance->zoneOffset; }) {
        instance->zoneOffset = tree.zone_offset;
        instance->hasZoneOffset = tree.has_zone;
    }
    return &instance->header;
}

void append_utf8(std::string& text, std::uint32_t c) {
    const NQChar unit = c;
    text += to_utf8(&unit, 1);
}

}  // namespace

std::string expected_json(const Tree& tree, JsonLayout layout) {
    return Model(layout).value(tree, 0, false);
}

std::string python_expression(const Tree& tree) {
    std::string text;
    add_python(text, tree);
    return text;
}

InstanceHeader* make_instance(CheckingHost& host, const Tree& tree) {
    InstanceApi* api = host.api();
    HostPool* pool = host.pool();
    NQStatus status = 0;
    switch (tree.kind) {
        case TreeKind::kText:
            return &host.text(std::u8string(tree.text.begin(), tree.text.end()))->header;
        case TreeKind::kString:
            return &host.string(tree.text)->header;
        case TreeKind::kArray: {
            NQArray* array = host.array();
            for (const Tree& item : tree.items) host.add(array, make_instance(host, item));
            return &array->header;
        }
        case TreeKind::kDictionary: {
            NQDictionary* dictionary = host.dictionary();
            for (std::size_t i = 0; i < tree.items.size(); ++i) {
                host.set(dictionary, tree.keys[i], make_instance(host, tree.items[i]));
            }
            return &dictionary->header;
        }
        case TreeKind::kBoolean:
            return &api->createBoolean(api, pool, static_cast<std::uint8_t>(tree.integer), &status)
                        ->header;
        case TreeKind::kInt32:
            return &api->createInt32(api, pool, static_cast<std::int32_t>(tree.integer), &status)
                        ->header;
        case TreeKind::kInt64:
            return &api->createInt64(api, pool, tree.integer, &status)->header;
        case TreeKind::kUInt32:
            return &api->createUInt32(api, pool, static_cast<std::uint32_t>(tree.integer), &status)
                        ->header;
        case TreeKind::kUInt64:
            return &api->createUInt64(api, pool, static_cast<std::uint64_t>(tree.integer), &status)
                        ->header;
        case TreeKind::kDouble:
            return &api->createDouble(api, pool, tree.real, &status)->header;
        case TreeKind::kTime:
            return filled(api->createTime(api, pool, &status), tree);
        case TreeKind::kCalendarDate:
            return filled(api->createCalendarDate(api, pool, &status), tree);
        case TreeKind::kDateTime:
            return filled(api->createDateTime(api, pool, tree.real, &status), tree);
        case TreeKind::kCalendarDateTime:
            return filled(api->createCalendarDateTime(api, pool, &status), tree);
        case TreeKind::kData:
            return &api->createData(api, pool, tree.text.data(), tree.text.size(), 1, 0, &status)
                        ->header;
        default:
            return nullptr;
    }
}

void RandomTrees::add_character(std::string& text, bool for_key) {
    static const char32_t kOthers[] = {0x80,   0x7FF,  0x800,   0xD7FF,
                                       0xE000, 0xFFFD, 0x10000, 0x10FFFF};
    switch (between(0, 9)) {
        case 0:
            append_utf8(text, kOthers[between(0, 7)]);
            break;
        case 1:
        case 2:
        case 3:
            if (!options_.legal) {
                append_utf8(text, static_cast<std::uint32_t>(between(0, 127)));
                break;
            }
            text += for_key ? '/' : "\"\\\t\n"[between(0, 3)];
            break;
        default:
            text += static_cast<char>(between('a', 'z'));
    }
}

std::string RandomTrees::make_text(bool for_key) {
    std::string text;
    for (std::int64_t left = one_in(20) ? between(0, 1500) : between(0, 12); left > 0; --left) {
        add_character(text, for_key);
    }
    return text;
}

std::string RandomTrees::make_bytes() {
    std::string bytes;
    for (std::int64_t left = between(0, 20); left > 0; --left) {
        bytes += one_in(3) ? "\"\\\t\n\xC3\xE2\xF0\xF9\xFD"[between(0, 8)]
                           : static_cast<char>(between(-128, 127));
    }
    return bytes;
}

std::int64_t RandomTrees::any_integer(std::int64_t low, std::int64_t high) {
    if (one_in(8)) return one_in(2) ? low : high;
    return one_in(2) ? between(-100 < low ? low : -100, 100) : between(low, high);
}

double RandomTrees::any_double() {
    const double fraction = static_cast<double>(between(-1000000000, 1000000000)) / 1e9;
    return std::ldexp(fraction, static_cast<int>(between(-30, 600)));
}

void RandomTrees::set_clock(Tree& tree) {
    tree.hour = static_cast<std::int32_t>(between(0, 23));
    tree.minute = static_cast<std::int32_t>(between(0, 59));
    tree.second = static_cast<std::int32_t>(between(0, 59));
    tree.millisecond = one_in(2) ? 0 : static_cast<std::int32_t>(between(0, 999));
    if (!one_in(10)) return;
    // Nothing checks the fields.
    tree.hour = static_cast<std::int32_t>(any_integer(INT32_MIN, INT32_MAX));
    tree.millisecond = static_cast<std::int32_t>(any_integer(INT32_MIN, INT32_MAX));
}

void RandomTrees::set_zone(Tree& tree) {
    tree.has_zone = static_cast<std::uint8_t>(one_in(2) ? 0 : one_in(4) ? between(2, 255) : 1);
    tree.zone_offset = one_in(5)   ? 0.0
                       : one_in(2) ? static_cast<double>(between(-14, 14)) * 3600
                                   : static_cast<double>(between(-1000000, 1000000)) / 8;
}

void RandomTrees::set_date(Tree& tree) {
    tree.year = static_cast<std::int32_t>(any_integer(INT32_MIN, INT32_MAX));
    tree.month = static_cast<std::int32_t>(between(-1, 14));
    tree.day = static_cast<std::int32_t>(between(-1, 40));
}

void RandomTrees::add_items(Tree& tree, int depth) {
    for (std::int64_t left = depth > 0 ? between(0, 3) : 0; left > 0; --left) {
        if (tree.kind == TreeKind::kDictionary) {
            // A key that is there already would replace its value.
            tree.keys.push_back(make_text(true) + std::to_string(left));
        }
        tree.items.push_back(make(depth - 1));
    }
}

Tree RandomTrees::make(int depth) {
    Tree tree;
    tree.kind = static_cast<TreeKind>(between(0, static_cast<int>(TreeKind::kCount) - 1));
    if (depth > 0 && (depth == options_.depth || one_in(3))) {
        tree.kind = one_in(2) ? TreeKind::kArray : TreeKind::kDictionary;
    }
    switch (tree.kind) {
        case TreeKind::kText:
            tree.text = make_text(false);
            break;
        case TreeKind::kString:
            tree.text = options_.legal || one_in(2) ? make_text(false) : make_bytes();
            break;
        case TreeKind::kArray:
        case TreeKind::kDictionary:
            add_items(tree, depth);
            break;
        case TreeKind::kBoolean:
            tree.integer = between(0, 3);
            break;
        case TreeKind::kInt32:
            tree.integer = any_integer(INT32_MIN, INT32_MAX);
            break;
        case TreeKind::kUInt32:
            tree.integer = any_integer(0, UINT32_MAX);
            break;
        case TreeKind::kInt64:
        case TreeKind::kUInt64:
            tree.integer = any_integer(INT64_MIN, INT64_MAX);
            break;
        case TreeKind::kDouble:
            tree.real = any_double();
            break;
        case TreeKind::kTime:
            set_clock(tree);
            set_zone(tree);
            break;
        case TreeKind::kCalendarDateTime:
            set_clock(tree);
            set_zone(tree);
            [[fallthrough]];
        case TreeKind::kCalendarDate:
            set_date(tree);
            break;
        case TreeKind::kDateTime:
            tree.real = static_cast<double>(between(-100000000, 20000000000)) +
                        static_cast<double>(between(0, 4096)) / 4096;
            set_zone(tree);
            break;
        case TreeKind::kData:
            tree.text = make_bytes();
            break;
        default:
            break;
    }
    return tree;
}

}  // namespace nq::test
