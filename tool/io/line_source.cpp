#include "tool/io/line_source.hpp"

#include <algorithm>
#include <cstring>

namespace nq::tool {
namespace {

constexpr std::size_t kFirstRoom = std::size_t{256} << 10;

// One byte more than a line of the greatest length: its end must be seen.
constexpr std::size_t kMostRoom = LineSource::kLongestLine + 1;

}  // namespace

LineSource::LineSource(const std::string& name, std::size_t padding)
    : file_(name),
      padding_(padding),
      room_(kFirstRoom),
      buffer_(std::make_unique<char[]>(room_ + padding_)) {}

bool LineSource::take(std::size_t length, bool is_last, Part& part) noexcept {
    part = {{buffer_.get() + begin_, length}, !is_inside_, is_last};
    line_ += part.is_first;
    is_inside_ = !is_last;
    begin_ += length;
    scanned_ = begin_;
    return true;
}

bool LineSource::next(Part& part) noexcept {
    const char* const from = buffer_.get() + scanned_;
    if (const void* found = std::memchr(from, '\n', end_ - scanned_)) {
        const auto at = static_cast<std::size_t>(static_cast<const char*>(found) - buffer_.get());
        take(at - begin_, true, part);
        scanned_ = ++begin_;
        return true;
    }
    scanned_ = end_;
    const std::size_t rest = end_ - begin_;
    if (is_complete_ && (rest != 0 || is_inside_)) return take(rest, true, part);
    if (rest > kLongestLine || (rest != 0 && is_inside_)) return take(rest, false, part);
    return false;
}

void LineSource::make_room() {
    const std::size_t rest = end_ - begin_;
    if (rest == room_) {
        const std::size_t wider = std::min(room_ * 2, kMostRoom);
        auto buffer = std::make_unique<char[]>(wider + padding_);
        std::memcpy(buffer.get(), buffer_.get() + begin_, rest);
        buffer_ = std::move(buffer);
        room_ = wider;
    } else {
        std::memmove(buffer_.get(), buffer_.get() + begin_, rest);
    }
    scanned_ -= begin_;
    begin_ = 0;
    end_ = rest;
}

void LineSource::fill() {
    if (is_complete_) return;
    make_room();
    const std::size_t count = file_.read(buffer_.get() + end_, room_ - end_);
    end_ += count;
    is_complete_ = count == 0;
}

}  // namespace nq::tool
