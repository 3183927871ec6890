#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "tests/support/checking_host.hpp"
#include "typed/definitions.hpp"
#include "typed/value.hpp"

namespace nq::test {

// Definitions and values in a checking host that must get back all it gave.
class TypedTest : public testing::Test {
  protected:
    TypedTest()
        : services{host.load(), host.string_api(), host.array_api(), host.dictionary_api()},
          before_(host.state()) {}
    ~TypedTest() override { EXPECT_EQ(host.state(), before_); }

    // The error as "LINE: WHAT" or "LINE:COLUMN: WHAT", empty when the definitions are good.
    std::string load(Definitions& definitions, std::string_view text) {
        DefinitionsError error;
        if (definitions.load(services, host.pool(), text, error)) return "";
        EXPECT_TRUE(definitions.leaves().empty());
        EXPECT_TRUE(definitions.root().children.empty());
        std::string shown = std::to_string(error.line);
        if (error.column) shown.append(1, ':').append(std::to_string(error.column));
        return shown.append(": ").append(error.what);
    }
    std::string error_of(std::string_view text) {
        Definitions definitions;
        return load(definitions, text);
    }

    CheckingHost host;
    JsonServices services;

  private:
    HostState before_;
};

}  // namespace nq::test
