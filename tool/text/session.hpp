#pragma once
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "standalone/host.hpp"
#include "tool/io/output.hpp"
#include "tool/options.hpp"
#include "tool/text/stream.hpp"

namespace nq::tool {

// How much of a text, which goes on, may be handed to the library by itself: up to a place that no
// rule looks across. 0: there is no such place.
using Divide = std::size_t (*)(std::string_view text);

// A piece of text in another form; the view lives until the next call.
using Make = std::function<std::string_view(std::string_view piece)>;

// What the subcommands of `nqtool text` share: the library, the inputs and the output.
class TextSession {
  public:
    // Loads the library and opens the output; ends the run if that fails.
    explicit TextSession(const Settings& settings);

    Host& host() noexcept { return host_; }
    const Settings& settings() const noexcept { return settings_; }
    const Utf8Rules& rules() const noexcept { return rules_; }

    // An exported routine of the library. std::runtime_error: it has none of that name.
    template <class Function>
    Function* routine(const char* name) const {
        void* symbol = host_.symbol(name);
        if (!symbol) throw std::runtime_error(std::string("the library has no ") + name);
        return reinterpret_cast<Function*>(symbol);
    }

    // The window for an input.
    std::size_t room() const noexcept;
    TextSource open(const std::string& name, Malformed policy) const;

    void write(std::string_view text);
    // The same for the small parts of a report, which are kept until they are worth it or `flush`.
    void print(std::string_view part);
    void flush();
    // Ends the output, which holds what was written from now on.
    void commit();

    // Writes what `make` makes of the source's pieces, and reports on the source at the end.
    ExitStatus transform(TextSource& source, Divide divide, const Make& make);

    // Works on one file after the other, the standard input if there is none, and ends the output:
    // it holds what was made unless something failed, malformed text that was replaced aside.
    ExitStatus run(std::span<const std::string> files,
                   const std::function<ExitStatus(const std::string& name)>& work);

    // Calls a routine that writes to a buffer, `call(target, capacity, &written)`, where a buffer
    // of `size` bytes most often suffices, and ends the run if it fails.
    template <class Call>
    std::string_view buffered(std::size_t size, const Call& call);

    // The buffer that the routines write to, of at least that size.
    std::span<uint8_t> buffer(std::size_t size);
    [[noreturn]] void fail(NQStatus status) const;

  private:
    const Settings& settings_;
    Host host_;
    Output output_;
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
    if (status != NQ_STATUS_OK) fail(status);
    return {buffer_.data(), written};
}

// Runs a subcommand's work on a session of its own.
ExitStatus run_text(const Settings& settings, ExitStatus (*work)(TextSession& session));

}  // namespace nq::tool
