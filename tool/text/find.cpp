#include <algorithm>
#include <optional>

#include "tool/io/report.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

using Search = decltype(::nqzsu8IndexText);

// No sequence has more continuation bytes.
constexpr std::size_t kMostContinuations = 5;

// The start of the sequence that holds the byte at `place`.
std::size_t sequence_start(const Utf8Rules& rules, std::string_view text, std::size_t place) {
    if (place == text.size()) return place;
    for (std::size_t back = 0; back <= std::min(place, kMostContinuations); ++back) {
        const std::string_view rest = text.substr(place - back);
        if (is_continuation(rest[0])) continue;
        return rules.first_sequence(rest).bytes > back ? place - back : place;
    }
    return place;  // no lead byte reaches as far as here
}

// Finds a needle in text of whole sequences.
class Finder {
  public:
    Finder(std::string_view text, std::string_view needle, Search* search, const Utf8Rules* starts)
        : text_(text), needle_(needle), search_(search), starts_(starts) {}

    // The first place from `from` on. Calls go from the front to the back.
    std::optional<std::size_t> next(std::size_t from) {
        if (!starts_) return first_in(from, text_.size());
        // The library steps by what lead bytes announce. That leads astray behind a malformed
        // sequence, and a needle that begins inside a character is found there; so it searches one
        // run of text after the other, each up to the end of a malformed sequence.
        while (from < text_.size()) {
            from = start_from(from);
            const auto place = first_in(from, run_end_);
            if (place && start_from(*place) == *place) return place;
            from = place ? *place + 1 : run_end_;
        }
        return std::nullopt;
    }

  private:
    // The first place from `from` on and before `end`.
    std::optional<std::size_t> first_in(std::size_t from, std::size_t end) const {
        const std::size_t last = std::min(text_.size(), end + needle_.size() - 1);
        const int64_t found = search_(bytes_of(text_) + from, last - from, bytes_of(needle_),
                                      needle_.size(), NQ_ENCODING_UTF8);
        if (found < 0 || from + static_cast<std::size_t>(found) >= end) return std::nullopt;
        return from + static_cast<std::size_t>(found);
    }

    // The first start of a sequence from `place` on; the run is the one that it is in.
    std::size_t start_from(std::size_t place) {
        while (place >= run_end_ && run_end_ < text_.size()) enter_next_run();
        place = std::max(place, run_begin_);
        while (place < bad_begin_ && is_continuation(text_[place])) ++place;
        const bool is_inside_bad = place > bad_begin_ && place < run_end_;
        return is_inside_bad ? start_from(run_end_) : place;
    }

    void enter_next_run() {
        run_begin_ = run_end_;
        bad_begin_ = run_begin_ + starts_->valid_prefix(text_.substr(run_begin_));
        run_end_ = bad_begin_;
        if (bad_begin_ == text_.size()) return;
        run_end_ += starts_->first_sequence(text_.substr(bad_begin_)).bytes;
    }

    std::string_view text_;
    std::string_view needle_;
    Search* search_;
    const Utf8Rules* starts_;  // null: any byte may be the first
    // Valid sequences, then a malformed one unless the text ends.
    std::size_t run_begin_ = 0;
    std::size_t bad_begin_ = 0;
    std::size_t run_end_ = 0;
};

// Prints each place of the needle in a file.
class Occurrences {
  public:
    Occurrences(TextSession& session, std::string needle)
        : session_(session),
          needle_(std::move(needle)),
          at_start_(session.settings().at_character_start),
          search_(at_start_ ? NQTOOL_ROUTINE(session, nqzsu8FindCharText)
                            : NQTOOL_ROUTINE(session, nqzsu8IndexText)) {}

    ExitStatus find_in(const std::string& name) {
        // The window must hold the needle and what it may share with the text before.
        const std::size_t room = std::max(session_.room(), 2 * needle_.size() + 16);
        TextSource source(session_.rules(), ByteSource(name, room), Malformed::kKeep,
                          session_.settings().is_strict);
        std::size_t from = 0;
        do {
            source.refill();
            from = find_in_window(source, from);
            const std::string_view text = source.text();
            const std::size_t done =
                source.is_complete() ? text.size() : sequence_start(session_.rules(), text, from);
            source.consume(done);
            from -= std::min(done, from);
        } while (!source.is_complete());
        return source.finish();
    }

    bool has_found() const noexcept { return has_found_; }

  private:
    // Where the search goes on when more text is there.
    std::size_t find_in_window(const TextSource& source, std::size_t from) {
        const std::string_view text = source.text();
        Finder finder(text, needle_, search_, at_start_ ? &session_.rules() : nullptr);
        TextPosition position = source.position();
        std::size_t position_place = 0;
        while (const auto place = finder.next(from)) {
            const std::size_t start = sequence_start(session_.rules(), text, *place);
            session_.rules().advance(position, text.substr(position_place, start - position_place));
            position_place = start;
            session_.print(place_in(source.shown_name(), position.line, position.column) + ":" +
                           std::to_string(source.offset() + *place) + "\n");
            has_found_ = true;
            from = *place + needle_.size();
        }
        session_.flush();
        const std::size_t shared = std::min(text.size(), needle_.size() - 1);
        return std::max(from, text.size() - shared);
    }

    TextSession& session_;
    std::string needle_;
    bool at_start_;
    Search* search_;
    bool has_found_ = false;
};

}  // namespace

void run_text_find(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    const std::string& needle = run.operands().front();
    if (needle.empty()) {
        run.refuse("NEEDLE is empty");
    }
    Occurrences occurrences(session, needle);
    run.for_each_input([&](const std::string& name) { return occurrences.find_in(name); }, 1);
    if (!occurrences.has_found()) run.answer(ExitStatus::kNotFound);
}

}  // namespace nq::tool
