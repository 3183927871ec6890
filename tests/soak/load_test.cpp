// Large inputs: each is read or written right, in time that grows with the size, in memory that is
// bounded by what is kept.
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>
#include <thread>

#include "nqinstance/base/units.hpp"
#include "tests/soak/measure.hpp"

namespace nq::test {
namespace {

std::string_view view(const NQU8String* text) {
    return {reinterpret_cast<const char*>(text->bytes), text->length};
}

std::string numbered(const char* text, std::uint64_t number) {
    return std::string(text).append(std::to_string(number));
}

// A file that is gone with the scope.
class TemporaryFile {
  public:
    explicit TemporaryFile(const char* name)
        : path_(std::filesystem::temp_directory_path() /
                numbered("nqinstance.", static_cast<std::uint64_t>(getpid())).append(name)) {}
    ~TemporaryFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string path() const { return path_.string(); }

    // `piece` again and again, up to so many bytes and to the end of the last one.
    void write_repeated(std::string_view piece, std::uint64_t bytes) const {
        std::string block;
        while (block.size() < kMiB) block += piece;
        std::ofstream file(path_, std::ios::binary | std::ios::trunc);
        for (std::uint64_t done = 0; done < bytes; done += block.size()) file << block;
        ASSERT_TRUE(file.flush());
    }
    std::uint64_t size() const { return std::filesystem::file_size(path_); }

  private:
    std::filesystem::path path_;
};

class Load : public Soak {
  protected:
    struct PoolEnd {
        void operator()(HostPool* pool) const { pool->destroy(pool); }
    };
    using Pool = std::unique_ptr<HostPool, PoolEnd>;
    Pool new_pool() { return Pool(host.make_pool("load")); }

    NQDictionary* read(const Pool& pool, const std::string& name) {
        NQDictionary* root = nullptr;
        std::int32_t line = 0;
        EXPECT_EQ(api()->readConfiguration(api(), pool.get(), name.c_str(), &line, &root),
                  NQ_STATUS_OK);
        EXPECT_EQ(line, -1);
        return root;
    }
    static std::string_view value(NQDictionary* dictionary, std::string_view key) {
        InstanceHeader* found = nullptr;
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(key.data());
        if (!dictionary->find(dictionary, bytes, key.size(), &found)) return "no such key";
        return view(reinterpret_cast<NQU8String*>(found));
    }
    static std::uint64_t keys_of(NQDictionary* dictionary) {
        NQArray* keys = nullptr;
        EXPECT_EQ(dictionary->listKeys(dictionary, &keys), NQ_STATUS_OK);
        const std::uint64_t count = keys->count;
        keys->header.release(&keys->header);
        return count;
    }

    // The compact text of a tree. The seconds are those of the writing alone.
    std::string json(const Pool& pool, InstanceHeader* tree, double* seconds) {
        NQU8String* text = nullptr;
        const Stopwatch watch;
        EXPECT_EQ(api()->toJSON2(api(), strings(), pool.get(), 0, 0, tree, &text), NQ_STATUS_OK);
        *seconds = watch.seconds();
        std::string result(view(text));
        text->header.release(&text->header);
        return result;
    }

    template <class Api, std::size_t N>
    Api* extension(const std::array<NQChar, N>& name, HostKernel** slot = nullptr) {
        HostKernel* kernel = host.kernel();
        return reinterpret_cast<Api*>(
            kernel->loadExtension(kernel, name.data(), name.size(), 0, slot));
    }
    NQStringApi* strings() {
        if (!strings_) strings_ = extension<NQStringApi>(units("nqstring"));
        return strings_;
    }
    NQArrayApi* arrays() {
        if (!arrays_) arrays_ = extension<NQArrayApi>(units("nqarray"));
        return arrays_;
    }
    NQArray* array(const Pool& pool) {
        NQArray* made = nullptr;
        EXPECT_EQ(arrays()->createArray(arrays(), pool.get(), 0, &made), NQ_STATUS_OK);
        return made;
    }
    void TearDown() override {
        if (strings_) strings_->handle.release(strings_);
        if (arrays_) arrays_->handle.release(arrays_);
    }

    static std::string many_keys(std::uint64_t count) {
        std::string text;
        for (std::uint64_t i = 0; i < count; ++i) {
            text += numbered("key-", i) + numbered(" = value of ", i) + '\n';
        }
        return text;
    }

  private:
    NQStringApi* strings_ = nullptr;
    NQArrayApi* arrays_ = nullptr;
};

// The same keys again and again: what is kept is small, however long the file.
constexpr std::string_view kRepeated =
    "[section]\nname = value = more\n\n  indented = \xC3\xA9\nblock =\n  a = 1\r\n";

// The host holds a file's bytes as long as it is open; beside them there is hardly anything.
TEST_F(Load, ConfigurationFileOf256MiB) {
    const TemporaryFile file(".conf");
    const auto run = [&](std::uint64_t bytes) {
        file.write_repeated(kRepeated, bytes);
        const Pool pool = new_pool();
        const PeakMemory peak;
        const Stopwatch watch;
        NQDictionary* root = read(pool, file.path());
        const double seconds = watch.seconds();
        EXPECT_EQ(keys_of(root), 1u);
        InstanceHeader* section = nullptr;
        root->find(root, reinterpret_cast<const std::uint8_t*>("section"), 7, &section);
        EXPECT_EQ(value(reinterpret_cast<NQDictionary*>(section), "name"), "value = more");
        EXPECT_EQ(value(reinterpret_cast<NQDictionary*>(section), "indented"), "\xC3\xA9");
        if (bytes == 256 * kMiB) {
            figure("configuration file of 256 MiB, rate", as_mib(file.size()) / seconds, "MiB/s");
            figure("configuration file of 256 MiB, memory beside the file's bytes",
                   std::max(0.0, as_mib(peak.growth()) - as_mib(file.size())), "MiB");
            if (!NQ_UNDER_SANITIZER) {
                EXPECT_LE(peak.growth(), file.size() + 4 * kMiB);
            }
        }
        root->header.release(&root->header);
        return seconds;
    };
    expect_linear("configuration file of 256 MiB", 256 * kMiB, run);
}

// Of what comes through a pipe nothing is held that is not in the result.
TEST_F(Load, ConfigurationStreamOf256MiB) {
    const TemporaryFile pipe(".pipe");
    ASSERT_EQ(mkfifo(pipe.path().c_str(), 0600), 0);
    std::thread writer([&] { pipe.write_repeated(kRepeated, 256 * kMiB); });
    const Pool pool = new_pool();
    const PeakMemory peak;
    NQDictionary* root = read(pool, pipe.path());
    writer.join();
    EXPECT_EQ(keys_of(root), 1u);
    figure("configuration stream of 256 MiB, memory", as_mib(peak.growth()), "MiB");
    if (!NQ_UNDER_SANITIZER) {
        EXPECT_LE(peak.growth(), 8 * kMiB);
    }
    root->header.release(&root->header);
}

// The line's own object grows by doubling, and key and value are copies of their parts.
TEST_F(Load, SingleLineOf64MiB) {
    const auto run = [&](std::uint64_t bytes) {
        host.add_memory_file("line.conf", "key = " + std::string(bytes, 'v'));
        const Pool pool = new_pool();
        const PeakMemory peak;
        const Stopwatch watch;
        NQDictionary* root = read(pool, "line.conf");
        const double seconds = watch.seconds();
        EXPECT_EQ(value(root, "key").size(), bytes);
        if (bytes == 64 * kMiB) {
            figure("single line of 64 MiB, rate", 64 / seconds, "MiB/s");
            figure("single line of 64 MiB, memory", as_mib(peak.growth()) / 64, "times the line");
            if (!NQ_UNDER_SANITIZER) {
                EXPECT_LE(peak.growth(), 4 * bytes);
            }
        }
        root->header.release(&root->header);
        host.remove_memory_file("line.conf");
        return seconds;
    };
    expect_linear("single line of 64 MiB", 64 * kMiB, run);
}

TEST_F(Load, DictionaryOfAMillionKeys) {
    constexpr std::uint64_t kKeys = 1'000'000;
    const auto reading = [&](std::uint64_t count) {
        host.add_memory_file("keys.conf", many_keys(count));
        const Pool pool = new_pool();
        const PeakMemory peak;
        const Stopwatch watch;
        NQDictionary* root = read(pool, "keys.conf");
        const double seconds = watch.seconds();
        EXPECT_EQ(keys_of(root), count);
        for (const std::uint64_t key : {std::uint64_t{0}, count / 3, count - 1}) {
            EXPECT_EQ(value(root, numbered("key-", key)), numbered("value of ", key));
        }
        if (count == kKeys) {
            figure("dictionary of a million keys, memory",
                   static_cast<double>(peak.growth()) / static_cast<double>(count), "bytes a key");
            // Key and value with their objects, and the table.
            if (!NQ_UNDER_SANITIZER) {
                EXPECT_LE(peak.growth(), 500 * count);
            }
        }
        root->header.release(&root->header);
        return seconds;
    };
    expect_linear("reading a dictionary of a million keys", kKeys, reading);

    const Pool pool = new_pool();
    NQDictionary* roots[2];
    for (const bool is_whole : {false, true}) {
        host.add_memory_file("keys.conf", many_keys(is_whole ? kKeys : kKeys / 2));
        roots[is_whole] = read(pool, "keys.conf");
    }
    expect_linear("writing a dictionary of a million keys", kKeys, [&](std::uint64_t count) {
        double seconds = 0;
        const std::string text = json(pool, &roots[count == kKeys]->header, &seconds);
        EXPECT_EQ(std::count(text.begin(), text.end(), ':'), static_cast<std::int64_t>(count));
        return seconds;
    });
    for (NQDictionary* root : roots) root->header.release(&root->header);
}

TEST_F(Load, ArrayOfAMillionElements) {
    const auto run = [&](std::uint64_t count) {
        const Pool pool = new_pool();
        NQArray* all = array(pool);
        for (std::uint64_t i = 0; i < count; ++i) {
            NQStatus status = 0;
            auto* number = &api()->createUInt64(api(), pool.get(), i, &status)->header;
            all->append(all, number, 0);
            number->release(number);
        }
        double seconds = 0;
        const std::string text = json(pool, &all->header, &seconds);
        EXPECT_TRUE(text.starts_with("[0,1,2,")) << text.substr(0, 20);
        EXPECT_TRUE(text.ends_with(numbered(",", count - 1) + ']'));
        EXPECT_EQ(std::count(text.begin(), text.end(), ','), static_cast<std::int64_t>(count - 1));
        const Stopwatch watch;
        all->header.release(&all->header);
        return seconds + watch.seconds();
    };
    expect_linear("writing and releasing an array of a million elements", 1'000'000, run);
}

// The depth has the usual stack to itself, for the writing as for the release.
TEST_F(Load, TreeOfTenThousandLevels) {
    const auto run = [&](std::uint64_t depth) {
        const Pool pool = new_pool();
        NQArray* tree = array(pool);
        for (std::uint64_t i = 1; i < depth; ++i) {
            NQArray* outer = array(pool);
            outer->append(outer, tree, 0);
            tree->header.release(&tree->header);
            tree = outer;
        }
        double seconds = 0;
        const std::string text = json(pool, &tree->header, &seconds);
        EXPECT_EQ(text, std::string(depth, '[') + std::string(depth, ']'));
        tree->header.release(&tree->header);
        return seconds;
    };
    expect_linear("writing a tree of 10,000 levels", 10'000, run);
}

TEST_F(Load, StringOf16MiBOfQuotes) {
    const auto run = [&](std::uint64_t bytes) {
        const Pool pool = new_pool();
        const std::string quotes(bytes, '"');
        NQU8String* text = strings()->newString(
            strings(), pool.get(), reinterpret_cast<const std::uint8_t*>(quotes.data()), bytes, 0);
        double seconds = 0;
        const PeakMemory peak;
        const std::string written = json(pool, &text->header, &seconds);
        EXPECT_EQ(written.size(), 2 * bytes + 2);
        EXPECT_EQ(std::count(written.begin(), written.end(), '\\'),
                  static_cast<std::int64_t>(bytes));
        if (bytes == 16 * kMiB) {
            figure("string of 16 MiB of quotes, rate", 16 / seconds, "MiB/s");
            figure("string of 16 MiB of quotes, memory", as_mib(peak.growth()) / 16,
                   "times the string");
            if (!NQ_UNDER_SANITIZER) {
                EXPECT_LE(peak.growth(), 8 * bytes);
            }
        }
        text->header.release(&text->header);
        return seconds;
    };
    expect_linear("string of 16 MiB of quotes", 16 * kMiB, run);
}

}  // namespace
}  // namespace nq::test
