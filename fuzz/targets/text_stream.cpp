// Text that nqtool reads window by window: whatever the window and the pieces in which it is used,
// it comes out as a model of the rules has it, with the same count, position and verdict.
#include "tool/text/stream.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "fuzz/support/input.hpp"
#include "tests/text/utf8_model.hpp"
#include "tool/io/report.hpp"
#include "tool/text/divide.hpp"

namespace nq::tool {
namespace {

std::string last_report;

}  // namespace

// The latest message is kept instead of shown.
void report_line(std::string_view line) { last_report = line; }

}  // namespace nq::tool

namespace nq::fuzz {
namespace {

using tool::Malformed;

constexpr tool::Utf8Rules kRules{utf8_len, isLegalUTF8, nqzsu8NumChars};

// A file of memory that has a name.
class MemoryFile {
  public:
    MemoryFile() : descriptor_(memfd_create("fuzz", 0)) {
        NQ_REQUIRE(descriptor_ >= 0);
        name_ = "/proc/self/fd/" + std::to_string(descriptor_);
    }
    const std::string& holding(const Bytes& bytes) {
        NQ_REQUIRE(ftruncate(descriptor_, 0) == 0);
        NQ_REQUIRE(pwrite(descriptor_, bytes.data(), bytes.size(), 0) ==
                   static_cast<ssize_t>(bytes.size()));
        return name_;
    }

  private:
    int descriptor_;
    std::string name_;
};

struct Sequence {
    std::size_t bytes;
    bool is_valid;
};

// A byte with the continuation bytes that it announces, as many as are there.
Sequence first_sequence(std::string_view text) {
    const auto byte = [&](std::size_t i) -> unsigned {
        return static_cast<unsigned char>(text[i]);
    };
    const unsigned lead = byte(0);
    const std::size_t announced = lead < 0xC0   ? 1
                                  : lead < 0xE0 ? 2
                                  : lead < 0xF0 ? 3
                                  : lead < 0xF8 ? 4
                                  : lead < 0xFC ? 5
                                                : 6;
    std::size_t bytes = 1;
    while (bytes < announced && bytes < text.size() && byte(bytes) >> 6 == 2) ++bytes;
    if (lead < 0x80) return {1, true};
    if (bytes != announced || lead < 0xC2 || lead > 0xF4) return {bytes, false};
    const unsigned second = byte(1);
    const bool is_in_range = (lead != 0xE0 || second >= 0xA0) && (lead != 0xED || second < 0xA0) &&
                             (lead != 0xF0 || second >= 0x90) && (lead != 0xF4 || second < 0x90);
    return {bytes, is_in_range};
}

struct Outcome {
    std::string text;
    std::uint64_t malformed = 0;
    bool is_cut_off = false;
};

Outcome expected(std::string_view text, Malformed policy, bool is_strict) {
    Outcome outcome;
    while (!text.empty()) {
        const Sequence sequence = first_sequence(text);
        const bool is_bad = !sequence.is_valid && policy != Malformed::kPass;
        outcome.malformed += is_bad;
        outcome.is_cut_off = is_bad && is_strict;
        if (outcome.is_cut_off) break;
        outcome.text += is_bad && policy == Malformed::kReplace ? "\xef\xbf\xbd"
                                                                : text.substr(0, sequence.bytes);
        text.remove_prefix(sequence.bytes);
    }
    return outcome;
}

using Divide = std::size_t (*)(std::string_view);
constexpr Divide kDivisions[] = {tool::divide_anywhere, tool::divide_between_words,
                                 tool::divide_before_starter, tool::divide_between_surrogates};

std::string shown_position_of(const std::string& name, std::string_view text) {
    std::uint64_t line = 1;
    std::uint64_t column = 1;
    while (!text.empty()) {
        const Sequence sequence = first_sequence(text);
        ++column;
        if (text[0] == '\n') {
            ++line;
            column = 1;
        }
        text.remove_prefix(sequence.bytes);
    }
    return name + ":" + std::to_string(line) + ":" + std::to_string(column);
}

void check(Input& input) {
    static MemoryFile file;
    const std::uint32_t choice = input.byte();
    const auto policy = static_cast<Malformed>(choice % 3);
    const bool is_strict = choice & 4;
    const bool is_in_memory = choice & 8;
    const bool fills_up = choice & 16;
    const Divide divide = kDivisions[choice >> 5 & 3];
    const std::size_t room = 16 + input.byte() % 48;
    const Bytes bytes = input.text(400);
    const std::string all(bytes.begin(), bytes.end());
    const Outcome wanted = expected(all, policy, is_strict);

    const std::string& name = file.holding(bytes);
    tool::TextSource source(
        kRules, is_in_memory ? tool::ByteSource(name, all) : tool::ByteSource(name, room), policy,
        is_strict);
    std::string text;
    bool is_used_up = false;
    while (!is_used_up) {
        if (fills_up) {
            source.refill_to(2 * room);
            NQ_REQUIRE(source.is_complete() || source.text().size() >= 2 * room);
        } else {
            source.refill();
        }
        const std::string_view there = source.text();
        NQ_REQUIRE(wanted.text.substr(text.size()).starts_with(there));
        std::size_t taken = source.is_complete() ? there.size() : divide(there);
        NQ_REQUIRE(taken <= there.size());
        // Where a text cannot be divided it is taken whole, or it would never end.
        if (taken == 0) taken = there.size();
        text += there.substr(0, taken);
        source.consume(taken);
        NQ_REQUIRE(source.offset() == text.size());
        is_used_up = source.is_complete() && source.text().empty();
    }
    NQ_REQUIRE(text == wanted.text);
    NQ_REQUIRE(tool::place_in(name, source.position().line, source.position().column) ==
               shown_position_of(name, text));

    tool::last_report.clear();
    try {
        const tool::ExitStatus status = source.finish();
        NQ_REQUIRE(!wanted.is_cut_off);
        NQ_REQUIRE((status == tool::ExitStatus::kInvalid) == (wanted.malformed > 0));
        NQ_REQUIRE(tool::last_report.empty() == (wanted.malformed == 0));
        if (wanted.malformed) {
            NQ_REQUIRE(tool::last_report.find(std::to_string(wanted.malformed)) !=
                       std::string::npos);
        }
    } catch (const tool::Ended& end) {
        NQ_REQUIRE(wanted.is_cut_off && end.status == tool::ExitStatus::kInvalid);
        NQ_REQUIRE(tool::last_report.starts_with(shown_position_of(name, text)));
    }
}

}  // namespace
}  // namespace nq::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    nq::fuzz::Input input(data, size);
    nq::fuzz::check(input);
    return 0;
}
