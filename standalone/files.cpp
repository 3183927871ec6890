#include "standalone/files.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

#include "standalone/registry.hpp"
#include "standalone/statuses.hpp"

namespace nq {
namespace {

using Content = std::shared_ptr<const std::string>;

class Descriptor {
  public:
    Descriptor(int number, bool is_owned) noexcept : number_(number), is_owned_(is_owned) {}
    Descriptor(Descriptor&& other) noexcept
        : number_(other.number_), is_owned_(std::exchange(other.is_owned_, false)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (is_owned_ && number_ >= 0) ::close(number_);
    }
    int number() const noexcept { return number_; }

  private:
    int number_;
    bool is_owned_;
};

// Reads some bytes, waiting for them if need be. 0: the end; negative: errno says why.
ssize_t read_some(int descriptor, void* target, uint64_t room) noexcept {
    for (;;) {
        const ssize_t count = ::read(descriptor, target, std::min<uint64_t>(room, SSIZE_MAX));
        if (count >= 0) return count;
        if (errno == EAGAIN) {
            pollfd wait{.fd = descriptor, .events = POLLIN, .revents = 0};
            if (::poll(&wait, 1, -1) >= 0) continue;
        }
        if (errno != EINTR) return -1;
    }
}

// Reads to the end; `expected` is a guess, since some files say 0 and others grow.
bool read_all(int descriptor, uint64_t expected, std::string& bytes) {
    constexpr uint64_t kLeastRoom = 4096;
    // One byte more than expected: the end then shows without the text being moved.
    bytes.resize(std::max(expected + 1, kLeastRoom));
    uint64_t length = 0;
    for (;;) {
        if (length == bytes.size()) bytes.resize(length * 2);
        const ssize_t count = read_some(descriptor, bytes.data() + length, bytes.size() - length);
        if (count < 0) return false;
        if (count == 0) break;
        length += static_cast<uint64_t>(count);
    }
    bytes.resize(length);
    return true;
}

NQStatus status_of_open_error(int error) noexcept {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return NQ_HOST_STATUS_NOT_FOUND;
        case EACCES:
        case EPERM:
            return NQ_HOST_STATUS_ACCESS_DENIED;
        default:
            return NQ_HOST_STATUS_OPEN_ERROR;
    }
}

int open_for_reading(const char* path) noexcept {
    for (;;) {
        const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY);
        if (descriptor >= 0 || errno != EINTR) return descriptor;
    }
}

struct OpenFile : IoeFile {
    Registry<OpenFile>* registry = nullptr;
    Content content;  // null for a stream
    uint64_t position = 0;
    std::optional<Descriptor> stream;
    bool is_ended = false;
};

NQStatus release_file(void* self) noexcept {
    auto* file = static_cast<OpenFile*>(static_cast<IoeFile*>(self));
    file->registry->erase(file);
    return NQ_STATUS_OK;
}

NQStatus read_content(IoeFile* self, uint8_t** cursor, uint64_t* length, uint64_t*, uint64_t,
                      const void*) noexcept {
    auto* file = static_cast<OpenFile*>(self);
    const uint64_t rest = file->content->size() - file->position;
    const bool is_last = rest == 0 || *length > rest;
    *length = std::min(*length, rest);
    if (*length != 0) std::memcpy(*cursor, file->content->data() + file->position, *length);
    file->position += *length;
    return is_last ? NQ_STATUS_END_OF_FILE : NQ_STATUS_OK;
}

NQStatus read_stream(IoeFile* self, uint8_t** cursor, uint64_t* length, uint64_t*, uint64_t,
                     const void*) noexcept {
    auto* file = static_cast<OpenFile*>(self);
    const uint64_t room = std::exchange(*length, 0);
    // A terminal would go on after its end, and this file must not.
    if (file->is_ended) return NQ_STATUS_END_OF_FILE;
    if (room == 0) return NQ_STATUS_OK;
    const ssize_t count = read_some(file->stream->number(), *cursor, room);
    if (count < 0) return NQ_HOST_STATUS_READ_ERROR;
    file->is_ended = count == 0;
    *length = static_cast<uint64_t>(count);
    return file->is_ended ? NQ_STATUS_END_OF_FILE : NQ_STATUS_OK;
}

}  // namespace

class FileService::Impl {
  public:
    void add(std::string_view name, std::string bytes) {
        auto content = std::make_shared<const std::string>(std::move(bytes));
        const std::lock_guard lock(mutex_);
        memory_files_.insert_or_assign(std::string(name), std::move(content));
    }

    void remove(std::string_view name) noexcept {
        const std::lock_guard lock(mutex_);
        if (const auto found = memory_files_.find(name); found != memory_files_.end())
            memory_files_.erase(found);
    }

    IoeFile* open(std::string_view name, NQStatus& status) {
        if (Content content = find(name)) return make(std::move(content), std::nullopt);
        const bool is_input = name == "-";
        // The system would take what stands before a NUL byte for the name.
        if (name.find('\0') != name.npos) {
            status = NQ_HOST_STATUS_NOT_FOUND;
            return nullptr;
        }
        Descriptor descriptor(is_input ? STDIN_FILENO : open_for_reading(std::string(name).c_str()),
                              !is_input);
        struct stat facts;
        if (descriptor.number() < 0 || ::fstat(descriptor.number(), &facts) != 0) {
            status = status_of_open_error(errno);
            return nullptr;
        }
        if (S_ISDIR(facts.st_mode)) {
            status = NQ_HOST_STATUS_IS_DIRECTORY;
            return nullptr;
        }
        if (is_input || !S_ISREG(facts.st_mode)) return make(nullptr, std::move(descriptor));
        std::string bytes;
        if (!read_all(descriptor.number(), static_cast<uint64_t>(facts.st_size), bytes)) {
            status = NQ_HOST_STATUS_READ_ERROR;
            return nullptr;
        }
        return make(std::make_shared<const std::string>(std::move(bytes)), std::nullopt);
    }

  private:
    Content find(std::string_view name) {
        const std::lock_guard lock(mutex_);
        const auto found = memory_files_.find(name);
        return found == memory_files_.end() ? nullptr : found->second;
    }

    IoeFile* make(Content content, std::optional<Descriptor> stream) {
        auto file = std::make_unique<OpenFile>();
        OpenFile* result = file.get();
        file->handle = {NQ_MAGIC, "file", release_file};
        file->read = content ? read_content : read_stream;
        file->registry = &registry_;
        file->content = std::move(content);
        if (stream) file->stream.emplace(std::move(*stream));
        registry_.insert(std::move(file));
        return result;
    }

    std::mutex mutex_;
    std::map<std::string, Content, std::less<>> memory_files_;
    Registry<OpenFile> registry_;  // the files that are open
};

FileService::FileService() : impl_(std::make_unique<Impl>()) {}
FileService::~FileService() = default;

void FileService::add_memory_file(std::string_view name, std::string bytes) {
    impl_->add(name, std::move(bytes));
}

void FileService::remove_memory_file(std::string_view name) noexcept { impl_->remove(name); }

IoeFile* FileService::open(std::string_view name, NQStatus& status) noexcept {
    try {
        status = NQ_STATUS_OK;
        return impl_->open(name, status);
    } catch (...) {
        status = NQ_STATUS_NO_MEMORY;
        return nullptr;
    }
}

}  // namespace nq
