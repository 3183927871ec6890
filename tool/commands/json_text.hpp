#pragma once
#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>

#include "standalone/base/utf8.hpp"
#include "standalone/json/escape.hpp"

namespace nq::tool {

// Builds indented JSON text from begin to end. Bytes that are no UTF-8 become U+FFFD.
class JsonText {
  public:
    JsonText& open(char bracket) {
        begin_value();
        text_ += bracket;
        closings_ += bracket == '{' ? '}' : ']';
        is_first_ = true;
        return *this;
    }
    JsonText& close() {
        const char closing = closings_.back();
        closings_.pop_back();
        if (!is_first_) break_line();
        text_ += closing;
        is_first_ = false;
        return *this;
    }
    JsonText& key(std::string_view name) {
        begin_value();
        append_string(name);
        text_ += ": ";
        has_key_ = true;
        return *this;
    }
    JsonText& string(std::string_view value) {
        begin_value();
        append_string(value);
        return *this;
    }
    JsonText& number(std::integral auto value) { return raw(std::to_string(value)); }
    // A value that is JSON text already.
    JsonText& raw(std::string_view value) {
        begin_value();
        text_ += value;
        return *this;
    }

    // The text, ended by a line feed.
    std::string take() { return std::move(text_ += '\n'); }

  private:
    void begin_value() {
        if (!has_key_) {
            if (!is_first_) text_ += ',';
            if (!closings_.empty()) break_line();
        }
        is_first_ = has_key_ = false;
    }
    void break_line() { (text_ += '\n').append(2 * closings_.size(), ' '); }
    void append_string(std::string_view value) {
        text_ += '"';
        while (!value.empty()) {
            const auto character =
                decode_utf8(reinterpret_cast<const uint8_t*>(value.data()), value.size());
            if (character.valid) {
                append_json_escaped(text_, value.substr(0, character.bytes));
            } else {
                text_ += "\xef\xbf\xbd";
            }
            value.remove_prefix(character.bytes);
        }
        text_ += '"';
    }

    std::string text_;
    std::string closings_;
    bool is_first_ = true;
    bool has_key_ = false;
};

}  // namespace nq::tool
