#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/checking_host.hpp"

namespace nq::test {

// A loaded host, and the operations of a pool seen from outside.
class CoreTest : public testing::Test {
  protected:
    CoreTest() { host.load(); }

    InstanceApi* api() { return host.api(); }
    HostPool* pool() { return host.pool(); }

    CheckingHost host;
    NQStatus status = 0x1234;  // something that no operation stores
};

// The words of a header that differ from kind to kind.
struct ExpectedHeader {
    const char* type;
    void* destroy_hook;
    void* clone;
    void* validate = nullptr;  // null: the table's own
};

inline void expect_header(const InstanceHeader& header, const ExpectedHeader& expected,
                          InstanceApi* api, HostPool* pool) {
    EXPECT_EQ(header.magic, NQ_MAGIC);
    EXPECT_STREQ(header.typeName, expected.type);
    EXPECT_EQ(header.release, api->release);
    EXPECT_EQ(header.refCount, 1u);
    EXPECT_EQ(header.isType, api->isType);
    EXPECT_EQ(reinterpret_cast<void*>(header.destroyHook), expected.destroy_hook);
    EXPECT_EQ(header.api, api);
    EXPECT_EQ(reinterpret_cast<void*>(header.validate),
              expected.validate ? expected.validate : reinterpret_cast<void*>(api->validate));
    EXPECT_EQ(reinterpret_cast<void*>(header.clone), expected.clone);
    EXPECT_EQ(header.pool, pool);
}

// A pool in front of a checking one that notes what is asked of it and what a block holds when it
// is freed.
class SpyPool {
  public:
    struct Request {
        std::uint64_t size;
        std::uint32_t flags;
        bool operator==(const Request&) const = default;
    };

    explicit SpyPool(HostPool* behind) : behind_(behind) {
        table_.magic = NQ_MAGIC;
        table_.name = "spy";
        table_.alloc = [](HostPool* self, std::uint64_t size, std::uint32_t flags) noexcept {
            of(self).requests.push_back({size, flags});
            return of(self).behind_->alloc(of(self).behind_, size, flags);
        };
        table_.free = [](HostPool* self, void* block) noexcept {
            SpyPool& spy = of(self);
            spy.freed.push_back(block);
            if (block == spy.watched) {
                spy.content.assign(static_cast<char*>(block), spy.watched_bytes);
            }
            return spy.behind_->free(spy.behind_, block);
        };
        table_.realloc = [](HostPool* self, void* block, std::uint64_t size,
                            std::uint32_t flags) noexcept {
            of(self).requests.push_back({size, flags});
            return of(self).behind_->realloc(of(self).behind_, block, size, flags);
        };
        table_.spy = this;
    }

    HostPool* table() { return &table_; }

    std::vector<Request> requests;
    std::vector<void*> freed;
    // The block whose content is kept when it is freed.
    void* watched = nullptr;
    std::uint64_t watched_bytes = 0;
    std::string content;

  private:
    struct Table : HostPool {
        SpyPool* spy;
    };
    static SpyPool& of(HostPool* self) { return *static_cast<Table*>(self)->spy; }

    Table table_{};
    HostPool* behind_;
};

}  // namespace nq::test
