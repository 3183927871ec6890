#pragma once
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "nqinstance/host/file.h"
#include "nqinstance/host/status.h"
#include "tests/support/host_core.hpp"
#include "tests/support/statuses.hpp"

namespace nq::test {

enum class EndOfFile {
    kLate,   // reported by a read of its own, which delivers nothing
    kEarly,  // reported together with the last bytes
};

// How a file delivers its bytes. End of file is reported again by every further read.
struct FilePlan {
    std::uint64_t chunk = UINT64_MAX;        // most bytes of one read
    std::vector<std::uint64_t> splits = {};  // offsets at which a read stops, ascending
    EndOfFile end = EndOfFile::kLate;
    std::uint64_t fail_read = UINT64_MAX;  // the read, from 0, that fails instead
    NQStatus read_status = kReadError;     // with this status
    NQStatus open_status = NQ_STATUS_OK;   // anything else: the file cannot be opened
};

// One call of openFile as it arrived.
struct OpenCall {
    std::string name;
    std::string kind;
    IoeOpenParameters parameters;
    IoeParameters io_parameters;
};

// "nqioe" over files in memory. The room of a read behind the delivered bytes is overwritten.
class FileService {
  public:
    explicit FileService(HostCore& core);
    ~FileService();

    NQIoeApi* table() { return &table_; }
    HostCore& core() { return core_; }

    void add(std::string name, std::string bytes, FilePlan plan);
    // Adds bytes at the end of a file, also while it is open.
    void extend(const std::string& name, std::string_view bytes);

    std::uint64_t open_files() const;
    const std::vector<OpenCall>& opens() const { return opens_; }

    // The largest read that is in order.
    static constexpr std::uint64_t kLargestRead = 4096;

  private:
    struct Content {
        std::string bytes;
        FilePlan plan;
    };
    struct OpenFile : IoeFile {
        FileService* service;
        std::shared_ptr<Content> content;
        std::uint64_t position;
        std::uint64_t reads;
        std::atomic<bool> closed;
    };

    static IoeFile* open(NQIoeApi* self, const std::uint8_t* name, std::uint64_t length,
                         const void* parameters, std::uint64_t zero1, std::uint64_t zero2,
                         const char* kind, NQStatus* status, const void* io) noexcept;
    static NQStatus read(IoeFile* self, std::uint8_t** cursor, std::uint64_t* length,
                         std::uint64_t* word, std::uint64_t zero, const void* io) noexcept;
    static NQStatus close(void* self) noexcept;

    HostCore& core_;
    ExtensionTable<NQIoeApi, FileService> table_{};
    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<Content>> contents_;
    // Closed files stay, so that their use is seen.
    std::vector<std::unique_ptr<OpenFile>> files_;
    std::vector<OpenCall> opens_;
};

}  // namespace nq::test
