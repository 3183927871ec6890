#include "tool/io/output.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tool/io/exit_status.hpp"
#include "tool/io/report.hpp"

namespace nq::tool {
namespace {

// SIGPIPE may come from a message on the standard error, SIGXFSZ from a limit on file sizes.
constexpr int kEndingSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM,
                                  SIGPIPE, SIGALRM, SIGXCPU, SIGXFSZ};

// What a signal that ends the program has to remove first. An output owns the text, and no command
// has more outputs.
std::atomic<const char*> doomed_files[2] = {};

void remove_and_end(int signal_number) {
    for (const auto& file : doomed_files) {
        if (const char* path = file.load()) unlink(path);
    }
    raise(signal_number);  // the handler is gone already, so this ends the program
}

void watch_signals() noexcept {
    for (const int signal_number : kEndingSignals) {
        struct sigaction action;
        if (sigaction(signal_number, nullptr, &action) != 0) continue;
        if (action.sa_handler == SIG_IGN) continue;  // as under nohup
        action.sa_handler = remove_and_end;
        action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
        sigaction(signal_number, &action, nullptr);
    }
}

// Puts `path` in the place of `old_path`.
void exchange_doomed(const char* old_path, const char* path) noexcept {
    for (auto& file : doomed_files) {
        if (file.load() != old_path) continue;
        file = path;
        break;
    }
}

// mkostemp, with no moment at which a signal would leave the file behind.
Descriptor make_doomed_file(char* path) noexcept {
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    for (const int signal_number : kEndingSignals) sigaddset(&ending, signal_number);
    sigprocmask(SIG_BLOCK, &ending, &before);
    Descriptor file(mkostemp(path, O_CLOEXEC));
    const int error_number = errno;
    if (file) exchange_doomed(nullptr, path);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error_number;
    return file;
}

mode_t current_umask() noexcept {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

}  // namespace

void Output::fail(int error_number) const {
    if (error_number != EPIPE) report_error_number(name_ == "-" ? "<stdout>" : name_, error_number);
    throw RunEnded{{ExitStatus::kTrouble}};
}

void Output::open(const std::string& name) {
    name_ = name;
    if (name == "-") {
        // A duplicate, so that closing it can tell of a write that came to nothing.
        file_ = Descriptor(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
        if (!file_) fail(errno);
        return;
    }
    path_ = name;
    if (name.empty()) fail(ENOENT);
    struct stat status;
    if (stat(name.c_str(), &status) != 0) {
        // A link that points to nothing is not replaced either.
        if (errno != ENOENT || lstat(name.c_str(), &status) == 0) fail(errno);
        return open_temporary(0666 & ~current_umask());
    }
    if (!S_ISREG(status.st_mode)) {
        path_.clear();
        file_ = Descriptor(::open(name.c_str(), O_WRONLY | O_CLOEXEC));
        if (!file_) fail(errno);
        return;
    }
    if (access(name.c_str(), W_OK) != 0) fail(errno);
    // What a symbolic link points to is replaced, not the link.
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(name, error);
    if (error) fail(error.value());
    path_ = target;
    open_temporary(status.st_mode & 07777);
}

void Output::open_temporary(unsigned mode) {
    temporary_ = std::filesystem::path(path_).replace_filename(".nqtool.XXXXXX");
    watch_signals();
    file_ = make_doomed_file(temporary_.data());
    if (!file_) {
        const int error_number = errno;
        temporary_.clear();
        fail(error_number);
    }
    if (fchmod(file_.get(), mode) != 0) fail(errno);
}

void Output::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(file_.get(), text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno);
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Output::commit() {
    if (file_.close() != 0) fail(errno);
    if (temporary_.empty()) return;
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail(errno);
    exchange_doomed(temporary_.c_str(), nullptr);
    temporary_.clear();
}

void Output::discard() noexcept {
    if (temporary_.empty()) return;
    unlink(temporary_.c_str());
    exchange_doomed(temporary_.c_str(), nullptr);
}

}  // namespace nq::tool
