#include "tests/support/host_files.hpp"

#include <algorithm>
#include <cstring>

#include "tests/support/faults.hpp"

namespace nq::test {
namespace {

constexpr unsigned char kScribble = 0xEE;

bool all_zero(const void* record, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(record);
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

}  // namespace

FileService::FileService(HostCore& core) : core_(core) {
    table_.fill(Extension::kFile, *this, core);
    table_.openFile = open;
}

FileService::~FileService() = default;

void FileService::add(std::string name, std::string bytes, FilePlan plan) {
    const std::lock_guard lock(mutex_);
    contents_[std::move(name)] =
        std::make_shared<Content>(Content{std::move(bytes), std::move(plan)});
}

void FileService::extend(const std::string& name, std::string_view bytes) {
    contents_.at(name)->bytes += bytes;
}

std::uint64_t FileService::open_files() const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::uint64_t>(std::count_if(
        files_.begin(), files_.end(), [](const auto& file) { return !file->closed; }));
}

IoeFile* FileService::open(NQIoeApi* self, const std::uint8_t* name, std::uint64_t length,
                           const void* parameters, std::uint64_t zero1, std::uint64_t zero2,
                           const char* kind, NQStatus* status, const void* io) noexcept {
    auto& table = ExtensionTable<NQIoeApi, FileService>::of(self);
    FileService& service = *table.service;
    service.core_.check_use(Extension::kFile, "openFile");
    if (zero1 || zero2) report_fault("openFile with arguments that are not zero");
    OpenCall call{{reinterpret_cast<const char*>(name), length}, kind, {}, {}};
    std::memcpy(&call.parameters, parameters, sizeof call.parameters);
    std::memcpy(&call.io_parameters, io, sizeof call.io_parameters);

    FailurePlan& plan = service.core_.plan;
    const std::lock_guard lock(service.mutex_);
    service.opens_.push_back(call);
    const auto found = service.contents_.find(call.name);
    NQStatus result = plan.next(Call::kOpenFile);
    const bool refused = result && !plan.delivers_with_failure();
    if (!result) {
        result = found == service.contents_.end() ? kNoSuchFile : found->second->plan.open_status;
    }
    *status = result;
    if (refused || found == service.contents_.end() || found->second->plan.open_status) {
        return nullptr;
    }
    auto file = std::make_unique<OpenFile>();
    file->handle = {NQ_MAGIC, "file", close};
    file->read = read;
    file->service = &service;
    file->content = found->second;
    service.files_.push_back(std::move(file));
    return service.files_.back().get();
}

NQStatus FileService::read(IoeFile* self, std::uint8_t** cursor, std::uint64_t* length,
                           std::uint64_t*, std::uint64_t zero, const void* io) noexcept {
    auto& file = *static_cast<OpenFile*>(self);
    if (file.closed) report_fault("read from a closed file");
    if (zero || !all_zero(io, sizeof(IoeParameters))) {
        report_fault("read with parameters that are not zero");
    }
    if (*length == 0 || *length > kLargestRead) {
        report_fault("read of " + std::to_string(*length) + " bytes");
    }
    if (const NQStatus status = file.service->core_.plan.next(Call::kReadFile)) return status;
    const FilePlan& plan = file.content->plan;
    if (file.reads++ == plan.fail_read) return plan.read_status;

    const std::string& bytes = file.content->bytes;
    std::uint64_t end = std::min<std::uint64_t>(bytes.size(), file.position + *length);
    if (plan.chunk < end - file.position) end = file.position + plan.chunk;
    const auto split = std::upper_bound(plan.splits.begin(), plan.splits.end(), file.position);
    if (split != plan.splits.end()) end = std::min(end, *split);

    const std::uint64_t delivered = end - file.position;
    std::memset(*cursor, kScribble, *length);
    std::memcpy(*cursor, bytes.data() + file.position, delivered);
    *length = delivered;
    file.position = end;
    const bool at_end = end == bytes.size();
    if (delivered == 0 || (at_end && plan.end == EndOfFile::kEarly)) return NQ_STATUS_END_OF_FILE;
    return NQ_STATUS_OK;
}

NQStatus FileService::close(void* self) noexcept {
    auto& file = *static_cast<OpenFile*>(static_cast<IoeFile*>(self));
    if (file.closed.exchange(true)) report_fault("a file closed twice");
    return file.service->core_.plan.next(Call::kCloseFile);
}

}  // namespace nq::test
