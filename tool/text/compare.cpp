#include <algorithm>

#include "nqinstance/text/compare.h"
#include "nqinstance/text/memory.h"
#include "tool/io/report.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

// What the library answers, and what is printed for it.
struct Answer {
    int32_t order;
    ExitStatus status;
    std::string_view words;
};

constexpr Answer kAnswers[] = {
    {-2, ExitStatus::kBefore, "before\n"}, {-1, ExitStatus::kBeforeByCase, "before by case\n"},
    {0, ExitStatus::kGood, "equal\n"},     {1, ExitStatus::kAfterByCase, "after by case\n"},
    {2, ExitStatus::kAfter, "after\n"},
};

// How much of each text is compared in one piece where it cannot be divided.
constexpr std::size_t kMostUndivided = std::size_t{8} << 20;

// Compares two texts from their fronts on, with the answer that the library gives for the whole.
class Comparison {
  public:
    Comparison(TextSession& session, TextSource& a, TextSource& b)
        : a_(a),
          b_(b),
          exact_(NQTOOL_ROUTINE(session, nqzsu8Compare)),
          folded_(NQTOOL_ROUTINE(session, nqzsu8NormCompare)),
          all_equal_(NQTOOL_ROUTINE(session, mwMemNot)),
          count_(NQTOOL_ROUTINE(session, nqzsu8NumChars)),
          length_(NQTOOL_ROUTINE(session, nqzsu8ByteLength)) {}

    // The order of the bytes: -2, 0 or 2.
    int32_t exact() {
        for (;;) {
            refill();
            const bool is_last = is_all_there();
            const std::size_t both = std::min(a_.text().size(), b_.text().size());
            const int32_t order = is_last ? compare(exact_, a_.text().size(), b_.text().size())
                                          : compare(exact_, both, both);
            if (is_last || order != 0) return 2 * order;
            consume(both, both);
            if (is_used_up(a_) && !b_.text().empty()) return -2;
            if (is_used_up(b_) && !a_.text().empty()) return 2;
        }
    }

    // The order after case folding, -2 to 2.
    int32_t folded() {
        for (;;) {
            refill();
            if (is_all_there()) {
                return decided(compare(folded_, a_.text().size(), b_.text().size()));
            }
            if (is_used_up(a_)) return is_blank(b_) ? order_ : -2;
            if (is_used_up(b_)) return is_blank(a_) ? order_ : 2;
            const uint64_t count = std::min(count_(bytes_of(a_.text()), a_.text().size()),
                                            count_(bytes_of(b_.text()), b_.text().size()));
            switch (compare_characters(count)) {
                case Step::kGoOn:
                    break;
                case Step::kDecided:
                    return order_;
                case Step::kIndivisible:
                    return decided(compare_rest());
            }
        }
    }

  private:
    enum class Step { kGoOn, kDecided, kIndivisible };
    using Compare = decltype(&::nqzsu8Compare);

    static bool is_used_up(const TextSource& source) {
        return source.is_complete() && source.text().empty();
    }
    bool is_all_there() const { return a_.is_complete() && b_.is_complete(); }

    void refill() {
        a_.refill();
        b_.refill();
    }

    void consume(std::size_t a_bytes, std::size_t b_bytes) {
        a_.consume(a_bytes);
        b_.consume(b_bytes);
    }

    int32_t compare(Compare routine, std::size_t a_bytes, std::size_t b_bytes) const {
        return routine(bytes_of(a_.text()), a_bytes, bytes_of(b_.text()), b_bytes);
    }

    // The answer for all when that for the rest is `order`: the first difference of case counts.
    int32_t decided(int32_t order) const {
        const bool is_by_case = order > -2 && order < 2;
        return is_by_case && order_ != 0 ? order_ : order;
    }

    // Compares so many characters of both texts and moves behind them. As long as they take as many
    // bytes of either text, the whole is compared as its pieces are.
    Step compare_characters(uint64_t count) {
        if (count == 0) return Step::kGoOn;
        const std::size_t a_bytes = length_(bytes_of(a_.text()), count);
        const std::size_t b_bytes = length_(bytes_of(b_.text()), count);
        if (a_bytes != b_bytes && count != 1) {
            const Step step = compare_characters(count / 2);
            return step == Step::kGoOn ? compare_characters(count - count / 2) : step;
        }
        const int32_t order = compare(folded_, a_bytes, b_bytes);
        if (order == -2 || order == 2) {
            order_ = order;
            return Step::kDecided;
        }
        if (a_bytes != b_bytes) return Step::kIndivisible;
        order_ = decided(order);
        consume(a_bytes, b_bytes);
        return Step::kGoOn;
    }

    // The cases of a letter differ in their length. From here on the answer depends on the lengths
    // of the whole texts.
    int32_t compare_rest() {
        for (TextSource* source : {&a_, &b_}) {
            source->refill_to(kMostUndivided);
            if (source->is_complete()) continue;
            report(source->shown_name(), "more than " + std::to_string(kMostUndivided) +
                                             " bytes behind a letter whose cases differ in length");
            throw RunEnded{{ExitStatus::kTrouble}};
        }
        return compare(folded_, a_.text().size(), b_.text().size());
    }

    // Whether blanks are all that is left.
    bool is_blank(TextSource& source) const {
        for (;;) {
            const std::string_view text = source.text();
            if (!all_equal_(' ', text.data(), text.size())) return false;
            source.consume(text.size());
            if (source.is_complete()) return true;
            source.refill();
        }
    }

    TextSource& a_;
    TextSource& b_;
    Compare exact_;
    Compare folded_;
    decltype(&::mwMemNot) all_equal_;
    decltype(&::nqzsu8NumChars) count_;
    decltype(&::nqzsu8ByteLength) length_;
    int32_t order_ = 0;  // of what was compared so far
};

TextSource open_operand(TextSession& session, const char* shown_name, const std::string& operand) {
    if (session.settings().are_files) return session.open(operand, Malformed::kReplace);
    return {session.rules(), ByteSource(shown_name, operand), Malformed::kReplace,
            session.settings().is_strict};
}

}  // namespace

void run_text_compare(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    if (settings.are_files && run.operands()[0] == "-" && run.operands()[1] == "-") {
        run.refuse("only one text can be the standard input");
    }
    TextSource a = open_operand(session, "A", run.operands()[0]);
    TextSource b = open_operand(session, "B", run.operands()[1]);
    Comparison comparison(session, a, b);
    const int32_t order = settings.is_exact ? comparison.exact() : comparison.folded();
    run.note(a.finish());
    run.note(b.finish());
    const Answer& answer = kAnswers[order + 2];
    run.answer(answer.status);
    session.write(answer.words);
}

}  // namespace nq::tool
