#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/checking_host.hpp"

namespace nq::test {

// A loaded library in a host that checks, with the two conversions.
class JsonFixture : public testing::Test {
  protected:
    static constexpr std::uint32_t kCompact = 0;
    static constexpr std::uint32_t kPretty = 1;

    void SetUp() override { ASSERT_TRUE(host.load()); }

    InstanceApi* api() { return host.api(); }
    HostPool* pool() { return host.pool(); }

    // What one conversion into a fresh string gave; the instance and the string are released.
    std::string json(Item item) { return finish(item, to_json(item)); }
    std::string json2(Item item, std::uint32_t mode, std::int32_t indent) {
        return finish(item, to_json2(item, mode, indent));
    }
    std::string compact(Item item) { return json2(item, kCompact, 0); }

    // The statuses, with `out` as the string variable.
    NQStatus to_json(Item item) { return api()->toJSON(api(), pool(), item.instance, &out); }
    NQStatus to_json2(Item item, std::uint32_t mode, std::int32_t indent) {
        return api()->toJSON2(api(), host.string_api(), pool(), mode, indent, item.instance, &out);
    }

    std::string take_out() {
        if (!out) return "(no string)";
        std::string text = text_of(out);
        release(out);
        out = nullptr;
        return text;
    }

    template <class Instance>
    Instance* made(Instance* instance) {
        EXPECT_EQ(status, NQ_STATUS_OK);
        return instance;
    }
    NQInt32Instance* number(std::int32_t value) {
        return made(api()->createInt32(api(), pool(), value, &status));
    }
    NQData* data(std::string_view bytes) {
        return made(api()->createData(api(), pool(), bytes.data(), bytes.size(), 1, 0, &status));
    }

    CheckingHost host;
    NQU8String* out = nullptr;
    NQStatus status = NQ_STATUS_OK;

  private:
    std::string finish(Item item, NQStatus result) {
        EXPECT_EQ(result, NQ_STATUS_OK);
        release(item.instance);
        return take_out();
    }
};

}  // namespace nq::test
