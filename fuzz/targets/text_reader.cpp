// Reading a file line by line, as often as the input says, against a model of the lines: whatever
// the transcoder, the pieces in which the file delivers its bytes, and the call that fails.
#include <cstring>
#include <optional>

#include "fuzz/support/checking.hpp"
#include "nqinstance/config/text_reader.h"
#include "nqinstance/host/status.h"

namespace nq::fuzz {
namespace {

using test::Call;

constexpr const char* kName = "fuzz.txt";
constexpr std::size_t kRawBytes = 2048;

// The fills of the reader's character buffer, by its rules, over a file that is read whole.
class Fills {
  public:
    Fills(const std::string& file, const test::TranscoderPlan& plan) : file_(file), plan_(plan) {}

    // The same file once more, with another transcoder. What is left over stays, and would come
    // from the end of a raw buffer that was not full.
    bool open_again() {
        if (!left_over_.empty()) return false;
        at_ = 0;
        tail_.clear();
        return true;
    }

    // UTF-8 of the next fill.
    NQStatus next(std::string& text) {
        text.clear();
        const std::size_t total = std::min(kRawBytes - left_over_.size(), file_.size() - at_);
        if (total == 0) return NQ_STATUS_END_OF_FILE;
        const std::string raw = left_over_ + file_.substr(at_, total);
        at_ += total;
        if (!plan_.needed) return copy_units(raw, text);
        // Less the left-over bytes, not plus them.
        const std::size_t before = left_over_.size();
        const std::string source = raw.substr(0, total < before ? 0 : total - before);
        left_over_.clear();
        return convert(raw, source, total, text);
    }

  private:
    struct Step {
        std::size_t bytes;
        bool is_whole;
        bool is_valid;
    };

    // The longest part of a character that well-formed text may begin with.
    static Step first(std::string_view text) {
        const auto byte = [&](std::size_t i) -> unsigned {
            return static_cast<unsigned char>(text[i]);
        };
        const unsigned lead = byte(0);
        if (lead < 0x80) return {1, true, true};
        if (lead < 0xC2 || lead > 0xF4) return {1, true, false};
        const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
        unsigned high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
        for (std::size_t i = 1; i < length; ++i) {
            if (i == text.size()) return {i, false, true};
            if (byte(i) < low || byte(i) > high) return {i, true, false};
            low = 0x80;
            high = 0xBF;
        }
        return {length, true, true};
    }

    NQStatus convert(const std::string& raw, const std::string& source, std::size_t total,
                     std::string& text) {
        const std::string all = tail_ + source;
        tail_.clear();
        std::size_t used = 0;
        bool is_flagged = false;
        while (used < all.size()) {
            const std::string_view rest = std::string_view(all).substr(used);
            // A short way for what most texts are made of.
            const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
            const auto plain = std::find_if_not(rest.begin(), rest.end(), is_ascii);
            if (plain != rest.begin()) {
                text.append(rest.begin(), plain);
                used += static_cast<std::size_t>(plain - rest.begin());
                continue;
            }
            const Step step = first(rest);
            if (!step.is_whole && plan_.incomplete == test::Incomplete::kKeepTail) {
                tail_ = rest;
                break;
            }
            if (!step.is_whole) {
                const std::size_t left = total - std::min(total, used);
                left_over_ = raw.substr(raw.size() - std::min(raw.size(), left));
                break;
            }
            if (!step.is_valid && plan_.bad == test::BadBytes::kRefuse) return refuse(text);
            is_flagged |= !step.is_valid && plan_.bad == test::BadBytes::kFlag;
            text += step.is_valid ? rest.substr(0, step.bytes) : "\xef\xbf\xbd";
            used += step.bytes;
        }
        // The flag stays in the state for ever.
        was_flagged_ |= is_flagged;
        if (!was_flagged_) return NQ_STATUS_OK;
        left_over_.clear();
        text.clear();
        return NQ_STATUS_UNCONVERTIBLE;
    }

    NQStatus refuse(std::string& text) {
        text.clear();
        return NQ_STATUS_MALFORMED;
    }

    // The file holds units; bytes behind the last whole one of a fill are lost.
    static NQStatus copy_units(const std::string& raw, std::string& text) {
        for (std::size_t i = 0; i + sizeof(NQChar) <= raw.size(); i += sizeof(NQChar)) {
            NQChar unit;
            std::memcpy(&unit, raw.data() + i, sizeof unit);
            text += test::to_utf8(&unit, 1);
        }
        return NQ_STATUS_OK;
    }

    const std::string& file_;
    const test::TranscoderPlan& plan_;
    std::size_t at_ = 0;
    std::string left_over_;
    std::string tail_;  // what a transcoder keeps
    bool was_flagged_ = false;
};

struct Line {
    NQStatus status = NQ_STATUS_OK;
    std::optional<std::string> text = {};  // nothing at the end of the file
    friend bool operator==(const Line&, const Line&) = default;
};

class ModelReader {
  public:
    ModelReader(const std::string& file, const test::TranscoderPlan& plan) : fills_(file, plan) {}

    bool open_again() { return fills_.open_again(); }

    Line next() {
        if (!has_fill_) {
            const NQStatus status = fill();
            if (status) return {status == NQ_STATUS_END_OF_FILE ? NQ_STATUS_OK : status};
        }
        std::optional<std::string> line;
        for (;;) {
            const std::size_t end = text_.find_first_of("\n\x15", at_);
            if (end != std::string::npos) {
                std::string whole = line.value_or("") + text_.substr(at_, end - at_);
                if (whole.ends_with('\r')) whole.pop_back();
                at_ = end + 1;
                return {NQ_STATUS_OK, whole};
            }
            if (at_ != text_.size()) line = line.value_or("") + text_.substr(at_);
            const NQStatus status = fill();
            if (status == NQ_STATUS_END_OF_FILE) return {NQ_STATUS_OK, line};
            if (status) return {status};
        }
    }

  private:
    NQStatus fill() {
        const NQStatus status = fills_.next(text_);
        at_ = 0;
        has_fill_ = !status && !text_.empty();
        return status;
    }

    Fills fills_;
    std::string text_;
    std::size_t at_ = 0;
    bool has_fill_ = false;
};

Line read_line(InstanceApi* api, NQTextReader* reader) {
    NQU8String* line = nullptr;
    Line result{api->readLine(reader, &line)};
    if (line && !result.status) result.text = test::text_of(line);
    test::release(line);
    return result;
}

struct Choices {
    test::TranscoderPlan transcoder;
    test::FilePlan file;
    std::uint32_t lines;
    bool opens_again;
};

Choices choices_of(Input& input) {
    Choices choices;
    const std::uint32_t choice = input.byte();
    choices.transcoder.needed = (choice & 7) != 7;
    choices.transcoder.incomplete =
        choice & 8 ? test::Incomplete::kReport : test::Incomplete::kKeepTail;
    constexpr test::BadBytes kBadBytes[] = {test::BadBytes::kFlag, test::BadBytes::kReplace,
                                            test::BadBytes::kRefuse, test::BadBytes::kReplace};
    choices.transcoder.bad = kBadBytes[choice >> 4 & 3];
    choices.file.end = choice & 64 ? test::EndOfFile::kEarly : test::EndOfFile::kLate;
    choices.opens_again = choice & 128;
    if (const std::uint32_t chunk = input.number()) choices.file.chunk = chunk;
    choices.lines = input.byte();
    return choices;
}

// So many lines, or to the end of the file and a little further.
void compare_lines(InstanceApi* api, NQTextReader* reader, ModelReader& model,
                   std::uint32_t lines) {
    for (std::uint32_t left = lines + 1; left > 0; --left) {
        const Line expected = model.next();
        NQ_REQUIRE(read_line(api, reader) == expected);
        if (!expected.status && !expected.text) left = std::min(left, 3u);
    }
}

// A creation, an opening and a few lines of which one call fails, and after it the rest.
void read_with_failure(CheckingHost& host, const PlannedFailure& failure, const Choices& choices) {
    test::CheckingPool& pool = host.make_pool("reader");
    const test::HostState before = host.state();
    failure.arm(host);
    InstanceApi* api = host.api();
    NQTextReader* reader = nullptr;
    NQStatus status = api->createTextReader(api, pool.table(), &reader);
    NQ_REQUIRE((reader != nullptr) == (status == NQ_STATUS_OK));
    require_explained(host, status);
    if (reader) {
        status = api->openTextReader(reader, kName);
        require_explained(host, status);
        for (std::uint32_t left = choices.lines + 1; left > 0; --left) {
            const Line line = read_line(api, reader);
            // Without an open file a fill is refused.
            const bool is_refused = line.status == NQ_STATUS_INVALID_ARGUMENT && !reader->file;
            const bool is_bad =
                line.status == NQ_STATUS_UNCONVERTIBLE || line.status == NQ_STATUS_MALFORMED;
            if (!is_refused && !is_bad) require_explained(host, line.status);
            if (line.status) NQ_REQUIRE(reader->charCount == 0);
            if (is_refused || (!line.status && !line.text)) break;
        }
    }
    host.plan().clear();
    test::release(reader);
    // A refused character buffer leaves the state block.
    NQ_REQUIRE(pool.blocks() <= (reader ? 0u : 1u));
    pool.destroy();
    test::HostState after = before;
    --after.pools;
    NQ_REQUIRE(host.state() == after);
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nq::fuzz;
    Input input(data, size);
    Choices choices = choices_of(input);
    const PlannedFailure failure(input);
    const std::uint32_t at = input.number();
    const std::uint32_t length = input.number() % 6000;
    std::string file = text_of(input.text(300));
    if (at & 0x4000) file.insert(at % (file.size() + 1), length, at & 0x8000 ? '\r' : 'x');
    // A long file in pieces of a few bytes takes too long.
    choices.file.chunk = std::max<std::uint64_t>(choices.file.chunk, file.size() / 64);

    CheckingHost host;
    NQ_REQUIRE(host.load() != nullptr);
    host.encoding.plan = choices.transcoder;
    host.file(kName, file, choices.file);
    if (failure.fails) read_with_failure(host, failure, choices);

    InstanceApi* api = host.api();
    NQTextReader* reader = nullptr;
    NQ_REQUIRE(!api->createTextReader(api, host.pool(), &reader));
    NQ_REQUIRE(!api->openTextReader(reader, kName));
    ModelReader model(file, choices.transcoder);
    compare_lines(api, reader, model, choices.lines);
    if (choices.opens_again && model.open_again()) {
        // The file that was open stays so.
        host.forgive();
        NQ_REQUIRE(!api->openTextReader(reader, kName));
        compare_lines(api, reader, model, choices.lines);
    }
    nq::test::release(reader);
    NQ_REQUIRE(host.checked_pool().blocks() == 0);
    host.check();
    return 0;
}
