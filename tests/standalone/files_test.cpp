#include "standalone/files.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "standalone/base/statuses.hpp"

namespace nq {
namespace {

using namespace std::chrono_literals;

// A folder of its own for each test, removed at the end.
class Files : public testing::Test {
  protected:
    Files() {
        std::string name = testing::TempDir() + "nq_files_XXXXXX";
        folder_ = mkdtemp(name.data());
    }
    ~Files() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
        return path(name);
    }

    IoeFile* open(const std::string& name) {
        NQStatus status = 1;
        IoeFile* file = service.open(name, status);
        EXPECT_EQ(status, NQ_STATUS_OK) << name;
        EXPECT_NE(file, nullptr) << name;
        return file;
    }
    NQStatus failure(const std::string& name) {
        NQStatus status = 1;
        EXPECT_EQ(service.open(name, status), nullptr) << name;
        return status;
    }

    FileService service;

  private:
    std::string folder_;
};

// One read into a block of exactly `room` bytes; `bytes` receives what was delivered.
NQStatus read(IoeFile* file, uint64_t room, std::string& bytes) {
    const auto block = std::make_unique<uint8_t[]>(room);
    uint8_t* cursor = block.get();
    uint64_t length = room;
    uint64_t word = 0;
    const IoeParameters parameters{};
    const NQStatus status = file->read(file, &cursor, &length, &word, 0, &parameters);
    EXPECT_EQ(cursor, block.get());
    EXPECT_LE(length, room);
    bytes.assign(reinterpret_cast<const char*>(block.get()), length);
    return status;
}

// Everything up to the end, which must then stay.
std::string read_to_end(IoeFile* file, uint64_t room) {
    std::string all;
    std::string bytes;
    NQStatus status;
    do {
        status = read(file, room, bytes);
        all += bytes;
    } while (status == NQ_STATUS_OK);
    EXPECT_EQ(status, NQ_STATUS_END_OF_FILE);
    for (int i = 0; i != 3; ++i) {
        EXPECT_EQ(read(file, room, bytes), NQ_STATUS_END_OF_FILE);
        EXPECT_EQ(bytes, "");
    }
    return all;
}

void release(IoeFile* file) { EXPECT_EQ(file->handle.release(file), NQ_STATUS_OK); }

std::size_t open_descriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

std::string sample(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i != size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 256);
    return bytes;
}

// Another file in place of the standard input, until the end of the scope.
class StandardInput {
  public:
    explicit StandardInput(int replacement) : saved_(dup(STDIN_FILENO)) {
        dup2(replacement, STDIN_FILENO);
    }
    ~StandardInput() {
        dup2(saved_, STDIN_FILENO);
        close(saved_);
    }

  private:
    int saved_;
};

TEST_F(Files, RegularFileIsDeliveredInEveryPieceSize) {
    for (const std::size_t size : {0u, 1u, 2047u, 2048u, 2049u, 4095u, 4096u, 4097u, 100000u}) {
        const std::string bytes = sample(size);
        const std::string name = write("file", bytes);
        for (const uint64_t room : {1u, 7u, 2048u, 4096u, 200000u}) {
            IoeFile* file = open(name);
            EXPECT_EQ(file->handle.magic, NQ_MAGIC);
            EXPECT_EQ(read_to_end(file, room), bytes) << size << " in " << room;
            release(file);
        }
    }
}

TEST_F(Files, EndComesWithTheLastBytesWhenThereIsRoomLeft) {
    IoeFile* file = open(write("file", "abcde"));
    std::string bytes;
    EXPECT_EQ(read(file, 3, bytes), NQ_STATUS_OK);
    EXPECT_EQ(bytes, "abc");
    EXPECT_EQ(read(file, 3, bytes), NQ_STATUS_END_OF_FILE);
    EXPECT_EQ(bytes, "de");
    release(file);
}

TEST_F(Files, ReadWithoutRoomDeliversNothingAndGoesOn) {
    IoeFile* file = open(write("file", "ab"));
    std::string bytes;
    EXPECT_EQ(read(file, 0, bytes), NQ_STATUS_OK);
    EXPECT_EQ(read_to_end(file, 2), "ab");
    release(file);
}

TEST_F(Files, DescriptorOfRegularFileIsClosedByOpen) {
    const std::string name = write("file", "text");
    const std::size_t before = open_descriptors();
    std::vector<IoeFile*> files;
    for (int i = 0; i != 50; ++i) files.push_back(open(name));
    EXPECT_EQ(open_descriptors(), before);
    for (IoeFile* file : files) release(file);
    for (int i = 0; i != 50; ++i) failure(path("missing"));
    for (int i = 0; i != 50; ++i) failure(path(""));
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Files, FileKeepsWhatItWasOpenedOn) {
    const std::string name = write("file", "first");
    IoeFile* file = open(name);
    write("file", "second");
    EXPECT_EQ(read_to_end(file, 100), "first");
    release(file);
}

TEST_F(Files, FailuresAreToldApart) {
    const std::string name = write("file", "text");
    EXPECT_EQ(failure(path("missing")), NQ_HOST_STATUS_NOT_FOUND);
    EXPECT_EQ(failure(path("missing/file")), NQ_HOST_STATUS_NOT_FOUND);
    EXPECT_EQ(failure(name + "/file"), NQ_HOST_STATUS_NOT_FOUND);
    EXPECT_EQ(failure(""), NQ_HOST_STATUS_NOT_FOUND);
    EXPECT_EQ(failure(name + std::string(1, '\0')), NQ_HOST_STATUS_NOT_FOUND);
    EXPECT_EQ(failure(path("")), NQ_HOST_STATUS_IS_DIRECTORY);
    EXPECT_EQ(failure(path(std::string(300, 'x'))), NQ_HOST_STATUS_OPEN_ERROR);
    // A regular file whose first page cannot be read.
    EXPECT_EQ(failure("/proc/self/mem"), NQ_HOST_STATUS_READ_ERROR);
}

TEST_F(Files, SocketCannotBeOpened) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = path("s");
    ASSERT_LT(name.size(), sizeof address.sun_path);
    name.copy(address.sun_path, name.size());
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(failure(name), NQ_HOST_STATUS_OPEN_ERROR);
    close(listener);
}

TEST_F(Files, MissingPermissionIsReported) {
    const std::string name = write("file", "text");
    ASSERT_EQ(chmod(name.c_str(), 0), 0);
    constexpr uid_t kNobody = 65534;
    const bool is_root = geteuid() == 0;
    if (is_root) {
        ASSERT_EQ(chmod(path("").c_str(), 0755), 0);
        ASSERT_EQ(seteuid(kNobody), 0);
    }
    EXPECT_EQ(failure(name), NQ_HOST_STATUS_ACCESS_DENIED);
    if (is_root) {
        ASSERT_EQ(seteuid(0), 0);
    }
}

TEST_F(Files, FileOfUnknownSizeIsReadToItsEnd) {
    std::ostringstream expected;
    expected << std::ifstream("/proc/version").rdbuf();
    ASSERT_NE(expected.str(), "");
    IoeFile* file = open("/proc/version");
    EXPECT_EQ(read_to_end(file, 10), expected.str());
    release(file);
}

TEST_F(Files, CharacterDevicesAreStreams) {
    IoeFile* empty = open("/dev/null");
    EXPECT_EQ(read_to_end(empty, 100), "");
    release(empty);
    IoeFile* endless = open("/dev/zero");
    std::string bytes;
    for (int i = 0; i != 3; ++i) {
        EXPECT_EQ(read(endless, 5000, bytes), NQ_STATUS_OK);
        EXPECT_EQ(bytes, std::string(5000, '\0'));
    }
    release(endless);
}

TEST_F(Files, FifoDeliversBytesAsTheyCome) {
    const std::string name = path("fifo");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const std::size_t before = open_descriptors();
    std::atomic<int> taken = 0;
    std::thread writer([&] {
        const int descriptor = ::open(name.c_str(), O_WRONLY);
        for (int i = 0; i != 3; ++i) {
            EXPECT_EQ(::write(descriptor, "piece", 5), 5);
            while (taken != i + 1) std::this_thread::yield();
        }
        close(descriptor);
    });
    IoeFile* file = open(name);
    std::string bytes;
    for (int i = 0; i != 3; ++i) {
        EXPECT_EQ(read(file, 4096, bytes), NQ_STATUS_OK);
        EXPECT_EQ(bytes, "piece");
        ++taken;
    }
    EXPECT_EQ(read_to_end(file, 4096), "");
    writer.join();
    release(file);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Files, DashIsTheStandardInputWhichStaysOpen) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const StandardInput input(ends[0]);
    close(ends[0]);
    ASSERT_EQ(::write(ends[1], "some text", 9), 9);
    close(ends[1]);
    IoeFile* file = open("-");
    EXPECT_EQ(read_to_end(file, 4), "some text");
    release(file);
    EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);
}

TEST_F(Files, StandardInputMayBeARegularFileOrADirectory) {
    const int file_descriptor = ::open(write("file", "text").c_str(), O_RDONLY | O_CLOEXEC);
    {
        const StandardInput input(file_descriptor);
        IoeFile* file = open("-");
        EXPECT_EQ(read_to_end(file, 100), "text");
        release(file);
    }
    close(file_descriptor);
    const int folder_descriptor = ::open(path("").c_str(), O_RDONLY | O_CLOEXEC);
    {
        const StandardInput input(folder_descriptor);
        EXPECT_EQ(failure("-"), NQ_HOST_STATUS_IS_DIRECTORY);
    }
    close(folder_descriptor);
}

TEST_F(Files, StreamThatCannotBeReadReportsIt) {
    const int descriptor = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const StandardInput input(descriptor);
    close(descriptor);
    IoeFile* file = open("-");
    std::string bytes;
    EXPECT_EQ(read(file, 10, bytes), NQ_HOST_STATUS_READ_ERROR);
    EXPECT_EQ(bytes, "");
    release(file);
}

TEST_F(Files, NonBlockingStreamIsWaitedFor) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const StandardInput input(ends[0]);
    close(ends[0]);
    std::thread writer([&] {
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(::write(ends[1], "late", 4), 4);
        close(ends[1]);
    });
    IoeFile* file = open("-");
    EXPECT_EQ(read_to_end(file, 100), "late");
    writer.join();
    release(file);
}

TEST_F(Files, SignalDoesNotInterruptARead) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &action, &before), 0);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    {
        const StandardInput input(ends[0]);
        const pthread_t reader = pthread_self();
        std::thread sender([&] {
            for (int i = 0; i != 20; ++i) {
                pthread_kill(reader, SIGUSR1);
                std::this_thread::sleep_for(1ms);
            }
            EXPECT_EQ(::write(ends[1], "text", 4), 4);
            close(ends[1]);
        });
        IoeFile* file = open("-");
        EXPECT_EQ(read_to_end(file, 100), "text");
        sender.join();
        release(file);
    }
    close(ends[0]);
    sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Files, MemoryFileStandsInPlaceOfAFile) {
    const std::string name = write("file", "on disk");
    service.add_memory_file(name, "in memory");
    service.add_memory_file("-", "no input");
    IoeFile* file = open(name);
    IoeFile* input = open("-");
    EXPECT_EQ(read_to_end(file, 4), "in memory");
    EXPECT_EQ(read_to_end(input, 4), "no input");
    release(file);
    release(input);
    service.remove_memory_file(name);
    IoeFile* disk = open(name);
    EXPECT_EQ(read_to_end(disk, 4), "on disk");
    release(disk);
}

TEST_F(Files, MemoryFileIsReplacedAndRemovedBehindItsReaders) {
    service.add_memory_file("name", "first");
    IoeFile* first = open("name");
    service.add_memory_file("name", "second");
    IoeFile* second = open("name");
    service.remove_memory_file("name");
    service.remove_memory_file("name");
    EXPECT_EQ(failure("name"), NQ_HOST_STATUS_NOT_FOUND);
    EXPECT_EQ(read_to_end(first, 100), "first");
    EXPECT_EQ(read_to_end(second, 100), "second");
    release(first);
    release(second);
}

TEST_F(Files, ServiceFreesWhatNobodyReleased) {
    const std::string name = path("fifo");
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const std::size_t before = open_descriptors();
    {
        FileService other;
        other.add_memory_file("memory", "text");
        NQStatus status;
        EXPECT_NE(other.open("memory", status), nullptr);
        EXPECT_NE(other.open("/dev/zero", status), nullptr);
        EXPECT_GT(open_descriptors(), before);
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Files, ThreadsOpenAndReleaseAtOnce) {
    const std::string name = write("file", "disk");
    std::vector<std::thread> threads;
    for (int t = 0; t != 8; ++t) {
        threads.emplace_back([&, t] {
            const std::string own = "memory " + std::to_string(t);
            for (int i = 0; i != 200; ++i) {
                service.add_memory_file(own, own);
                service.add_memory_file("shared", "shared");
                NQStatus status;
                for (const std::string& what : {own, name, std::string("shared")}) {
                    IoeFile* file = service.open(what, status);
                    if (!file) continue;
                    EXPECT_EQ(read_to_end(file, 3), what == name ? "disk" : what);
                    release(file);
                }
                service.remove_memory_file(own);
                if (i % 7 == 0) service.remove_memory_file("shared");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace nq
