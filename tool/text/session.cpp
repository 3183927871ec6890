#include "tool/text/session.hpp"

#include <algorithm>

#include "tool/io/report.hpp"
#include "tool/library.hpp"

namespace nq::tool {
namespace {

// Of an input; what is made of it takes a few times as much.
constexpr std::size_t kRoom = std::size_t{1} << 18;

// Of a report in memory.
constexpr std::size_t kMostPrinted = std::size_t{1} << 16;

}  // namespace

TextSession::TextSession(const Settings& settings) : settings_(settings) {
    if (!load_library(host_, settings)) throw Ended{ExitStatus::kTrouble, true};
    rules_ = {.announced_length = NQTOOL_ROUTINE(*this, utf8_len),
              .is_legal = NQTOOL_ROUTINE(*this, isLegalUTF8),
              .count_characters = NQTOOL_ROUTINE(*this, nqzsu8NumChars)};
    if (!output_.open(settings.output)) throw Ended{ExitStatus::kTrouble, true};
}

std::size_t TextSession::room() const noexcept {
    return settings_.buffer ? static_cast<std::size_t>(*settings_.buffer) : kRoom;
}

TextSource TextSession::open(const std::string& name, Malformed policy) const {
    return {rules_, ByteSource(name, room()), policy, settings_.is_strict};
}

void TextSession::write(std::string_view text) {
    if (!output_.write(text)) throw Ended{ExitStatus::kTrouble, true};
}

void TextSession::print(std::string_view part) {
    printed_.append(part);
    if (printed_.size() >= kMostPrinted) flush();
}

void TextSession::flush() {
    write(printed_);
    printed_.clear();
}

void TextSession::commit() {
    if (!output_.commit()) throw Ended{ExitStatus::kTrouble, true};
}

ExitStatus TextSession::transform(TextSource& source, Divide divide, const Make& make) {
    do {
        source.refill();
        const std::string_view text = source.text();
        const std::size_t length = source.is_complete() ? text.size() : divide(text);
        if (length != 0) {
            write(make(text.substr(0, length)));
            source.consume(length);
        } else if (text.size() >= source.room()) {
            report(source.shown_name(),
                   "no place to divide the text in " + std::to_string(source.room()) + " bytes");
            throw Ended{ExitStatus::kTrouble, false};
        }
    } while (!source.is_complete() || !source.text().empty());
    return source.finish();
}

ExitStatus TextSession::run(std::span<const std::string> files,
                            const std::function<ExitStatus(const std::string& name)>& work) {
    const std::string standard_input[] = {"-"};
    if (files.empty()) files = standard_input;
    ExitStatus worst = ExitStatus::kGood;
    for (const std::string& file : files) {
        try {
            worst = std::max(worst, work(file));
        } catch (const Ended& end) {
            worst = std::max(worst, end.status);
            if (end.is_whole_run) return worst;
        }
    }
    if (worst != ExitStatus::kTrouble) commit();
    return worst;
}

std::span<uint8_t> TextSession::buffer(std::size_t size) {
    if (buffer_.size() < size) buffer_.resize(size);
    return {reinterpret_cast<uint8_t*>(buffer_.data()), buffer_.size()};
}

void TextSession::fail(NQStatus status) const {
    throw Ended{report_status(host_, "nqtool", status), true};
}

ExitStatus run_text(const Settings& settings, ExitStatus (*work)(TextSession& session)) {
    try {
        TextSession session(settings);
        return work(session);
    } catch (const Ended& end) {
        return end.status;
    }
}

}  // namespace nq::tool
