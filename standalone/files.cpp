#include "standalone/files.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "standalone/base/descriptor.hpp"
#include "standalone/base/registry.hpp"
#include "standalone/base/statuses.hpp"

namespace nq {
namespace {

using Content = std::shared_ptr<const std::string>;

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

struct OpenFile : IoeFile {
    Registry<OpenFile>* registry = nullptr;
    Content content;  // null for a stream
    uint64_t position = 0;
    Descriptor owned;  // a stream's, unless it is the standard input
    int stream = -1;
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
    const ssize_t count = read_some(file->stream, *cursor, room);
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
        if (Content content = find(name)) return make_file(std::move(content));
        const bool is_input = name == "-";
        // The system would take what stands before a NUL byte for the name.
        if (name.find('\0') != name.npos) {
            status = NQ_HOST_STATUS_NOT_FOUND;
            return nullptr;
        }
        Descriptor owned;
        if (!is_input) owned = open_for_reading(std::string(name).c_str());
        const int descriptor = is_input ? STDIN_FILENO : owned.get();
        struct stat facts;
        if (descriptor < 0 || ::fstat(descriptor, &facts) != 0) {
            status = status_of_open_error(errno);
            return nullptr;
        }
        if (S_ISDIR(facts.st_mode)) {
            status = NQ_HOST_STATUS_IS_DIRECTORY;
            return nullptr;
        }
        if (is_input || !S_ISREG(facts.st_mode)) return make_stream(std::move(owned), descriptor);
        std::string bytes;
        if (read_whole(descriptor, bytes) != 0) {
            status = NQ_HOST_STATUS_READ_ERROR;
            return nullptr;
        }
        return make_file(std::make_shared<const std::string>(std::move(bytes)));
    }

  private:
    Content find(std::string_view name) {
        const std::lock_guard lock(mutex_);
        const auto found = memory_files_.find(name);
        return found == memory_files_.end() ? nullptr : found->second;
    }

    IoeFile* make_file(Content content) {
        auto file = std::make_unique<OpenFile>();
        file->read = read_content;
        file->content = std::move(content);
        return hand_out(std::move(file));
    }

    IoeFile* make_stream(Descriptor owned, int descriptor) {
        auto file = std::make_unique<OpenFile>();
        file->read = read_stream;
        file->owned = std::move(owned);
        file->stream = descriptor;
        return hand_out(std::move(file));
    }

    IoeFile* hand_out(std::unique_ptr<OpenFile> file) {
        OpenFile* result = file.get();
        file->handle = {NQ_MAGIC, "file", release_file};
        file->registry = &registry_;
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
