#pragma once
#include <memory>
#include <string>
#include <string_view>

#include "nqinstance/host/file.h"

namespace nq {

// Opens files for "nqioe" and owns them: a file that nobody released is freed with the service.
//
// Any thread may call the service; one open file is read by one thread at a time. All files must
// be out of use when the service ends.
class FileService {
  public:
    FileService();
    ~FileService();
    FileService(const FileService&) = delete;
    FileService& operator=(const FileService&) = delete;

    // Makes `bytes` readable under `name`, in place of a file of that name and of what was there
    // before. Files that are open keep what they were opened on.
    void add_memory_file(std::string_view name, std::string bytes);
    void remove_memory_file(std::string_view name) noexcept;

    // Opens a memory file, the standard input ("-"), or the named file; null, and the reason in
    // `status`, when it cannot: NQ_HOST_STATUS_NOT_FOUND, _IS_DIRECTORY, _ACCESS_DENIED,
    // _OPEN_ERROR, _READ_ERROR or NQ_STATUS_NO_MEMORY. NQ_STATUS_OK otherwise.
    //
    // A regular file is read whole here, and its descriptor is closed again. Anything else, and
    // the standard input always, is read as its bytes come, so opening or reading it may wait.
    //
    // The file's `read` reports NQ_STATUS_END_OF_FILE with the last bytes or after them, then
    // again for ever, and NQ_HOST_STATUS_READ_ERROR, with no bytes, when the system refuses to go
    // on. It leaves `*word` alone.
    IoeFile* open(std::string_view name, NQStatus& status) noexcept;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace nq
