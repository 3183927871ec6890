#include "tool/text/session.hpp"

#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

// Of an input; what is made of it takes a few times as much.
constexpr std::size_t kRoom = std::size_t{1} << 18;

// Of a report in memory.
constexpr std::size_t kMostPrinted = std::size_t{1} << 16;

}  // namespace

TextSession::TextSession(Run& run, const TextSettings& settings) : run_(run), settings_(settings) {
    run.keep_despite(ExitStatus::kInvalid);
    rules_ = {.announced_length = NQTOOL_ROUTINE(*this, utf8_len),
              .is_legal = NQTOOL_ROUTINE(*this, isLegalUTF8),
              .count_characters = NQTOOL_ROUTINE(*this, nqzsu8NumChars)};
}

std::size_t TextSession::room() const noexcept {
    return settings_.buffer ? static_cast<std::size_t>(*settings_.buffer) : kRoom;
}

TextSource TextSession::open(const std::string& name, Malformed policy) const {
    return {rules_, ByteSource(name, room()), policy, settings_.is_strict};
}

void TextSession::print(std::string_view part) {
    printed_.append(part);
    if (printed_.size() >= kMostPrinted) flush();
}

void TextSession::flush() {
    write(printed_);
    printed_.clear();
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
            throw InputEnded{{ExitStatus::kTrouble}};
        }
    } while (!source.is_complete() || !source.text().empty());
    return source.finish();
}

std::span<uint8_t> TextSession::buffer(std::size_t size) {
    if (buffer_.size() < size) buffer_.resize(size);
    return {reinterpret_cast<uint8_t*>(buffer_.data()), buffer_.size()};
}

}  // namespace nq::tool
