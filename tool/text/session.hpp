#pragma once
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "tool/io/run.hpp"
#include "tool/text/commands.hpp"
#include "tool/text/stream.hpp"

namespace nq::tool {

// How much of a text, which goes on, may be handed to the library by itself: up to a place that no
// rule looks across. 0: there is no such place.
using Divide = std::size_t (*)(std::string_view text);

// A piece of text in another form; the view lives until the next call.
using Make = std::function<std::string_view(std::string_view piece)>;

// What the subcommands of `nqtool text` share: the run, the library's routines and
// the buffers. Text in which something was replaced is kept.
class TextSession {
  public:
    TextSession(Run& run, const TextSettings& settings);

    Run& run() const noexcept { return run_; }
    const TextSettings& settings() const noexcept { return settings_; }
    const Utf8Rules& rules() const noexcept { return rules_; }

    // An exported routine of the library. std::runtime_error: it has none of that name.
    template <class Function>
    Function* routine(const char* name) const {
        void* symbol = run_.host().symbol(name);
        if (!symbol) throw std::runtime_error(std::string("the library has no ") + name);
        return reinterpret_cast<Function*>(symbol);
    }

    // The window for an input.
    std::size_t room() const noexcept;
    TextSource open(const std::string& name, Malformed policy) const;

    void write(std::string_view text) { run_.output().write(text); }
    // The same for the small parts of a report, which are kept until they are worth it or `flush`.
    void print(std::string_view part);
    void flush();

    // Writes what `make` makes of the source's pieces, and reports on the source at the end.
    ExitStatus transform(TextSource& source, Divide divide, const Make& make);

    // Calls a routine that writes to a buffer, `call(target, capacity, &written)`, where a buffer
    // of `size` bytes most often suffices, and ends the run if it fails.
    template <class Call>
    std::string_view buffered(std::size_t size, const Call& call);

    // The buffer that the routines write to, of at least that size.
    std::span<uint8_t> buffer(std::size_t size);

  private:
    Run& run_;
    const TextSettings& settings_;
    Utf8Rules rules_{};
    std::string buffer_;
    std::string printed_;
};

#define NQTOOL_ROUTINE(session, name) (session).routine<decltype(::name)>(#name)

template <class Call>
std::string_view TextSession::buffered(std::size_t size, const Call& call) {
    std::span<uint8_t> target = buffer(size);
    uint64_t written = 0;
    NQStatus status = call(target.data(), target.size(), &written);
    if (status == NQ_STATUS_BUFFER_TOO_SMALL) {
        call(nullptr, 0, &written);  // only measures
        target = buffer(written);
        status = call(target.data(), target.size(), &written);
    }
    if (status != NQ_STATUS_OK) run_.fail(status);
    return {buffer_.data(), written};
}

}  // namespace nq::tool
