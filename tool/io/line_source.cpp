#include "tool/io/line_source.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tool/io/input.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

constexpr std::size_t kFirstRoom = std::size_t{256} << 10;

// One byte more than a line of the greatest length: its end must be seen.
constexpr std::size_t kMostRoom = LineSource::kLongestLine + 1;

}  // namespace

LineSource::LineSource(std::string name, std::size_t padding)
    : name_(std::move(name)),
      shown_name_(shown_input_name(name_)),
      padding_(padding),
      room_(kFirstRoom),
      buffer_(std::make_unique<char[]>(room_ + padding_)) {}

bool LineSource::open() {
    if (name_ == "-") return true;
    file_ = open_for_reading(name_.c_str());
    if (!file_) report_error_number(shown_name_, errno);
    return static_cast<bool>(file_);
}

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

bool LineSource::fill() {
    if (is_complete_) return true;
    make_room();
    const int descriptor = name_ == "-" ? STDIN_FILENO : file_.get();
    const ssize_t count = read_some(descriptor, buffer_.get() + end_, room_ - end_);
    if (count < 0) {
        report_error_number(shown_name_, errno);
        return false;
    }
    end_ += static_cast<std::size_t>(count);
    is_complete_ = count == 0;
    return true;
}

}  // namespace nq::tool
