#include <algorithm>

#include "nqinstance/text/utf8_modified.h"
#include "tool/io/report.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/divide.hpp"
#include "tool/text/session.hpp"

namespace nq::tool {
namespace {

using Code = decltype(::nqzsu8Encode);

// The most that a byte becomes: U+FFFD, or C0 80.
constexpr std::size_t kGrowth = 3;

// What was found in a piece that the library replaces.
struct Replaced {
    uint64_t number = 0;
    std::size_t first = 0;
};

// Recodes files by one of the library's two routines, which replace what they cannot write.
class Recoder {
  public:
    Recoder(TextSession& session, Code* code)
        : session_(session),
          code_(code),
          flags_((session.settings().has_long_zero ? NQ_MODIFIED_ZERO : 0u) |
                 (session.settings().is_without_pairs ? NQ_MODIFIED_BASIC : 0u)) {}

    // `find` says what of a piece is replaced, which is called `what`; `refusal` says with --strict
    // what is wrong about it.
    template <class Find>
    ExitStatus recode(TextSource& source, Divide divide, const Find& find, const std::string& what,
                      const std::string& refusal) const {
        uint64_t replaced = 0;
        const Make make = [&](std::string_view piece) {
            std::string_view result;
            const NQStatus status = recode_piece(piece, result);
            if (status == NQ_STATUS_OK) return result;
            if (status != NQ_STATUS_MALFORMED) session_.run().fail(status);
            const Replaced found = find(piece);
            if (session_.settings().is_strict) {
                recode_piece(piece.substr(0, found.first), result);
                session_.write(result);
                source.refuse(found.first, refusal);
            }
            replaced += found.number;
            return result;
        };
        const ExitStatus status = session_.transform(source, divide, make);
        if (replaced == 0) return status;
        report(source.shown_name(), replaced_message(replaced, what));
        return ExitStatus::kInvalid;
    }

    // Whether the library replaces something in the part.
    bool replaces(std::string_view part) const {
        uint8_t target[16];
        uint64_t written;
        return call(part, target, written) == NQ_STATUS_MALFORMED;
    }

  private:
    NQStatus call(std::string_view piece, std::span<uint8_t> target, uint64_t& written) const {
        return code_(bytes_of(piece), piece.size(), target.data(), target.size(), &written, flags_);
    }

    NQStatus recode_piece(std::string_view piece, std::string_view& result) const {
        const std::span<uint8_t> target = session_.buffer(kGrowth * piece.size());
        uint64_t written = 0;
        const NQStatus status = call(piece, target, written);
        result = {reinterpret_cast<const char*>(target.data()), written};
        return status;
    }

    TextSession& session_;
    Code* code_;
    uint32_t flags_;
};

// The text is well-formed, so nothing is replaced but what the form cannot hold.
Replaced find_supplementary(std::string_view piece) {
    const auto is_lead = [](char byte) { return static_cast<uint8_t>(byte) >= 0xf0; };
    const auto first = std::find_if(piece.begin(), piece.end(), is_lead);
    return {static_cast<uint64_t>(std::count_if(first, piece.end(), is_lead)),
            static_cast<std::size_t>(first - piece.begin())};
}

bool begins_low_surrogate(std::string_view text) {
    return text.size() >= 3 && text[0] == '\xed' && (text[1] & 0xf0) == 0xb0;
}

// What the library replaces in a piece, as its answer shows for each part that cannot be divided.
Replaced find_malformed(const Utf8Rules& rules, const Recoder& recoder, std::string_view piece) {
    Replaced found;
    for (std::size_t place = 0; place < piece.size();) {
        const std::string_view rest = piece.substr(place);
        std::size_t length = rules.first_sequence(rest).bytes;
        const bool is_high = divide_between_surrogates(rest.substr(0, length)) == 0;
        if (is_high && begins_low_surrogate(rest.substr(length))) length *= 2;
        if (recoder.replaces(rest.substr(0, length)) && found.number++ == 0) found.first = place;
        place += length;
    }
    return found;
}

}  // namespace

void run_text_encode(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    const Recoder recoder(session, NQTOOL_ROUTINE(session, nqzsu8Encode));
    run.for_each_input([&](const std::string& name) {
        TextSource source = session.open(name, Malformed::kReplace);
        return recoder.recode(source, divide_anywhere, find_supplementary,
                              "supplementary character", "a supplementary character");
    });
}

void run_text_decode(Run& run, const TextSettings& settings) {
    TextSession session(run, settings);
    const Recoder recoder(session, NQTOOL_ROUTINE(session, nqzsu8Decode));
    // Without pairs the modified form is the standard one, and the library copies it.
    const bool is_standard = settings.is_without_pairs;
    const Malformed policy = is_standard ? Malformed::kReplace : Malformed::kPass;
    run.for_each_input([&](const std::string& name) {
        TextSource source = session.open(name, policy);
        const auto find = [&](std::string_view piece) {
            return find_malformed(session.rules(), recoder, piece);
        };
        return recoder.recode(source, divide_between_surrogates, find, "malformed sequence",
                              "not valid modified UTF-8");
    });
}

}  // namespace nq::tool
