#include "standalone/json/scan.hpp"

#include <rapidjson/reader.h>
#include <unicode/utf16.h>

#include <algorithm>

namespace nq {
namespace {

struct LoneSurrogate {};

// The reader lets an escape pass that stands for a low surrogate alone.
struct StrictUtf8 : rapidjson::UTF8<> {
    template <class Output>
    static void Encode(Output& output, unsigned code_point) {
        if (U_IS_SURROGATE(code_point)) throw LoneSurrogate();
        rapidjson::UTF8<>::Encode(output, code_point);
    }
};

// The text as the reader takes it. Behind its end stands a NUL, which fits nowhere.
class Text {
  public:
    using Ch = char;

    explicit Text(std::string_view text) noexcept : text_(text) {}

    char Peek() const noexcept { return at_ < text_.size() ? text_[at_] : '\0'; }
    char Take() noexcept {
        const char taken = Peek();
        if (at_ < text_.size()) ++at_;
        line_ += taken == '\n';
        if (is_in_string_) {
            take_in_string(taken);
        } else if (taken == '"') {
            is_in_string_ = true;
        } else if (is_digit(taken) && at_ > 1 && is_digit(text_[at_ - 2])) {
            // The reader gives up at a number out of range, which breaks no grammar. The grammar
            // does not depend on more than two digits in a row, and so few are never out of range.
            while (is_digit(Peek())) ++at_;
        }
        return taken;
    }
    std::size_t Tell() const noexcept { return at_; }

    uint32_t line() const noexcept { return line_; }
    bool is_at_end() const noexcept { return at_ == text_.size(); }

    // Where the number begins that ends here.
    uint64_t begin_of_number() const noexcept {
        return text_.find_last_not_of("0123456789+-.eE", at_ - 1) + 1;
    }

    // For reading in place, which does not happen.
    char* PutBegin() noexcept { return nullptr; }
    void Put(char) noexcept {}
    std::size_t PutEnd(char*) noexcept { return 0; }

  private:
    static bool is_digit(char character) noexcept { return character >= '0' && character <= '9'; }

    void take_in_string(char taken) noexcept {
        const bool was_escape = is_escape_;
        is_escape_ = !was_escape && taken == '\\';
        is_in_string_ = was_escape || taken != '"';
    }

    std::string_view text_;
    std::size_t at_ = 0;
    uint32_t line_ = 1;
    bool is_in_string_ = false;
    bool is_escape_ = false;  // the next character belongs to an escape
};

// Passes the reader's events on; false ends the reading.
class Handler : public rapidjson::BaseReaderHandler<StrictUtf8, Handler> {
  public:
    Handler(const Text& text, uint64_t max_depth, JsonEvents& events) noexcept
        : text_(text), max_depth_(max_depth), events_(events) {}

    bool StartObject() { return open('{'); }
    bool StartArray() { return open('['); }
    bool EndObject(rapidjson::SizeType) { return close(); }
    bool EndArray(rapidjson::SizeType) { return close(); }
    bool Key(const char* key, rapidjson::SizeType length, bool) {
        events_.key({key, length}, text_.line());
        return true;
    }
    bool RawNumber(const char*, rapidjson::SizeType, bool) {
        events_.number(text_.begin_of_number(), text_.Tell());
        return true;
    }

  private:
    bool open(char bracket) {
        if (depth_ == max_depth_) return false;
        ++depth_;
        events_.open(bracket);
        return true;
    }
    bool close() {
        --depth_;
        events_.close();
        return true;
    }

    const Text& text_;
    uint64_t max_depth_;
    uint64_t depth_ = 0;
    JsonEvents& events_;
};

}  // namespace

std::optional<uint64_t> scan_json(std::string_view text, uint64_t max_depth, JsonEvents& events) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                                rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseNumbersAsStringsFlag;
    Text input(text);
    Handler handler(input, max_depth, events);
    rapidjson::GenericReader<StrictUtf8, StrictUtf8> reader;
    try {
        const rapidjson::ParseResult result = reader.Parse<kFlags>(input, handler);
        // Of an escape the reader tells the backslash, while the input stands at what is wrong with
        // it; of bytes that are no UTF-8 it tells the first one.
        if (result.Code() == rapidjson::kParseErrorStringInvalidEncoding) return result.Offset();
        if (result && input.is_at_end()) return std::nullopt;
    } catch (const LoneSurrogate&) {
    }
    return input.Tell();
}

}  // namespace nq
